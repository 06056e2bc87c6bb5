// The strings tables, their look-up and formats; the string helpers.

#include "orvelin/support/localization.h"
#include "orvelin/support/string_extensions.h"
#include "orvelin/support/strings_table.h"
#include "orvelin/support/text_encoding.h"
#include "support/xml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "common/test_support.h"
#include "common/user_language.h"
#include "orvelin/exiftool/language.h"
#include "orvelin/support/user_defaults.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;
using testing::UserLanguageScope;
using Parts = std::optional<std::pair<std::string, std::string>>;

TEST(StringsTable, EntriesEscapesCommentsAndMalformedEntries) {
  const auto table = parseStringsTable(
      "\xEF\xBB\xBF/* Localization.strings\n   Orvelin */\n\n"
      "\"plain\" = \"Plain text\";\n"
      "// a line comment with \"quotes\" and = ; signs\n"
      "\"quote\" = \"He said \\\"hi\\\"\";\n"
      "/* \"commented\" = \"out\"; */\n"
      "\"escapes\" = \"a\\\\b\\tc\\nd\\'e\";\n"
      "\"raw line feed\" = \"one\ntwo\";\n"
      "\"unicode\" = \"caf\\U00e9 \\U00E9t\\U00e9 \\Ud83d\\Ude00\";\n"
      "\"octal\" = \"\\101\\102\";\n"
      "bare_key = bare.value-1;\n"
      "\"self\";\n"
      "\"plain\" = \"Replaced\";\n"
      "   \"spaced\"\t=\n\"out\"  ;");
  EXPECT_THAT(table, UnorderedElementsAre(Pair("plain", "Replaced"), Pair("quote", "He said \"hi\""),
                                          Pair("escapes", "a\\b\tc\nd'e"), Pair("raw line feed", "one\ntwo"),
                                          Pair("unicode", "caf\u00e9 \u00e9t\u00e9 \U0001F600"), Pair("octal", "AB"),
                                          Pair("bare_key", "bare.value-1"), Pair("self", "self"),
                                          Pair("spaced", "out")));

  // The first malformed entry ends the table, keeping what came before.
  EXPECT_THAT(parseStringsTable("\"a\" = \"1\";\n\"b\" = \"2\"\n\"c\" = \"3\";"), UnorderedElementsAre(Pair("a", "1")));
  EXPECT_THAT(parseStringsTable("\"a\" = \"1\";\n\"b\" = \"unterminated;"), UnorderedElementsAre(Pair("a", "1")));
  EXPECT_THAT(parseStringsTable("\"a\" = \"1\"; /* open comment"), UnorderedElementsAre(Pair("a", "1")));
  EXPECT_TRUE(parseStringsTable("").empty());
  EXPECT_TRUE(parseStringsTable("= \"x\";").empty());
  // A lone surrogate cannot be UTF-8: it becomes U+FFFD.
  EXPECT_THAT(parseStringsTable("\"s\" = \"\\Ud800x\";"), UnorderedElementsAre(Pair("s", "\uFFFDx")));
}

