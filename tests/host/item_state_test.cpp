#include "host/item_state.h"

#include <gtest/gtest.h>

#include <limits>

#include "platform/property_list.h"

namespace tovrin::host {
namespace {

constexpr auto kStates = {ItemState::remote, ItemState::opening, ItemState::cached, ItemState::edited,
                          ItemState::issue};

std::vector<std::optional<std::string>> valuesInAllStates(std::string_view name) {
  std::vector<std::optional<std::string>> values;
  for (const ItemState state : kStates)
    values.push_back(attributeValue(name, {state, 0.42, "It failed.", "entry:W1:YQ"}));
  return values;
}

std::string progressOfOpening(double fraction) {
  return attributeValue("user.tovrin.progress", {ItemState::opening, fraction, {}, {}}).value_or("none");
}

using Values = std::vector<std::optional<std::string>>;

TEST(ItemState, isReadByItsName) {
  EXPECT_EQ(valuesInAllStates("user.tovrin.state"), (Values{"remote", "opening", "cached", "edited", "issue"}));
}

TEST(ItemState, saysHowMuchIsHere) {
  EXPECT_EQ(valuesInAllStates("user.tovrin.progress"), (Values{"0", "42", "100", "100", std::nullopt}));
}

TEST(ItemState, isNotWholeBeforeItIsOpen) {
  EXPECT_EQ(progressOfOpening(0), "0");
  EXPECT_EQ(progressOfOpening(0.999), "99");
  EXPECT_EQ(progressOfOpening(1), "99");
  EXPECT_EQ(progressOfOpening(7e30), "99");
  EXPECT_EQ(progressOfOpening(-1), "0");
  EXPECT_EQ(progressOfOpening(std::numeric_limits<double>::quiet_NaN()), "0");
}

TEST(ItemState, hasTheSentenceOfTheLastFailure) {
  EXPECT_EQ(attributeValue("user.tovrin.error", {ItemState::issue, 0, "It failed.", {}}), "It failed.");
  EXPECT_EQ(attributeValue("user.tovrin.error", {ItemState::edited, 0, "Not taken.", {}}), "Not taken.");
  EXPECT_EQ(attributeValue("user.tovrin.error", {ItemState::cached, 0, {}, {}}), std::nullopt);
}

TEST(ItemState, namesTheItem) {
  EXPECT_EQ(attributeValue("user.tovrin.id", {ItemState::remote, 0, {}, "entry:W1:YQ"}), "entry:W1:YQ");
}

TEST(ItemState, hasTheTagThatFinderWouldShow) {
  Values tags;
  for (const auto& bytes : valuesInAllStates("user.com.apple.metadata:_kMDItemUserTags")) {
    const auto decoded = decodeStringArrayPropertyList(bytes.value_or(""));
    tags.push_back(decoded && decoded->size() == 1 ? decoded->front() : "undecodable");
  }
  EXPECT_EQ(tags,
            (Values{"Tovrin Remote", "Tovrin Opening\n5", "Tovrin Cached\n2", "Tovrin Cached\n2", "Tovrin Issue\n6"}));
}

TEST(ItemState, hasNoOtherAttributes) {
  for (const std::string_view name : {"user.tovrin.", "user.tovrin.states", "tovrin.state", "trusted.tovrin.state",
                                      "user.", "", "user.mime_type", "security.capability", "system.posix_acl_access"})
    EXPECT_EQ(attributeValue(name, {ItemState::issue, 0, "It failed.", "x"}), std::nullopt) << name;
}

}  // namespace
}  // namespace tovrin::host
