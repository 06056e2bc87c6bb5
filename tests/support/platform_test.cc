// The platform seam: Atomic, the worker pool, the queues, the notification centre; files, user
// defaults, the debug log, processes; the strings tables, their look-up and formats, string helpers.

#include "orvelin/exiftool/language.h"
#include "orvelin/support/atomic.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/file_system.h"
#include "orvelin/support/files.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/note_subscriber.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/operation_queue.h"
#include "orvelin/support/parallel.h"
#include "orvelin/support/process_runner.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/support/strings_table.h"
#include "orvelin/support/text_encoding.h"
#include "orvelin/support/user_defaults.h"
#include "support/xml.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <cerrno>
#include <chrono>
#include <functional>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "common/gate.h"
#include "common/instant_clock.h"
#include "common/test_support.h"
#include "common/user_language.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Pair;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;
using testing::Gate;
using testing::linesOf;
using testing::UserLanguageScope;
using Parts = std::optional<std::pair<std::string, std::string>>;
using namespace std::chrono_literals;

// Runs `body` with 0, 1 ... count - 1, each on a thread of its own, and waits for them all.
void onThreads(int count, const std::function<void(int)>& body) {
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t) threads.emplace_back(body, t);
  for (auto& thread : threads) thread.join();
}

TEST(Atomic, ReadModifyWriteAndAssignmentFromManyThreads) {
  Atomic<long> counter(0);
  onThreads(4, [&](int) {
    for (int i = 0; i < 2000; ++i) counter.update([](long& value) { ++value; });
  });
  EXPECT_EQ(counter.value(), 8000);  // no update lost

  // Assignment while other threads use the target.
  const std::string longA(100, 'a'), longB(200, 'b');
  Atomic<std::string> target(longA);
  const Atomic<std::string> a(longA), b(longB);
  std::atomic<bool> stop{false};
  onThreads(3, [&](int t) {
    if (t == 0) {
      for (int i = 0; i < 5000; ++i) target = (i % 2 ? b : a);  // ends with b
      stop = true;
    }
    while (!stop) {
      const auto seen = target.value();
      EXPECT_TRUE(seen == longA || seen == longB);  // never torn
      target.update([&](std::string& value) { EXPECT_TRUE(value == longA || value == longB); });
    }
  });
  EXPECT_EQ(target.value(), longB);  // the last assignment holds
  EXPECT_EQ(b.value(), longB);       // and its source is untouched
}

TEST(ConcurrentPerform, RunsEveryIterationOnceWithinThePoolWidthNestedCallsTooRethrowsAndMapsInOrder) {
  constexpr std::size_t count = 200;
  std::vector<std::atomic<int>> runs(count);
  std::atomic<int> running{0};  // the bodies running at once
  concurrentPerform(count, [&](std::size_t index) {
    EXPECT_LE(++running, static_cast<int>(WorkerPool::shared().width()));
    ++runs[index];
    --running;
  });
  for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(runs[i].load(), 1) << i;

  concurrentPerform(0, [](std::size_t) { ADD_FAILURE() << "an iteration of none"; });

  // Nested calls, more than the pool's width of them, finish.
  std::atomic<int> total{0};
  const std::size_t outer = WorkerPool::shared().width() * 2;
  concurrentPerform(outer, [&](std::size_t) { concurrentPerform(50, [&](std::size_t) { ++total; }); });
  EXPECT_EQ(total.load(), static_cast<int>(outer) * 50);

  // The first error is thrown to the caller once the started iterations have ended.
  std::atomic<int> busy{0};
  const auto failAtThree = [&](std::size_t index) {
    ++busy;
    std::this_thread::yield();
    --busy;
    if (index == 3) throw std::runtime_error("three");
  };
  EXPECT_THROW(concurrentPerform(100, failAtThree), std::runtime_error);
  EXPECT_EQ(busy.load(), 0);  // nothing runs on after the caller got the error

  // pMap keeps the input order; early elements take longest, so they finish last.
  std::vector<int> input(1000);
  for (int i = 0; i < 1000; ++i) input[static_cast<std::size_t>(i)] = i;
  const auto output = pMap(input, [](int value) {
    volatile int work = 0;
    for (int k = 0; k < (999 - value) % 13 * 2000; ++k) work = work + k;
    return std::to_string(value * 2);
  });
  ASSERT_EQ(output.size(), 1000u);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(output[static_cast<std::size_t>(i)], std::to_string(i * 2));
  EXPECT_TRUE(pMap(std::vector<int>{}, [](int value) { return value; }).empty());
}

TEST(ArrayHelpers, RemoveAndMoveAtIndexes) {
  std::vector<int> numbers{0, 1, 2, 3, 4, 5};
  remove(numbers, {5, 1, 0, 5, 9});  // any order; duplicates and indexes past the end are ignored
  EXPECT_THAT(numbers, ElementsAre(2, 3, 4));

  // A move keeps the block together and returns where it begins.
  struct Move {
    const char* name;
    std::vector<std::size_t> indexes;
    std::size_t destination, begins;
    std::vector<std::string> after;
  };
  for (const auto& move : std::vector<Move>{
           {"two down", {0, 1}, 3, 1, {"c", "a", "b", "d"}},
           {"the last to the front", {3}, 0, 0, {"d", "a", "b", "c"}},
           {"one index below the destination, one above", {1, 3}, 2, 1, {"a", "b", "d", "c"}},
           {"to the end", {0, 2}, 4, 2, {"b", "d", "a", "c"}},
           {"nothing", {}, 1, 1, {"a", "b", "c", "d"}},
       }) {
    std::vector<std::string> letters{"a", "b", "c", "d"};
    EXPECT_EQ(moveFrom(letters, move.indexes, move.destination), move.begins) << move.name;
    EXPECT_EQ(letters, move.after) << move.name;
  }
}

