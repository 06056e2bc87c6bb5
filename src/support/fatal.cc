#include "orvelin/support/fatal.h"

#include <cstdio>
#include <cstdlib>

namespace orvelin {

void ORVFatal(std::string_view message) {
  std::fprintf(stderr, "Fatal error: %.*s\n", static_cast<int>(message.size()), message.data());
  std::fflush(stderr);
  std::abort();
}

}  // namespace orvelin
