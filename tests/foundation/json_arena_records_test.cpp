#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "foundation/json/decoder.h"
#include "foundation/json/encoder.h"

namespace tovrin {

struct Berry {
  std::string_view name;
  std::int64_t weight = 0;

  friend bool operator==(const Berry&, const Berry&) = default;
};

struct Knot {
  ArenaOptional<std::int64_t> rings;
  ArenaList<Berry> galls;

  friend bool operator==(const Knot&, const Knot&) = default;
};

struct Twig {
  std::string_view path;
  std::string_view name;
  std::int64_t length = 0;
  PackedOptional<std::string_view> note;
  PackedOptional<std::int64_t> age;
  ArenaOptional<std::string_view> rareText;
  ArenaOptional<std::int64_t> rareNumber;
  ArenaList<Berry> berries;
  ArenaRecord<Knot> knot;

  friend bool operator==(const Twig&, const Twig&) = default;
};

template <>
struct RecordCoding<Berry> {
  static constexpr std::tuple fields{field("name", &Berry::name), field("weight", &Berry::weight)};
};

template <>
struct RecordCoding<Twig> {
  static constexpr std::tuple fields{
      field("path", &Twig::path),
      defaulted("name", &Twig::name, [](const Twig& twig) { return twig.path.substr(1); }),
      field("length", &Twig::length),
      field("note", &Twig::note),
      field("age", &Twig::age),
      field("rareText", &Twig::rareText),
      field("rareNumber", &Twig::rareNumber),
      defaulted("berries", &Twig::berries, [](const Twig&) { return ArenaList<Berry>(); }),
      rareField("rings", &Twig::knot, &Knot::rings),
      rareField("galls", &Twig::knot, &Knot::galls),
  };
};

namespace {

using Members = std::vector<std::string>;

const Members kWhole{R"("path":"/a\/b")",
                     R"("name":"b")",
                     R"("length":1234567890123456789)",
                     R"("note":"n\u00e9")",
                     R"("age":-5)",
                     R"("rareText":"rare")",
                     R"("rareNumber":12345678)",
                     R"("berries":[{"name":"x","weight":1},{"weight":2e1,"name":"y"}])",
                     R"("rings":3)",
                     R"("galls":[{"name":"g","weight":2}])"};

std::string object(const Members& members, const std::string& space = "") {
  std::string text = "{" + space;
  for (const std::string& member : members) text += member + space + "," + space;
  return text.substr(0, text.rfind(',')) + space + "}";
}

std::string listOf(const std::vector<std::string>& elements) {
  std::string text = "[";
  for (const std::string& element : elements) text += element + ",";
  text.back() = ']';
  return text;
}

/// A record of the members from which all others differ only in how they are written.
void expectWhole(const Twig& twig) {
  EXPECT_EQ(twig.path, "/a/b");
  EXPECT_EQ(twig.name, "b");
  EXPECT_EQ(twig.length, 1234567890123456789);
  EXPECT_EQ(twig.note, "né");
  EXPECT_EQ(twig.age, -5);
  EXPECT_EQ(twig.rareText, "rare");
  EXPECT_EQ(twig.rareNumber, 12345678);
  ASSERT_EQ(twig.berries.size(), 2U);
  EXPECT_EQ(twig.berries[0], (Berry{"x", 1}));
  EXPECT_EQ(twig.berries[1], (Berry{"y", 20}));
  EXPECT_EQ(twig.knot->rings, 3);
  ASSERT_EQ(twig.knot->galls.size(), 1U);
  EXPECT_EQ(twig.knot->galls[0], (Berry{"g", 2}));
}

TEST(ArenaRecords, areDecodedWhateverTheOrderOfTheirKeys) {
  std::mt19937 random(1);
  Members members = kWhole;
  for (int order = 0; order < 200; ++order) {
    std::ranges::shuffle(members, random);
    TextArena arena;
    const auto twigs =
        decodeJSON<std::vector<Twig>>(listOf({object(members), object(kWhole), object(members)}), &arena);
    ASSERT_TRUE(twigs);
    for (const Twig& twig : *twigs) expectWhole(twig);
  }
}

TEST(ArenaRecords, keepNoRoomForRareFieldsThatAreEmpty) {
  TextArena arena;
  const auto twig = decodeJSON<Twig>(R"({"path":"/a","length":1,"rings":null,"galls":[]})", &arena);
  ASSERT_TRUE(twig);
  EXPECT_FALSE(twig->knot->rings);
  EXPECT_TRUE(twig->knot->galls.empty());
  EXPECT_EQ(&*twig->knot, &*ArenaRecord<Knot>()) << "the one that all share";
}

TEST(ArenaRecords, reportWhatIsWrongWithARareFieldInTheOrderOfTheList) {
  TextArena arena;
  const auto twig = decodeJSON<Twig>(R"({"galls":{},"rings":"x","path":"/a","length":1})", &arena);
  ASSERT_FALSE(twig);
  EXPECT_EQ(twig.error().decodingFailure()->codingPath, std::vector<std::string>{"rings"});
}

TEST(ArenaRecords, areDecodedWhateverTheWhiteSpace) {
  for (const char* space : {" ", "\n", "\r\n\t", "  \n  "}) {
    TextArena arena;
    const auto twig = decodeJSON<Twig>(object(kWhole, space), &arena);
    ASSERT_TRUE(twig);
    expectWhole(*twig);
  }
}

TEST(ArenaRecords, mayLackKeysThatTheirNeighboursHave) {
  std::vector<std::string> objects;
  for (std::size_t left = 0; left < kWhole.size(); ++left) {
    for (const std::size_t present : {left, kWhole.size() - 1 - left}) {
      Members members{kWhole[0], kWhole[2]};
      if (present != 0 && present != 2) members.push_back(kWhole[present]);
      objects.push_back(object(members));
    }
  }
  TextArena arena;
  const auto twigs = decodeJSON<std::vector<Twig>>(listOf(objects), &arena);
  ASSERT_TRUE(twigs);
  for (std::size_t i = 0; i < objects.size(); ++i) {
    TextArena alone;
    EXPECT_EQ((*twigs)[i], *decodeJSON<Twig>(objects[i], &alone)) << objects[i];
  }
}

TEST(ArenaRecords, takeNullForAbsent) {
  TextArena arena;
  const auto twig = decodeJSON<Twig>(
      R"({"path":"/p","name":null,"length":1,"note":null,"age":null,"rareText":null,"rareNumber":null,"berries":null})",
      &arena);
  ASSERT_TRUE(twig);
  EXPECT_EQ(twig->name, "p");
  EXPECT_FALSE(twig->note || twig->age || twig->rareText || twig->rareNumber);
  EXPECT_TRUE(twig->berries.empty());
}

TEST(ArenaRecords, reportWhatIsWrongInsideAListOfTheirs) {
  TextArena arena;
  const auto twig = decodeJSON<Twig>(
      R"({"berries":[{"name":"x","weight":1},{"name":7,"weight":2}],"rareNumber":"no","length":1,"path":"/p"})",
      &arena);
  ASSERT_FALSE(twig);
  EXPECT_EQ(twig.error().decodingFailure()->codingPath, std::vector<std::string>{"rareNumber"})
      << "the first in the order of the fields";
  const auto other =
      decodeJSON<Twig>(R"({"berries":[{"name":"x","weight":1},{"name":7,"weight":2}],"length":1,"path":"/p"})", &arena);
  EXPECT_EQ(other.error().decodingFailure()->codingPath, (std::vector<std::string>{"berries", "1", "name"}));
}

TEST(ArenaRecords, keepNothingOfTheTextTheyAreDecodedFrom) {
  TextArena arena;
  std::string text = object(kWhole);
  text.reserve(text.size() + 4096);  // room behind the text: it is read in place
  const auto twig = decodeJSON<Twig>(text, &arena);
  ASSERT_TRUE(twig);
  std::ranges::fill(text, '#');
  expectWhole(*twig);
}

TEST(ArenaRecords, areTheSameFromATextThatIsCopiedAndFromOneReadInPlace) {
  for (std::size_t room : {0U, 1U, 63U, 64U, 1000U}) {
    std::string text = object(kWhole);
    text.reserve(text.size() + room);
    TextArena arena;
    const auto copied = decodeJSON<Twig>(std::string_view(text), &arena);
    const auto inPlace = decodeJSON<Twig>(text, &arena);
    ASSERT_TRUE(copied && inPlace);
    EXPECT_EQ(*copied, *inPlace);
  }
}

TEST(ArenaRecords, areAsManyAsTheListHasHoweverTheirSizesDiffer) {
  std::vector<std::string> objects;
  for (std::size_t i = 0; i < 3000; ++i) {
    const std::size_t length = i < 300 ? 1 : i % 1000;  // the first ones tell little of the others
    objects.push_back(R"({"path":"/)" + std::string(length, 'p') + R"(","length":)" + std::to_string(i) + "}");
  }
  TextArena arena;
  const auto twigs = decodeJSON<std::vector<Twig>>(listOf(objects), &arena);
  ASSERT_TRUE(twigs);
  ASSERT_EQ(twigs->size(), objects.size());
  for (std::size_t i = 0; i < objects.size(); ++i) EXPECT_EQ((*twigs)[i].length, static_cast<std::int64_t>(i));
}

TEST(ArenaRecords, areWrittenLikeOthers) {
  TextArena arena;
  const auto twig = decodeJSON<Twig>(object(kWhole), &arena);
  ASSERT_TRUE(twig);
  EXPECT_EQ(encodeJSON(*twig),
            R"({"path":"/a/b","name":"b","length":1234567890123456789,"note":"né","age":-5,"rareText":"rare",)"
            R"("rareNumber":12345678,"berries":[{"name":"x","weight":1},{"name":"y","weight":20}],)"
            R"("rings":3,"galls":[{"name":"g","weight":2}]})");
}

TEST(ArenaRecords, takeIntegersOfEveryLength) {
  std::string digits;
  for (int count = 1; count <= 19; ++count) {
    digits += static_cast<char>('0' + count % 10);
    TextArena arena;
    const auto twig = decodeJSON<Twig>(R"({"path":"/p","length":)" + digits + "}", &arena);
    ASSERT_TRUE(twig) << digits;
    EXPECT_EQ(std::to_string(twig->length), digits);
    for (std::size_t at = 0; at < digits.size(); ++at) {
      for (const char wrong : {'/', ':', 'a', '-', '\x7F'}) {
        std::string broken = digits;
        broken[at] = wrong;
        if (broken.starts_with('-') && broken.size() > 1) continue;  // a negative number
        EXPECT_FALSE(decodeJSON<Twig>(R"({"path":"/p","length":)" + broken + "}", &arena)) << broken;
      }
    }
  }
}

}  // namespace
}  // namespace tovrin