TEST(OperationQueue, RunsUpToItsWidthAtOnceWidthOneInOrderAndItsWaitIncludesOperationsAddedMeanwhile) {
  OperationQueue serial(1, "serial");
  std::vector<int> order;
  std::atomic<int> running{0};
  std::function<void(int)> add = [&](int i) {
    serial.addOperation([&, i] {
      EXPECT_LE(++running, 1);  // never two at once
      order.push_back(i);
      if (i == 199) add(200);  // added from inside an operation: the wait includes it
      --running;
    });
  };
  for (int i = 0; i < 200; ++i) add(i);
  serial.waitUntilAllOperationsAreFinished();
  ASSERT_EQ(order.size(), 201u);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));

  // The process's threads: a queue that starts a fourth for three running operations would run
  // a fourth operation at once as soon as it is scheduled, which the gate alone may not see.
  const auto threads = [] { return std::distance(fs::directory_iterator("/proc/self/task"), {}); };
  const auto before = threads();
  OperationQueue queue(3);
  Gate gate;
  for (int i = 0; i < 7; ++i) queue.addOperation(gate.body());
  EXPECT_LE(threads() - before, 3);
  ASSERT_TRUE(gate.awaitWaiting(3));
  EXPECT_EQ(queue.operationCount(), 7u);  // three running, four waiting
  gate.open();
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(queue.operationCount(), 0u);
  EXPECT_EQ(gate.highest(), 3);  // never more, before the gate opened or after
}

// The operations dropped, and those that ran, release their captures outside the queue's lock.
TEST(OperationQueue, CancelDropsWhatHasNotBegun) {
  std::atomic<int> destroyed{0};
  OperationQueue queue(1);
  // A capture whose release asks the queue something, as captured state may.
  const auto newProbe = [&] {
    return std::shared_ptr<void>(nullptr, [&](void*) {
      (void)queue.operationCount();
      ++destroyed;
    });
  };
  Gate gate;
  std::vector<int> ran;  // written by the queue's one thread
  queue.addOperation([&] {
    gate.wait();
    ran.push_back(0);
  });
  ASSERT_TRUE(gate.awaitWaiting(1));
  for (int i = 1; i <= 5; ++i) queue.addOperation([&, i] { ran.push_back(i); });
  queue.addOperation([probe = newProbe()] {});
  queue.cancelAllOperations();
  EXPECT_EQ(destroyed.load(), 1);
  EXPECT_EQ(queue.operationCount(), 1u);  // the running one goes on
  queue.addOperation([&, probe = newProbe()] { ran.push_back(6); });  // added after the cancel: runs
  gate.open();
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_THAT(ran, ElementsAre(0, 6));
  EXPECT_EQ(destroyed.load(), 2);
}

TEST(OperationQueue, DestructionWaitsForRunningAndDropsWaiting) {
  std::atomic<bool> finished{false};
  Gate gate;
  std::thread opener;
  {
    OperationQueue queue(1);
    queue.addOperation([&] {
      gate.wait();
      finished = true;
    });
    ASSERT_TRUE(gate.awaitWaiting(1));
    queue.addOperation([] { ADD_FAILURE() << "a waiting operation ran"; });
    // The running operation ends only once the destructor has dropped the waiting one.
    opener = std::thread([&] {
      while (queue.operationCount() > 1) std::this_thread::yield();
      gate.open();
    });
  }
  opener.join();
  EXPECT_TRUE(finished.load());
}

TEST(MainQueue, OwnThreadRunsBlocksInOrderOneAtATimeAndSyncRunsThereOrInline) {
  MainQueue queue;
  queue.startOnOwnThread();
  queue.startOnOwnThread();  // a second start does nothing
  EXPECT_TRUE(queue.isRunningOnOwnThread());
  EXPECT_FALSE(queue.isMainThread());
  std::vector<int> order;  // touched on the main thread only
  std::atomic<int> running{0};
  onThreads(3, [&](int p) {
    for (int i = 0; i < 100; ++i)
      queue.async([&, p, i] {
        EXPECT_LE(++running, 1);  // never two at once
        if (p == 0) order.push_back(i);
        --running;
      });
  });
  queue.waitUntilIdle();
  ASSERT_EQ(order.size(), 100u);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));  // each producer's blocks keep their order

  queue.sync([&] {
    EXPECT_TRUE(queue.isMainThread());  // not the caller's thread, which is not the main thread
    // sync from the main thread runs inline instead of waiting for itself.
    bool ran = false;
    queue.sync([&] { ran = true; });
    EXPECT_TRUE(ran);
  });
  EXPECT_THROW(queue.sync([] { throw std::runtime_error("from the main thread"); }), std::runtime_error);
}

TEST(MainQueue, WithNobodyPumpingSyncBlocksStillRunOneAtATimeThenTheHostPumps) {
  MainQueue queue;  // no thread pumps it: sync() runs blocks on their callers' threads
  // Many threads, many blocks: never two at once, none lost.
  int counter = 0;  // touched by blocks only
  std::atomic<int> running{0};
  onThreads(4, [&](int) {
    for (int i = 0; i < 500; ++i)
      queue.sync([&] {
        EXPECT_LE(++running, 1);  // never two at once
        ++counter;
        std::this_thread::yield();
        --running;
      });
  });
  EXPECT_EQ(counter, 2000);

  // A block may call sync() again on its own thread, and may throw to its caller.
  std::vector<int> order;
  queue.sync([&] {
    order.push_back(1);
    queue.sync([&] { order.push_back(2); });
    order.push_back(3);
  });
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
  EXPECT_THROW(queue.sync([] { throw std::runtime_error("inline"); }), std::runtime_error);
  EXPECT_THROW(queue.sync([&] { queue.sync([] { throw std::invalid_argument("nested"); }); }),
               std::invalid_argument);
  queue.sync([&] { ++counter; });  // the queue is free again after the exceptions
  EXPECT_EQ(counter, 2001);

  // A host that begins to pump meanwhile waits for the block that sync runs elsewhere.
  std::atomic<bool> inBlock{false}, release{false};
  std::thread worker([&] {
    queue.sync([&] {
      inBlock = true;
      while (!release) std::this_thread::yield();
      // A pump that does not wait would run its block meanwhile.
      for (int k = 0; k < 100000; ++k) std::this_thread::yield();
      inBlock = false;
    });
  });
  while (!inBlock) std::this_thread::yield();
  queue.async([&] { EXPECT_FALSE(inBlock.load()); });
  release = true;
  EXPECT_EQ(queue.drain(), 1u);
  worker.join();

  // The host pumps it itself from here on.
  order.clear();
  queue.async([&] {
    order.push_back(1);
    queue.async([&] { order.push_back(3); });  // added while draining: runs in the same drain
  });
  queue.async([&] { order.push_back(2); });
  EXPECT_EQ(queue.drain(), 3u);
  EXPECT_EQ(queue.drain(), 0u);

  // The thread that pumped stays the main thread between pumps: its sync runs inline.
  EXPECT_TRUE(queue.isMainThread());
  queue.sync([&] { order.push_back(4); });
  EXPECT_THAT(order, ElementsAre(1, 2, 3, 4));

  // A worker's sync waits until the host pumps again.
  std::atomic<bool> workerDone{false};
  worker = std::thread([&] {
    queue.sync([&] { EXPECT_TRUE(queue.isMainThread()); });
    workerDone = true;
  });
  EXPECT_TRUE(queue.runUntil([&] { return workerDone.load(); }, 30s));
  worker.join();

  EXPECT_FALSE(queue.runUntil([] { return false; }, 30ms));

  // run() goes on until a block stops it.
  queue.async([&] { order.push_back(5); });
  queue.async([&] { queue.stop(); });
  queue.async([&] { order.push_back(6); });
  queue.run();
  EXPECT_THAT(order, ElementsAre(1, 2, 3, 4, 5));
  EXPECT_EQ(queue.drain(), 1u);
}

