#include "materialize/growing_file_hash.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>

#include "materialize/worker_fixture.h"
#include "support/scratch_folder.h"

namespace tovrin {
namespace {

constexpr std::size_t kLength = 5'000'000;

class GrowingFile : public ::testing::Test {
 protected:
  std::filesystem::path file(std::string_view name = "file") const { return scratch / name; }

  /// Writes the file, and says of each piece up to `announced` that it stands.
  void write(std::size_t announced = kLength) {
    constexpr std::size_t kPiece = 100'003;
    FileHandle handle = FileHandle::create(file()).value();
    for (std::size_t end = 0; end < bytes.size();) {
      const std::string_view piece = std::string_view(bytes).substr(end, kPiece);
      ASSERT_TRUE(handle.write(std::as_bytes(std::span(piece))));
      end += piece.size();
      if (end <= announced) hash.standsUpTo(file(), static_cast<std::int64_t>(end));
    }
  }
  Result<std::string> digest(std::string_view name = "file") { return hash.finish(file(name), stop.get_token()); }

  ScratchFolder scratch;
  const std::string bytes = patternedBytes(kLength);
  std::stop_source stop;
  GrowingFileHash hash;
};

TEST_F(GrowingFile, hasTheHashOfAllItsBytes) {
  write();
  EXPECT_EQ(digest(), sha256Hex(bytes));
}

TEST_F(GrowingFile, hasTheHashOfAllItsBytesWhenNothingWasSaidOfSome) {
  write(2'500'000);
  EXPECT_EQ(digest(), sha256Hex(bytes));
}

TEST_F(GrowingFile, hasTheHashOfAllItsBytesWhenNothingWasSaidOfAny) {
  write(0);
  EXPECT_EQ(digest(), sha256Hex(bytes));
}

TEST_F(GrowingFile, isHashedAsItIsOnDisk) {
  write(0);
  std::string changed = bytes;
  changed[100] ^= 1;
  FileHandle handle = FileHandle::forWriting(file()).value();
  ASSERT_TRUE(handle.write(std::as_bytes(std::span(changed))));
  hash.standsUpTo(file(), kLength);
  EXPECT_EQ(digest(), sha256Hex(changed));
}

TEST_F(GrowingFile, isKnownByItsNewName) {
  write();
  std::filesystem::rename(file(), file("renamed"));
  EXPECT_EQ(digest("renamed"), sha256Hex(bytes));
}

TEST_F(GrowingFile, doesNotPassForAnotherInItsPlace) {
  write();
  std::filesystem::rename(file(), file("renamed"));
  const std::string others(kLength, 'x');
  writeFile(file(), others);
  EXPECT_EQ(digest(), sha256Hex(others));
}

TEST_F(GrowingFile, mayBeShorterThanWasSaid) {
  write(0);
  hash.standsUpTo(file(), 2 * kLength);
  EXPECT_EQ(digest(), sha256Hex(bytes));
}

TEST_F(GrowingFile, thatIsGoneIsAnErrorInTheEnd) {
  write();
  std::filesystem::remove(file());
  EXPECT_TRUE(digest().error().is(CocoaErrorCode::fileReadNoSuchFile));
}

TEST_F(GrowingFile, thatWasNeverThereIsAnErrorInTheEnd) {
  hash.standsUpTo(file(), kLength);
  EXPECT_TRUE(digest().error().is(CocoaErrorCode::fileReadNoSuchFile));
}

TEST_F(GrowingFile, isNotHashedToItsEndWhenStopped) {
  write();
  stop.request_stop();
  EXPECT_TRUE(digest().error().is(CocoaErrorCode::userCancelled));
}

TEST_F(GrowingFile, mayBeGivenUpByItsWriter) { write(2'500'000); }

/// A file of so many zeros that no test lives to see its hash: whoever hashes it is at work until he is stopped.
class EndlessFile : public GrowingFile {
 protected:
  void SetUp() override {
    std::ofstream(file()).close();
    std::error_code error;
    std::filesystem::resize_file(file(), kEndless, error);
    if (error) GTEST_SKIP() << "no file can be so large here";
  }

  /// Returns when so many bytes of the file have been read.
  void waitUntilRead(std::int64_t count) const {
    while (bytesRead() < count) std::this_thread::yield();
  }

  static constexpr std::int64_t kEndless = std::int64_t{8} << 40;
  static constexpr std::int64_t kStanding = 2'000'000;  ///< enough to be hashed before the end

 private:
  /// How far the descriptor has got that the hash has of the file.
  std::int64_t bytesRead() const {
    for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code closed;
      if (std::filesystem::read_symlink(descriptor, closed) != file()) continue;
      std::ifstream information("/proc/self/fdinfo" / descriptor.path().filename());
      std::string word;
      std::int64_t position = 0;
      if (information >> word >> position && word == "pos:") return position;
    }
    return 0;
  }
};

TEST_F(EndlessFile, isStoppedWhileItIsHashed) {
  hash.standsUpTo(file(), kStanding);
  std::jthread stopper([this] {
    waitUntilRead(kStanding + 1);  // which nobody reads before the end is waited for
    stop.request_stop();
  });
  EXPECT_TRUE(digest().error().is(CocoaErrorCode::userCancelled));
}

TEST_F(EndlessFile, mayBeGivenUpWhileItIsHashed) {
  hash.standsUpTo(file(), kEndless);
  waitUntilRead(1);
}

TEST_F(EndlessFile, mayBeGivenUpWhileMoreIsWaitedFor) {
  hash.standsUpTo(file(), kStanding);
  waitUntilRead(kStanding);
}

}  // namespace
}  // namespace tovrin
