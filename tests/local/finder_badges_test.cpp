#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "local/finder_badges.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

using State = TovrinWarpSharedFinderBadgeState;
using Names = std::vector<std::string>;

class FinderBadgeFile : public testing::Test {
 protected:
  std::filesystem::path file() const { return platform_.warpDirectory() / "finder-badge-update.json"; }
  /// The file's text behind its date.
  std::string text() const {
    const std::string all = readFile(file());
    const std::string head = R"({"createdAt":"2023-11-14T22:13:20Z",)";
    return all.starts_with(head) ? "{" + all.substr(head.size()) : all;
  }

  TestPlatform platform_;
  FinderBadges badges_{platform_.platform()};
};

TEST_F(FinderBadgeFile, holdsEveryStateUnderItsName) {
  badges_.publish({{"/a", State::warpedRoot},
                   {"/b", State::remoteOnly},
                   {"/c", State::cached},
                   {"/d", State::opening},
                   {"/e", State::issue}},
                  {"/f"});
  EXPECT_EQ(readFile(file()),
            R"({"createdAt":"2023-11-14T22:13:20Z","badgeStatesByPath":{"/a":"warpedRoot","/b":"remoteOnly",)"
            R"("/c":"cached","/d":"opening","/e":"issue"},"clearPaths":["/f"]})");
}

TEST_F(FinderBadgeFile, storesStandardizedPaths) {
  badges_.publish({{"/a/b/../c", State::cached}}, {"/d//e/./"});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/a/c":"cached"},"clearPaths":["/d/e"]})");
}

TEST_F(FinderBadgeFile, takesAPathWithANewStateOutOfTheClearedOnes) {
  badges_.publish({}, {"/a", "/b"});
  badges_.publish({{"/a/", State::opening}}, {});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/a":"opening"},"clearPaths":["/b"]})");
}

TEST_F(FinderBadgeFile, forgetsTheStateOfAClearedPath) {
  badges_.publish({{"/a", State::cached}, {"/b", State::issue}}, {});
  badges_.publish({}, {"/a"});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/b":"issue"},"clearPaths":["/a"]})");
}

TEST_F(FinderBadgeFile, endsWithTheStateOfAPathThatIsBothClearedAndGivenOne) {
  badges_.publish({{"/a", State::cached}}, {});
  badges_.publish({{"/a", State::issue}}, {"/a"});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/a":"issue"},"clearPaths":[]})");
}

TEST_F(FinderBadgeFile, replacesAnOlderState) {
  badges_.publish({{"/a", State::opening}}, {});
  badges_.publish({{"/a", State::cached}}, {});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/a":"cached"},"clearPaths":[]})");
}

TEST_F(FinderBadgeFile, sortsTheClearedPaths) {
  badges_.publish({}, {"/b"});
  badges_.publish({}, {"/a"});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{},"clearPaths":["/a","/b"]})");
}

TEST_F(FinderBadgeFile, sortsInPlainTextOrderAndListsAPathOnce) {
  badges_.publish({}, {"/b10", "/b9", "/B", "/\u00e9", "/a", "/a"});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{},"clearPaths":["/B","/a","/b10","/b9","/)"
                    "\u00e9"
                    R"("]})");
}

TEST_F(FinderBadgeFile, takesTwoSpellingsOfAPathForOne) {
  badges_.publish({{"/caf\u00e9", State::opening}}, {"/the\u0301"});
  badges_.publish({{"/cafe\u0301", State::cached}}, {"/th\u00e9"});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/caf)"
                    "\u00e9"
                    R"(":"cached"},"clearPaths":["/the)"
                    "\u0301"
                    R"("]})");
  badges_.publish({}, {"/cafe\u0301"});
  EXPECT_EQ(text().find("\"cached\""), std::string::npos);
}

TEST_F(FinderBadgeFile, keepsWhatAnotherProcessPublished) {
  badges_.publish({{"/mine", State::cached}}, {});
  writeFile(file(),
            R"({"createdAt":"2023-01-01T00:00:00Z","badgeStatesByPath":{"/theirs":"issue"},"clearPaths":["/z","/a"]})");
  badges_.publish({{"/more", State::cached}}, {});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/more":"cached","/theirs":"issue"},"clearPaths":["/a","/z"]})");
}

