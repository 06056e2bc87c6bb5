#include "orvelin/support/text_encoding.h"

#include <gtest/gtest.h>

namespace orvelin {
namespace {

TEST(Lowercased, TheWholeTextByUnicodesDefaultMapping) {
  EXPECT_EQ(lowercased("MakerNotes"), "makernotes");
  EXPECT_EQ(lowercased("\u00C9T\u00C9 \u00C0 PARIS"), "\u00e9t\u00e9 \u00e0 paris");
  EXPECT_EQ(lowercased("\u0421\u041E\u041D\u0418"), "\u0441\u043E\u043D\u0438");  // Cyrillic
  EXPECT_EQ(lowercased("\u212A"), "k");                                          // Kelvin sign
  EXPECT_EQ(lowercased("\u0130"), "i\u0307");  // the same in every locale, Turkish included
  EXPECT_EQ(lowercased("\u65E5\u672C 123 _-"), "\u65E5\u672C 123 _-");  // no case: unchanged
  EXPECT_EQ(lowercased(""), "");
  EXPECT_EQ(lowercased("A\xFF" "B"), "a\uFFFDb");  // not UTF-8: replaced, never a crash
}

}  // namespace
}  // namespace orvelin
