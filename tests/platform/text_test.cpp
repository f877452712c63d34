#include "platform/text.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/finder_order.h"

namespace tovrin {
namespace {

/// The names, shuffled and then sorted by their keys.
std::vector<std::string> sortedByKey(std::vector<std::string> names, const FinderOrder& order) {
  std::ranges::shuffle(names, std::mt19937(7));
  std::ranges::sort(names, {}, [&](const std::string& name) { return order.sortKey(name); });
  return names;
}

std::vector<std::string> inEnglish(const std::vector<std::string>& names) {
  return sortedByKey(names, FinderOrder("en_US"));
}

TEST(CanonicalForm, isTheComposedForm) {
  EXPECT_EQ(canonicalForm("e\u0301"), "é");
  EXPECT_EQ(canonicalForm("é"), "é");
  EXPECT_EQ(canonicalForm("\u212B"), "\u00C5");          // the sign for ångström
  EXPECT_EQ(canonicalForm("\u1112\u1161\u11AB"), "한");  // three letters of one syllable
  EXPECT_EQ(canonicalForm("a\u0323\u0307"), canonicalForm("a\u0307\u0323"));
}

TEST(CanonicalForm, leavesCompatibilityFormsApart) {
  EXPECT_NE(canonicalForm("ﬁ"), canonicalForm("fi"));
  EXPECT_NE(canonicalForm("Ａ"), canonicalForm("A"));
  EXPECT_NE(canonicalForm("²"), canonicalForm("2"));
}

TEST(CanonicalForm, changesNothingInASCIIAndTheSecondTime) {
  std::string ascii;
  for (char c = 0; c < 0x7F; ++c) ascii += c;
  EXPECT_EQ(canonicalForm(ascii), ascii);
  EXPECT_EQ(canonicalForm(""), "");
  const std::string once = canonicalForm("re\u0301sume\u0301 日本 😀");
  EXPECT_EQ(canonicalForm(once), once);
}

TEST(CanonicalForm, seesAMarkWhereverItStands) {
  for (std::size_t before = 0; before < 20; ++before) {
    for (std::size_t after = 0; after < 20; ++after) {
      const std::string text = std::string(before, 'x') + "e\u0301" + std::string(after, 'x');
      ASSERT_EQ(canonicalForm(text), std::string(before, 'x') + "é" + std::string(after, 'x'));
    }
  }
}

TEST(CanonicalForm, keepsLongTexts) {
  std::string decomposed;
  std::string composed;
  for (int i = 0; i < 100'000; ++i) {
    decomposed += "e\u0301";
    composed += "é";
  }
  EXPECT_EQ(canonicalForm(decomposed), composed);
}

TEST(CanonicalForm, ordersByScalarValueAndNotByUTF16) {
  EXPECT_LT(canonicalForm("\uFF5E"), canonicalForm("😀"));
  EXPECT_LT(canonicalForm("Z"), canonicalForm("a"));
  EXPECT_LT(canonicalForm("z"), canonicalForm("é"));
}

TEST(CanonicalEquality, ignoresNormalization) {
  EXPECT_TRUE(canonicallyEqual("", ""));
  EXPECT_TRUE(canonicallyEqual("/a/é", "/a/e\u0301"));
  EXPECT_TRUE(canonicallyEqual(";", "\u037E"));  // the Greek question mark
  EXPECT_FALSE(canonicallyEqual("e", "é"));
  EXPECT_FALSE(canonicallyEqual("a", "A"));
  EXPECT_FALSE(canonicallyEqual("a", "aa"));
}

TEST(CanonicalPrefix, comparesByCanonicalEquivalence) {
  EXPECT_TRUE(hasCanonicalPrefix("/Users/é/x", "/Users/e\u0301/"));
  EXPECT_TRUE(hasCanonicalPrefix("/Users/e\u0301/x", "/Users/é/"));
  EXPECT_TRUE(hasCanonicalPrefix("/Users/é/x", "/Users/é/"));
  EXPECT_TRUE(hasCanonicalPrefix("\u212Am", "K"));  // the kelvin sign
  EXPECT_FALSE(hasCanonicalPrefix("/Users/é/x", "/Users/e/"));
  EXPECT_FALSE(hasCanonicalPrefix("/Users/a/PhotosArchive/x", "/Users/a/Photos/"));
}

TEST(CanonicalPrefix, isTrueForTheWholeTextAndForNothing) {
  EXPECT_TRUE(hasCanonicalPrefix("abc", "abc"));
  EXPECT_TRUE(hasCanonicalPrefix("abc", ""));
  EXPECT_TRUE(hasCanonicalPrefix("", ""));
  EXPECT_TRUE(hasCanonicalPrefix("\u0301", ""));
  EXPECT_TRUE(hasCanonicalPrefix("é", "e\u0301"));
  EXPECT_FALSE(hasCanonicalPrefix("", "a"));
  EXPECT_FALSE(hasCanonicalPrefix("ab", "abc"));
}

TEST(CanonicalPrefix, endsOnlyBetweenWholeCharacters) {
  EXPECT_FALSE(hasCanonicalPrefix("e\u0301", "e"));
  EXPECT_FALSE(hasCanonicalPrefix("/a/\u0301b", "/a/"));  // the mark joins the slash
  EXPECT_FALSE(hasCanonicalPrefix("/a/\u0903b", "/a/"));  // so does a spacing mark
  EXPECT_FALSE(hasCanonicalPrefix("/a/\u200Db", "/a/"));  // and a joiner
  EXPECT_FALSE(hasCanonicalPrefix("\r\n", "\r"));
  EXPECT_FALSE(hasCanonicalPrefix("👩\u200D🚀", "👩"));
  EXPECT_FALSE(hasCanonicalPrefix("🇩🇪", "🇩"));
  EXPECT_FALSE(hasCanonicalPrefix("\u1112\u1161\u11AB", "\u1112"));
  EXPECT_FALSE(hasCanonicalPrefix("é\u0323x", "é"));
  EXPECT_TRUE(hasCanonicalPrefix("/a/éb", "/a/"));
  EXPECT_TRUE(hasCanonicalPrefix("/a/日", "/a/"));
  EXPECT_TRUE(hasCanonicalPrefix("/a/😀", "/a/"));
  EXPECT_TRUE(hasCanonicalPrefix("日本", "日"));
  EXPECT_TRUE(hasCanonicalPrefix("🇩🇪🇫🇷", "🇩🇪"));
  EXPECT_TRUE(hasCanonicalPrefix("a\rb", "a\r"));
  EXPECT_TRUE(hasCanonicalPrefix("\n\u0301", "\n"));  // nothing joins a control character
}

TEST(FinderOrder, isThatOfFinderInEnglish) {
  const std::vector<std::string> names{
      " space", "_x",     "-dash",  ".hidden", "(1)",      "[x]",   "#h",    "~t",     "$y",
      "1",      "１",     "2",      "10",      "a",        "A",     "Ａ",    "ä",      "Ä",
      "ae",     "b",      "B",      "e",       "E",        "é",     "f",     "file",   "file (1).txt",
      "file 2", "file_2", "file-2", "file.2",  "file.txt", "file2", "File2", "file10", "n",
      "ñ",      "resume", "résumé", "Résumé",  "ss",       "ß",     "z",     "Z",      "Я",
      "日本"};
  EXPECT_EQ(inEnglish(names), names);
}

TEST(FinderOrder, comparesNumbersByValue) {
  const std::vector<std::string> names{
      "file1", "file2", "file9", "file10", "file99", "file100", "file18446744073709551616"};
  EXPECT_EQ(inEnglish(names), names);
}

TEST(FinderOrder, putsTheShorterOfEqualNumbersFirst) {
  const std::vector<std::string> names{"file2", "file02", "file002", "file10"};
  EXPECT_EQ(inEnglish(names), names);
}

TEST(FinderOrder, putsASCIIDigitsBeforeOtherDigitsOfTheSameNumber) {
  const std::vector<std::string> names{"12", "１２", "012", "０１２", "13"};
  EXPECT_EQ(inEnglish(names), names);
}

TEST(FinderOrder, decidesByTheFirstRunThatDiffersInLength) {
  const std::vector<std::string> names{"1-1", "1-01", "1-001", "01-1", "01-01"};
  EXPECT_EQ(inEnglish(names), names);
}

TEST(FinderOrder, letsALaterDifferenceDecideOverLeadingZeros) {
  const std::vector<std::string> names{"file02a", "file2b", "file002c"};
  EXPECT_EQ(inEnglish(names), names);
}

TEST(FinderOrder, putsVeryLongRunsOfZerosInOrderOfLength) {
  std::vector<std::string> names;
  for (const std::size_t zeros : {0u, 1u, 100u, 253u, 254u, 255u, 256u, 1000u})
    names.push_back(std::string(zeros, '0') + "7");
  EXPECT_EQ(inEnglish(names), names);
}

TEST(FinderOrder, putsLowerCaseFirst) {
  const std::vector<std::string> names{"abc", "abC", "aBc", "ABC", "abd"};
  EXPECT_EQ(inEnglish(names), names);
}

TEST(FinderOrder, breaksTheLastTieByCodeUnits) {
  const FinderOrder order("en_US");
  EXPECT_NE(order.sortKey("é"), order.sortKey("e\u0301"));
  EXPECT_LT(order.sortKey("e\u0301"), order.sortKey("é"));
  EXPECT_LT(order.sortKey("a\u0001"), order.sortKey("a\u0002"));  // characters that collation does not see
}

TEST(FinderOrder, tellsAllTextsApartAndHoldsNUL) {
  using namespace std::string_literals;
  const FinderOrder order("en_US");
  EXPECT_NE(order.sortKey("a"), order.sortKey("a\0"s));
  EXPECT_NE(order.sortKey(""), order.sortKey("\0"s));
  EXPECT_LT(order.sortKey(""), order.sortKey("a"));
  EXPECT_EQ(order.sortKey("a"), order.sortKey("a"));
}

TEST(FinderOrder, keepsItsOrderForNamesLongerThanItsBuffer) {
  const FinderOrder order("en_US");
  const std::string start(5000, 'x');
  EXPECT_LT(order.sortKey(start + "2"), order.sortKey(start + "10"));
  EXPECT_LT(order.sortKey(start), order.sortKey(start + "a"));
}

TEST(FinderOrder, followsTheLocale) {
  const std::vector<std::string> swedish{"a", "z", "å", "ä", "ö"};
  EXPECT_EQ(sortedByKey(swedish, FinderOrder("sv_SE")), swedish);
  EXPECT_EQ(sortedByKey(swedish, FinderOrder("sv_SE.UTF-8")), swedish);
  const std::vector<std::string> english{"a", "å", "ä", "ö", "z"};
  EXPECT_EQ(inEnglish(swedish), english);
}

TEST(FinderOrder, sortsByRootRulesInAnUnknownLocale) {
  EXPECT_LT(FinderOrder("xx_XX").sortKey("file2"), FinderOrder("xx_XX").sortKey("file10"));
}

TEST(FinderOrder, givesEveryTextItsPlace) {
  const std::vector<std::string_view> names{"file10", "File2", "a", "file2"};
  EXPECT_EQ(finderOrder(names), (std::vector<std::uint32_t>{2, 3, 1, 0}));
  EXPECT_TRUE(finderOrder({}).empty());
}

TEST(FinderOrder, keepsEqualTextsInTheOrderGiven) {
  const std::vector<std::string_view> names{"b", "a", "b", "a", "b"};
  EXPECT_EQ(finderOrder(names), (std::vector<std::uint32_t>{1, 3, 0, 2, 4}));
}

TEST(FinderOrder, isTheSameOnEveryThread) {
  const std::vector<std::string_view> names{"file10", "File2", "é", "日本", ""};
  const std::vector<std::uint32_t> expected = finderOrder(names);
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) EXPECT_EQ(finderOrder(names), expected);
    });
  }
}

TEST(CollationLocale, comesFromTheEnvironment) {
  for (const char* name : {"LC_ALL", "LC_COLLATE", "LANG"}) unsetenv(name);
  EXPECT_EQ(userCollationLocale(), "en_US");
  for (const char* value : {"C", "POSIX", "C.UTF-8", "C.utf8", "", ".UTF-8"}) {
    setenv("LANG", value, 1);
    EXPECT_EQ(userCollationLocale(), "en_US") << value;
  }
  setenv("LANG", "sv_SE.UTF-8", 1);
  EXPECT_EQ(userCollationLocale(), "sv_SE.UTF-8");
  setenv("LC_COLLATE", "de_DE@euro", 1);
  EXPECT_EQ(userCollationLocale(), "de_DE@euro");
  setenv("LC_ALL", "fr_FR", 1);
  EXPECT_EQ(userCollationLocale(), "fr_FR");
  setenv("LC_ALL", "", 1);
  EXPECT_EQ(userCollationLocale(), "de_DE@euro");
}

}  // namespace
}  // namespace tovrin
