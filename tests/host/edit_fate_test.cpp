#include "host/edit_fate.h"

#include <gtest/gtest.h>

#include "host/mounted_domain_fixture.h"
#include "support/scratch_folder.h"

namespace tovrin::host {
namespace {

/// An edit of a.txt, whose stored contents are "first contents".
class EditFateTest : public MountedDomainTest {
 protected:
  EditFate fate(const std::string& bytes) {
    const std::filesystem::path file = test_.scratch / "edit";
    writeFile(file, bytes);
    return fateOf(*domain_, domain_->item(identifier_), base_, file);
  }
  void SetUp() override {
    MountedDomainTest::SetUp();
    identifier_ = find("a.txt").node.item->itemIdentifier();
    base_ = domain_->item(identifier_)->itemVersion().contentVersion;
  }

  NSFileProviderItemIdentifier identifier_;
  std::string base_;
};

TEST_F(EditFateTest, isUnchangedOnlyWhenEveryByteIs) {
  EXPECT_EQ(fate("first contents"), EditFate::isUnchanged);
  EXPECT_EQ(fate("FIRST contents"), EditFate::waits) << "of the same size";
  EXPECT_EQ(fate("first"), EditFate::waits);
}

TEST_F(EditFateTest, isStoredWhenTheItemHasANewerVersion) {
  install({file("a.txt", "something else", 1700000000)});
  EXPECT_EQ(fate("something else"), EditFate::isStored);
}

TEST_F(EditFateTest, cannotBeToldWithoutTheItemOrTheJournal) {
  install({file("a.txt", "something else", 1700000000)});
  writeFile(test_.warpDirectory() / "file-provider-cached-items.json", "{");
  EXPECT_EQ(fate("something else"), EditFate::waits);
  std::filesystem::remove(test_.warpDirectory() / "file-provider-cached-items.json");
  EXPECT_EQ(fate("something else"), EditFate::isStored);
  EXPECT_EQ(fateOf(*domain_, nullptr, base_, test_.scratch / "edit"), EditFate::waits);
}

}  // namespace
}  // namespace tovrin::host
