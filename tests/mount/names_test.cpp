#include <algorithm>

#include "mount/mount_fixture.h"

namespace tovrin {

namespace {

namespace fs = std::filesystem;

/// A Warp with names that no file system of this machine can hold.
class Names : public MountTest {
 protected:
  void SetUp() override {
    MountTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    ManifestSpec manifest;
    manifest.warpID = "Odd";
    manifest.originalFolderPath = "/Users/ann/Odd";
    const std::vector<std::pair<std::string, std::string>> names{
        {"a", "A/B.txt"},         {"b", ".."},       {"c", std::string(300, 'x') + ".txt"},
        {"same.txt", "same.txt"}, {"d", "same.txt"}, {"e", "new\\nline"}};
    for (const auto& [name, displayName] : names) {
      ASSERT_TRUE(worker_.putObject("tovrin", name, name + "\n"));
      EntrySpec entry = fileEntry("/Users/ann/Odd/" + name, name + "\n", name);
      entry.displayName = displayName;
      manifest.entries.push_back(entry);
    }
    installManifest(platform_, manifest);
    mount();
    for (const auto& entry : fs::directory_iterator(shownAt("/Users/ann/Odd")))
      names_.push_back(entry.path().filename());
    std::ranges::sort(names_);
  }

  std::vector<std::string> names_;
};

TEST_F(Names, areMadeFit) {
  ASSERT_EQ(names_.size(), 6U);
  EXPECT_TRUE(std::ranges::find(names_, "A:B.txt") != names_.end());
  EXPECT_TRUE(std::ranges::find(names_, "same.txt") != names_.end());
  EXPECT_EQ(std::ranges::count_if(names_, [](const std::string& name) { return name.starts_with("same~"); }), 1);
  EXPECT_EQ(std::ranges::count_if(names_, [](const std::string& name) { return name.starts_with("xxx"); }), 1);
  for (const std::string& name : names_) EXPECT_LE(name.size(), 255U);
}

TEST_F(Names, openTheirOwnFiles) {
  std::vector<std::string> contents;
  for (const std::string& name : names_) contents.push_back(readFile(shownAt("/Users/ann/Odd") / name));
  std::ranges::sort(contents);
  EXPECT_EQ(contents, (std::vector<std::string>{"a\n", "b\n", "c\n", "d\n", "e\n", "same.txt\n"}));
  EXPECT_EQ(readFile(shownAt("/Users/ann/Odd/same.txt")), "same.txt\n");
}

}  // namespace

}  // namespace tovrin