TEST_F(FinderBadgeFile, takesAnUndecodableFileForAnEmptyOne) {
  for (const char* broken :
       {"", "[]", "not JSON",
        R"({"createdAt":"2023-01-01T00:00:00Z","badgeStatesByPath":{"/a":"purple"},"clearPaths":[]})",
        R"({"badgeStatesByPath":{"/a":"cached"},"clearPaths":[]})"}) {
    writeFile(file(), broken);
    badges_.publish({{"/new", State::cached}}, {});
    EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/new":"cached"},"clearPaths":[]})") << broken;
  }
}

TEST_F(FinderBadgeFile, postsTheNotificationAfterEachWrite) {
  badges_.publish({{"/a", State::cached}}, {});
  badges_.publish({}, {"/a"});
  EXPECT_EQ(platform_.notifications.posted(),
            (Names{"com.tovrin.app.finderBadgeUpdate", "com.tovrin.app.finderBadgeUpdate"}));
}

TEST_F(FinderBadgeFile, postsNothingWhenTheFileCannotBeWritten) {
  std::filesystem::create_directories(file() / "in the way");
  badges_.publish({{"/a", State::cached}}, {});
  EXPECT_TRUE(platform_.notifications.posted().empty());
  EXPECT_TRUE(std::filesystem::is_directory(file()));
}

TEST_F(FinderBadgeFile, postsNothingWhenTheDirectoryCannotBeMade) {
  writeFile(*platform_.directories.container, "in the way");
  badges_.publish({{"/a", State::cached}}, {});
  EXPECT_TRUE(platform_.notifications.posted().empty());
}

TEST_F(FinderBadgeFile, postsNothingWithoutASharedDirectory) {
  platform_.directories.container.reset();
  platform_.directories.support.reset();
  badges_.publish({{"/a", State::cached}}, {});
  EXPECT_TRUE(platform_.notifications.posted().empty());
}

TEST_F(FinderBadgeFile, losesNoStateOfAnotherThread) {
  constexpr int kThreads = 4;
  constexpr int kPaths = 10;
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([this, thread] {
        for (int path = 0; path < kPaths; ++path)
          badges_.publish({{"/" + std::to_string(thread) + "-" + std::to_string(path), State::cached}}, {});
      });
    }
  }
  const std::string all = text();
  std::size_t states = 0;
  for (std::size_t at = all.find("\"cached\""); at != std::string::npos; at = all.find("\"cached\"", at + 1)) ++states;
  EXPECT_EQ(states, static_cast<std::size_t>(kThreads * kPaths));
}

TEST_F(FinderBadgeFile, isNotWrittenAgainWhereNothingChanges) {
  badges_.publish({{"/a", State::opening}}, {});
  const auto before = fileAttributes(file());
  badges_.publish({{"/a", State::opening}}, {});
  EXPECT_EQ(fileAttributes(file())->identity, before->identity);
  EXPECT_EQ(platform_.notifications.posted().size(), 2u) << "whoever listens is told all the same";
  platform_.clock.advance(1);
  badges_.publish({{"/a", State::opening}}, {});
  EXPECT_EQ(readFile(file()),
            R"({"createdAt":"2023-11-14T22:13:21Z","badgeStatesByPath":{"/a":"opening"},"clearPaths":[]})");
}

TEST_F(FinderBadgeFile, isWrittenAgainWhereItIsGone) {
  badges_.publish({{"/a", State::opening}}, {});
  std::filesystem::remove(file());
  badges_.publish({{"/b", State::opening}}, {});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/b":"opening"},"clearPaths":[]})");
}

