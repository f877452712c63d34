#include "platform/file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/alternating_file.h"
#include "platform/posix/system_calls.h"
#include "support/scratch_folder.h"

namespace tovrin {
namespace {

constexpr std::int64_t kFileWriteInvalidFileName = 514;

class FileSystem : public testing::Test {
 protected:
  /// Everything in the scratch folder, so that a test sees what a failure left behind.
  std::size_t filesInScratch() const { return countFiles(scratch_.path()); }

  ScratchFolder scratch_;
};

struct stat statusOf(const std::filesystem::path& path) {
  struct stat status{};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

std::string sentenceOf(const auto& result) { return result ? "no error" : result.error().localizedDescription(); }

using Attributes = FileSystem;

TEST_F(Attributes, tellTheTypeWithoutFollowingALink) {
  writeFile(scratch_ / "file", "abc");
  std::filesystem::create_directory(scratch_ / "folder");
  std::filesystem::create_symlink("file", scratch_ / "link");
  std::filesystem::create_symlink("nowhere", scratch_ / "dangling");
  ASSERT_EQ(mkfifo((scratch_ / "pipe").c_str(), 0600), 0);

  EXPECT_EQ(fileAttributes(scratch_ / "file")->type, FileType::regular);
  EXPECT_EQ(fileAttributes(scratch_ / "folder")->type, FileType::directory);
  EXPECT_EQ(fileAttributes(scratch_ / "link")->type, FileType::symbolicLink);
  EXPECT_EQ(fileAttributes(scratch_ / "dangling")->type, FileType::symbolicLink);
  EXPECT_EQ(fileAttributes(scratch_ / "pipe")->type, FileType::other);
}

TEST_F(Attributes, holdTheIdentityThatReadingGives) {
  writeFile(scratch_ / "file", "abc");
  const auto attributes = fileAttributes(scratch_ / "file");
  const auto contents = readWholeFile(scratch_ / "file");
  ASSERT_TRUE(attributes && contents);
  EXPECT_EQ(attributes->identity, contents->identity);
  EXPECT_EQ(attributes->identity.size, 3);
  EXPECT_EQ(attributes->identity.device, statusOf(scratch_ / "file").st_dev);
  EXPECT_EQ(attributes->identity.inode, statusOf(scratch_ / "file").st_ino);
}

TEST_F(Attributes, keepNanosecondsAlsoBefore1970) {
  writeFile(scratch_ / "file", "abc");
  const std::array<timespec, 2> times{timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                                      timespec{.tv_sec = -2, .tv_nsec = 999'999'999}};
  ASSERT_EQ(utimensat(AT_FDCWD, (scratch_ / "file").c_str(), times.data(), 0), 0);
  EXPECT_EQ(fileAttributes(scratch_ / "file")->identity.modificationTimeNanoseconds, -1'000'000'001);
}

TEST_F(Attributes, holdTheNearestTimeThatFitsOfAFarOne) {
  writeFile(scratch_ / "file", "abc");
  for (const time_t late : {10'413'792'000, 9'223'372'037}) {
    const timespec times[2] = {{0, UTIME_OMIT}, {late, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, (scratch_ / "file").c_str(), times, 0), 0);
    if (statusOf(scratch_ / "file").st_mtim.tv_sec != late) GTEST_SKIP() << "this file system ends before 2262";
    EXPECT_EQ(fileAttributes(scratch_ / "file")->identity.modificationTimeNanoseconds,
              std::numeric_limits<std::int64_t>::max());
  }
}

TEST_F(Attributes, tellANewFileOfTheSameSizeFromTheOldOne) {
  writeFile(scratch_ / "file", "abc");
  const auto before = fileAttributes(scratch_ / "file");
  ASSERT_TRUE(writeFileAtomically(scratch_ / "file", "xyz").has_value());
  EXPECT_NE(fileAttributes(scratch_ / "file")->identity, before->identity);
}

TEST_F(Attributes, failWithTheReadErrorsOfTheSystem) {
  writeFile(scratch_ / "file", "abc");
  const auto missing = fileAttributes(scratch_ / "missing");
  ASSERT_FALSE(missing);
  EXPECT_TRUE(missing.error().is(CocoaErrorCode::fileReadNoSuchFile));
  EXPECT_EQ(sentenceOf(missing), "The file “missing” couldn’t be opened because there is no such file.");
  const auto belowAFile = fileAttributes(scratch_ / "file/below");
  ASSERT_FALSE(belowAFile);
  EXPECT_TRUE(belowAFile.error().is(CocoaErrorCode::fileReadUnknown));
  const auto tooLong = fileAttributes(scratch_ / std::string(256, 'a'));
  ASSERT_FALSE(tooLong);
  EXPECT_TRUE(tooLong.error().is(CocoaErrorCode::fileReadInvalidFileName));
}

TEST_F(Attributes, existThroughLinksOnly) {
  writeFile(scratch_ / "file", "");
  std::filesystem::create_symlink("file", scratch_ / "link");
  std::filesystem::create_symlink("nowhere", scratch_ / "dangling");
  std::filesystem::create_symlink("circle", scratch_ / "circle");
  EXPECT_TRUE(fileExists(scratch_ / "file"));
  EXPECT_TRUE(fileExists(scratch_ / "link"));
  EXPECT_TRUE(fileExists(scratch_.path()));
  EXPECT_FALSE(fileExists(scratch_ / "dangling"));
  EXPECT_FALSE(fileExists(scratch_ / "circle"));
  EXPECT_FALSE(fileExists(scratch_ / "missing"));
  EXPECT_FALSE(fileExists(scratch_ / "file/below"));
  EXPECT_FALSE(fileExists(""));
}

using Reading = FileSystem;

TEST_F(Reading, givesAllBytes) {
  std::string bytes;
  for (int i = 0; i < 300'000; ++i) bytes += static_cast<char>(i * 7);
  for (const std::size_t size : {0u, 1u, 1023u, 1024u, 1025u, 4096u, 300'000u}) {
    writeFile(scratch_ / "file", bytes.substr(0, size));
    const auto contents = readWholeFile(scratch_ / "file");
    ASSERT_TRUE(contents) << size;
    EXPECT_EQ(contents->bytes, bytes.substr(0, size));
  }
}

TEST_F(Reading, followsLinks) {
  writeFile(scratch_ / "file", "abc");
  std::filesystem::create_symlink("file", scratch_ / "link");
  EXPECT_EQ(readWholeFile(scratch_ / "link")->bytes, "abc");
  EXPECT_EQ(readWholeFile(scratch_ / "link")->identity, fileAttributes(scratch_ / "file")->identity);
}

TEST_F(Reading, readsFilesThatClaimToBeEmpty) {
  const auto contents = readWholeFile("/proc/self/status");
  ASSERT_TRUE(contents);
  EXPECT_EQ(contents->identity.size, 0);
  EXPECT_TRUE(contents->bytes.starts_with("Name:"));
}

TEST_F(Reading, failsForWhatIsNoFileWithoutBlocking) {
  ASSERT_EQ(mkfifo((scratch_ / "pipe").c_str(), 0600), 0);
  std::filesystem::create_symlink("circle", scratch_ / "circle");
  for (const std::filesystem::path& path :
       {scratch_ / "pipe", scratch_.path(), scratch_ / "circle", std::filesystem::path("/dev/null")}) {
    const auto contents = readWholeFile(path);
    ASSERT_FALSE(contents) << path;
    EXPECT_TRUE(contents.error().is(CocoaErrorCode::fileReadUnknown)) << path;
  }
  EXPECT_EQ(sentenceOf(readWholeFile(scratch_ / "pipe")), "The file “pipe” couldn’t be opened.");
}

TEST_F(Reading, failsForAMissingFile) {
  const auto contents = readWholeFile(scratch_ / "missing.json");
  ASSERT_FALSE(contents);
  EXPECT_TRUE(contents.error().is(CocoaErrorCode::fileReadNoSuchFile));
  EXPECT_EQ(sentenceOf(contents), "The file “missing.json” couldn’t be opened because there is no such file.");
}

TEST_F(FileSystem, waitsForWhoeverHoldsAFileThatIsRead) {
  writeFile(scratch_ / "file", "old");
  const int holder = ::open((scratch_ / "file").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(holder, 0);
  ASSERT_TRUE(takeWriteLease(holder));
  std::optional<Result<FileContents>> contents;
  {
    const std::jthread reader([&] { contents = readWholeFile(scratch_ / "file"); });
    while (fcntl(holder, F_GETLEASE) == F_WRLCK) std::this_thread::yield();  // until the reader is there
    EXPECT_EQ(::pwrite(holder, "new", 3, 0), 3);
    endLease(holder);
  }
  ::close(holder);
  ASSERT_TRUE(contents && *contents);
  EXPECT_EQ((*contents)->bytes, "new");
}

using Directory = FileSystem;

TEST_F(Directory, isMadeWithItsParents) {
  ASSERT_TRUE(createDirectories(scratch_ / "a/b/c").has_value());
  EXPECT_TRUE(std::filesystem::is_directory(scratch_ / "a/b/c"));
  EXPECT_TRUE(createDirectories(scratch_ / "a/b/c").has_value());
  EXPECT_TRUE(createDirectories(scratch_ / "a/d/").has_value());
  EXPECT_TRUE(std::filesystem::is_directory(scratch_ / "a/d"));
  EXPECT_TRUE(createDirectories("/").has_value());
}

TEST_F(Directory, countsAsThereBehindALink) {
  std::filesystem::create_directory(scratch_ / "folder");
  std::filesystem::create_symlink("folder", scratch_ / "link");
  EXPECT_TRUE(createDirectories(scratch_ / "link").has_value());
  EXPECT_TRUE(createDirectories(scratch_ / "link/below").has_value());
  EXPECT_TRUE(std::filesystem::is_directory(scratch_ / "folder/below"));
}

TEST_F(Directory, isNotMadeOverAFile) {
  writeFile(scratch_ / "file", "abc");
  std::filesystem::create_symlink("nowhere", scratch_ / "dangling");
  for (const char* name : {"file", "dangling"}) {
    const auto made = createDirectories(scratch_ / name);
    ASSERT_FALSE(made) << name;
    EXPECT_TRUE(made.error().is(CocoaErrorCode::fileWriteFileExists)) << name;
  }
  const auto below = createDirectories(scratch_ / "file/below/it");
  ASSERT_FALSE(below);
  EXPECT_TRUE(below.error().is(CocoaErrorCode::fileWriteUnknown));
  EXPECT_EQ(readFile(scratch_ / "file"), "abc");
}

TEST_F(Directory, isMadeByManyThreadsAtOnce) {
  for (int round = 0; round < 20; ++round) {
    const std::filesystem::path path = scratch_ / std::to_string(round) / "a/b/c/d";
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([&] { EXPECT_TRUE(createDirectories(path).has_value()); });
  }
}

TEST_F(Directory, listsNamesInItsOwnOrder) {
  for (const char* name : {"b", "a", ".hidden", "._a", "._", "..x", "ä", "c"}) writeFile(scratch_ / name, "");
  std::vector<std::string> expected;
  DIR* directory = opendir(scratch_.path().c_str());
  ASSERT_NE(directory, nullptr);
  while (const dirent* entry = readdir(directory)) {
    const std::string name = entry->d_name;
    if (name != "." && name != ".." && name != "._a" && name != "._") expected.push_back(name);
  }
  closedir(directory);
  EXPECT_EQ(expected.size(), 6u);
  EXPECT_EQ(contentsOfDirectory(scratch_.path()), expected);
}

TEST_F(Directory, failsToListWhatIsNone) {
  writeFile(scratch_ / "file", "");
  const auto missing = contentsOfDirectory(scratch_ / "missing");
  ASSERT_FALSE(missing);
  EXPECT_TRUE(missing.error().is(CocoaErrorCode::fileReadNoSuchFile));
  const auto file = contentsOfDirectory(scratch_ / "file");
  ASSERT_FALSE(file);
  EXPECT_TRUE(file.error().is(CocoaErrorCode::fileReadUnknown));
}

using Removing = FileSystem;

TEST_F(Removing, takesFilesLinksAndWholeFolders) {
  writeFile(scratch_ / "outside", "stays");
  writeFile(scratch_ / "folder/a/b", "abc");
  std::filesystem::create_directory_symlink(scratch_.path(), scratch_ / "folder/a/up");
  writeFile(scratch_ / "file", "");
  std::filesystem::create_symlink("outside", scratch_ / "link");
  EXPECT_TRUE(removeItem(scratch_ / "file").has_value());
  EXPECT_TRUE(removeItem(scratch_ / "link").has_value());
  EXPECT_TRUE(removeItem(scratch_ / "folder").has_value());
  EXPECT_EQ(filesInScratch(), 1u);
  EXPECT_EQ(readFile(scratch_ / "outside"), "stays");
}

TEST_F(Removing, failsForAMissingFile) {
  const auto removed = removeItem(scratch_ / "missing");
  ASSERT_FALSE(removed);
  EXPECT_TRUE(removed.error().is(CocoaErrorCode::fileNoSuchFile));
  EXPECT_EQ(sentenceOf(removed), "“missing” couldn’t be removed.");
}

using Linking = FileSystem;

TEST_F(Linking, keepsTheTargetAsItIsWritten) {
  ASSERT_TRUE(createSymbolicLink(scratch_ / "link", "../no where/é").has_value());
  EXPECT_EQ(std::filesystem::read_symlink(scratch_ / "link"), "../no where/é");
}

TEST_F(Linking, replacesNothing) {
  writeFile(scratch_ / "file", "abc");
  const auto linked = createSymbolicLink(scratch_ / "file", "target");
  ASSERT_FALSE(linked);
  EXPECT_TRUE(linked.error().is(CocoaErrorCode::fileWriteFileExists));
  EXPECT_EQ(readFile(scratch_ / "file"), "abc");
  EXPECT_FALSE(createSymbolicLink(scratch_ / "empty", "").has_value());
}

using Moving = FileSystem;

TEST_F(Moving, keepsTheFileItself) {
  writeFile(scratch_ / "from", "abc");
  const auto before = fileAttributes(scratch_ / "from");
  ASSERT_TRUE(moveItem(scratch_ / "from", scratch_ / "to").has_value());
  EXPECT_EQ(fileAttributes(scratch_ / "to")->identity.inode, before->identity.inode);
  EXPECT_FALSE(fileExists(scratch_ / "from"));
}

TEST_F(Moving, takesFoldersAndLinks) {
  writeFile(scratch_ / "folder/a", "abc");
  ASSERT_TRUE(createSymbolicLink(scratch_ / "link", "nowhere").has_value());
  EXPECT_TRUE(moveItem(scratch_ / "folder", scratch_ / "folder2").has_value());
  EXPECT_TRUE(moveItem(scratch_ / "link", scratch_ / "link2").has_value());
  EXPECT_EQ(readFile(scratch_ / "folder2/a"), "abc");
  EXPECT_EQ(std::filesystem::read_symlink(scratch_ / "link2"), "nowhere");
}

TEST_F(Moving, replacesNothing) {
  writeFile(scratch_ / "from", "from");
  writeFile(scratch_ / "to", "to");
  const auto moved = moveItem(scratch_ / "from", scratch_ / "to");
  ASSERT_FALSE(moved);
  EXPECT_TRUE(moved.error().is(CocoaErrorCode::fileWriteFileExists));
  EXPECT_EQ(readFile(scratch_ / "from"), "from");
  EXPECT_EQ(readFile(scratch_ / "to"), "to");
}

TEST_F(Moving, saysWhichSideIsMissing) {
  writeFile(scratch_ / "from", "from");
  const auto noSource = moveItem(scratch_ / "missing", scratch_ / "to");
  ASSERT_FALSE(noSource);
  EXPECT_TRUE(noSource.error().is(CocoaErrorCode::fileNoSuchFile));
  EXPECT_EQ(sentenceOf(noSource), "The file “missing” doesn’t exist.");
  const auto noFolder = moveItem(scratch_ / "from", scratch_ / "nowhere/to");
  ASSERT_FALSE(noFolder);
  EXPECT_TRUE(noFolder.error().is(CocoaErrorCode::fileNoSuchFile));
  EXPECT_EQ(sentenceOf(noFolder), "The folder “nowhere” doesn’t exist.");
  EXPECT_EQ(readFile(scratch_ / "from"), "from");
}

}  // namespace
}  // namespace tovrin
