#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "local/finder_badges.h"
#include "platform/extended_attributes.h"
#include "platform/file_system.h"
#include "platform/property_list.h"
#include "support/keeps_attributes.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

using State = TovrinWarpSharedFinderBadgeState;
using Tags = std::vector<std::string>;

constexpr std::string_view kTags = "com.apple.metadata:_kMDItemUserTags";
constexpr std::string_view kFinderInfo = "com.apple.FinderInfo";

class FinderTags : public testing::Test {
 protected:
  void SetUp() override {
    writeFile(file_, "x");
    if (!keepsExtendedAttributes(file_)) GTEST_SKIP() << "this file system keeps no extended attributes";
  }

  void tag(State state) { badges_.tag(file_, state, LinkPolicy::noFollow); }
  void writeTags(const Tags& tags) {
    ASSERT_TRUE(setExtendedAttribute(file_, kTags, encodeBinaryPropertyList(tags).value(), LinkPolicy::follow));
  }
  Tags tags() const { return tagsOf(file_); }
  static Tags tagsOf(const std::filesystem::path& file) {
    const auto bytes = extendedAttribute(file, kTags, LinkPolicy::follow);
    return bytes ? decodeStringArrayPropertyList(*bytes).value_or(Tags{"undecodable"}) : Tags{};
  }
  std::optional<std::string> finderInfo() const { return extendedAttribute(file_, kFinderInfo, LinkPolicy::follow); }
  static std::string infoWithLabel(char labelByte) {
    std::string info(32, '\0');
    info[9] = labelByte;
    return info;
  }
  std::int64_t statusChangeTime() const { return fileAttributes(file_)->identity.statusChangeTimeNanoseconds; }
  /// Afterwards, any change of the file gets a later time of change than it has now.
  void waitForTheNextTick() const {
    const std::int64_t before = statusChangeTime();
    const auto other = platform_.scratch / "tick";
    do {
      writeFile(other, "x");
    } while (fileAttributes(other)->identity.statusChangeTimeNanoseconds <= before);
  }

  TestPlatform platform_;
  FinderBadges badges_{platform_.platform()};
  std::filesystem::path file_ = platform_.scratch / "a.jpg";
};

TEST_F(FinderTags, ofTheThreeMomentsCarryTheirColours) {
  tag(State::opening);
  EXPECT_EQ(tags(), Tags{"Tovrin Opening\n5"});
  EXPECT_EQ(finderInfo(), infoWithLabel(5 << 1));
  tag(State::issue);
  EXPECT_EQ(tags(), Tags{"Tovrin Issue\n6"});
  EXPECT_EQ(finderInfo(), infoWithLabel(6 << 1));
  tag(State::cached);
  EXPECT_EQ(tags(), Tags{"Tovrin Cached\n2"});
  EXPECT_EQ(finderInfo(), infoWithLabel(2 << 1));
}

TEST_F(FinderTags, areTheBytesThatFinderExpects) {
  tag(State::cached);
  const std::string expected(
      "bplist00\xa1\x01\x5f\x10\x0fTovrin "
      "Cached\n2\x08\x0a\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x02\0\0\0\0\0\0\0\0\0\0\0\0\0\0"
      "\0\x1c",
      62);
  EXPECT_EQ(extendedAttribute(file_, kTags, LinkPolicy::follow), expected);
}

TEST_F(FinderTags, keepTheUsersOwnWhenTheStateChanges) {
  writeTags({"Work", "Tovrin Cached\n6"});
  tag(State::issue);
  EXPECT_EQ(tags(), (Tags{"Work", "Tovrin Issue\n6"}));
  tag(State::cached);
  EXPECT_EQ(tags(), (Tags{"Work", "Tovrin Cached\n2"}));
}

TEST_F(FinderTags, keepTheUsersOwnInTheirOrderAndDropAllFiveOfTheSystem) {
  writeTags({"Zebra\n1", "Tovrin", "Tovrin Remote\n", "tovrin cached", "Tovrin Cached\n2", "Tovrin Opening", "Apple",
             "Tovrin Issue\n6\nmore", "Tovrin Cachedx"});
  tag(State::cached);
  EXPECT_EQ(tags(), (Tags{"Zebra\n1", "tovrin cached", "Apple", "Tovrin Cachedx", "Tovrin Cached\n2"}));
  EXPECT_EQ(finderInfo(), infoWithLabel(2 << 1)) << "the system's colour wins";
}

TEST_F(FinderTags, countAsNoneWhenTheyDoNotDecode) {
  for (const char* broken : {"", "bplist00", "not a property list"}) {
    ASSERT_TRUE(setExtendedAttribute(file_, kTags, broken, LinkPolicy::follow));
    tag(State::cached);
    EXPECT_EQ(tags(), Tags{"Tovrin Cached\n2"});
  }
}

TEST_F(FinderTags, areWrittenOnceWhenTheSameAreAppliedTwice) {
  tag(State::cached);
  waitForTheNextTick();
  const std::int64_t before = statusChangeTime();
  tag(State::cached);
  EXPECT_EQ(statusChangeTime(), before);
  tag(State::issue);
  EXPECT_GT(statusChangeTime(), before) << "a write is seen";
}

