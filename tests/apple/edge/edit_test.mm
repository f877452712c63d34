#include "edge/driver.h"

namespace tovrin {

namespace {

constexpr const char* kReadOnly = "NSCocoaErrorDomain 3328 Tovrin warped files are read-only from Finder.";
constexpr const char* kRestoring =
    "NSCocoaErrorDomain 4 This Warp is being restored or removed. Finder kept the local edit; try again after Tovrin "
    "finishes.";

class Edit : public Driver {
 protected:
  void SetUp() override { installWarp(); }
  std::filesystem::path pending() const { return test.warpDirectory() / "FileProviderPendingWriteback"; }

  void expectRefusal(Answer& answer, std::string_view error, std::int64_t total) {
    const auto values = answer.wait();
    EXPECT_EQ(text(values.error.get()), error);
    EXPECT_EQ(values.item.get(), nil);
    EXPECT_EQ(values.stillPending, ::NSFileProviderItemFields{});
    EXPECT_FALSE(values.shouldFetchContent);
    finish();
    EXPECT_EQ(answer.completions(), 1);
    EXPECT_EQ(answer.progress.get().totalUnitCount, total);
    EXPECT_EQ(answer.progress.get().completedUnitCount, total);
  }
};

TEST_F(Edit, keepsNewContentsForUpload) {
  const auto answer = modify(item("a.txt"), ::NSFileProviderItemContents, contents("edited"));
  const auto values = answer->wait();
  EXPECT_EQ(text(values.error.get()), "(nil)");
  EXPECT_EQ(text(values.item.get().itemIdentifier), text(entry("a.txt")));
  EXPECT_EQ(values.item.get().documentSize.longLongValue, 6);
  EXPECT_EQ(values.stillPending, ::NSFileProviderItemFields{});
  EXPECT_FALSE(values.shouldFetchContent);
  EXPECT_EQ(countFiles(pending()), 1U);
  EXPECT_FALSE(values.item.get().uploaded);
  EXPECT_FALSE(item("a.txt").uploaded);
  finish();
  EXPECT_EQ(answer->completions(), 1);
  EXPECT_EQ(answer->progress.get().completedUnitCount, 100);
}

TEST_F(Edit, leavesNothingOfContentsThatAreStoredAlready) {
  const auto values = modify(item("a.txt"), ::NSFileProviderItemContents, contents("stored bytes"))->wait();
  EXPECT_EQ(text(values.error.get()), "(nil)");
  finish();
  EXPECT_EQ(countFiles(pending()), 0U);
}

/// As the system may hand in an item of its own making.
TEST_F(Edit, takesAnItemOfAnotherClassByItsIdentifier) {
  const auto values = modify(foreignItem(entry("a.txt")), ::NSFileProviderItemContents, contents("edited"))->wait();
  EXPECT_EQ(text(values.error.get()), "(nil)");
  EXPECT_EQ(text(values.item.get().filename), "a.txt");
  EXPECT_EQ(countFiles(pending()), 1U);
}

TEST_F(Edit, refusesAChangeOfNothingButTheName) {
  expectRefusal(*modify(item("a.txt"), ::NSFileProviderItemFilename, nil), kReadOnly, 100);
  EXPECT_FALSE(std::filesystem::exists(stateFile()));
}

TEST_F(Edit, refusesContentsForAFolder) {
  expectRefusal(*modify(item("sub"), ::NSFileProviderItemContents, contents("x")), kReadOnly, 100);
}

TEST_F(Edit, refusesAnUnknownItemOfAnotherClass) {
  expectRefusal(*modify(foreignItem(@"bogus"), ::NSFileProviderItemContents, contents("x")), kReadOnly, 100);
}

TEST_F(Edit, refusesToCreate) { expectRefusal(*create(foreignItem(@"new"), contents("x")), kReadOnly, 1); }

TEST_F(Edit, refusesToDelete) { expectRefusal(*remove(entry("a.txt")), kReadOnly, 1); }

TEST_F(Edit, failsWhileTheWarpIsBeingRestored) {
  installTombstones(test, {{.warpID = "W1", .manifestKey = "manifests/W1.json", .originalFolderPath = folder()}});
  expectRefusal(*modify(item("a.txt"), ::NSFileProviderItemContents, contents("edited")), kRestoring, 100);
  EXPECT_EQ(countFiles(pending()), 0U);
}

}  // namespace

}  // namespace tovrin
