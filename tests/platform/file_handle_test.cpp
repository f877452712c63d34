#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>

#include "platform/file_system.h"
#include "support/scratch_folder.h"

namespace tovrin {
namespace {

class Handle : public testing::Test {
 protected:
  ScratchFolder scratch_;
};

std::span<const std::byte> bytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

std::string readSome(FileHandle& file, std::size_t count) {
  std::string bytes(count, '\0');
  const auto length = file.read(std::as_writable_bytes(std::span(bytes)));
  EXPECT_TRUE(length);
  bytes.resize(length.value_or(0));
  return bytes;
}

bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }

TEST_F(Handle, readsFromWhereItStands) {
  writeFile(scratch_ / "file", "0123456789");
  auto file = FileHandle::forReading(scratch_ / "file");
  ASSERT_TRUE(file);
  EXPECT_EQ(readSome(*file, 4), "0123");
  EXPECT_EQ(readSome(*file, 4), "4567");
  EXPECT_EQ(readSome(*file, 4), "89");
  EXPECT_EQ(readSome(*file, 4), "");
  EXPECT_EQ(readSome(*file, 0), "");
  ASSERT_TRUE(file->seek(8));
  EXPECT_EQ(readSome(*file, 4), "89");
  ASSERT_TRUE(file->seek(1000));
  EXPECT_EQ(readSome(*file, 4), "");
}

TEST_F(Handle, writesIntoAnExistingFile) {
  writeFile(scratch_ / "file", "0123456789");
  auto file = FileHandle::forWriting(scratch_ / "file");
  ASSERT_TRUE(file && file->seek(2) && file->write(bytesOf("ab")) && file->synchronize() && file->close());
  EXPECT_EQ(readFile(scratch_ / "file"), "01ab456789");
}

TEST_F(Handle, leavesAHoleWhereItWritesBehindTheEnd) {
  auto file = FileHandle::create(scratch_ / "file");
  ASSERT_TRUE(file && file->seek(3) && file->write(bytesOf("x")));
  EXPECT_EQ(readFile(scratch_ / "file"), std::string("\0\0\0x", 4));
}

TEST_F(Handle, shortensAndLengthens) {
  auto file = FileHandle::create(scratch_ / "file");
  ASSERT_TRUE(file && file->write(bytesOf("abcdef")) && file->truncate(2));
  EXPECT_EQ(readFile(scratch_ / "file"), "ab");
  ASSERT_TRUE(file->truncate(4));
  EXPECT_EQ(readFile(scratch_ / "file"), std::string("ab\0\0", 4));
}

TEST_F(Handle, readsBackWhatItMade) {
  auto file = FileHandle::create(scratch_ / "file");
  ASSERT_TRUE(file && file->write(bytesOf("abc")) && file->seek(0));
  EXPECT_EQ(readSome(*file, 10), "abc");
}

TEST_F(Handle, replacesAFileAndNotItsOtherNames) {
  writeFile(scratch_ / "file", "old");
  std::filesystem::create_hard_link(scratch_ / "file", scratch_ / "other name");
  auto file = FileHandle::create(scratch_ / "file");
  ASSERT_TRUE(file);
  EXPECT_EQ(readFile(scratch_ / "file"), "");
  EXPECT_EQ(readFile(scratch_ / "other name"), "old");
}

TEST_F(Handle, doesNotMakeAFileOverAFolderOrInNone) {
  const auto over = FileHandle::create(scratch_.path());
  ASSERT_FALSE(over);
  EXPECT_TRUE(over.error().is(CocoaErrorCode::fileWriteUnknown));
  const auto nowhere = FileHandle::create(scratch_ / "missing/file");
  ASSERT_FALSE(nowhere);
  EXPECT_TRUE(nowhere.error().is(CocoaErrorCode::fileNoSuchFile));
}

TEST_F(Handle, opensOnlyWhatIsThere) {
  const auto reading = FileHandle::forReading(scratch_ / "missing");
  ASSERT_FALSE(reading);
  EXPECT_TRUE(reading.error().is(CocoaErrorCode::fileReadNoSuchFile));
  const auto writing = FileHandle::forWriting(scratch_ / "missing");
  ASSERT_FALSE(writing);
  EXPECT_TRUE(writing.error().is(CocoaErrorCode::fileNoSuchFile));
  EXPECT_EQ(writing.error().localizedDescription(), "The file “missing” doesn’t exist.");
  EXPECT_FALSE(fileExists(scratch_ / "missing"));
}

TEST_F(Handle, failsWhereTheFileDoesNotAllowIt) {
  writeFile(scratch_ / "file", "abc");
  auto reader = FileHandle::forReading(scratch_ / "file");
  ASSERT_TRUE(reader);
  EXPECT_FALSE(reader->write(bytesOf("x")).has_value());
  EXPECT_FALSE(reader->truncate(0).has_value());
  EXPECT_FALSE(reader->seek(-1).has_value());
  auto folder = FileHandle::forReading(scratch_.path());
  ASSERT_TRUE(folder);
  std::array<std::byte, 8> buffer;
  const auto read = folder->read(buffer);
  ASSERT_FALSE(read);
  EXPECT_TRUE(read.error().is(CocoaErrorCode::fileReadUnknown));
  auto full = FileHandle::forWriting("/dev/full");
  ASSERT_TRUE(full);
  const auto written = full->write(bytesOf("x"));
  ASSERT_FALSE(written);
  EXPECT_TRUE(written.error().is(CocoaErrorCode::fileWriteOutOfSpace));
}

TEST_F(Handle, closesOnceHoweverItEnds) {
  writeFile(scratch_ / "file", "abc");
  int descriptor = -1;
  {
    auto file = FileHandle::forReading(scratch_ / "file");
    ASSERT_TRUE(file);
    descriptor = file->descriptor();
    EXPECT_TRUE(isOpen(descriptor));
    EXPECT_TRUE(file->close());
    EXPECT_FALSE(isOpen(descriptor));
    EXPECT_TRUE(file->close());
    std::array<std::byte, 1> buffer;
    EXPECT_FALSE(file->read(buffer).has_value());
  }
  {
    auto file = FileHandle::forReading(scratch_ / "file");
    ASSERT_TRUE(file);
    descriptor = file->descriptor();
  }
  EXPECT_FALSE(isOpen(descriptor));
}

TEST_F(Handle, passesItsFileOnWhenItIsMoved) {
  writeFile(scratch_ / "a", "a");
  writeFile(scratch_ / "b", "b");
  auto a = FileHandle::forReading(scratch_ / "a");
  auto b = FileHandle::forReading(scratch_ / "b");
  ASSERT_TRUE(a && b);
  const int descriptorOfB = b->descriptor();
  FileHandle moved = std::move(*a);
  EXPECT_EQ(readSome(moved, 1), "a");
  *b = std::move(moved);
  EXPECT_FALSE(isOpen(descriptorOfB));
  ASSERT_TRUE(b->seek(0));
  EXPECT_EQ(readSome(*b, 1), "a");
}

TEST_F(Handle, isNotInheritedByOtherPrograms) {
  auto file = FileHandle::create(scratch_ / "file");
  ASSERT_TRUE(file);
  EXPECT_EQ(fcntl(file->descriptor(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(Handle, writesAndReadsAllThroughInterruptions) {
  struct sigaction interrupting{};
  interrupting.sa_handler = [](int) {};  // and no SA_RESTART: system calls end early
  struct sigaction before;
  ASSERT_EQ(sigaction(SIGUSR1, &interrupting, &before), 0);
  ASSERT_EQ(mkfifo((scratch_ / "pipe").c_str(), 0600), 0);

  std::string sent(4 << 20, '\0');
  for (std::size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * 13 >> 4);
  std::string received;
  std::atomic<bool> done{false};
  std::thread writer([&] {
    auto file = FileHandle::forWriting(scratch_ / "pipe");
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->write(bytesOf(sent)).has_value());
  });
  std::thread reader([&] {
    auto file = FileHandle::forReading(scratch_ / "pipe");
    ASSERT_TRUE(file);
    for (std::string some = readSome(*file, 10'000); !some.empty(); some = readSome(*file, 10'000)) received += some;
    done = true;
  });
  while (!done) {
    pthread_kill(writer.native_handle(), SIGUSR1);
    pthread_kill(reader.native_handle(), SIGUSR1);
    std::this_thread::yield();
  }
  writer.join();
  reader.join();
  EXPECT_EQ(received, sent);
  ASSERT_EQ(sigaction(SIGUSR1, &before, nullptr), 0);
}

}  // namespace
}  // namespace tovrin