TEST(Format, SpecifiersOfTheTexts) {
  EXPECT_EQ(ORVFormat("%@ has %d files", {std::string("Folder"), std::int64_t{3}}), "Folder has 3 files");
  EXPECT_EQ(ORVFormat("%ld of %lu, %lld", {std::int64_t{-2}, std::uint64_t{18446744073709551615u}, std::int64_t{7}}),
            "-2 of 18446744073709551615, 7");
  EXPECT_EQ(ORVFormat("%.2f%% done", {0.5 * 100.0 / 3.0}), "16.67% done");
  EXPECT_EQ(ORVFormat("%2$@ before %1$@", {std::string("one"), std::string("two")}), "two before one");
  EXPECT_EQ(ORVFormat("[%5d] [%-3d] [%03d]", {std::int64_t{42}, std::int64_t{7}, std::int64_t{5}}), "[   42] [7  ] [005]");
  EXPECT_EQ(ORVFormat("%@ and %@", {1.5, std::int64_t{3}}), "1.5 and 3");
  EXPECT_EQ(ORVFormat("%d", {std::string("12")}), "12");  // a text for a number is read as one
  EXPECT_EQ(ORVFormat("%d", {1e300}), "0");               // out of range: no undefined cast
  // Missing arguments leave nothing; unknown or cut specifiers stay as they are.
  EXPECT_EQ(ORVFormat("a%@b%dc", {}), "abc");
  EXPECT_EQ(ORVFormat("100%", {}), "100%");
  EXPECT_EQ(ORVFormat("%k", {std::string("x")}), "%k");
  EXPECT_EQ(ORVFormat("%lu %d %@", {std::size_t{4}, 5, "text"}), "4 5 text");  // from the usual types
}

TEST(ORVTL, LooksUpTheCurrentLocalisationThenEnglishThenGivesTheKeyAndFormats) {
  {
    UserLanguageScope english(Language::english);
    EXPECT_EQ(ORVCurrentLocalizationName(), "English");
    EXPECT_EQ(ORVTL("LanguageLocalValue"), "English");
    EXPECT_EQ(ORVTL(std::nullopt, "LanguageCzech"), "Czech");
    EXPECT_EQ(ORVTL("x"), "x");                                     // no table knows the key
    EXPECT_EQ(ORVTL("NoSuchTable", "LanguageCzech"), "LanguageCzech");  // nor a missing table
    // Up to four arguments; without any the text is not formatted.
    EXPECT_EQ(ORVTL("Copy %@ to %@", {"a.jpg", std::string("b")}), "Copy a.jpg to b");
    EXPECT_EQ(ORVTL(std::nullopt, "%d%d%d%d", {1, 2, 3, 4}), "1234");
    EXPECT_EQ(ORVTL("100%%"), "100%%");
    EXPECT_EQ(ORVTL("100%%", {1}), "100%");
  }
  {
    UserLanguageScope german(Language::german);
    EXPECT_EQ(ORVCurrentLocalizationName(), "Deutsch");
    EXPECT_EQ(ORVTL("LanguageLocalValue"), "German");
    EXPECT_EQ(ORVTL("LanguageCzech"), "Tschechisch");
    EXPECT_EQ(ORVTL("MediaKindMovie"), "Movie");  // not translated: the English text
  }
}

TEST(ORVTL, FollowsEveryChangeOfTheUsersLanguage) {
  UserLanguageScope german(Language::german);
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "German");
  // Written straight into the defaults, without the notifications.
  ORVGetUserDefaults()->set(Language::userLanguageKey(), "French");
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "French");
  EXPECT_EQ(ORVCurrentLocalizationName(), "Fran\u00e7ais");
  // Another defaults object put in place.
  testing::ScratchFolder folder;
  const auto previous = ORVGetUserDefaults();
  auto other = std::make_shared<UserDefaults>(folder / "other.json");
  other->set(Language::userLanguageKey(), "Italian");
  ORVSetUserDefaults(other);
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "Italian");
  other->remove(Language::userLanguageKey());
  other->set(Language::userLanguageKey(), "Swedish");
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "Swedish");
  ORVSetUserDefaults(previous);
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "French");
  // From many threads at once while the language changes: every text is one of the two.
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t)
    readers.emplace_back([&] {
      while (!stop) {
        const auto text = ORVTL("LanguageLocalValue");
        if (text != "French" && text != "Dutch") ++wrong;
      }
    });
  for (int i = 0; i < 200; ++i) ORVGetUserDefaults()->set(Language::userLanguageKey(), i % 2 ? "French" : "Dutch");
  ORVGetUserDefaults()->set(Language::userLanguageKey(), "Dutch");
  stop = true;
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(ORVTL("LanguageLocalValue"), "Dutch");  // the last change holds
}

