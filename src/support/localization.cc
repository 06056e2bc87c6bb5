#include "orvelin/support/localization.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "orvelin/exiftool/language.h"
#include "orvelin/support/fatal.h"
#include "orvelin/support/files.h"
#include "orvelin/support/user_defaults.h"
#include "orvelin/version.h"

namespace orvelin {

namespace fs = std::filesystem;

// ---------------------------------------------------------------------------------------------
// Resources

namespace {

bool looksLikeResources(const fs::path& folder) {
  std::error_code error;
  return fs::exists(folder / "ExifTool" / "orvperl.sh", error);
}

fs::path findResourcesDirectory() {
  if (const char* env = std::getenv("ORVELIN_RESOURCES"); env && *env) return fs::path(env);
  Dl_info info{};
  if (::dladdr(reinterpret_cast<void*>(&ORVResourcesDirectory), &info) != 0 && info.dli_fname) {
    std::error_code error;
    const auto library = fs::weakly_canonical(fs::path(info.dli_fname), error);
    if (!error) {
      const auto candidate = (library.parent_path() / ORVELIN_LIBRARY_TO_RESOURCES).lexically_normal();
      if (looksLikeResources(candidate)) return candidate;
    }
  }
  return fs::path(ORVELIN_BUILD_RESOURCES_DIR);
}

}  // namespace

const fs::path& ORVResourcesDirectory() {
  static const auto* const directory = new fs::path(findResourcesDirectory());  // never destroyed
  return *directory;
}

std::optional<fs::path> ORVResourceURL(std::string_view name) {
  auto path = ORVResourcesDirectory() / fs::path(name);
  std::error_code error;
  if (!fs::exists(path, error)) return std::nullopt;
  return path;
}

std::string ORVBundleLabel(std::string_view className, std::string_view name) {
  std::string label = "Optional(\"" ORVELIN_IDENTIFIER "\")";
  label.append(".").append(className).append(".").append(name);
  return label;
}

const std::map<std::string, std::string>& ORVBundleInfo() {
  static const auto* const info = new std::map<std::string, std::string>{
      {"CFBundleName", ORVELIN_NAME},
      {"CFBundleIdentifier", ORVELIN_IDENTIFIER},
      {"CFBundleExecutable", "liborvelin.so"},
      {"CFBundleVersion", ORVELIN_VERSION},
      {"CFBundleShortVersionString", ORVELIN_VERSION},
  };
  return *info;
}

// ---------------------------------------------------------------------------------------------
// .strings tables

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

// ---------------------------------------------------------------------------------------------
// Formatting

namespace {

std::string argumentAsText(const ORVFormatArg& argument) {
  if (const auto* text = std::get_if<std::string>(&argument)) return *text;
  if (const auto* integer = std::get_if<std::int64_t>(&argument)) return std::to_string(*integer);
  if (const auto* natural = std::get_if<std::uint64_t>(&argument)) return std::to_string(*natural);
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, std::get<double>(argument));
  return std::string(buffer, result.ptr);
}

long long argumentAsInteger(const ORVFormatArg& argument) {
  if (const auto* integer = std::get_if<std::int64_t>(&argument)) return *integer;
  if (const auto* natural = std::get_if<std::uint64_t>(&argument)) return static_cast<long long>(*natural);
  if (const auto* real = std::get_if<double>(&argument)) {
    // Out-of-range doubles would be undefined behaviour in a plain cast.
    if (!(*real >= -9.2e18 && *real <= 9.2e18)) return 0;
    return static_cast<long long>(*real);
  }
  return std::strtoll(std::get<std::string>(argument).c_str(), nullptr, 10);
}

double argumentAsReal(const ORVFormatArg& argument) {
  if (const auto* real = std::get_if<double>(&argument)) return *real;
  if (const auto* integer = std::get_if<std::int64_t>(&argument)) return static_cast<double>(*integer);
  if (const auto* natural = std::get_if<std::uint64_t>(&argument)) return static_cast<double>(*natural);
  return std::strtod(std::get<std::string>(argument).c_str(), nullptr);
}

// Appends one printf conversion of `value`, at most 511 bytes of it; nothing when it fails.
template <typename Number>
void appendFormatted(std::string& out, const std::string& directive, Number value) {
  char buffer[512];
  const int length = std::snprintf(buffer, sizeof buffer, directive.c_str(), value);
  if (length < 0) return;
  out.append(buffer, std::min<std::size_t>(static_cast<std::size_t>(length), sizeof buffer - 1));
}

}  // namespace

