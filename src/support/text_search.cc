#include "orvelin/support/text_search.h"

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/stsearch.h>
#include <unicode/tblcoll.h>
#include <unicode/unistr.h>

#include <cstring>
#include <string>

namespace orvelin {

namespace {

// The process locale, or the root one where ICU would take the POSIX locale.
icu::Locale searchLocale() {
  const icu::Locale locale = icu::Locale::getDefault();
  if (std::strcmp(locale.getVariant(), "POSIX") == 0 || std::strlen(locale.getLanguage()) == 0)
    return icu::Locale::getRoot();
  return locale;
}

// The number of UTF-8 bytes of the first `units` UTF-16 units of `text`.
std::size_t utf8Length(const icu::UnicodeString& text, int32_t units) {
  std::string bytes;
  text.tempSubString(0, units).toUTF8String(bytes);
  return bytes.size();
}

}  // namespace

struct InsensitiveSearch::State {
  icu::UnicodeString pattern;
  std::unique_ptr<icu::RuleBasedCollator> collator;
  std::unique_ptr<icu::StringSearch> search;  // made at the first find()
};

InsensitiveSearch::InsensitiveSearch(std::string_view pattern) : state_(std::make_unique<State>()) {
  state_->pattern = icu::UnicodeString::fromUTF8(icu::StringPiece(pattern.data(), static_cast<int32_t>(pattern.size())));
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(searchLocale(), status));
  if (U_FAILURE(status) || !collator) return;
  auto* rules = dynamic_cast<icu::RuleBasedCollator*>(collator.get());
  if (!rules) return;
  rules->setStrength(icu::Collator::PRIMARY);
  collator.release();
  state_->collator.reset(rules);
}

InsensitiveSearch::~InsensitiveSearch() = default;

std::optional<TextRange> InsensitiveSearch::find(std::string_view text) {
  auto& state = *state_;
  if (state.pattern.isEmpty() || !state.collator || text.empty()) return std::nullopt;
  const auto unicode = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  UErrorCode status = U_ZERO_ERROR;
  if (!state.search) {
    state.search = std::make_unique<icu::StringSearch>(state.pattern, unicode, state.collator.get(), nullptr, status);
  } else {
    state.search->setText(unicode, status);
  }
  if (U_FAILURE(status)) {
    state.search.reset();
    return std::nullopt;
  }
  const int32_t start = state.search->first(status);
  if (U_FAILURE(status) || start == USEARCH_DONE) return std::nullopt;
  const int32_t length = state.search->getMatchedLength();
  const std::size_t location = utf8Length(unicode, start);
  return TextRange{location, utf8Length(unicode, start + length) - location};
}

}  // namespace orvelin