TEST(Separate, SplitsAtTheFirstOccurrenceAndTrimsTheWhitespacesSet) {
  EXPECT_EQ(separate("a:b:c", ":"), Parts({"a", "b:c"}));
  EXPECT_EQ(separate(" a : b ", ":"), Parts({"a", "b"}));
  EXPECT_EQ(separate("abc", ":"), std::nullopt);
  EXPECT_EQ(separate(":Make", ":"), Parts({"", "Make"}));
  EXPECT_EQ(separate("EXIF:", ":"), Parts({"EXIF", ""}));
  EXPECT_EQ(separate("key => value", "=>"), Parts({"key", "value"}));
  EXPECT_EQ(separate("abc", ""), std::nullopt);  // an empty separator is found nowhere
  // Tab, no-break space, en quad, ideographic space; then line feeds that stay.
  EXPECT_EQ(separate("\t\u00A0\u2000a\u3000:\u00A0b \t", ":"), Parts({"a", "b"}));
  EXPECT_EQ(separate("\na\n : \nb\n", ":"), Parts({"\na\n", "\nb\n"}));
  EXPECT_EQ(separate("\u00e9t\u00e9 : \u00e9", ":"), Parts({"\u00e9t\u00e9", "\u00e9"}));
  EXPECT_EQ(trimWhitespaces(" \u2003 "), "");
  EXPECT_EQ(trimWhitespaces("\xff x \xfe"), "\xff x \xfe");  // bytes that are not UTF-8 stay
}

TEST(ReplacePrefix, ReplacesTheFirstOccurrenceAnywhere) {
  std::string text = "/home/ann/Pictures/home/x.jpg";
  EXPECT_TRUE(replacePrefix(text, "/home/ann", "~"));
  EXPECT_EQ(text, "~/Pictures/home/x.jpg");
  text = "path /home/ann/x";  // not tied to the start, in spite of the name
  EXPECT_TRUE(replacePrefix(text, "/home/ann", "~"));
  EXPECT_EQ(text, "path ~/x");
  text = "abc";
  EXPECT_FALSE(replacePrefix(text, "x", "y"));
  EXPECT_FALSE(replacePrefix(text, "", "y"));
  EXPECT_EQ(text, "abc");
}

TEST(CaptureMatches, OneArrayOfGroupTextsPerMatch) {
  const std::string number = "[-+]?[0-9]*\\.?[0-9]*";
  const auto matches = captureMatches("+48.858370\t2.294481", "\\s*(" + number + ")\\s*(" + number + ")\\s*");
  ASSERT_FALSE(matches.empty());
  EXPECT_THAT(matches[0], ElementsAre("+48.858370", "2.294481"));

  EXPECT_THAT(captureMatches("k1=v1, k2=v2", "(\\w+)=(\\w+)"),
              ElementsAre(ElementsAre("k1", "v1"), ElementsAre("k2", "v2")));
  EXPECT_THAT(captureMatches("ab", "a(x)?(b)"), ElementsAre(ElementsAre("", "b")));  // a group that took no part
  EXPECT_THAT(captureMatches("\u00e9t\u00e9 2024", "(\\p{L}+) (\\d+)"), ElementsAre(ElementsAre("\u00e9t\u00e9", "2024")));
  EXPECT_THAT(captureMatches("abc", "x(y)"), ElementsAre());
}

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

TEST(XMLHelpers, BooleanAttributeIsTrueOnlyForTrueItself) {
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(R"(<tag a="true" b="false" c="TRUE" d="" e="1"/>)"));
  const auto tag = document.child("tag");
  EXPECT_EQ(boolean(tag, "a"), true);
  for (const char* name : {"b", "c", "d", "e"}) EXPECT_EQ(boolean(tag, name), false) << name;
  EXPECT_EQ(boolean(tag, "missing"), std::nullopt);
}

}  // namespace
}  // namespace orvelin
