#include "materialize/growing_file_hash.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

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

}  // namespace
}  // namespace tovrin