std::string ORVFormat(std::string_view format, const std::vector<ORVFormatArg>& args) {
  std::string out;
  out.reserve(format.size() + 16);
  std::size_t nextArgument = 0;
  std::size_t i = 0;
  while (i < format.size()) {
    const char c = format[i];
    if (c != '%') {
      out.push_back(c);
      ++i;
      continue;
    }
    const std::size_t start = i++;
    if (i < format.size() && format[i] == '%') {
      out.push_back('%');
      ++i;
      continue;
    }
    // Optional position "N$".
    std::size_t position = 0;
    std::size_t j = i;
    while (j < format.size() && format[j] >= '0' && format[j] <= '9') position = position * 10 + (format[j++] - '0');
    std::size_t argumentIndex;
    if (j < format.size() && format[j] == '$' && position > 0) {
      argumentIndex = position - 1;
      i = j + 1;
    } else {
      argumentIndex = nextArgument++;
    }
    // Flags, width, precision.
    std::string directive = "%";
    while (i < format.size() && std::string_view("-+ #0'").find(format[i]) != std::string_view::npos)
      directive.push_back(format[i++]);
    while (i < format.size() && ((format[i] >= '0' && format[i] <= '9') || format[i] == '.'))
      directive.push_back(format[i++]);
    // Length modifiers are accepted and dropped.
    while (i < format.size() && std::string_view("hlqLzjt").find(format[i]) != std::string_view::npos) ++i;
    if (i >= format.size()) {
      out.append(format.substr(start));
      break;
    }
    const char conversion = format[i++];
    const ORVFormatArg* argument = argumentIndex < args.size() ? &args[argumentIndex] : nullptr;
    switch (conversion) {
      case '@':
        if (argument) out += argumentAsText(*argument);
        break;
      case 'd':
      case 'i':
      case 'u':
      case 'x':
      case 'X':
      case 'o': {
        if (!argument) break;
        const long long value = argumentAsInteger(*argument);
        directive += "ll";
        directive.push_back(conversion == 'i' ? 'd' : conversion);
        appendFormatted(out, directive, value);
        break;
      }
      case 'f':
      case 'F':
      case 'e':
      case 'E':
      case 'g':
      case 'G': {
        if (!argument) break;
        const double value = argumentAsReal(*argument);
        directive.push_back(conversion);
        appendFormatted(out, directive, value);
        break;
      }
      case 's':
        if (argument) out += argumentAsText(*argument);
        break;
      default:
        out.append(format.substr(start, i - start));
        break;
    }
  }
  return out;
}

// ---------------------------------------------------------------------------------------------
// Look-up

namespace {

using Table = std::map<std::string, std::string, std::less<>>;

class TableCache {
 public:
  std::shared_ptr<const Table> table(const std::string& localization, std::string_view name) {
    std::string cacheKey = localization;
    cacheKey.push_back('\0');
    cacheKey.append(name);
    {
      std::shared_lock lock(mutex_);
      if (auto found = tables_.find(cacheKey); found != tables_.end()) return found->second;
    }
    auto loaded = std::make_shared<const Table>(load(localization, name));
    std::unique_lock lock(mutex_);
    return tables_.try_emplace(std::move(cacheKey), std::move(loaded)).first->second;
  }

  void reset() {
    std::unique_lock lock(mutex_);
    tables_.clear();
  }

 private:
  static Table load(const std::string& localization, std::string_view name) {
    const auto& resources = ORVResourcesDirectory();
    const auto file = std::string(name) + ".strings";
    const auto folder = localization + ".lproj";
    Table table = readStringsFile(resources / folder / file);
    if (table.empty()) table = readStringsFile(resources / "Localized tags" / folder / file);
    return table;
  }