TEST(NotificationCenter, PostCallsMatchingObserversInOrderOnThePostingThreadButNoRemovedOnesFromAnyThread) {
  NotificationCenter center;
  std::vector<std::string> calls;
  const auto poster = std::this_thread::get_id();
  const auto record = [&](std::string observer) {
    return [&, observer](const Notification& note) {
      calls.push_back(observer + " " + note.name);
      EXPECT_EQ(std::this_thread::get_id(), poster);
    };
  };
  center.addObserver("A", nullptr, nullptr, record("first"));
  auto token = center.addObserver(std::nullopt, nullptr, nullptr, record("any"));
  center.addObserver("B", nullptr, nullptr, record("b"));
  center.addObserver("A", nullptr, nullptr, record("second"));
  center.post("A");
  center.post("C");
  center.removeObserver(token);
  center.removeObserver(token);  // twice is harmless
  center.post("A");
  EXPECT_THAT(calls, ElementsAre("first A", "any A", "second A", "any C", "first A", "second A"));
  EXPECT_EQ(center.observerCount(), 3u);

  OperationQueue queue(1);
  Gate gate;
  queue.addOperation(gate.body());  // holds the queue until opened
  token = center.addObserver("Q", nullptr, &queue,
                             [](const Notification&) { ADD_FAILURE() << "delivered after its removal"; });
  center.post("Q");
  center.removeObserver(token);
  gate.open();
  queue.waitUntilAllOperationsAreFinished();

  // An observer may remove itself, add others and post from inside its block.
  NotificationObserverToken self;
  std::vector<std::string> seen;
  self = center.addObserver("Outer", nullptr, nullptr, [&](const Notification&) {
    seen.push_back("outer");
    center.removeObserver(self);
    center.addObserver("Inner", nullptr, nullptr, [&](const Notification&) { seen.push_back("inner"); });
    center.post("Inner");
  });
  center.post("Outer");
  center.post("Outer");
  EXPECT_THAT(seen, ElementsAre("outer", "inner"));

  // Registrations, posts and removals from many threads at once.
  std::atomic<int> hits{0};
  center.addObserver("Hit", nullptr, nullptr, [&](const Notification&) { ++hits; });
  onThreads(4, [&](int) {
    for (int i = 0; i < 200; ++i) {
      auto token = center.addObserver("Other", nullptr, nullptr, [](const Notification&) {});
      center.post("Hit");
      center.removeObserver(token);
    }
  });
  EXPECT_EQ(hits.load(), 800);
  EXPECT_EQ(center.observerCount(), 5u);  // "A", "B", "A", "Inner" and "Hit"
}

TEST(NoteSubscriber, DeliversToTheOwnerWhileBothLiveFromItsSenderOnItsQueue) {
  NotificationCenter center;
  using Received = std::vector<std::string>;  // the owner: what it received
  auto owner = std::make_shared<Received>();
  {
    NoteSubscriber subscriber(center);
    subscriber.name = "Ping";
    EXPECT_FALSE(subscriber.isObserving());
    subscriber.subscribe(owner, [](Received& self, const Notification& note) { self.push_back(note.name); });
    EXPECT_TRUE(subscriber.isObserving());
    center.post("Ping");
    center.post("Pong");
    EXPECT_EQ(*owner, Received{"Ping"});
  }
  EXPECT_EQ(center.observerCount(), 0u);  // the subscriber's end removes the observation

  // One that filters on its sender and delivers on its queue, until its owner is released.
  OperationQueue queue(1);
  auto sender = std::make_shared<int>(1), other = std::make_shared<int>(1);
  Received received;  // touched on the queue only
  NoteSubscriber filtering(center);
  filtering.name = "Changed";
  filtering.object = sender;
  filtering.queue = &queue;
  filtering.subscribe(owner, [&](Received&, const Notification& note) {
    EXPECT_TRUE(queue.isCurrentQueue());
    received.push_back(note.object == sender.get() ? "sender" : "other");
  });
  center.post("Changed", other.get());
  center.post("Changed", sender.get());
  queue.waitUntilAllOperationsAreFinished();
  owner.reset();
  center.post("Changed", sender.get());
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(received, Received{"sender"});
}

std::set<std::string> namesIn(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
  return names;
}

// The wait asks at once, then once a second of the clock's time until the time is up.
TEST(WaitFileExists, PresentAtOnceMissingAfterTheTimeAppearingMeanwhile) {
  // A clock whose waits make `file` appear once they add up to two seconds.
  struct AppearingFileClock : testing::InstantClock {
    fs::path file;
    void sleepFor(std::chrono::nanoseconds duration) override {
      InstantClock::sleepFor(duration);
      if (waited() >= 2s) testing::writeFile(file, "x");
    }
  } clock;
  testing::ScratchFolder folder;
  testing::writeFile(folder / "here", "x");
  clock.file = folder / "later";
  EXPECT_TRUE(waitFileExists(folder / "here", 3.0));
  EXPECT_FALSE(waitFileExists(folder / "missing", 0.0));  // one test, no wait
  EXPECT_EQ(clock.waited(), 0s);                           // neither waited
  EXPECT_TRUE(waitFileExists(folder / "later", 5.0));
  EXPECT_EQ(clock.waited(), 2s);
  EXPECT_FALSE(waitFileExists(folder / "missing", 3.0));
  EXPECT_EQ(clock.waited(), 5s);
}

