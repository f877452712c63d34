#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <limits>
#include <string>

#include "platform/alternating_file.h"
#include "platform/file_system.h"
#include "support/scratch_folder.h"

// Files on a disk that is full, read-only or another one, and folders that do not let us in.
namespace tovrin {
namespace {

constexpr uid_t kNobody = 65534;
constexpr std::size_t kMoreThanFits = 300'000;

std::span<const std::byte> bytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

NSError errorOf(const auto& result) { return result ? NSError::posix(0) : result.error(); }

/// A file system of 256 KiB in memory, visible to this process only. Tests skip where the process may not mount.
class SmallDisk : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(disk_);
    const bool isPrivate = unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    mounted_ = isPrivate && mount("tovrin-test", disk_.c_str(), "tmpfs", 0, "size=256k") == 0;
    if (!mounted_) GTEST_SKIP() << "this process may not mount a small disk";
  }
  ~SmallDisk() override {
    if (mounted_) umount2(disk_.c_str(), MNT_DETACH);
  }

  void makeReadOnly() { ASSERT_EQ(mount(nullptr, disk_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0); }

  ScratchFolder scratch_;
  const std::filesystem::path disk_ = scratch_ / "disk";

 private:
  bool mounted_ = false;
};

TEST_F(SmallDisk, keepsTheOldFileWhenANewOneDoesNotFit) {
  writeFile(disk_ / "file", "old");
  const auto before = fileAttributes(disk_ / "file");
  const std::string large(kMoreThanFits, 'x');
  const std::string_view piece = large;
  for (const Durability durability : {Durability::disposable, Durability::ordinary, Durability::durable}) {
    AlternatingFile file;
    const auto written = file.replace(disk_ / "file", std::span(&piece, 1), durability);
    ASSERT_FALSE(written);
    EXPECT_TRUE(written.error().is(CocoaErrorCode::fileWriteOutOfSpace));
    EXPECT_EQ(written.error().localizedDescription(),
              "The file “file” couldn’t be saved because there isn’t enough space.");
    EXPECT_EQ(readFile(disk_ / "file"), "old");
    EXPECT_EQ(fileAttributes(disk_ / "file")->identity, before->identity);
    EXPECT_EQ(countFiles(disk_), 1u);
  }
}

TEST_F(SmallDisk, keepsTheOldFileWhenTheNextTurnDoesNotFit) {
  const std::string large(kMoreThanFits, 'x');
  for (const Durability durability : {Durability::disposable, Durability::ordinary, Durability::durable}) {
    AlternatingFile file;
    for (const std::string_view piece : {"first", "old"})
      ASSERT_TRUE(file.replace(disk_ / "file", std::span(&piece, 1), durability));
    const std::string_view piece = large;
    const auto written = file.replace(disk_ / "file", std::span(&piece, 1), durability);
    ASSERT_FALSE(written);
    EXPECT_TRUE(written.error().is(CocoaErrorCode::fileWriteOutOfSpace));
    EXPECT_EQ(readFile(disk_ / "file"), "old");
    EXPECT_EQ(countFiles(disk_), 1u);
    EXPECT_FALSE(file.isAt(disk_ / "file"));
    const std::string_view small = "new";
    ASSERT_TRUE(file.replace(disk_ / "file", std::span(&small, 1), durability));
    EXPECT_EQ(readFile(disk_ / "file"), "new");
  }
}

TEST_F(SmallDisk, saysWhyTheFolderOfAFileCannotBeMade) {
  makeReadOnly();
  const auto written = writeFileAtomically(disk_ / "missing/file", "text");
  ASSERT_FALSE(written);
  EXPECT_TRUE(written.error().is(CocoaErrorCode::fileWriteVolumeReadOnly));
}

TEST_F(SmallDisk, holdsNoPartOfACopyThatDoesNotFit) {
  writeFile(scratch_ / "large", std::string(kMoreThanFits, 'x'));
  writeFile(disk_ / "file", std::string(200'000, 'x'));
  for (const auto& source : {scratch_ / "large", disk_ / "file"}) {
    const auto copied = copyItem(source, disk_ / "copy");
    ASSERT_FALSE(copied) << source;
    EXPECT_TRUE(copied.error().is(CocoaErrorCode::fileWriteOutOfSpace)) << source;
    EXPECT_EQ(countFiles(disk_), 1u) << source;
  }
}

TEST_F(SmallDisk, reportsWritesThatDoNotFit) {
  writeFile(scratch_ / "large", std::string(kMoreThanFits, 'x'));
  auto large = FileHandle::forReading(scratch_ / "large");
  auto file = FileHandle::create(disk_ / "file");
  ASSERT_TRUE(large && file);
  const auto copied = copyBytes(*large, *file, kMoreThanFits);
  ASSERT_FALSE(copied);
  EXPECT_TRUE(copied.error().is(CocoaErrorCode::fileWriteOutOfSpace));
  const auto written = file->write(bytesOf(std::string(kMoreThanFits, 'x')));
  ASSERT_FALSE(written);
  EXPECT_TRUE(written.error().is(CocoaErrorCode::fileWriteOutOfSpace));
}

TEST_F(SmallDisk, takesAFileFromAnotherDisk) {
  writeFile(scratch_ / "from", "abc");
  ASSERT_EQ(chmod((scratch_ / "from").c_str(), 0600), 0);
  ASSERT_TRUE(moveItem(scratch_ / "from", disk_ / "to").has_value());
  EXPECT_EQ(readFile(disk_ / "to"), "abc");
  EXPECT_FALSE(fileExists(scratch_ / "from"));
  struct stat status;
  ASSERT_EQ(stat((disk_ / "to").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(SmallDisk, leavesTheFileOnTheOtherDiskWhenItDoesNotFit) {
  writeFile(scratch_ / "from", std::string(kMoreThanFits, 'x'));
  const auto moved = moveItem(scratch_ / "from", disk_ / "to");
  ASSERT_FALSE(moved);
  EXPECT_TRUE(moved.error().is(CocoaErrorCode::fileWriteOutOfSpace));
  EXPECT_EQ(readFile(scratch_ / "from").size(), kMoreThanFits);
  EXPECT_EQ(countFiles(disk_), 0u);
}

TEST_F(SmallDisk, replacesNothingFromAnotherDisk) {
  writeFile(scratch_ / "from", "from");
  writeFile(disk_ / "to", "to");
  const auto moved = moveItem(scratch_ / "from", disk_ / "to");
  ASSERT_FALSE(moved);
  EXPECT_TRUE(moved.error().is(CocoaErrorCode::fileWriteFileExists));
  EXPECT_EQ(readFile(scratch_ / "from"), "from");
  EXPECT_EQ(readFile(disk_ / "to"), "to");
}

TEST_F(SmallDisk, takesNoFolderFromAnotherDisk) {
  writeFile(scratch_ / "folder/file", "abc");
  EXPECT_FALSE(moveItem(scratch_ / "folder", disk_ / "folder").has_value());
  EXPECT_EQ(readFile(scratch_ / "folder/file"), "abc");
  EXPECT_EQ(countFiles(disk_), 0u);
}

TEST_F(SmallDisk, failsToReadAFileThatIsLargerThanAnyMemory) {
  auto file = FileHandle::create(disk_ / "file");
  ASSERT_TRUE(file);
  if (!file->truncate(std::numeric_limits<std::int64_t>::max())) GTEST_SKIP() << "no file can be so large here";
  const auto contents = readWholeFile(disk_ / "file");
  ASSERT_FALSE(contents);
  EXPECT_TRUE(contents.error().is(CocoaErrorCode::fileReadUnknown));
}

TEST_F(SmallDisk, canBeReadOnly) {
  writeFile(disk_ / "file", "abc");
  writeFile(scratch_ / "from", "abc");
  makeReadOnly();
  const std::array results{
      errorOf(writeFileAtomically(disk_ / "file", "x")),
      errorOf(copyItem(scratch_ / "from", disk_ / "copy")),
      errorOf(moveItem(scratch_ / "from", disk_ / "moved")),
      errorOf(moveItem(disk_ / "file", disk_ / "moved")),
      errorOf(removeItem(disk_ / "file")),
      errorOf(createDirectories(disk_ / "a/b")),
      errorOf(createSymbolicLink(disk_ / "link", "x")),
  };
  for (std::size_t i = 0; i < results.size(); ++i) {
    EXPECT_TRUE(results[i].is(CocoaErrorCode::fileWriteVolumeReadOnly))
        << i << ": " << results[i].localizedDescription();
  }
  EXPECT_TRUE(createDirectories(disk_).has_value());
  EXPECT_EQ(readWholeFile(disk_ / "file")->bytes, "abc");
  EXPECT_EQ(readFile(scratch_ / "from"), "abc");
}

/// Takes away root's right to pass by permission bits until the end of the test.
class ClosedFolder : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::permissions(scratch_.path(), std::filesystem::perms(0755));
    for (const char* name : {"unreadable", "unwritable"}) {
      writeFile(scratch_ / name / "file", "abc");
      std::filesystem::permissions(scratch_ / name / "file", std::filesystem::perms(0644));
    }
    writeFile(scratch_ / "secret", "abc");
    std::filesystem::permissions(scratch_ / "secret", std::filesystem::perms::none);
    std::filesystem::permissions(scratch_ / "unreadable", std::filesystem::perms::none);
    std::filesystem::permissions(scratch_ / "unwritable", std::filesystem::perms(0555));
    ASSERT_EQ(geteuid() == 0 ? seteuid(kNobody) : 0, 0);
  }
  void TearDown() override {
    ASSERT_EQ(getuid() == 0 ? seteuid(0) : 0, 0);
    for (const char* name : {"unreadable", "unwritable"}) {
      std::filesystem::permissions(scratch_ / name, std::filesystem::perms(0755));
    }
  }

  ScratchFolder scratch_;
};

TEST_F(ClosedFolder, cannotBeReadFrom) {
  for (const auto& path : {scratch_ / "unreadable/file", scratch_ / "secret"}) {
    const auto contents = readWholeFile(path);
    ASSERT_FALSE(contents) << path;
    EXPECT_TRUE(contents.error().is(CocoaErrorCode::fileReadNoPermission)) << path;
  }
  EXPECT_EQ(readWholeFile(scratch_ / "secret").error().localizedDescription(),
            "The file “secret” couldn’t be opened because you don’t have permission to view it.");
  const auto attributes = fileAttributes(scratch_ / "unreadable/file");
  ASSERT_FALSE(attributes);
  EXPECT_TRUE(attributes.error().is(CocoaErrorCode::fileReadNoPermission));
  const auto names = contentsOfDirectory(scratch_ / "unreadable");
  ASSERT_FALSE(names);
  EXPECT_TRUE(names.error().is(CocoaErrorCode::fileReadNoPermission));
  EXPECT_FALSE(fileExists(scratch_ / "unreadable/file"));
  EXPECT_TRUE(fileAttributes(scratch_ / "secret").has_value());
}

TEST_F(ClosedFolder, cannotBeWrittenTo) {
  const std::filesystem::path folder = scratch_ / "unwritable";
  const std::array results{
      errorOf(writeFileAtomically(folder / "file", "x")),
      errorOf(writeFileAtomically(folder / "new", "x")),
      errorOf(copyItem(folder / "file", folder / "copy")),
      errorOf(moveItem(folder / "file", folder / "moved")),
      errorOf(removeItem(folder / "file")),
      errorOf(createDirectories(folder / "a/b")),
      errorOf(createSymbolicLink(folder / "link", "x")),
  };
  for (std::size_t i = 0; i < results.size(); ++i) {
    EXPECT_TRUE(results[i].is(CocoaErrorCode::fileWriteNoPermission)) << i << ": " << results[i].localizedDescription();
  }
  EXPECT_EQ(results[1].localizedDescription(),
            "You don’t have permission to save the file “new” in the folder “unwritable”.");
  EXPECT_EQ(results[4].localizedDescription(),
            "“file” couldn’t be removed because you don’t have permission to access it.");
  EXPECT_EQ(readFile(folder / "file"), "abc");
  EXPECT_EQ(countFiles(folder), 1u);
}

TEST_F(ClosedFolder, isThereAllTheSame) { EXPECT_TRUE(createDirectories(scratch_ / "unwritable").has_value()); }

}  // namespace
}  // namespace tovrin
