#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace orvelin {

// A byte range of a UTF-8 text.
struct TextRange {
  std::size_t location = 0;
  std::size_t length = 0;

  friend bool operator==(const TextRange&, const TextRange&) = default;
};

// Finds a text in others, ignoring case and diacritics ("ETE" is found in "Été"), by the
// collation of the process locale (the root collation under the C and POSIX locales, whose own
// keeps accents and case apart).
//
// Preparing a search costs far more than running it: make one for a pattern and run it over
// many texts. One thread at a time may use an instance.
class InsensitiveSearch {
 public:
  explicit InsensitiveSearch(std::string_view pattern);
  InsensitiveSearch(const InsensitiveSearch&) = delete;
  InsensitiveSearch& operator=(const InsensitiveSearch&) = delete;
  ~InsensitiveSearch();

  // The first match of the pattern in `text`; absent when there is none, or the pattern is empty.
  std::optional<TextRange> find(std::string_view text);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace orvelin