TEST(NewFileNames, TemporaryURLsAreFreshRandomVersion4UUIDsAvailableItemURLsCountFromZeroBeforeTheExtension) {
  // "8-4-4-4-12" upper-case hexadecimal digits, version 4, variant 1.
  const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  const fs::path somewhere = "/some/folder";
  const auto bare = temporaryURL("", somewhere);
  EXPECT_EQ(bare.parent_path(), somewhere);
  EXPECT_TRUE(std::regex_match(bare.filename().string(), uuid)) << bare;  // no trailing dot
  // Each thread's names must differ from every other thread's: no shared or weak seed.
  constexpr int kThreads = 8, kEach = 2000;
  std::vector<std::vector<fs::path>> made(kThreads);
  onThreads(kThreads, [&](int t) {
    for (int i = 0; i < kEach; ++i) made[t].push_back(temporaryURL("json", somewhere));
  });
  std::set<fs::path> seen;
  for (const auto& list : made) seen.insert(list.begin(), list.end());
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(kThreads * kEach));
  for (const auto& url : seen)
    EXPECT_TRUE(url.extension() == ".json" && std::regex_match(url.stem().string(), uuid)) << url;

  testing::ScratchFolder folder;
  for (const char* name : {"x.jpg", "x (0).jpg", "README", "a.tar.gz", "y.jpg"})
    testing::writeFile(folder / name, "");
  fs::create_directory(folder / "Export");
  // Links count as their targets: one to nothing leaves a name free, one to a file takes it.
  fs::create_symlink(folder / "nowhere", folder / "dangling.jpg");
  fs::create_symlink(folder / "x.jpg", folder / "link.jpg");
  fs::create_symlink(folder / "nowhere", folder / "y (0).jpg");
  for (const auto& [asked, given] : std::vector<std::pair<std::string, std::string>>{
           {"free.jpg", "free.jpg"}, {"x.jpg", "x (1).jpg"}, {"README", "README (0)"},
           {"Export/", "Export (0)"}, {"a.tar.gz", "a.tar (0).gz"}, {"dangling.jpg", "dangling.jpg"},
           {"link.jpg", "link (0).jpg"}, {"y.jpg", "y (0).jpg"}})
    EXPECT_EQ(availableItemURL(folder / asked), folder / given) << asked;
}

TEST(FinderTags, LongListsCopiesRemovalMissingFilesAndFileSystemsWithoutThem) {
  std::error_code error;
  const fs::path procFile = "/proc/self/status";  // on a file system without user attributes
  EXPECT_TRUE(readFinderTags(procFile, error).empty());
  EXPECT_FALSE(error) << error.message();  // read: empty tags, no error
  writeFinderTags(procFile, {"A"}, error);
  EXPECT_TRUE(error);  // write: an error, not a crash

  testing::ScratchFolder folder;
  const auto file = folder / "tagged.jpg";
  const auto source = folder / "source.jpg";
  testing::writeFile(file, "x");
  testing::writeFile(source, "");
  std::vector<std::string> many;  // longer than a first guess of the attribute's size
  for (int i = 0; i < 200; ++i) many.push_back("tag number " + std::to_string(i));
  writeFinderTags(file, many, error);
  if (error == std::errc::operation_not_supported)
    GTEST_SKIP() << "the temporary folder's file system has no user attributes";
  ASSERT_FALSE(error) << error.message();
  copyFinderResourceValues(file, source);  // the source has no tags: the target keeps its own
  EXPECT_EQ(readFinderTags(file, error), many);
  testing::setFinderTags(source, {"Blue", "Trip"});
  copyFinderResourceValues(file, source);
  EXPECT_THAT(readFinderTags(file, error), ElementsAre("Blue", "Trip"));
  // Empty names that another program left in the attribute are no tags.
  ORVGetFileSystem()->writeAttribute(source, "user.xdg.tags", ",Blue,,Trip,", error);
  EXPECT_THAT(testing::finderTagsOf(source), ElementsAre("Blue", "Trip"));
  EXPECT_THROW(copyFinderResourceValues(file, folder / "missing"), fs::filesystem_error);
  EXPECT_THROW(copyFinderResourceValues(procFile, source), fs::filesystem_error);

  testing::setFinderTags(file, {});  // empty: the attribute goes
  EXPECT_TRUE(testing::finderTagsOf(file).empty());
  testing::setFinderTags(file, {});  // and removing none is fine

  writeFinderTags(folder / "missing", {"A"}, error);
  EXPECT_EQ(error, std::errc::no_such_file_or_directory);
}

