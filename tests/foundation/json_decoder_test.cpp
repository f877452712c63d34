#include "foundation/json/decoder.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "foundation/json/encoder.h"

namespace tovrin {

enum class Colour { red, green };

struct Leaf {
  std::string name;
  std::uint16_t count = 0;
};

struct Branch {
  std::int64_t version = 1;
  std::string title;
  std::optional<std::string> note;
  std::optional<double> weight;
  bool open = false;
  std::uint64_t big = 0;
  Colour colour = Colour::red;
  std::vector<Leaf> leaves;
  std::map<std::string, Colour> colours;
  std::optional<Leaf> extra;
};

template <>
struct JSONEnumeration<Colour> {
  static constexpr std::string_view name = "Colour";
  static constexpr std::array<std::string_view, 2> cases{"red", "green"};
};

template <>
struct RecordCoding<Leaf> {
  static constexpr std::tuple fields{
      field("name", &Leaf::name),
      defaulted("count", &Leaf::count, [](const Leaf& leaf) { return static_cast<std::uint16_t>(leaf.name.size()); }),
      rule(
          "count", [](const Leaf& leaf) { return leaf.count < 1000; }, "Too many."),
  };
};

template <>
struct RecordCoding<Branch> {
  static constexpr std::tuple fields{
      defaulted("version", &Branch::version, [](const Branch&) { return std::int64_t{1}; }),
      rule(
          "version", [](const Branch& branch) { return branch.version == 1; }, "Wrong version."),
      field("title", &Branch::title),
      field("note", &Branch::note),
      field("weight", &Branch::weight),
      field("open", &Branch::open),
      field("big", &Branch::big),
      field("colour", &Branch::colour),
      field("leaves", &Branch::leaves),
      field("colours", &Branch::colours),
      field("extra", &Branch::extra),
  };
};

namespace {

using Kind = DecodingFailure::Kind;
using Path = std::vector<std::string>;

/// A branch whose given member is replaced by other text; the member stands in its own place, after what it needs.
std::string branchWith(const std::string& key, const std::string& value) {
  const std::vector<std::pair<std::string, std::string>> members{
      {"version", "1"}, {"title", "\"t\""},      {"note", "\"n\""}, {"weight", "0.5"}, {"open", "true"},
      {"big", "7"},     {"colour", "\"green\""}, {"leaves", "[]"},  {"colours", "{}"}};
  std::string text = "{";
  for (const auto& [name, usual] : members) text += "\"" + name + "\":" + (name == key ? value : usual) + ",";
  text.back() = '}';
  return text;
}

DecodingFailure failureOf(const std::string& text) {
  const auto result = decodeJSON<Branch>(text);
  if (result) {
    ADD_FAILURE() << "decoded: " << text.substr(0, 200);
    return {};
  }
  return *result.error().decodingFailure();
}

TEST(JSONDecoder, decodesEveryKindOfMember) {
  const auto branch = decodeJSON<Branch>(
      R"( {"title":"a\u00e9\n","weight":1e-3,"open":false,"big":18446744073709551615,"colour":"green",)"
      R"("leaves":[{"name":"x","count":3},{"name":"four"}],"colours":{"p":"red"},"extra":{"name":"e"}} )");
  ASSERT_TRUE(branch);
  EXPECT_EQ(branch->version, 1);
  EXPECT_EQ(branch->title, "aé\n");
  EXPECT_EQ(branch->note, std::nullopt);
  EXPECT_EQ(branch->weight, 0.001);
  EXPECT_FALSE(branch->open);
  EXPECT_EQ(branch->big, 18446744073709551615u);
  EXPECT_EQ(branch->colour, Colour::green);
  ASSERT_EQ(branch->leaves.size(), 2u);
  EXPECT_EQ(branch->leaves[0].count, 3);
  EXPECT_EQ(branch->leaves[1].count, 4) << "the default is made of the fields before it";
  EXPECT_EQ(branch->colours.at("p"), Colour::red);
  EXPECT_EQ(branch->extra->name, "e");
}

TEST(JSONDecoder, takesTheKeysInAnyOrder) {
  const auto branch = decodeJSON<Branch>(
      R"({"colours":{},"leaves":[{"count":2,"name":"x"}],"colour":"red","big":1,"open":true,"title":"t"})");
  ASSERT_TRUE(branch);
  EXPECT_EQ(branch->leaves[0].count, 2);
}

TEST(JSONDecoder, countsTheFirstOfDuplicateKeys) {
  const auto branch = decodeJSON<Branch>(
      R"({"title":"first","title":7,"open":true,"big":1,"colour":"red","leaves":[],"leaves":[{}],"colours":{"a":"red","a":"green"}})");
  ASSERT_TRUE(branch);
  EXPECT_EQ(branch->title, "first");
  EXPECT_TRUE(branch->leaves.empty());
  EXPECT_EQ(branch->colours.at("a"), Colour::red);
}

TEST(JSONDecoder, findsAKeySpelledWithEscapes) {
  const auto leaf = decodeJSON<Leaf>(R"({"n\u0061me":"x"})");
  ASSERT_TRUE(leaf);
  EXPECT_EQ(leaf->name, "x");
}

TEST(JSONDecoder, findsAnEscapeWhereverItStandsInAText) {
  for (std::size_t size = 0; size < 50; ++size) {
    for (std::size_t at = 0; at <= size; ++at) {
      const std::string before(at, 'x');
      const std::string behind(size - at, 'x');
      const auto leaf = decodeJSON<Leaf>("{\"name\":\"" + before + "\\n" + behind + "\"}");
      ASSERT_TRUE(leaf);
      ASSERT_EQ(leaf->name, before + "\n" + behind);
    }
  }
}

TEST(JSONDecoder, leavesATextAloneThatAnEscapeFollows) {
  for (std::size_t size = 0; size < 20; ++size) {
    const std::string name(size, 'x');
    const auto leaf = decodeJSON<Leaf>("{\"name\":\"" + name + "\",\"\\n\":1}");
    ASSERT_TRUE(leaf);
    ASSERT_EQ(leaf->name, name);
  }
}

TEST(JSONDecoder, skipsUnknownKeysWhateverTheyHold) {
  EXPECT_TRUE(decodeJSON<Leaf>(
      R"({"a":[1,{"b":[]}],"c":"\ud800","d":1000000000000000000000000,"e":-5e-999,"name":"x","f":null})"));
}

TEST(JSONDecoder, checksTheStructureOfWhatItSkips) {
  for (const char* unknown : {"[1 2]", "[1,,2]", "{\"a\" 1}", "{\"a\":}", "{1:2}", "[", "{", "[1]]"}) {
    const auto result = decodeJSON<Leaf>(std::string(R"({"name":"x","unknown":)") + unknown + "}");
    ASSERT_FALSE(result) << unknown;
    EXPECT_EQ(result.error().decodingFailure()->codingPath, Path{}) << unknown;
  }
}

TEST(JSONDecoder, acceptsNullForAnOptionalKey) {
  const auto branch = decodeJSON<Branch>(branchWith("note", "null"));
  ASSERT_TRUE(branch);
  EXPECT_EQ(branch->note, std::nullopt);
  EXPECT_TRUE(decodeJSON<Branch>(branchWith("version", "null")));
}

TEST(JSONDecoder, acceptsIntegersWrittenAsOtherNumbers) {
  for (const auto& [text, value] :
       std::vector<std::pair<std::string, std::uint64_t>>{{"1.0", 1},
                                                          {"1e3", 1000},
                                                          {"12.50e1", 125},
                                                          {"-0", 0},
                                                          {"-0.0", 0},
                                                          {"1.8446744073709551615e19", 18446744073709551615u},
                                                          {"9007199254740993.0", 9007199254740993u}}) {
    const auto branch = decodeJSON<Branch>(branchWith("big", text));
    ASSERT_TRUE(branch) << text;
    EXPECT_EQ(branch->big, value) << text;
  }
}

TEST(JSONDecoder, refusesNumbersThatDoNotFitAndNamesTheKey) {
  for (const char* text : {"1.5", "-1", "18446744073709551616", "1e30"}) {
    const auto problem = failureOf(branchWith("big", text));
    EXPECT_EQ(problem.kind, Kind::dataCorrupted) << text;
    EXPECT_EQ(problem.codingPath, Path{"big"}) << text;
    EXPECT_EQ(problem.debugDescription, "Parsed JSON number <" + std::string(text) + "> does not fit in UInt64.");
  }
  EXPECT_EQ(failureOf(branchWith("leaves", R"([{"name":"a"},{"name":"b","count":65536}])")).codingPath,
            (Path{"leaves", "1", "count"}));
  EXPECT_EQ(failureOf(branchWith("version", "9223372036854775808")).kind, Kind::dataCorrupted);
  EXPECT_EQ(failureOf(branchWith("weight", "1e999")).codingPath, Path{"weight"});
}

TEST(JSONDecoder, readsDoublesToTheLastBit) {
  for (const auto& [text, value] :
       std::vector<std::pair<std::string, double>>{{"0.1", 0.1},
                                                   {"-12.5E+1", -125.0},
                                                   {"4.9e-324", 4.9e-324},
                                                   {"1.7976931348623157e308", 0x1.fffffffffffffp1023},
                                                   {"123456789012345678901234567890", 123456789012345678901234567890.0},
                                                   {"0e99999999999999999999", 0.0}}) {
    const auto branch = decodeJSON<Branch>(branchWith("weight", text));
    ASSERT_TRUE(branch) << text;
    EXPECT_EQ(branch->weight, value) << text;
  }
  EXPECT_TRUE(std::signbit(decodeJSON<Branch>(branchWith("weight", "-0.0")).value().weight.value()));
}

TEST(JSONDecoder, refusesANumberThatADoubleCouldOnlyHoldAsZero) {
  for (const char* text : {"1e-999", "-0.0001e-400"}) {
    EXPECT_EQ(failureOf(branchWith("weight", text)).codingPath, Path{"weight"}) << text;
  }
}

TEST(JSONDecoder, tellsTheKindsOfErrorApart) {
  const auto wrongType = failureOf(branchWith("title", "12"));
  EXPECT_EQ(wrongType.kind, Kind::typeMismatch);
  EXPECT_EQ(wrongType.codingPath, Path{"title"});
  EXPECT_EQ(wrongType.debugDescription, "Expected to decode String but found number instead.");
  EXPECT_EQ(failureOf(branchWith("open", "1")).kind, Kind::typeMismatch);
  EXPECT_EQ(failureOf(branchWith("big", "true")).kind, Kind::typeMismatch);
  EXPECT_EQ(failureOf(branchWith("big", "\"12\"")).kind, Kind::typeMismatch);
  EXPECT_EQ(failureOf(branchWith("leaves", "{}")).kind, Kind::typeMismatch);
  EXPECT_EQ(failureOf(branchWith("title", "[1,2]")).kind, Kind::typeMismatch);
  EXPECT_EQ(failureOf(branchWith("title", "null")).kind, Kind::valueNotFound);
  EXPECT_EQ(failureOf(branchWith("leaves", "null")).kind, Kind::valueNotFound);
  const auto missing = failureOf(R"({"open":true})");
  EXPECT_EQ(missing.kind, Kind::keyNotFound);
  EXPECT_EQ(missing.codingPath, Path{"title"});
  const auto unknownCase = failureOf(branchWith("colour", "\"blue\""));
  EXPECT_EQ(unknownCase.kind, Kind::dataCorrupted);
  EXPECT_EQ(unknownCase.debugDescription, "Cannot initialize Colour from invalid String value blue");
}

TEST(JSONDecoder, carriesTheCodesOfTheKinds) {
  EXPECT_TRUE(decodeJSON<Branch>(branchWith("title", "12")).error().is(CocoaErrorCode::coderReadCorrupt));
  EXPECT_TRUE(decodeJSON<Branch>("{}").error().is(CocoaErrorCode::coderValueNotFound));
  EXPECT_TRUE(decodeJSON<Branch>(branchWith("title", "null")).error().is(CocoaErrorCode::coderValueNotFound));
  EXPECT_EQ(decodeJSON<Branch>("{}").error().localizedDescription(),
            "The data couldn’t be read because it is missing.");
}

TEST(JSONDecoder, reportsTheFirstErrorInTheOrderOfTheFieldsNotOfTheText) {
  EXPECT_EQ(failureOf(R"({"leaves":[{"name":1}],"big":"x","title":5,"version":1})").codingPath, Path{"title"});
  EXPECT_EQ(failureOf(R"({"leaves":[7],"big":"x","title":5,"version":2})").debugDescription, "Wrong version.");
  EXPECT_EQ(failureOf(R"([])").kind, Kind::typeMismatch);
}

TEST(JSONDecoder, namesWhereInAListARuleFailed) {
  const auto problem = failureOf(branchWith("leaves", R"([{"name":"a"},{"name":"b","count":1000}])"));
  EXPECT_EQ(problem.codingPath, (Path{"leaves", "1", "count"}));
  EXPECT_EQ(problem.debugDescription, "Too many.");
}

TEST(JSONDecoder, refusesWhatIsNoJSONWithoutAPath) {
  for (const char* text :
       {"", " ", "{", "{\"name\":\"x\"", "{\"name\":\"x\"} x", "{\"name\":\"x\"}{}", "{'name':'x'}", "nonsense",
        "{\"name\":\"x\",,}", "{,}", "[,]", "{\"name\":\"\\q\"}", "{\"name\":\"\\ud800\"}", "{\"name\":\"a\nb\"}",
        "{\"name\":\"\xFF\"}", "{\"name\":\"x\",\"count\":01}", "{\"name\":\"x\",\"count\":+1}",
        "{\"name\":\"x\",\"count\":1x}", "{\"name\":nul}"}) {
    const auto result = decodeJSON<Leaf>(text);
    ASSERT_FALSE(result) << text;
    EXPECT_EQ(result.error().decodingFailure()->kind, Kind::dataCorrupted) << text;
    EXPECT_EQ(result.error().decodingFailure()->codingPath, Path{}) << text;
    EXPECT_EQ(result.error().decodingFailure()->debugDescription, "The given data was not valid JSON.") << text;
  }
}

TEST(JSONDecoder, seesThatTheTextIsNoJSONBeforeWhatIsWrongWithARecord) {
  EXPECT_EQ(failureOf(R"({"title":5,"rest":[1 2]})").debugDescription, "The given data was not valid JSON.");
  EXPECT_EQ(failureOf(R"({"leaves":[{"name":1}, 2 3],"title":"x"})").debugDescription,
            "The given data was not valid JSON.");
}

TEST(JSONDecoder, acceptsATrailingComma) {
  const auto branch = decodeJSON<Branch>(
      R"({"title":"a,]","open":true,"big":1,"colour":"red","leaves":[{"name":",}" , } , ],"colours":{},})");
  ASSERT_TRUE(branch);
  EXPECT_EQ(branch->title, "a,]");
  EXPECT_EQ(branch->leaves[0].name, ",}");
}

