#include "orvelin/support/strings_table.h"

#include <optional>

#include "orvelin/support/files.h"

namespace orvelin {

namespace fs = std::filesystem;

namespace {

class StringsParser {
 public:
  explicit StringsParser(std::string_view text) : text_(text) {}

  std::map<std::string, std::string, std::less<>> parse() {
    std::map<std::string, std::string, std::less<>> table;
    if (text_.substr(0, 3) == "\xEF\xBB\xBF") pos_ = 3;
    for (;;) {
      skipBlanksAndComments();
      if (pos_ >= text_.size()) break;
      auto key = token();
      if (!key) break;
      skipBlanksAndComments();
      if (peek() == ';') {  // "key"; stands for "key" = "key";
        ++pos_;
        table.insert_or_assign(*key, *key);
        continue;
      }
      if (peek() != '=') break;
      ++pos_;
      skipBlanksAndComments();
      auto value = token();
      if (!value) break;
      skipBlanksAndComments();
      if (peek() != ';') break;
      ++pos_;
      table.insert_or_assign(std::move(*key), std::move(*value));
    }
    return table;
  }

 private:
  char peek() const { return pos_ < text_.size() ? text_[pos_] : '\0'; }

  void skipBlanksAndComments() {
    while (pos_ < text_.size()) {
      const char c = text_[pos_];
      if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
        ++pos_;
      } else if (text_.substr(pos_, 2) == "/*") {
        const auto end = text_.find("*/", pos_ + 2);
        pos_ = end == std::string_view::npos ? text_.size() : end + 2;
      } else if (text_.substr(pos_, 2) == "//") {
        const auto end = text_.find('\n', pos_);
        pos_ = end == std::string_view::npos ? text_.size() : end + 1;
      } else {
        return;
      }
    }
  }

  static bool isBareCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '.' ||
           c == '-' || c == ':' || c == '$' || c == '/' || c == '+';
  }

  std::optional<std::string> token() {
    if (peek() == '"') return quoted();
    const auto start = pos_;
    while (pos_ < text_.size() && isBareCharacter(text_[pos_])) ++pos_;
    if (pos_ == start) return std::nullopt;
    return std::string(text_.substr(start, pos_ - start));
  }

  static void appendUTF8(std::string& out, unsigned codePoint) {
    if (codePoint < 0x80) {
      out.push_back(static_cast<char>(codePoint));
    } else if (codePoint < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (codePoint >> 6)));
      out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    } else if (codePoint < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (codePoint >> 12)));
      out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (codePoint >> 18)));
      out.push_back(static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    }
  }

  static bool isHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
  }

  // Up to `digits` hexadecimal digits; absent when there is none.
  std::optional<unsigned> hex(std::size_t digits) {
    unsigned value = 0;
    std::size_t count = 0;
    while (count < digits && pos_ < text_.size() && isHexDigit(text_[pos_])) {
      const char c = text_[pos_++];
      value = (value << 4) | static_cast<unsigned>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
      ++count;
    }
    if (count == 0) return std::nullopt;
    return value;
  }

  // \Uxxxx, after the "U". Two escapes may spell a surrogate pair; a lone surrogate gives U+FFFD.
  void unicodeEscape(std::string& out) {
    auto codePoint = hex(4);
    if (!codePoint) {
      out.push_back('U');
      return;
    }
    if (*codePoint >= 0xD800 && *codePoint < 0xDC00) {
      const auto mark = pos_;
      if (text_.substr(pos_, 2) == "\\U") {
        pos_ += 2;
        const auto low = hex(4);
        if (low && *low >= 0xDC00 && *low < 0xE000) {
          appendUTF8(out, 0x10000 + ((*codePoint - 0xD800) << 10) + (*low - 0xDC00));
          return;
        }
        pos_ = mark;
      }
      appendUTF8(out, 0xFFFD);
      return;
    }
    if (*codePoint >= 0xDC00 && *codePoint < 0xE000) codePoint = 0xFFFD;
    appendUTF8(out, *codePoint);
  }

  // \ooo, after the first digit: up to three octal digits in all.
  void octalEscape(std::string& out, char first) {
    unsigned value = static_cast<unsigned>(first - '0');
    for (int i = 0; i < 2 && pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '7'; ++i)
      value = value * 8 + static_cast<unsigned>(text_[pos_++] - '0');
    appendUTF8(out, value);
  }

  std::optional<std::string> quoted() {
    ++pos_;  // opening quote
    std::string out;
    while (pos_ < text_.size()) {
      const char c = text_[pos_++];
      if (c == '"') return out;
      if (c != '\\') {
        out.push_back(c);
        continue;
      }
      if (pos_ >= text_.size()) return std::nullopt;
      const char escaped = text_[pos_++];
      switch (escaped) {
        case 'a': out.push_back('\a'); break;
        case 'b': out.push_back('\b'); break;
        case 'f': out.push_back('\f'); break;
        case 'n': out.push_back('\n'); break;
        case 'r': out.push_back('\r'); break;
        case 't': out.push_back('\t'); break;
        case 'v': out.push_back('\v'); break;
        case 'U': unicodeEscape(out); break;
        case '0': case '1': case '2': case '3': case '4': case '5': case '6': case '7':
          octalEscape(out, escaped);
          break;
        default: out.push_back(escaped); break;  // \" \\ \' and any other character stand for themselves
      }
    }
    return std::nullopt;  // unterminated
  }

  std::string_view text_;
  std::size_t pos_ = 0;
};

}  // namespace

std::map<std::string, std::string, std::less<>> parseStringsTable(std::string_view text) {
  return StringsParser(text).parse();
}

std::map<std::string, std::string, std::less<>> readStringsFile(const fs::path& path) {
  auto contents = readFileContents(path);
  if (!contents) return {};
  return parseStringsTable(*contents);
}

}  // namespace orvelin