TEST(FileSystemMove, RenamesButNeverReplacesNotEvenManyAtOnceAndAcrossFileSystemsCopiesWholeWithModeAndTime) {
  testing::ScratchFolder folder;
  auto* fileSystem = FileSystem::Default();
  std::error_code error;

  testing::writeFile(folder / "a.jpg", "A");
  fileSystem->moveItem(folder / "a.jpg", folder / "b.jpg", error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_FALSE(fs::exists(folder / "a.jpg"));
  EXPECT_EQ(testing::readFile(folder / "b.jpg"), "A");

  // Even a link to nothing takes the name.
  testing::writeFile(folder / "c.jpg", "C");
  fs::create_symlink(folder / "nowhere", folder / "link.jpg");
  fileSystem->moveItem(folder / "c.jpg", folder / "link.jpg", error);
  EXPECT_EQ(error, std::errc::file_exists);
  EXPECT_TRUE(fs::is_symlink(folder / "link.jpg"));

  fileSystem->moveItem(folder / "missing.jpg", folder / "d.jpg", error);
  EXPECT_EQ(error, std::errc::no_such_file_or_directory);
  EXPECT_FALSE(fs::exists(folder / "d.jpg"));

  // Folders move too.
  fs::create_directory(folder / "sub");
  testing::writeFile(folder / "sub" / "inside", "x");
  fileSystem->moveItem(folder / "sub", folder / "moved", error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_EQ(testing::readFile(folder / "moved" / "inside"), "x");

  // A check of the name followed by a plain rename lets a later move replace an earlier one.
  constexpr int kThreads = 8, kRounds = 40;
  for (int round = 0; round < kRounds; ++round) {
    const auto target = folder / ("target" + std::to_string(round));
    std::vector<fs::path> sources;
    for (int t = 0; t < kThreads; ++t) {
      sources.push_back(folder / ("source" + std::to_string(round) + "-" + std::to_string(t)));
      testing::writeFile(sources.back(), std::to_string(t));
    }
    std::barrier start(kThreads);
    std::vector<std::error_code> errors(kThreads);
    onThreads(kThreads, [&](int t) {
      start.arrive_and_wait();
      fileSystem->moveItem(sources[t], target, errors[t]);
    });
    int moved = 0;
    for (int t = 0; t < kThreads; ++t) {
      if (!errors[t]) {
        ++moved;
        EXPECT_EQ(testing::readFile(target), std::to_string(t));
        EXPECT_FALSE(fs::exists(sources[t]));
      } else {
        EXPECT_EQ(errors[t], std::errc::file_exists) << errors[t].message();
        EXPECT_EQ(testing::readFile(sources[t]), std::to_string(t));  // the loser keeps its file
      }
    }
    EXPECT_EQ(moved, 1) << "round " << round;
  }

  // /dev/shm is a memory file system on Linux: another device than the temporary folder.
  struct stat here {}, shm {};
  if (::stat(folder.path().c_str(), &here) != 0 || ::stat("/dev/shm", &shm) != 0 || here.st_dev == shm.st_dev ||
      ::access("/dev/shm", W_OK) != 0)
    GTEST_SKIP() << "no second writable file system here";
  testing::EnvironmentScope inMemory("TMPDIR", "/dev/shm");  // where the next scratch folder goes
  const testing::ScratchFolder other;

  const std::string contents(300000, 'z');
  const auto mode = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read;
  testing::writeFile(folder / "big.raw", contents);
  fs::permissions(folder / "big.raw", mode);
  const auto time = fs::file_time_type::clock::now() - std::chrono::hours(48);
  fs::last_write_time(folder / "big.raw", time);

  fileSystem->moveItem(folder / "big.raw", other / "big.raw", error);
  ASSERT_FALSE(error) << error.message();
  EXPECT_FALSE(fs::exists(folder / "big.raw"));
  EXPECT_EQ(testing::readFile(other / "big.raw"), contents);
  EXPECT_EQ(fs::status(other / "big.raw").permissions() & fs::perms::mask, mode);
  EXPECT_EQ(fs::last_write_time(other / "big.raw"), time);

  // A taken name on the other side: the source stays, nothing is left behind there.
  testing::writeFile(folder / "again.raw", "new");
  testing::writeFile(other / "again.raw", "old");
  fileSystem->moveItem(folder / "again.raw", other / "again.raw", error);
  EXPECT_EQ(error, std::errc::file_exists);
  EXPECT_EQ(testing::readFile(folder / "again.raw"), "new");
  EXPECT_EQ(testing::readFile(other / "again.raw"), "old");
  EXPECT_EQ(namesIn(other.path()), (std::set<std::string>{"again.raw", "big.raw"}));
}

TEST(UserDefaults, ValuesSurviveSynchronizeOnlyChangesAreCountedAndTheFileFollowsXDG) {
  testing::ScratchFolder folder;
  const auto path = folder / "config" / "defaults.json";
  {
    UserDefaults defaults(path);
    defaults.set("ORVUserLanguage", "German");
    defaults.set("ORVPresets", nlohmann::json::array({1, 2}));
    defaults.set("Flag", true);
    defaults.set("Not UTF-8", std::string("caf\xE9"));  // written with U+FFFD, not failing the file
    defaults.set("Gone", 1);
    auto count = ORVUserDefaultsChangeCount();
    defaults.remove("Gone");
    EXPECT_GT(ORVUserDefaultsChangeCount(), count);
    count = ORVUserDefaultsChangeCount();
    EXPECT_EQ(defaults.string("ORVUserLanguage"), "German");
    EXPECT_EQ(defaults.string("ORVPresets"), std::nullopt);  // not a text
    EXPECT_TRUE(defaults.boolean("Flag"));
    EXPECT_FALSE(defaults.boolean("ORVUserLanguage"));
    EXPECT_FALSE(defaults.boolean("Missing"));
    EXPECT_EQ(ORVUserDefaultsChangeCount(), count);  // reads change nothing
    EXPECT_FALSE(fs::exists(path));  // nothing is written before synchronize()
    EXPECT_TRUE(defaults.synchronize());
  }
  UserDefaults reread(path);
  EXPECT_THAT(reread.keys(), UnorderedElementsAre("ORVUserLanguage", "ORVPresets", "Flag", "Not UTF-8"));
  EXPECT_EQ(reread.object("ORVPresets"), nlohmann::json::array({1, 2}));
  EXPECT_EQ(reread.object("Missing"), std::nullopt);
  EXPECT_EQ(namesIn(folder / "config"), std::set<std::string>{"defaults.json"});

  // The default file follows XDG_CONFIG_HOME.
  testing::EnvironmentScope environment("XDG_CONFIG_HOME", "/config/here");
  EXPECT_EQ(UserDefaults::defaultFilePath(), "/config/here/orvelin/defaults.json");
  environment.set("XDG_CONFIG_HOME", std::nullopt);
  EXPECT_TRUE(UserDefaults::defaultFilePath().string().ends_with("/.config/orvelin/defaults.json"));
}

TEST(UserDefaults, ConcurrentSynchronizeKeepsTheLatestACorruptFileIsKeptAsideAFailedOneLeavesNothing) {
  testing::ScratchFolder folder;
  const auto path = folder / "defaults.json";
  UserDefaults shared(path);
  constexpr int threads = 4, rounds = 30;
  // Each round all threads add a key and synchronise at once; then the file holds every key so far.
  int round = 0;
  std::barrier roundEnd(threads, [&]() noexcept {
    ++round;
    EXPECT_EQ(UserDefaults(path).keys().size(), static_cast<std::size_t>(threads * round)) << round;
  });
  onThreads(threads, [&](int t) {
    for (int r = 0; r < rounds; ++r) {
      shared.set("key " + std::to_string(t) + " " + std::to_string(r), r);
      EXPECT_TRUE(shared.synchronize());
      roundEnd.arrive_and_wait();
    }
  });
  EXPECT_EQ(namesIn(folder.path()), std::set<std::string>{"defaults.json"});

  for (const std::string damaged : {"{\"a\": tru", "[1, 2]", ""}) {
    testing::writeFile(path, damaged);
    UserDefaults defaults(path);
    EXPECT_TRUE(defaults.keys().empty()) << damaged;
    EXPECT_EQ(testing::readFile(folder / "defaults.json.corrupt"), damaged);
    EXPECT_FALSE(fs::exists(path));
    defaults.set("a", 1);
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(UserDefaults(path).object("a"), 1);
    fs::remove(path);
  }

  // A failed synchronize leaves nothing behind.
  fs::remove(folder / "defaults.json.corrupt");
  fs::create_directory(path);  // a folder where the file should be
  UserDefaults defaults(path);
  defaults.set("a", 1);
  EXPECT_FALSE(defaults.synchronize());
  EXPECT_EQ(namesIn(folder.path()), std::set<std::string>{"defaults.json"});  // not kept aside as corrupt
  testing::writeFile(folder / "plain", "");
  EXPECT_FALSE(writeFileAtomically(folder / "plain" / "below", "x"));  // a file where a folder should be
}

TEST(DebugLog, EntriesFromManyThreadsStayWholeEnablingEmptiesTheFileDisablingEvaluatesAndWritesNothing) {
  testing::DebugLogCapture capture;  // also turns the log off at the end, whatever happens
  const auto headerLines = linesOf(capture.text()).size();
  ::testing::internal::CaptureStdout();
  onThreads(4, [](int t) {
    for (int i = 0; i < 200; ++i) ORVDebugLog("thread " + std::to_string(t) + " entry " + std::to_string(i));
  });
  EXPECT_EQ(linesOf(::testing::internal::GetCapturedStdout()).size(), 800u);
  const auto lines = linesOf(capture.text());
  ASSERT_EQ(lines.size(), headerLines + 800);
  std::set<std::string> entries(lines.begin() + static_cast<std::ptrdiff_t>(headerLines), lines.end());
  for (int t = 0; t < 4; ++t)
    for (int i = 0; i < 200; ++i)
      EXPECT_EQ(entries.count("thread " + std::to_string(t) + " entry " + std::to_string(i)), 1u);

  testing::ScratchFolder folder;
  const auto log = folder / "debug.log";
  testing::writeFile(log, "old content\n");
  ORVEnableDebugLog(log);
  int evaluated = 0;
  auto expensive = [&] {
    ++evaluated;
    return std::string("text");
  };
  ::testing::internal::CaptureStdout();
  ORVDebugLog("COMMAND: exiftool -ver");
  ORVEnableDebugLog(log);  // again with one URL: the file starts afresh
  ORVDebugLog(expensive());
  ORVAppendDebugFile("file only");
  // Every entry also goes to standard output, without the header.
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "COMMAND: exiftool -ver\ntext\n");
  EXPECT_EQ(evaluated, 1);
  const auto contents = testing::readFile(log);
  EXPECT_THAT(contents, StartsWith("Date: "));
  EXPECT_THAT(contents, Not(HasSubstr("COMMAND")));
  EXPECT_THAT(contents, EndsWith("\ntext\nfile only\n"));

  ORVDisableDebugLog();
  ::testing::internal::CaptureStdout();
  ORVDebugLog(expensive());
  ORVAppendDebugFile("file only");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(evaluated, 1);
  EXPECT_EQ(testing::readFile(log), contents);

  // A file that cannot be made leaves standard output only.
  ORVEnableDebugLog(folder / "no such folder" / "debug.log");
  ::testing::internal::CaptureStdout();
  ORVDebugLog("still printed");
  ORVAppendDebugFile("nowhere to go");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "still printed\n");
  EXPECT_FALSE(fs::exists(folder / "no such folder"));
}