  std::shared_mutex mutex_;  // guards tables_
  std::unordered_map<std::string, std::shared_ptr<const Table>> tables_;
};

TableCache& tableCache() {
  static auto* cache = new TableCache;
  return *cache;
}

// The language whose locale code matches the process locale, English when none does.
Language languageOfProcessLocale() {
  const char* names[] = {"LC_ALL", "LC_MESSAGES", "LANG"};
  std::string locale;
  for (const char* name : names) {
    if (const char* value = std::getenv(name); value && *value) {
      locale = value;
      break;
    }
  }
  // "fr_FR.UTF-8@euro" -> language "fr", region "FR".
  locale = locale.substr(0, locale.find_first_of(".@"));
  const auto underscore = locale.find_first_of("_-");
  const std::string language = locale.substr(0, underscore);
  const std::string region = underscore == std::string::npos ? "" : locale.substr(underscore + 1);
  if (language == "zh") {
    return (region == "TW" || region == "HK" || region == "MO" || region == "Hant") ? Language::chineseTW
                                                                                   : Language::chineseCN;
  }
  // The cases in declaration order (not Language::all(), whose order is itself localised).
  for (std::size_t value = 0; value < Language::caseCount; ++value) {
    const Language candidate = static_cast<Language::Value>(value);
    const auto* names = Language::equivalentNames(candidate);
    if (names && (*names)[2] == language) return candidate;
  }
  return Language::english;
}

// The language of the current localisation, remembered with the moment it was worked out, so
// that a look-up takes neither the global lock nor a look-up in the user defaults. The word
// holds (stamp << 8) | language; the stamp counts the changes of the user defaults and the
// resets of the cache, so any of them makes the remembered language stale.
class LocalizationLanguageCache {
 public:
  Language current() {
    const std::uint64_t stamp = ORVUserDefaultsChangeCount() + resets_.load(std::memory_order_acquire);
    const std::uint64_t word = word_.load(std::memory_order_acquire);
    if (word != kEmpty && word >> 8 == stamp) return static_cast<Language::Value>(word & 0xFF);
    // Worked out from the stamp read before: a change made meanwhile leaves it stale.
    Language language = Language::userLanguage();
    if (language == Language::local) language = languageOfProcessLocale();
    word_.store(stamp << 8 | static_cast<std::uint64_t>(static_cast<Language::Value>(language)),
                std::memory_order_release);
    return language;
  }

  void reset() { resets_.fetch_add(1, std::memory_order_acq_rel); }

 private:
  static constexpr std::uint64_t kEmpty = ~std::uint64_t{0};
  std::atomic<std::uint64_t> word_{kEmpty};
  std::atomic<std::uint64_t> resets_{0};
};

LocalizationLanguageCache& localizationLanguageCache() {
  static auto* const cache = new LocalizationLanguageCache;
  return *cache;
}

// The folder name of a real language ("Deutsch").
const std::string& folderName(Language language) { return (*Language::equivalentNames(language))[0]; }

}  // namespace

std::string ORVCurrentLocalizationName() { return folderName(localizationLanguageCache().current()); }

std::string detail::localizedText(const std::optional<std::string_view>& table, std::string_view key,
                                  const std::vector<ORVFormatArg>& args) {
  if (args.size() > 4) ORVFatal("ORVTL doesn't support more than 4 arguments");
  const std::string_view tableName = table.value_or("Localizable");
  const Language localization = localizationLanguageCache().current();
  auto strings = tableCache().table(folderName(localization), tableName);
  auto entry = strings->find(key);
  if (entry == strings->end() && localization != Language::english) {
    strings = tableCache().table(folderName(Language::english), tableName);
    entry = strings->find(key);
  }
  std::string text = entry != strings->end() ? entry->second : std::string(key);
  if (args.empty()) return text;
  return ORVFormat(text, args);
}

void ORVResetLocalizationCache() {
  tableCache().reset();
  localizationLanguageCache().reset();
}

}  // namespace orvelin