TEST(JSONDecoder, readsTheOtherUnicodeEncodings) {
  const std::string mark = "\xEF\xBB\xBF";
  EXPECT_TRUE(decodeJSON<Leaf>(mark + R"({"name":"x"})"));
  const std::u16string text = u"{\"name\":\"é😀\"}";
  std::string little, big;
  for (const char16_t unit : text) {
    little += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
    big += {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
  }
  for (const std::string& bytes : {little, big, "\xFF\xFE" + little, "\xFE\xFF" + big}) {
    const auto leaf = decodeJSON<Leaf>(bytes);
    ASSERT_TRUE(leaf);
    EXPECT_EQ(leaf->name, "é😀");
  }
}

TEST(JSONDecoder, refusesDeepNestingAndDoesNotOverflowTheStack) {
  const auto nested = [](std::size_t depth) {
    return R"({"name":"x","deep":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
  };
  EXPECT_TRUE(decodeJSON<Leaf>(nested(500)));
  EXPECT_FALSE(decodeJSON<Leaf>(nested(512)));
  EXPECT_FALSE(decodeJSON<Leaf>(nested(1000000)));
}

TEST(JSONDecoder, decodesATopLevelArray) {
  const auto leaves = decodeJSON<std::vector<Leaf>>(R"([{"name":"a"},{"name":"b"}])");
  ASSERT_TRUE(leaves);
  EXPECT_EQ(leaves->size(), 2u);
  const auto wrong = decodeJSON<std::vector<Leaf>>(R"([{"name":"a"},{}])");
  ASSERT_FALSE(wrong);
  EXPECT_EQ(wrong.error().decodingFailure()->codingPath, (Path{"1", "name"}));
  EXPECT_TRUE(decodeJSON<std::vector<Leaf>>("[]"));
}

TEST(JSONEncoder, writesTheFieldsInOrderAndLeavesOutWhatIsAbsent) {
  Branch branch;
  branch.title = "a\"\n/é";
  branch.leaves = {{"x", 1}};
  branch.colours = {{"p", Colour::green}};
  EXPECT_EQ(
      encodeJSON(branch),
      R"({"version":1,"title":"a\"\n/é","open":false,"big":0,"colour":"red","leaves":[{"name":"x","count":1}],"colours":{"p":"green"}})");
}

TEST(JSONEncoder, writesWhatDecodesToTheSame) {
  Branch branch;
  branch.weight = 0.1;
  branch.note = std::string("\0\x01", 2);
  branch.extra = Leaf{"e", 2};
  const auto again = decodeJSON<Branch>(encodeJSON(branch));
  ASSERT_TRUE(again);
  EXPECT_EQ(encodeJSON(*again), encodeJSON(branch));
  EXPECT_EQ(again->note, branch.note);
}

}  // namespace
}  // namespace tovrin