TEST_F(FinderBadgeFile, keepsWhatAnotherProcessPublishedInAFileOfTheSameSizeAndTime) {
  badges_.publish({{"/a", State::cached}}, {});
  struct stat old{};
  ASSERT_EQ(stat(file().c_str(), &old), 0);
  const std::filesystem::path other = platform_.scratch / "other";
  writeFile(other, R"({"createdAt":"2023-11-14T22:13:20Z","badgeStatesByPath":{"/b":"cached"},"clearPaths":[]})");
  const timespec times[] = {old.st_atim, old.st_mtim};
  ASSERT_EQ(utimensat(AT_FDCWD, other.c_str(), times, 0), 0);
  std::filesystem::rename(other, file());
  badges_.publish({{"/c", State::cached}}, {});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/b":"cached","/c":"cached"},"clearPaths":[]})");
}

TEST_F(FinderBadgeFile, growsAndShrinksInAnyOrder) {
  for (const char* path : {"/m", "/a", "/z", "/q"}) badges_.publish({{path, State::opening}}, {});
  badges_.publish({{"/q", State::cached}, {"/a", State::issue}}, {"/z"});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/a":"issue","/m":"opening","/q":"cached"},"clearPaths":["/z"]})");
  badges_.publish({{"/z", State::cached}}, {"/a", "/m", "/q"});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/z":"cached"},"clearPaths":["/a","/m","/q"]})");
}

TEST_F(FinderBadgeFile, keepsBothSpellingsThatAnotherProcessWrote) {
  writeFile(file(),
            "{\"createdAt\":\"2023-01-01T00:00:00Z\",\"badgeStatesByPath\":{\"/e\u0301\":\"issue\",\"/\u00e9\":"
            "\"opening\"},\"clearPaths\":[]}");
  badges_.publish({{"/\u00e9", State::cached}}, {});
  EXPECT_NE(text().find("\"/\u00e9\":\"cached\""), std::string::npos);
  EXPECT_NE(text().find("\"/e\u0301\":\"issue\""), std::string::npos);
}

TEST_F(FinderBadgeFile, isRightAgainAfterAWriteThatFailed) {
  badges_.publish({{"/a", State::cached}}, {});
  std::filesystem::remove(file());
  std::filesystem::create_directories(file() / "in the way");
  badges_.publish({{"/b", State::cached}}, {});
  std::filesystem::remove_all(file());
  badges_.publish({{"/c", State::cached}}, {});
  EXPECT_EQ(text(), R"({"badgeStatesByPath":{"/c":"cached"},"clearPaths":[]})");
}

TEST_F(FinderBadgeFile, keepsTwentyThousandPaths) {
  std::map<std::string, State> states;
  for (int i = 0; i < 20000; ++i) states.emplace("/Users/ann/Photos/" + std::to_string(i) + ".jpg", State::cached);
  badges_.publish(states, {});
  badges_.publish({{"/one more", State::opening}}, {});
  EXPECT_NE(text().find("\"/Users/ann/Photos/19999.jpg\":\"cached\""), std::string::npos);
  EXPECT_NE(text().find("\"/one more\":\"opening\""), std::string::npos);
}

TEST(FinderBadgeStates, haveTheirRawValues) {
  EXPECT_EQ(rawValue(State::warpedRoot), "warpedRoot");
  EXPECT_EQ(rawValue(State::remoteOnly), "remoteOnly");
  EXPECT_EQ(rawValue(State::cached), "cached");
  EXPECT_EQ(rawValue(State::opening), "opening");
  EXPECT_EQ(rawValue(State::issue), "issue");
}

TEST(FinderBadgeStates, mapTagNamesExactly) {
  EXPECT_EQ(stateOfFinderTag("Tovrin"), State::warpedRoot);
  EXPECT_EQ(stateOfFinderTag("Tovrin Remote"), State::remoteOnly);
  EXPECT_EQ(stateOfFinderTag("Tovrin Cached"), State::cached);
  EXPECT_EQ(stateOfFinderTag("Tovrin Opening"), State::opening);
  EXPECT_EQ(stateOfFinderTag("Tovrin Issue"), State::issue);
  for (const char* name : {"tovrin opening", "Tovrin Opening ", "Tovrin Opening\n5", "Tovrin O", "", "Work"})
    EXPECT_EQ(stateOfFinderTag(name), std::nullopt) << name;
}

}  // namespace
}  // namespace tovrin
