#include "materialize/materialization_state.h"

#include <gtest/gtest.h>

#include "materialize/open_states.h"
#include "platform/property_list.h"
#include "support/keeps_attributes.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

const OpenedItem kItem{"W1", "/Users/ann/a.jpg"};

class MaterializationState : public ::testing::Test {
 protected:
  std::filesystem::path stateFile() const { return test.warpDirectory() / "file-provider-materialization-state.json"; }
  TovrinWarpSharedMaterializationState written() const {
    return decodeMaterializationState(readFile(stateFile())).value();
  }

  TestPlatform test;
  FinderBadges badges{test.platform()};
  MaterializationStatePublisher publisher{test.platform(), badges};
};

TEST_F(MaterializationState, keepsTheOrderOfItsFieldsAndLeavesOutWhatIsAbsent) {
  publisher.publish(openingState(kItem, 0.5));
  EXPECT_EQ(readFile(stateFile()),
            R"({"isActive":true,"title":"Opening Warp","detail":"Opening /Users/ann/a.jpg.","progressFraction":0.5,)"
            R"("warpID":"W1","relativePath":"/Users/ann/a.jpg","updatedAt":"2023-11-14T22:13:20Z"})");
}

TEST_F(MaterializationState, ofAFailureHasADescriptionAndNoFraction) {
  publisher.publish(failedState(kItem, NSError(NSCocoaErrorDomain, 1, "No \"luck\".")));
  EXPECT_EQ(
      readFile(stateFile()),
      R"({"isActive":false,"title":"Open failed","detail":"Could not open /Users/ann/a.jpg.","warpID":"W1",)"
      R"("relativePath":"/Users/ann/a.jpg","errorDescription":"No \"luck\".","updatedAt":"2023-11-14T22:13:20Z"})");
}

TEST_F(MaterializationState, ofASuccessIsWholeAndNotActive) {
  publisher.publish(openedState(kItem));
  const auto state = written();
  EXPECT_FALSE(state.isActive);
  EXPECT_EQ(state.title, "Open complete");
  EXPECT_EQ(state.detail, "Opened /Users/ann/a.jpg.");
  EXPECT_EQ(state.progressFraction, 1.0);
  EXPECT_EQ(state.errorDescription, std::nullopt);
}

TEST_F(MaterializationState, whileWaitingCountsReadyAccountsAgainstTen) {
  const auto preparing = waitingState(kItem, RenterdClient::WaitPhase::preparing, 9);
  EXPECT_TRUE(preparing.isActive);
  EXPECT_EQ(preparing.title, "Opening Warp");
  EXPECT_EQ(preparing.detail, "Preparing Ombrel Cloud to open /Users/ann/a.jpg (9/10 ready).");
  EXPECT_EQ(preparing.progressFraction, 0.0);
  const auto timedOut = waitingState(kItem, RenterdClient::WaitPhase::timedOut, 0);
  EXPECT_TRUE(timedOut.isActive);
  EXPECT_EQ(timedOut.detail, "Ombrel Cloud is still preparing to open /Users/ann/a.jpg (0/10 ready).");
}

TEST_F(MaterializationState, showsAtMost99PercentUntilTheEnd) {
  EXPECT_EQ(openingState(kItem, 1.0).progressFraction, 0.99);
  EXPECT_EQ(openingState(kItem, 4096.0).progressFraction, 0.99);
  EXPECT_EQ(openingState(kItem, 0.25).progressFraction, 0.25);
}

TEST_F(MaterializationState, isReplacedByTheNextOne) {
  publisher.publish(openingState(kItem, 0.0));
  test.clock.advance(5);
  publisher.publish(openedState(kItem));
  EXPECT_EQ(written().title, "Open complete");
  EXPECT_EQ(written().updatedAt, Date{1700000005.0});
}

TEST_F(MaterializationState, decidesTheBadge) {
  using enum TovrinWarpSharedFinderBadgeState;
  EXPECT_EQ(badgeOf(openingState(kItem, 0.0)), opening);
  EXPECT_EQ(badgeOf(openedState(kItem)), cached);
  EXPECT_EQ(badgeOf(failedState(kItem, NSError(NSCocoaErrorDomain, 1, "x"))), issue);
}

TEST_F(MaterializationState, publishesTheBadgeOfThePathAndAnnouncesIt) {
  publisher.publish(openedState(kItem));
  EXPECT_NE(readFile(test.warpDirectory() / "finder-badge-update.json").find(R"("/Users/ann/a.jpg":"cached")"),
            std::string::npos);
  EXPECT_EQ(test.notifications.posted().size(), 1U);
}

TEST_F(MaterializationState, tagsTheFileAtTheEntrysOwnPath) {
  const std::filesystem::path file = test.scratch / "warped.txt";
  writeFile(file, "placeholder");
  if (!keepsExtendedAttributes(file)) GTEST_SKIP() << "this file system keeps no extended attributes";
  const std::string path = file.string();
  const OpenedItem item{"W1", path};
  const auto tagsWith = [&](TovrinWarpSharedMaterializationState state) {
    publisher.publish(std::move(state));
    const auto tags = extendedAttribute(file, "com.apple.metadata:_kMDItemUserTags", LinkPolicy::noFollow);
    return tags ? decodeStringArrayPropertyList(*tags) : std::nullopt;
  };
  using Tags = std::vector<std::string>;
  EXPECT_EQ(tagsWith(openingState(item, 0.0)), Tags{"Tovrin Opening\n5"});
  EXPECT_EQ(tagsWith(openedState(item)), Tags{"Tovrin Cached\n2"});
  EXPECT_EQ(tagsWith(failedState(item, NSError(NSCocoaErrorDomain, 1, "x"))), Tags{"Tovrin Issue\n6"});
}

TEST_F(MaterializationState, doesNotTagWhatALinkPointsTo) {
  const std::filesystem::path target = test.scratch / "elsewhere.txt";
  writeFile(target, "somebody's own");
  const std::filesystem::path link = test.scratch / "link";
  std::filesystem::create_symlink(target, link);
  const std::string path = link.string();
  publisher.publish(openedState({"W1", path}));
  EXPECT_EQ(extendedAttribute(target, "com.apple.metadata:_kMDItemUserTags", LinkPolicy::follow), std::nullopt);
}

TEST_F(MaterializationState, thatCannotBeWrittenIsNoFailure) {
  writeFile(*test.directories.container, "a file where the container should be");
  publisher.publish(openedState(kItem));
  EXPECT_FALSE(std::filesystem::exists(stateFile()));
}

}  // namespace
}  // namespace tovrin
