#include "edge/driver.h"

namespace tovrin {

namespace {

class Lookup : public Driver {};

TEST_F(Lookup, findsTheRootAtOnce) {
  const auto root = lookUp(::NSFileProviderRootContainerItemIdentifier);
  EXPECT_EQ(root->completions(), 1);
  EXPECT_EQ(text(root->wait().error.get()), "(nil)");
  EXPECT_EQ(text(root->wait().item.get().filename), "Tovrin");
  EXPECT_EQ(root->progress.get().totalUnitCount, 1);
  EXPECT_EQ(root->progress.get().completedUnitCount, 1);
}

TEST_F(Lookup, findsTheFolderOfAllWarps) {
  const auto folder = lookUp(@"warped-root")->wait();
  EXPECT_EQ(text(folder.error.get()), "(nil)");
  EXPECT_EQ(text(folder.item.get().filename), "Warped Files");
  EXPECT_EQ(text(folder.item.get().parentItemIdentifier), "NSFileProviderRootContainerItemIdentifier");
}

TEST_F(Lookup, findsAFileOfAWarp) {
  installWarp();
  EXPECT_EQ(text(item("a.txt").filename), "a.txt");
  EXPECT_EQ(text(item("a.txt").itemIdentifier), text(entry("a.txt")));
  EXPECT_EQ(text(item("a.txt").parentItemIdentifier), "manifest:W1");
}

TEST_F(Lookup, givesNeitherItemNorErrorForWhatIsNotThere) {
  installWarp();
  for (NSString* identifier in
       @[ @"bogus", @"", @"entry:only-two", @"manifest:W2", entry("gone"), @"entry:W1:!", @"warped-root\0" ]) {
    const auto answer = lookUp(identifier);
    EXPECT_EQ(answer->completions(), 1) << text(identifier);
    EXPECT_EQ(answer->wait().item.get(), nil) << text(identifier);
    EXPECT_EQ(text(answer->wait().error.get()), "(nil)") << text(identifier);
    EXPECT_EQ(answer->progress.get().completedUnitCount, 1) << text(identifier);
  }
}

TEST_F(Lookup, stillWorksAfterInvalidate) {
  [extension.get() invalidate];
  EXPECT_EQ(text(lookUp(@"warped-root")->wait().item.get().filename), "Warped Files");
}

TEST_F(Lookup, readsNothingWhenTheExtensionIsMade) {
  std::filesystem::remove_all(test.warpDirectory());
  start();
  EXPECT_FALSE(std::filesystem::exists(test.warpDirectory()));
  installWarp();
  EXPECT_EQ(text(item("a.txt").filename), "a.txt");
}

}  // namespace

}  // namespace tovrin