ProcessResult runShell(const std::string& script) {
  return ProcessRunner::Default()->run({"/bin/sh", {"-c", script}, {}});
}

TEST(ProcessRunner, ReadsBothStreamsToTheLastWriterWithTheGivenEnvironmentNoInputNorOtherDescriptors) {
  // A grandchild holds the pipes open and writes once its parent has exited (a zombie until the
  // runner reaps it): reading goes on until the last writer is gone.
  auto result =
      runShell(R"sh((while [ "$(cut -d' ' -f3 /proc/$$/stat)" != Z ]; do :; done; echo late) & echo early)sh");
  EXPECT_EQ(result.standardOutput, "early\nlate\n");

  // The environment is exactly the one given.
  result = ProcessRunner::Default()->run({"/bin/sh", {"-c", "env | sort"}, {"A=1", "B=two words"}});
  EXPECT_THAT(result.standardOutput, HasSubstr("A=1\nB=two words\n"));
  EXPECT_THAT(result.standardOutput, Not(HasSubstr("HOME=")));

  // Standard input is /dev/null: a reader sees its end at once.
  result = runShell("cat; echo done");
  EXPECT_EQ(result.standardOutput, "done\n");

  // Enough on both pipes to fill them many times over while the other is being written.
  result = runShell("i=0; while [ $i -lt 20000 ]; do echo out$i; echo err$i >&2; i=$((i+1)); done");
  EXPECT_THAT(result.standardError, HasSubstr("err19999\n"));
  EXPECT_EQ(std::count(result.standardOutput.begin(), result.standardOutput.end(), '\n'), 20000);

  // A launch failure names what could not run.
  result = ProcessRunner::Default()->run({"/nonexistent/tool", {}, {}});
  EXPECT_FALSE(result.launched);
  EXPECT_THAT(result.standardError, HasSubstr("/nonexistent/tool"));

  // A descriptor opened without close-on-exec must not reach the child.
  const int leaky = ::open("/dev/null", O_RDONLY);
  ASSERT_GE(leaky, 0);
  result = ProcessRunner::Default()->run({"/bin/ls", {"/proc/self/fd"}, {}});
  ::close(leaky);
  // 0, 1, 2 and the one ls opens to read its folder.
  EXPECT_EQ(result.standardOutput, "0\n1\n2\n3\n");
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);  // every child reaped
  EXPECT_EQ(errno, ECHILD);
}

