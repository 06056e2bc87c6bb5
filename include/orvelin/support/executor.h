#pragma once

#include <functional>

namespace orvelin {

// Something that runs blocks later, on threads of its own choice: the main queue, an
// operation queue. Implementations are safe for concurrent use by multiple threads.
class Executor {
 public:
  virtual ~Executor() = default;
  // Schedules `block` to run once. Never runs it inline.
  virtual void async(std::function<void()> block) = 0;
};

}  // namespace orvelin
