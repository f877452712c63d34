#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string>

#include "platform/file_system.h"
#include "support/scratch_folder.h"

namespace tovrin {
namespace {

class Copying : public testing::Test {
 protected:
  ScratchFolder scratch_;
};

std::string patternOf(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 131 >> 3);
  return bytes;
}

std::span<const std::byte> bytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

TEST_F(Copying, givesTheSameBytes) {
  for (const Durability durability : {Durability::ordinary, Durability::durable}) {
    for (const std::size_t size : {0u, 1u, 4095u, 4096u, 65'536u, 3'000'001u}) {
      const std::string bytes = patternOf(size);
      writeFile(scratch_ / "from", bytes);
      ASSERT_TRUE(copyItem(scratch_ / "from", scratch_ / "to", durability).has_value());
      EXPECT_EQ(readFile(scratch_ / "to"), bytes);
      ASSERT_TRUE(removeItem(scratch_ / "to").has_value());
    }
  }
}

TEST_F(Copying, isIndependentOfTheOriginal) {
  writeFile(scratch_ / "from", "abc");
  ASSERT_TRUE(copyItem(scratch_ / "from", scratch_ / "to").has_value());
  writeFile(scratch_ / "from", "xyz");
  EXPECT_EQ(readFile(scratch_ / "to"), "abc");
}

TEST_F(Copying, followsALinkAtTheSource) {
  writeFile(scratch_ / "from", "abc");
  ASSERT_TRUE(createSymbolicLink(scratch_ / "link", "from").has_value());
  ASSERT_TRUE(copyItem(scratch_ / "link", scratch_ / "to").has_value());
  EXPECT_EQ(fileAttributes(scratch_ / "to")->type, FileType::regular);
  EXPECT_EQ(readFile(scratch_ / "to"), "abc");
}

TEST_F(Copying, isNoMoreReadableThanTheOriginal) {
  writeFile(scratch_ / "from", "secret");
  ASSERT_EQ(chmod((scratch_ / "from").c_str(), 0400), 0);
  ASSERT_TRUE(copyItem(scratch_ / "from", scratch_ / "to").has_value());
  struct stat status;
  ASSERT_EQ(stat((scratch_ / "to").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0400u);
  EXPECT_EQ(readFile(scratch_ / "to"), "secret");
}

TEST_F(Copying, keepsHoles) {
  constexpr off_t kSize = 256 << 20;
  constexpr off_t kDataOffset = 100 << 20;
  auto file = FileHandle::create(scratch_ / "from");
  ASSERT_TRUE(file && file->seek(kDataOffset) && file->write(bytesOf("island")) && file->truncate(kSize));
  struct stat original;
  ASSERT_EQ(fstat(file->descriptor(), &original), 0);
  if (original.st_blocks * 512 > kSize / 2) GTEST_SKIP() << "the file system keeps no holes";

  ASSERT_TRUE(copyItem(scratch_ / "from", scratch_ / "to").has_value());
  struct stat copy;
  ASSERT_EQ(stat((scratch_ / "to").c_str(), &copy), 0);
  EXPECT_EQ(copy.st_size, kSize);
  EXPECT_LE(copy.st_blocks, original.st_blocks + 64);
  auto reader = FileHandle::forReading(scratch_ / "to");
  std::array<std::byte, 8> buffer;
  ASSERT_TRUE(reader && reader->seek(kDataOffset - 1));
  EXPECT_EQ(reader->read(buffer), 8u);
  EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(buffer.data()), 8), std::string_view("\0island\0", 8));
}

TEST_F(Copying, copiesNothingButHoles) {
  auto file = FileHandle::create(scratch_ / "from");
  ASSERT_TRUE(file && file->truncate(100'000));
  ASSERT_TRUE(copyItem(scratch_ / "from", scratch_ / "to").has_value());
  EXPECT_EQ(readFile(scratch_ / "to"), std::string(100'000, '\0'));
}

TEST_F(Copying, readsFilesThatClaimToBeEmpty) {
  ASSERT_TRUE(copyItem("/proc/self/status", scratch_ / "to").has_value());
  EXPECT_TRUE(readFile(scratch_ / "to").starts_with("Name:"));
}

TEST_F(Copying, replacesNothing) {
  writeFile(scratch_ / "from", "from");
  writeFile(scratch_ / "to", "to");
  ASSERT_TRUE(createSymbolicLink(scratch_ / "dangling", "nowhere").has_value());
  for (const char* name : {"to", "dangling", "from"}) {
    const auto copied = copyItem(scratch_ / "from", scratch_ / name);
    ASSERT_FALSE(copied) << name;
    EXPECT_TRUE(copied.error().is(CocoaErrorCode::fileWriteFileExists)) << name;
  }
  EXPECT_EQ(readFile(scratch_ / "to"), "to");
  EXPECT_EQ(readFile(scratch_ / "from"), "from");
  EXPECT_FALSE(fileExists(scratch_ / "nowhere"));
  const std::string folder = scratch_.path().filename();
  EXPECT_EQ(copyItem(scratch_ / "from", scratch_ / "to").error().localizedDescription(),
            "The file “to” couldn’t be saved in the folder “" + folder +
                "” because a file with the same name already exists.");
}

TEST_F(Copying, leavesNothingWhereItCannotCopy) {
  ASSERT_EQ(mkfifo((scratch_ / "pipe").c_str(), 0600), 0);
  const auto missing = copyItem(scratch_ / "missing", scratch_ / "to");
  ASSERT_FALSE(missing);
  EXPECT_TRUE(missing.error().is(CocoaErrorCode::fileReadNoSuchFile));
  for (const auto& source : {scratch_ / "pipe", scratch_.path()}) {
    const auto copied = copyItem(source, scratch_ / "to");
    ASSERT_FALSE(copied) << source;
    EXPECT_TRUE(copied.error().is(CocoaErrorCode::fileReadUnknown)) << source;
  }
  EXPECT_FALSE(fileExists(scratch_ / "to"));
}

TEST_F(Copying, failsWithTheReadersErrorWhenTheSourceBreaks) {
  // Opens and then fails to read: the memory of this process has nothing at address 0.
  const auto copied = copyItem("/proc/self/mem", scratch_ / "to");
  ASSERT_FALSE(copied);
  EXPECT_TRUE(copied.error().is(CocoaErrorCode::fileReadUnknown));
  EXPECT_FALSE(fileExists(scratch_ / "to"));
}

using CopyingBytes = Copying;

TEST_F(CopyingBytes, goesFromTheOnePositionToTheOther) {
  writeFile(scratch_ / "from", "0123456789");
  auto from = FileHandle::forReading(scratch_ / "from");
  auto to = FileHandle::create(scratch_ / "to");
  ASSERT_TRUE(from && to && from->seek(2) && to->write(bytesOf("ab")));
  EXPECT_EQ(copyBytes(*from, *to, 3), 3);
  EXPECT_EQ(copyBytes(*from, *to, 2), 2);
  ASSERT_TRUE(to->write(bytesOf("z")));
  EXPECT_EQ(readFile(scratch_ / "to"), "ab23456z");
}

TEST_F(CopyingBytes, givesFewerOnlyAtTheEnd) {
  const std::string bytes = patternOf(1'000'000);
  writeFile(scratch_ / "from", bytes);
  auto from = FileHandle::forReading(scratch_ / "from");
  auto to = FileHandle::create(scratch_ / "to");
  ASSERT_TRUE(from && to && from->seek(1));
  EXPECT_EQ(copyBytes(*from, *to, 5'000'000), 999'999);
  EXPECT_EQ(copyBytes(*from, *to, 10), 0);
  EXPECT_EQ(copyBytes(*from, *to, 0), 0);
  EXPECT_EQ(readFile(scratch_ / "to"), bytes.substr(1));
}

TEST_F(CopyingBytes, readsWhatTheKernelCannotCopy) {
  std::array<int, 2> ends;
  ASSERT_EQ(pipe(ends.data()), 0);
  ASSERT_EQ(write(ends[1], "through a pipe", 14), 14);
  close(ends[1]);
  auto from = FileHandle::forReading("/dev/fd/" + std::to_string(ends[0]));
  close(ends[0]);
  auto to = FileHandle::create(scratch_ / "to");
  ASSERT_TRUE(from && to);
  EXPECT_EQ(copyBytes(*from, *to, 7), 7);
  EXPECT_EQ(copyBytes(*from, *to, 100), 7);
  EXPECT_EQ(readFile(scratch_ / "to"), "through a pipe");
}

TEST_F(CopyingBytes, tellsAFailedReadFromAFailedWrite) {
  writeFile(scratch_ / "from", "abc");
  auto from = FileHandle::forReading(scratch_ / "from");
  auto full = FileHandle::forWriting("/dev/full");
  auto to = FileHandle::create(scratch_ / "to");
  auto broken = FileHandle::forReading("/proc/self/mem");
  ASSERT_TRUE(from && full && to && broken);
  const auto unwritten = copyBytes(*from, *full, 3);
  ASSERT_FALSE(unwritten);
  EXPECT_TRUE(unwritten.error().is(CocoaErrorCode::fileWriteOutOfSpace));
  const auto unread = copyBytes(*broken, *to, 3);
  ASSERT_FALSE(unread);
  EXPECT_TRUE(unread.error().is(CocoaErrorCode::fileReadUnknown));
}

}  // namespace
}  // namespace tovrin