TEST(ProcessRunnerDeathTest, WorksWhenTheParentsStandardStreamsAreClosed) {
  // Pipe ends would take the numbers 0 to 2 and be lost in the child's set-up.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        ::close(STDIN_FILENO);
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
        const auto result = runShell("read x; echo \"out$x\"; echo err >&2");
        const bool ok = result.launched && result.exitStatus == 0 && result.standardOutput == "out\n" &&
                        result.standardError == "err\n";
        ::_exit(ok ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(StringsTable, EntriesEscapesCommentsAndMalformedEntries) {
  const auto table = parseStringsTable(
      "\xEF\xBB\xBF/* Localization.strings\n   Orvelin */\n\n"
      "\"plain\" = \"Plain text\";\n"
      "// a line comment with \"quotes\" and = ; signs\n"
      "\"quote\" = \"He said \\\"hi\\\"\";\n"
      "/* \"commented\" = \"out\"; */\n"
      "\"escapes\" = \"a\\\\b\\tc\\nd\\'e\";\n"
      "\"raw line feed\" = \"one\ntwo\";\n"
      "\"unicode\" = \"caf\\U00e9 \\U00E9t\\U00e9 \\Ud83d\\Ude00\";\n"
      "\"octal\" = \"\\101\\102\";\n"
      "bare_key = bare.value-1;\n"
      "\"self\";\n"
      "\"plain\" = \"Replaced\";\n"
      "   \"spaced\"\t=\n\"out\"  ;");
  EXPECT_THAT(table, UnorderedElementsAre(Pair("plain", "Replaced"), Pair("quote", "He said \"hi\""),
                                          Pair("escapes", "a\\b\tc\nd'e"), Pair("raw line feed", "one\ntwo"),
                                          Pair("unicode", "caf\u00e9 \u00e9t\u00e9 \U0001F600"), Pair("octal", "AB"),
                                          Pair("bare_key", "bare.value-1"), Pair("self", "self"),
                                          Pair("spaced", "out")));

  // The first malformed entry ends the table, keeping what came before.
  EXPECT_THAT(parseStringsTable("\"a\" = \"1\";\n\"b\" = \"2\"\n\"c\" = \"3\";"), UnorderedElementsAre(Pair("a", "1")));
  EXPECT_THAT(parseStringsTable("\"a\" = \"1\";\n\"b\" = \"unterminated;"), UnorderedElementsAre(Pair("a", "1")));
  EXPECT_THAT(parseStringsTable("\"a\" = \"1\"; /* open comment"), UnorderedElementsAre(Pair("a", "1")));
  EXPECT_TRUE(parseStringsTable("").empty());
  EXPECT_TRUE(parseStringsTable("= \"x\";").empty());
  // A lone surrogate cannot be UTF-8: it becomes U+FFFD.
  EXPECT_THAT(parseStringsTable("\"s\" = \"\\Ud800x\";"), UnorderedElementsAre(Pair("s", "\uFFFDx")));
}

TEST(Format, SpecifiersOfTheTexts) {
  EXPECT_EQ(ORVFormat("%@ has %d files", {std::string("Folder"), std::int64_t{3}}), "Folder has 3 files");
  EXPECT_EQ(ORVFormat("%ld of %lu, %lld", {std::int64_t{-2}, std::uint64_t{18446744073709551615u}, std::int64_t{7}}),
            "-2 of 18446744073709551615, 7");
  EXPECT_EQ(ORVFormat("%.2f%% done", {0.5 * 100.0 / 3.0}), "16.67% done");
  EXPECT_EQ(ORVFormat("%2$@ before %1$@", {std::string("one"), std::string("two")}), "two before one");
  EXPECT_EQ(ORVFormat("[%5d] [%-3d] [%03d]", {std::int64_t{42}, std::int64_t{7}, std::int64_t{5}}), "[   42] [7  ] [005]");
  EXPECT_EQ(ORVFormat("%@ and %@", {1.5, std::int64_t{3}}), "1.5 and 3");
  EXPECT_EQ(ORVFormat("%d", {std::string("12")}), "12");  // a text for a number is read as one
  EXPECT_EQ(ORVFormat("%d", {1e300}), "0");               // out of range: no undefined cast
  // Missing arguments leave nothing; unknown or cut specifiers stay as they are.
  EXPECT_EQ(ORVFormat("a%@b%dc", {}), "abc");
  EXPECT_EQ(ORVFormat("100%", {}), "100%");
  EXPECT_EQ(ORVFormat("%k", {std::string("x")}), "%k");
  EXPECT_EQ(ORVFormat("%lu %d %@", {std::size_t{4}, 5, "text"}), "4 5 text");  // from the usual types
}

TEST(ORVTL, LooksUpTheCurrentLocalisationThenEnglishThenGivesTheKeyFormatsAndFollowsEveryLanguageChange) {
  UserLanguageScope english(Language::english);
  EXPECT_EQ(ORVCurrentLocalizationName(), "English");
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "English");
  EXPECT_EQ(ORVTL(std::nullopt, "LanguageCzech"), "Czech");
  EXPECT_EQ(ORVTL("x"), "x");                                     // no table knows the key
  EXPECT_EQ(ORVTL("NoSuchTable", "LanguageCzech"), "LanguageCzech");  // nor a missing table
  // Up to four arguments; without any the text is not formatted.
  EXPECT_EQ(ORVTL("Copy %@ to %@", {"a.jpg", std::string("b")}), "Copy a.jpg to b");
  EXPECT_EQ(ORVTL(std::nullopt, "%d%d%d%d", {1, 2, 3, 4}), "1234");
  EXPECT_EQ(ORVTL("100%%"), "100%%");
  EXPECT_EQ(ORVTL("100%%", {1}), "100%");

  UserLanguageScope german(Language::german);
  EXPECT_EQ(ORVCurrentLocalizationName(), "Deutsch");
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "German");
  EXPECT_EQ(ORVTL("LanguageCzech"), "Tschechisch");
  EXPECT_EQ(ORVTL("MediaKindMovie"), "Movie");  // not translated: the English text
  // Written straight into the defaults, without the notifications.
  ORVGetUserDefaults()->set(Language::userLanguageKey(), "French");
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "French");
  EXPECT_EQ(ORVCurrentLocalizationName(), "Fran\u00e7ais");
  // Another defaults object put in place.
  testing::ScratchFolder folder;
  const auto previous = ORVGetUserDefaults();
  auto other = std::make_shared<UserDefaults>(folder / "other.json");
  other->set(Language::userLanguageKey(), "Italian");
  ORVSetUserDefaults(other);
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "Italian");
  other->remove(Language::userLanguageKey());
  other->set(Language::userLanguageKey(), "Swedish");
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "Swedish");
  ORVSetUserDefaults(previous);
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "French");
  // From many threads at once while the language changes: every text is one of the two.
  std::atomic<bool> stop{false};
  onThreads(4, [&](int t) {
    if (t == 0) {
      const auto key = Language::userLanguageKey();
      for (int i = 0; i <= 200; ++i) ORVGetUserDefaults()->set(key, i % 2 ? "French" : "Dutch");
      stop = true;
    }
    while (!stop) {
      const auto text = ORVTL("LanguageLocalValue");
      EXPECT_TRUE(text == "French" || text == "Dutch") << text;
    }
  });
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "Dutch");  // the last change holds
}

