#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvelin {

// The general pasteboard: the one text that copy and paste share. The library's one way to
// reach it, so that a host can put its own in place (see ORVSetPasteboard).
//
// Implementations must be safe for concurrent use by multiple threads; the library itself
// reaches the pasteboard from the main queue alone.
class Pasteboard {
 public:
  virtual ~Pasteboard() = default;

  // The text on the pasteboard; absent when it holds none (or it cannot be read).
  virtual std::optional<std::string> readString() = 0;
  // Replaces the pasteboard's content with `text`. Returns whether it worked.
  virtual bool writeString(std::string_view text) = 0;

  // The system's clipboard when the session has a display and a clipboard tool is installed
  // (wl-copy and wl-paste under Wayland, xclip under X11); else a pasteboard of this process
  // alone. Chosen once, at the first call. Belongs to the library and must never be deleted.
  static Pasteboard* Default();
};

// A pasteboard of this process alone: it holds the last text written.
class LocalPasteboard : public Pasteboard {
 public:
  std::optional<std::string> readString() override;
  bool writeString(std::string_view text) override;

 private:
  std::mutex mutex_;  // guards text_
  std::optional<std::string> text_;
};

// The system clipboard through two command-line tools run by ORVGetProcessRunner(): `reader`
// prints the clipboard's text, `writer` takes the new text on its standard input. Both run
// with the display variables of this process's environment (DISPLAY, WAYLAND_DISPLAY,
// XDG_RUNTIME_DIR, XAUTHORITY) and nothing else. A tool that cannot be started, fails, or
// does not finish within a few seconds leaves the clipboard unread (absent) or unwritten
// (false); a writer that stays in the background to serve the clipboard, as both tools do, is
// not waited for.
class CommandPasteboard : public Pasteboard {
 public:
  CommandPasteboard(std::filesystem::path reader, std::vector<std::string> readerArguments,
                    std::filesystem::path writer, std::vector<std::string> writerArguments);

  std::optional<std::string> readString() override;
  bool writeString(std::string_view text) override;

 private:
  const std::filesystem::path reader_, writer_;
  const std::vector<std::string> readerArguments_, writerArguments_;
};

// The pasteboard the library uses, Pasteboard::Default() unless set. The caller keeps ownership
// of what it sets and must keep it alive while it is installed; null restores the default.
// Meant to be set at start-up or in a test.
Pasteboard* ORVGetPasteboard();
void ORVSetPasteboard(Pasteboard* pasteboard);

}  // namespace orvelin
