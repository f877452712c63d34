#include <gtest/gtest.h>

#include <memory>

#include "local/edit_fixture.h"
#include "materialize/errors.h"
#include "provider/identifier.h"
#include "provider/item.h"

namespace tovrin {
namespace {

/// An item that the face made itself.
class ForeignItem final : public NSFileProviderItem {
 public:
  explicit ForeignItem(NSFileProviderItemIdentifier identifier) : identifier_(std::move(identifier)) {}
  const NSFileProviderItemIdentifier& itemIdentifier() const override { return identifier_; }

 private:
  NSFileProviderItemIdentifier identifier_;
};

class EditRefusal : public testing::Test {
 protected:
  EditRefusal() { writeFile(contents_, "new"); }

  void expectRefused(const std::shared_ptr<const NSFileProviderItem>& item,
                     const std::optional<std::filesystem::path>& contents) {
    const std::size_t filesBefore = countFiles(world_.testPlatform.warpDirectory());
    // Not the outcome of a task: everything has happened when the call returns.
    EditOutcome outcome;
    const auto progress = modifyItem(world_.context(), item, contents,
                                     [&](const SharedItem& edited, NSFileProviderItemFields stillPending,
                                         bool shouldFetchContent, const std::optional<NSError>& error) {
                                       ++outcome.completions;
                                       outcome.item = edited;
                                       outcome.stillPending = stillPending;
                                       outcome.shouldFetchContent = shouldFetchContent;
                                       outcome.error = error;
                                     });
    EXPECT_EQ(outcome.completions, 1);
    EXPECT_EQ(outcome.item, nullptr);
    EXPECT_EQ(outcome.stillPending, NSFileProviderItemNoFields);
    EXPECT_FALSE(outcome.shouldFetchContent);
    ASSERT_TRUE(outcome.error.has_value());
    EXPECT_TRUE(outcome.error->isSameInstance(readOnlyError()));
    EXPECT_EQ(outcome.error->localizedDescription(), "Tovrin warped files are read-only from Finder.");
    EXPECT_EQ(progress->totalUnitCount(), 100);
    EXPECT_EQ(progress->completedUnitCount(), 100);
    EXPECT_EQ(countFiles(world_.testPlatform.warpDirectory()), filesBefore) << "nothing is written";
    EXPECT_FALSE(world_.hasPublishedState());
  }

  EditWorld world_;
  std::filesystem::path contents_ = world_.testPlatform.scratch / "handed-over";
};

TEST_F(EditRefusal, meetsARenamedOrMovedFile) { expectRefused(world_.itemNamed("a.txt"), std::nullopt); }

TEST_F(EditRefusal, meetsADirectoryEntry) { expectRefused(world_.itemNamed("sub"), contents_); }

TEST_F(EditRefusal, meetsASymbolicLink) { expectRefused(world_.itemNamed("link"), contents_); }

TEST_F(EditRefusal, meetsEveryItemWithoutAnEntry) {
  const auto folder = world_.folder().string();
  for (const std::string& identifier :
       {std::string(NSFileProviderRootContainerItemIdentifier), std::string(kWarpedRootIdentifier),
        absoluteDirectoryIdentifier(std::filesystem::path(folder).parent_path().string()), manifestIdentifier("W1")}) {
    const SharedItem item = makeItem(identifier, *world_.tree);
    ASSERT_NE(item, nullptr) << identifier;
    expectRefused(item, contents_);
    expectRefused(std::make_shared<ForeignItem>(identifier), contents_);
  }
}

TEST_F(EditRefusal, meetsAForeignItemThatTheDomainDoesNotKnow) {
  expectRefused(std::make_shared<ForeignItem>("nothing of ours"), contents_);
  expectRefused(std::make_shared<ForeignItem>(entryIdentifier("W1", world_.pathOf("other"))), contents_);
  expectRefused(std::make_shared<ForeignItem>(entryIdentifier("W2", world_.pathOf("a.txt"))), contents_);
}

TEST_F(EditRefusal, meetsNoItemAtAll) { expectRefused(nullptr, contents_); }

TEST_F(EditRefusal, doesNotMeetAForeignItemThatNamesAFile) {
  const auto outcome =
      world_.edit(std::make_shared<ForeignItem>(entryIdentifier("W1", world_.pathOf("a.txt"))), contents_);
  EXPECT_FALSE(outcome.error.has_value());
  ASSERT_NE(outcome.item, nullptr);
  EXPECT_EQ(outcome.item->filename(), "a.txt");
}

}  // namespace
}  // namespace tovrin
