#pragma once

#include <string_view>

#include "orvelin/support/debug_log.h"

namespace orvelin {

// Prints a failure of the catalogue's reader or writer on the library's console (ORVPrint), and
// writes it to the debug log's file when the debug log is on. Safe from any thread.
inline void reportCatalogueFailure(std::string_view text) {
  ORVPrint(text);
  ORVAppendDebugFile(text);
}

}  // namespace orvelin
