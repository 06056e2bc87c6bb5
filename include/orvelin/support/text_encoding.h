#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvelin {

// Plain functions of their arguments, over ICU: safe from any thread, no state kept between
// calls.

// True when `bytes` is well-formed UTF-8.
bool isValidUTF8(std::string_view bytes);

// Decodes bytes written by a child process: as UTF-8 when they are valid UTF-8, else as
// Mac OS Roman (ICU's "macintosh" converter), returned as UTF-8. Absent when both fail.
std::optional<std::string> decodeUTF8OrMacRoman(std::string_view bytes);

// The NFC form of a UTF-8 text; the text itself when it is not valid UTF-8 or already NFC.
std::string nfcNormalized(std::string_view text);

// True when `text` is already in NFC (fast path, no allocation for ASCII).
bool isNFC(std::string_view text);

// The lower-case form of a UTF-8 text by Unicode's default case mapping, the same in every
// locale ("ÉTÉ" gives "été", "İ" gives "i̇"). Bytes that are not UTF-8 come back as U+FFFD.
std::string lowercased(std::string_view text);

}  // namespace orvelin
