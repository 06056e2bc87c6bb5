#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace orvelin {

// Runs the scripts that drive a photo library application, and asks for the right to. Linux
// has no such service: the library installs none, and a host that can drive such an
// application installs its own (see ORVSetScriptRunner). Implementations must be safe for
// concurrent use by multiple threads.
class ScriptRunner {
 public:
  virtual ~ScriptRunner() = default;
  // The status of the permission to send events to the application `bundleIdentifier`, asking
  // the user when needed: 0 when granted.
  virtual int determinePermission(const std::string& bundleIdentifier) = 0;
  // Runs `script`; absent when it ran without error, else its error record (key -> text).
  virtual std::optional<std::map<std::string, std::string>> execute(const std::string& script) = 0;
};

// The runner the library uses: null unless a host set one. Both calls are thread-safe; a
// runner stays alive while a caller still holds what ORVGetScriptRunner() gave, even when
// another is set meanwhile. Null removes the runner.
std::shared_ptr<ScriptRunner> ORVGetScriptRunner();
void ORVSetScriptRunner(std::shared_ptr<ScriptRunner> runner);

}  // namespace orvelin
