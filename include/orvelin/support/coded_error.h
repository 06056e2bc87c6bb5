#pragma once

#include <stdexcept>
#include <string>

namespace orvelin {

// The shape shared by the library's error types: one code of an enumeration and a fixed English
// text, which is also what(). A code may carry a detail, such as the line in which exiftool
// refused a write: what() is then the text, ": " and the detail. Texts are never localised.
//
// Each error type derives from it and supplies the text of each code through a static
// `text(Code)` (it must not declare an `errorDescription` of its own, which would hide these):
//
//   enum class ETMetadataReaderErrorCode { readerOutputIsEmpty, dataDecodingFailed };
//   class ETMetadataReaderError : public CodedError<ETMetadataReaderError, ETMetadataReaderErrorCode> {
//    public:
//     using CodedError::CodedError;
//     static const char* text(Code code);
//   };
//
// Values are copyable and safe to read from several threads.
template <typename Derived, typename CodeType>
class CodedError : public std::runtime_error {
 public:
  using Code = CodeType;

  explicit CodedError(Code code) : std::runtime_error(Derived::text(code)), code_(code) {}
  CodedError(Code code, const std::string& detail)
      : std::runtime_error(detail.empty() ? std::string(Derived::text(code)) : Derived::text(code) + (": " + detail)),
        code_(code),
        detail_(detail) {}

  Code code() const noexcept { return code_; }
  // What the code carries; empty for most.
  const std::string& detail() const noexcept { return detail_; }
  // The fixed English text of a code.
  static const char* errorDescription(Code code) { return Derived::text(code); }
  // The fixed English text of the code, with its detail.
  std::string errorDescription() const { return what(); }
  // The same text: error texts are not localised.
  std::string localizedDescription() const { return what(); }

  friend bool operator==(const CodedError& a, const CodedError& b) noexcept { return a.code_ == b.code_; }

 private:
  Code code_;
  std::string detail_;
};

}  // namespace orvelin
