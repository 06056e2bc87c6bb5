#pragma once

#include <string_view>

namespace orvelin {

// Stops the process on a programming fault: prints "Fatal error: <message>" to standard
// error and aborts. Never returns. Thread-safe.
[[noreturn]] void ORVFatal(std::string_view message);

}  // namespace orvelin