TEST_F(FinderTags, ofAMissingFileAreNoError) {
  badges_.tag(platform_.scratch / "missing", State::cached, LinkPolicy::noFollow);
  EXPECT_FALSE(std::filesystem::exists(platform_.scratch / "missing"));
}

TEST_F(FinderTags, doNotReachThroughALinkUnlessAskedTo) {
  const auto link = platform_.scratch / "link";
  std::filesystem::create_symlink(file_, link);
  badges_.tag(link, State::cached, LinkPolicy::noFollow);
  EXPECT_TRUE(tags().empty());
  EXPECT_FALSE(finderInfo().has_value());
  badges_.tag(link, State::cached, LinkPolicy::follow);
  EXPECT_EQ(tags(), Tags{"Tovrin Cached\n2"});
}

TEST_F(FinderTags, withoutAColourLeaveTheLabelAlone) {
  applyFinderTags({"Work", "Home\n", "Later\nred", "Soon\n3x", "Then\n"}, file_, LinkPolicy::follow);
  EXPECT_EQ(tags().size(), 5U);
  EXPECT_FALSE(finderInfo().has_value());
}

TEST_F(FinderTags, clampAColourHoweverLarge) {
  applyFinderTags({"Then\n99999999999"}, file_, LinkPolicy::follow);
  EXPECT_EQ(finderInfo().value()[9], 7 << 1);
  applyFinderTags({"Plus\n+3"}, file_, LinkPolicy::follow);
  EXPECT_EQ(finderInfo().value()[9], 3 << 1);
  applyFinderTags({"Minus\n-3"}, file_, LinkPolicy::follow);
  EXPECT_EQ(finderInfo().value()[9], 0);
}

TEST_F(FinderTags, giveTheLabelTheLastColourThatOneCarries) {
  applyFinderTags({"Work\n1", "Home\n4", "Plain"}, file_, LinkPolicy::follow);
  EXPECT_EQ(finderInfo(), infoWithLabel(4 << 1));
}

TEST_F(FinderTags, readTheColourBehindTheFirstLineBreak) {
  applyFinderTags({"Work\n1\n4"}, file_, LinkPolicy::follow);
  EXPECT_FALSE(finderInfo().has_value());
}

TEST_F(FinderTags, labelIsTheOnlyThingSetInAMissingFinderInfo) {
  setLabelColour(file_, 3, LinkPolicy::follow);
  EXPECT_EQ(finderInfo(), infoWithLabel(3 << 1));
}

TEST_F(FinderTags, labelColoursAreClamped) {
  setLabelColour(file_, 9, LinkPolicy::follow);
  EXPECT_EQ(finderInfo(), infoWithLabel(7 << 1));
  setLabelColour(file_, -1, LinkPolicy::follow);
  EXPECT_EQ(finderInfo(), infoWithLabel(0));
}

TEST_F(FinderTags, labelOfNoColourIsWrittenWhereThereIsNone) {
  setLabelColour(file_, 0, LinkPolicy::follow);
  EXPECT_EQ(finderInfo(), infoWithLabel(0));
}

TEST_F(FinderTags, labelLeavesEveryOtherBitAlone) {
  std::string info;
  for (int i = 0; i < 32; ++i) info.push_back(static_cast<char>(0xC3 + i));
  info[9] = static_cast<char>(0xFF);
  ASSERT_TRUE(setExtendedAttribute(file_, kFinderInfo, info, LinkPolicy::follow));
  setLabelColour(file_, 1, LinkPolicy::follow);
  info[9] = static_cast<char>(0xF3);
  EXPECT_EQ(finderInfo(), info);
}

TEST_F(FinderTags, labelTakesAFinderInfoOfAnotherSizeForABeginning) {
  ASSERT_TRUE(setExtendedAttribute(file_, kFinderInfo, "TEXT", LinkPolicy::follow));
  setLabelColour(file_, 1, LinkPolicy::follow);
  std::string expected = infoWithLabel(2);
  expected.replace(0, 4, "TEXT");
  EXPECT_EQ(finderInfo(), expected);
  ASSERT_TRUE(setExtendedAttribute(file_, kFinderInfo, std::string(40, 'x'), LinkPolicy::follow));
  setLabelColour(file_, 1, LinkPolicy::follow);
  EXPECT_EQ(finderInfo(), infoWithLabel(2));
}

TEST_F(FinderTags, labelThatIsThereAlreadyIsNotWritten) {
  setLabelColour(file_, 4, LinkPolicy::follow);
  waitForTheNextTick();
  const std::int64_t before = statusChangeTime();
  setLabelColour(file_, 4, LinkPolicy::follow);
  EXPECT_EQ(statusChangeTime(), before);
}

TEST(FinderTagNames, areTheFiveOfTheSystem) {
  EXPECT_EQ(finderTagName(State::warpedRoot), "Tovrin");
  EXPECT_EQ(finderTagName(State::remoteOnly), "Tovrin Remote");
  EXPECT_EQ(finderTagName(State::cached), "Tovrin Cached");
  EXPECT_EQ(finderTagName(State::opening), "Tovrin Opening");
  EXPECT_EQ(finderTagName(State::issue), "Tovrin Issue");
}

}  // namespace
}  // namespace tovrin
