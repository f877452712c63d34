#include "host/file_names.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "foundation/encoding.h"
#include "provider/identifier.h"

namespace tovrin::host {
namespace {

std::string aloneAs(std::string_view filename) { return fileName({"entry:W1:YQ", filename}); }

/// The names of entries with these paths, all called `filename`.
std::vector<std::string> namesOf(const std::vector<std::string>& paths, std::string_view filename) {
  std::vector<std::string> identifiers;
  for (const std::string& path : paths) identifiers.push_back(entryIdentifier("W1", path));
  std::vector<FolderMember> members;
  for (const std::string& identifier : identifiers) members.push_back({identifier, filename});
  return fileNames(members);
}

TEST(FileNames, ofOrdinaryItemsAreTheirOwn) {
  EXPECT_EQ(aloneAs("a b.tar.gz"), "a b.tar.gz");
  EXPECT_EQ(aloneAs("Ä ünïcode 🎉"), "Ä ünïcode 🎉");
  EXPECT_EQ(aloneAs("line\nbreak"), "line\nbreak");
}

TEST(FileNames, replaceSlashesAndDropNUL) {
  EXPECT_EQ(aloneAs("a/b/"), "a:b:");
  EXPECT_EQ(aloneAs(std::string_view("a\0b", 3)), "ab");
}

TEST(FileNames, giveASuffixToNamesThatMeanAFolder) {
  for (const std::string_view filename : {".", "..", ""}) {
    const std::string name = aloneAs(filename);
    EXPECT_EQ(name.size(), filename.size() + 7);
    EXPECT_TRUE(name.starts_with(std::string(filename) + "~")) << name;
  }
  EXPECT_EQ(aloneAs("..."), "...");
  EXPECT_NE(aloneAs(std::string_view("\0", 1)), "");
}

TEST(FileNames, areCutAtACharacterAndKeepTheExtension) {
  EXPECT_EQ(aloneAs(std::string(255, 'x')), std::string(255, 'x'));
  EXPECT_EQ(aloneAs(std::string(256, 'x')), std::string(255, 'x'));
  EXPECT_EQ(aloneAs(std::string(300, 'x') + ".jpg"), std::string(251, 'x') + ".jpg");
  std::string accents;
  for (int i = 0; i < 200; ++i) accents += "é";
  const std::string cut = aloneAs("x" + accents);
  EXPECT_EQ(cut.size(), 255u);
  EXPECT_EQ(aloneAs(accents).size(), 254u);
  EXPECT_TRUE(isValidUTF8(aloneAs(accents)));
  const std::string noExtension = "a." + std::string(300, 'e');
  EXPECT_EQ(aloneAs(noExtension), noExtension.substr(0, 255));
}

TEST(FileNames, thatAreEqualGetSuffixesButOne) {
  const auto names = namesOf({"/p/1", "/p/2", "/p/3"}, "a.jpg");
  EXPECT_EQ(std::ranges::count(names, "a.jpg"), 1);
  for (const std::string& name : names) {
    if (name == "a.jpg") continue;
    EXPECT_TRUE(name.starts_with("a~") && name.ends_with(".jpg") && name.size() == 12) << name;
  }
  EXPECT_NE(names[0], names[1]);
  EXPECT_NE(names[1], names[2]);
  EXPECT_NE(names[0], names[2]);
}

TEST(FileNames, belongToTheEntryWhosePathEndsInThem) {
  EXPECT_EQ(namesOf({"/p/1", "/p/a.jpg", "/p/0"}, "a.jpg")[1], "a.jpg");
  EXPECT_EQ(namesOf({"/p/1", "/p/a:b"}, "a/b")[1], "a:b");
}

TEST(FileNames, belongToAWarpBeforeAFolderAboveWarps) {
  const std::string folder = absoluteDirectoryIdentifier("/Users/ann/Photos");
  const std::vector<FolderMember> members{{folder, "Photos"}, {"manifest:W1", "Photos"}};
  const auto names = fileNames(members);
  EXPECT_EQ(names[1], "Photos");
  EXPECT_TRUE(names[0].starts_with("Photos~"));
}

TEST(FileNames, withSuffixDoNotMoveWhenANeighbourComesOrGoes) {
  const auto all = namesOf({"/p/a.jpg", "/p/1", "/p/2", "/p/3"}, "a.jpg");
  const auto fewer = namesOf({"/p/a.jpg", "/p/3"}, "a.jpg");
  EXPECT_EQ(fewer[0], all[0]);
  EXPECT_EQ(fewer[1], all[3]);
}

TEST(FileNames, doNotDependOnTheOrder) {
  const auto forwards = namesOf({"/p/1", "/p/2", "/p/3"}, "x");
  const auto backwards = namesOf({"/p/3", "/p/2", "/p/1"}, "x");
  EXPECT_EQ(forwards[0], backwards[2]);
  EXPECT_EQ(forwards[1], backwards[1]);
  EXPECT_EQ(forwards[2], backwards[0]);
}

TEST(FileNames, staysShortEnoughWithASuffix) {
  const auto names = namesOf({"/p/1", "/p/2"}, std::string(255, 'x') + ".jpg");
  for (const std::string& name : names) EXPECT_EQ(name.size(), 255u);
  EXPECT_NE(names[0], names[1]);
}

TEST(FileNames, keepClearOfANameThatIsASuffixedOneByItself) {
  const auto pair = namesOf({"/p/1", "/p/2"}, "x");
  const std::string suffixed = pair[0] == "x" ? pair[1] : pair[0];
  const std::string first = entryIdentifier("W1", "/p/1");
  const std::string second = entryIdentifier("W1", "/p/2");
  const std::vector<FolderMember> members{{first, "x"}, {second, "x"}, {"entry:W1:YQ", suffixed}};
  const auto names = fileNames(members);
  EXPECT_EQ(names[2], suffixed);
  EXPECT_NE(names[0], suffixed);
  EXPECT_NE(names[1], suffixed);
}

}  // namespace
}  // namespace tovrin::host
