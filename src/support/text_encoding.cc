#include "orvelin/support/text_encoding.h"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <memory>

#include "orvelin/support/string_extensions.h"

namespace orvelin {

bool isValidUTF8(std::string_view bytes) {
  const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
  const int32_t length = static_cast<int32_t>(bytes.size());
  int32_t offset = 0;
  while (offset < length) {
    if (data[offset] < 0x80) {
      ++offset;
      continue;
    }
    UChar32 c;
    U8_NEXT(data, offset, length, c);
    if (c < 0) return false;
  }
  return true;
}

std::optional<std::string> decodeUTF8OrMacRoman(std::string_view bytes) {
  if (isValidUTF8(bytes)) return std::string(bytes);
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open("macintosh", &status), &ucnv_close);
  if (U_FAILURE(status)) return std::nullopt;
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  icu::UnicodeString text(bytes.data(), static_cast<int32_t>(bytes.size()), converter.get(), status);
  if (U_FAILURE(status) || text.isBogus()) return std::nullopt;
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

namespace {

const icu::Normalizer2* nfc() {
  UErrorCode status = U_ZERO_ERROR;
  static const icu::Normalizer2* normalizer = icu::Normalizer2::getNFCInstance(status);
  return normalizer;
}

bool isASCII(std::string_view text) {
  for (unsigned char c : text)
    if (c >= 0x80) return false;
  return true;
}

}  // namespace

bool isNFC(std::string_view text) {
  if (isASCII(text)) return true;
  const auto* normalizer = nfc();
  if (!normalizer) return true;
  UErrorCode status = U_ZERO_ERROR;
  const auto utext = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  const bool result = normalizer->isNormalized(utext, status);
  return U_FAILURE(status) || result;
}

std::string nfcNormalized(std::string_view text) {
  if (isASCII(text) || !isValidUTF8(text)) return std::string(text);
  const auto* normalizer = nfc();
  if (!normalizer) return std::string(text);
  UErrorCode status = U_ZERO_ERROR;
  const auto utext = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  const auto normalized = normalizer->normalize(utext, status);
  if (U_FAILURE(status)) return std::string(text);
  std::string result;
  normalized.toUTF8String(result);
  return result;
}

std::string lowercased(std::string_view text) {
  if (isASCII(text)) return asciiLowercased(text);
  auto utext = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  std::string result;
  utext.toLower(icu::Locale::getRoot()).toUTF8String(result);
  return result;
}

}  // namespace orvelin