TEST(Separate, SplitsAtTheFirstOccurrenceAndTrimsTheWhitespacesSet) {
  EXPECT_EQ(separate("a:b:c", ":"), Parts({"a", "b:c"}));
  EXPECT_EQ(separate(" a : b ", ":"), Parts({"a", "b"}));
  EXPECT_EQ(separate("abc", ":"), std::nullopt);
  EXPECT_EQ(separate(":Make", ":"), Parts({"", "Make"}));
  EXPECT_EQ(separate("EXIF:", ":"), Parts({"EXIF", ""}));
  EXPECT_EQ(separate("key => value", "=>"), Parts({"key", "value"}));
  EXPECT_EQ(separate("abc", ""), std::nullopt);  // an empty separator is found nowhere
  // Tab, no-break space, en quad, ideographic space; then line feeds that stay.
  EXPECT_EQ(separate("\t\u00A0\u2000a\u3000:\u00A0b \t", ":"), Parts({"a", "b"}));
  EXPECT_EQ(separate("\na\n : \nb\n", ":"), Parts({"\na\n", "\nb\n"}));
  EXPECT_EQ(separate("\u00e9t\u00e9 : \u00e9", ":"), Parts({"\u00e9t\u00e9", "\u00e9"}));
  EXPECT_EQ(trimWhitespaces(" \u2003 "), "");
  EXPECT_EQ(trimWhitespaces("\xff x \xfe"), "\xff x \xfe");  // bytes that are not UTF-8 stay
}

TEST(ReplacePrefix, ReplacesTheFirstOccurrenceAnywhere) {
  for (const auto& [before, prefix, after] : std::vector<std::array<std::string, 3>>{
           {"/home/ann/Pictures/home/x.jpg", "/home/ann", "~/Pictures/home/x.jpg"},
           {"path /home/ann/x", "/home/ann", "path ~/x"},  // not tied to the start, in spite of the name
           {"abc", "x", "abc"},
           {"abc", "", "abc"},
       }) {
    std::string text = before;
    EXPECT_EQ(replacePrefix(text, prefix, "~"), before != after) << before;
    EXPECT_EQ(text, after) << before;
  }
}

TEST(CaptureMatches, OneArrayOfGroupTextsPerMatch) {
  const std::string number = "[-+]?[0-9]*\\.?[0-9]*";
  const auto matches = captureMatches("+48.858370\t2.294481", "\\s*(" + number + ")\\s*(" + number + ")\\s*");
  ASSERT_FALSE(matches.empty());
  EXPECT_THAT(matches[0], ElementsAre("+48.858370", "2.294481"));

  EXPECT_THAT(captureMatches("k1=v1, k2=v2", "(\\w+)=(\\w+)"),
              ElementsAre(ElementsAre("k1", "v1"), ElementsAre("k2", "v2")));
  EXPECT_THAT(captureMatches("ab", "a(x)?(b)"), ElementsAre(ElementsAre("", "b")));  // a group that took no part
  EXPECT_THAT(captureMatches("\u00e9t\u00e9 2024", "(\\p{L}+) (\\d+)"), ElementsAre(ElementsAre("\u00e9t\u00e9", "2024")));
  EXPECT_THAT(captureMatches("abc", "x(y)"), ElementsAre());
}

TEST(Lowercased, TheWholeTextByUnicodesDefaultMapping) {
  EXPECT_EQ(lowercased("MakerNotes"), "makernotes");
  EXPECT_EQ(lowercased("\u00C9T\u00C9 \u00C0 PARIS"), "\u00e9t\u00e9 \u00e0 paris");
  EXPECT_EQ(lowercased("\u0421\u041E\u041D\u0418"), "\u0441\u043E\u043D\u0438");  // Cyrillic
  EXPECT_EQ(lowercased("\u212A"), "k");                                          // Kelvin sign
  EXPECT_EQ(lowercased("\u0130"), "i\u0307");  // the same in every locale, Turkish included
  EXPECT_EQ(lowercased("\u65E5\u672C 123 _-"), "\u65E5\u672C 123 _-");  // no case: unchanged
  EXPECT_EQ(lowercased(""), "");
  EXPECT_EQ(lowercased("A\xFF" "B"), "a\uFFFDb");  // not UTF-8: replaced, never a crash
}

TEST(XMLHelpers, BooleanAttributeIsTrueOnlyForTrueItself) {
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(R"(<tag a="true" b="false" c="TRUE" d="" e="1"/>)"));
  const auto tag = document.child("tag");
  EXPECT_EQ(boolean(tag, "a"), true);
  for (const char* name : {"b", "c", "d", "e"}) EXPECT_EQ(boolean(tag, name), false) << name;
  EXPECT_EQ(boolean(tag, "missing"), std::nullopt);
}

}  // namespace
}  // namespace orvelin
