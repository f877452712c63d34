#include "platform/alternating_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <thread>

#include "foundation/uuid.h"
#include "platform/file_system.h"
#include "platform/posix/replacement.h"
#include "support/scratch_folder.h"

namespace tovrin {
namespace {

constexpr std::int64_t kFileWriteInvalidFileName = 514;

class Alternating : public testing::TestWithParam<Durability> {
 protected:
  Result<FileIdentity> replace(std::string_view text) { return replace(*file_, path_, text); }
  static Result<FileIdentity> replace(AlternatingFile& file, const std::filesystem::path& path, std::string_view text) {
    return file.replace(path, std::span(&text, 1), GetParam());
  }

  std::uint64_t inode() const { return fileAttributes(path_)->identity.inode; }
  std::size_t filesInScratch() const { return countFiles(scratch_.path()); }

  static mode_t modeOf(const std::filesystem::path& path) {
    struct stat status{};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  }

  /// The file that waits for its next turn.
  std::filesystem::path spare() const {
    for (const auto& entry : std::filesystem::directory_iterator(scratch_.path())) {
      if (entry.path() != path_) return entry.path();
    }
    return {};
  }

  ScratchFolder scratch_;
  const std::filesystem::path path_ = scratch_ / "file";
  std::optional<AlternatingFile> file_{std::in_place};
};

TEST_P(Alternating, holdsWhatWasWrittenLast) {
  for (const char* text : {"a", "longer than before", "short", "", "again"}) {
    ASSERT_TRUE(replace(text).has_value());
    EXPECT_EQ(readFile(path_), text);
  }
  constexpr std::array<std::string_view, 3> kPieces{"in", "", "pieces"};
  ASSERT_TRUE(file_->replace(path_, kPieces, GetParam()).has_value());
  EXPECT_EQ(readFile(path_), "inpieces");
}

TEST_P(Alternating, takesTwoFilesForAnyNumberOfTurns) {
  std::set<std::uint64_t> inodes;
  for (int turn = 0; turn < 20; ++turn) {
    ASSERT_TRUE(replace(std::to_string(turn)).has_value());
    inodes.insert(inode());
    EXPECT_LE(filesInScratch(), 2u);
  }
  EXPECT_EQ(inodes.size(), 2u);
}

TEST_P(Alternating, emptiesTheFileOfTheNextTurn) {
  file_->emptySpare();  // there is none yet
  ASSERT_TRUE(replace("first").has_value());
  ASSERT_TRUE(replace("second").has_value());
  file_->emptySpare();
  EXPECT_EQ(readFile(spare()), "");
  EXPECT_EQ(readFile(path_), "second");
  const std::uint64_t waiting = fileAttributes(spare())->identity.inode;
  ASSERT_TRUE(replace("third").has_value());
  EXPECT_EQ(readFile(path_), "third");
  EXPECT_EQ(inode(), waiting);
}

TEST_P(Alternating, doesNotEmptyWhatSomebodyHasOpen) {
  ASSERT_TRUE(replace("first").has_value());
  std::ifstream reader(path_);
  ASSERT_TRUE(replace("second").has_value());
  file_->emptySpare();
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "first");
}

TEST_P(Alternating, leavesOneFileWhenItEnds) {
  for (const char* text : {"a", "b", "c"}) ASSERT_TRUE(replace(text).has_value());
  file_.reset();
  EXPECT_EQ(filesInScratch(), 1u);
  EXPECT_EQ(readFile(path_), "c");
}

TEST_P(Alternating, removesWhatKilledProcessesLeft) {
  const std::filesystem::path left = scratch_ / ("." + makeUUIDString() + ".partial");
  const std::filesystem::path inUse = scratch_ / ("." + makeUUIDString() + ".partial");
  const std::filesystem::path foreign = scratch_ / ".download.partial";
  for (const auto& file : {left, inUse, foreign}) writeFile(file, "bytes");
  const auto user = FileHandle::forWriting(inUse);
  ASSERT_TRUE(user);
  ASSERT_TRUE(replace("a").has_value());
  EXPECT_FALSE(std::filesystem::exists(left));
  EXPECT_TRUE(std::filesystem::exists(inUse));
  EXPECT_TRUE(std::filesystem::exists(foreign));
}

TEST_P(Alternating, showsTheWaitingFileToNobodyElse) {
  for (const char* text : {"a", "b"}) ASSERT_TRUE(replace(text).has_value());
  EXPECT_EQ(modeOf(spare()), 0600u);
  ASSERT_EQ(chmod(path_.c_str(), 0644), 0);
  ASSERT_TRUE(replace("c").has_value());
  EXPECT_EQ(modeOf(path_), 0644u);
  EXPECT_EQ(modeOf(spare()), 0600u);
}

TEST_P(Alternating, givesAFileThatWasRemovedTheModeThatTheUmaskLeaves) {
  for (const char* text : {"a", "b"}) ASSERT_TRUE(replace(text).has_value());
  std::filesystem::remove(path_);
  const mode_t before = umask(027);
  const auto written = replace("c");
  umask(before);
  ASSERT_TRUE(written.has_value());
  EXPECT_EQ(modeOf(path_), 0640u);
}

TEST_P(Alternating, leavesOneFileAtEachOfTwoPaths) {
  for (const char* text : {"a", "b", "c"}) ASSERT_TRUE(replace(text).has_value());
  ASSERT_TRUE(replace(*file_, scratch_ / "other", "elsewhere").has_value());
  EXPECT_EQ(filesInScratch(), 2u);
  EXPECT_EQ(readFile(path_), "c");
  EXPECT_EQ(readFile(scratch_ / "other"), "elsewhere");
}

TEST_P(Alternating, makesTheMissingFolder) {
  ASSERT_TRUE(replace(*file_, scratch_ / "missing/folder/file", "a").has_value());
  EXPECT_EQ(readFile(scratch_ / "missing/folder/file"), "a");
}

TEST_P(Alternating, leavesAnOpenFileToItsReader) {
  ASSERT_TRUE(replace("first").has_value());
  auto reader = FileHandle::forReading(path_);
  ASSERT_TRUE(reader);
  for (const char* text : {"2", "3", "4", "5"}) ASSERT_TRUE(replace(text).has_value());
  std::array<std::byte, 16> buffer;
  EXPECT_EQ(reader->read(buffer), 5u);
  EXPECT_EQ(std::memcmp(buffer.data(), "first", 5), 0);
  EXPECT_EQ(readFile(path_), "5");
  EXPECT_LE(filesInScratch(), 2u);
}

TEST_P(Alternating, leavesAFileToWhoOpenedItWhileItWaitedForItsTurn) {
  for (const char* text : {"first", "second"}) ASSERT_TRUE(replace(text).has_value());
  auto reader = FileHandle::forReading(spare());
  ASSERT_TRUE(reader);
  ASSERT_TRUE(replace("third").has_value());
  std::array<std::byte, 16> buffer;
  EXPECT_EQ(reader->read(buffer), 5u);
  EXPECT_EQ(std::memcmp(buffer.data(), "first", 5), 0);
}

TEST_P(Alternating, leavesAnotherNameOfAFileAlone) {
  ASSERT_TRUE(replace("first").has_value());
  std::filesystem::create_hard_link(path_, scratch_ / "kept");
  for (const char* text : {"2", "3", "4"}) ASSERT_TRUE(replace(text).has_value());
  EXPECT_EQ(readFile(scratch_ / "kept"), "first");

  std::filesystem::create_hard_link(spare(), scratch_ / "kept too");
  const std::string waiting = readFile(scratch_ / "kept too");
  for (const char* text : {"5", "6", "7"}) ASSERT_TRUE(replace(text).has_value());
  EXPECT_EQ(readFile(scratch_ / "kept too"), waiting);
}

TEST_P(Alternating, neverWritesIntoAFileThatAnotherPutInItsPlace) {
  for (const char* text : {"a", "b"}) ASSERT_TRUE(replace(text).has_value());
  writeFile(scratch_ / "foreign", "foreign");
  std::filesystem::rename(scratch_ / "foreign", path_);
  auto reader = FileHandle::forReading(path_);
  ASSERT_TRUE(reader);
  EXPECT_FALSE(file_->isAt(path_));
  for (const char* text : {"c", "d", "e"}) ASSERT_TRUE(replace(text).has_value());
  std::array<std::byte, 16> buffer;
  EXPECT_EQ(reader->read(buffer), 7u);
  EXPECT_EQ(std::memcmp(buffer.data(), "foreign", 7), 0);
  EXPECT_EQ(readFile(path_), "e");
}

TEST_P(Alternating, goesOnWhenTheWaitingFileWasRemoved) {
  for (const char* text : {"a", "b"}) ASSERT_TRUE(replace(text).has_value());
  std::filesystem::remove(spare());
  for (const char* text : {"c", "d", "e"}) {
    ASSERT_TRUE(replace(text).has_value());
    EXPECT_EQ(readFile(path_), text);
  }
  EXPECT_EQ(filesInScratch(), 2u);
}

TEST_P(Alternating, goesOnWhenTheFileWasRemoved) {
  for (const char* text : {"a", "b"}) ASSERT_TRUE(replace(text).has_value());
  std::filesystem::remove(path_);
  EXPECT_FALSE(file_->isAt(path_));
  for (const char* text : {"c", "d", "e"}) ASSERT_TRUE(replace(text).has_value());
  EXPECT_EQ(readFile(path_), "e");
  file_.reset();
  EXPECT_EQ(filesInScratch(), 1u);
}

TEST_P(Alternating, leavesTwoProcessesOneFile) {
  AlternatingFile other;
  for (int turn = 0; turn < 5; ++turn) {
    ASSERT_TRUE(replace("mine").has_value());
    ASSERT_TRUE(replace(other, path_, "the other's").has_value());
    EXPECT_FALSE(file_->isAt(path_));
    EXPECT_TRUE(other.isAt(path_));
    EXPECT_EQ(readFile(path_), "the other's");
  }
  EXPECT_LE(filesInScratch(), 3u);
}

TEST_P(Alternating, keepsTheModeOfTheOldFile) {
  for (const mode_t mode : {0600u, 0444u, 0640u, 0644u}) {
    ASSERT_TRUE(replace("old").has_value());
    ASSERT_EQ(chmod(path_.c_str(), mode), 0);
    ASSERT_TRUE(replace("new").has_value());
    EXPECT_EQ(modeOf(path_), mode);
  }
}

TEST_P(Alternating, replacesALinkAndNotItsTarget) {
  writeFile(scratch_ / "target", "target");
  std::filesystem::create_symlink("target", path_);
  ASSERT_TRUE(replace("new").has_value());
  EXPECT_EQ(fileAttributes(path_)->type, FileType::regular);
  EXPECT_EQ(readFile(scratch_ / "target"), "target");
}

TEST_P(Alternating, leavesAFolderInItsPlaceAlone) {
  for (const char* text : {"a", "b"}) ASSERT_TRUE(replace(text).has_value());
  std::filesystem::remove(path_);
  std::filesystem::create_directory(path_);
  const auto replaced = replace("c");
  ASSERT_FALSE(replaced.has_value());
  EXPECT_TRUE(replaced.error().is(CocoaErrorCode::fileWriteUnknown));
  EXPECT_TRUE(std::filesystem::is_directory(path_));
  EXPECT_FALSE(file_->isAt(path_));
  EXPECT_EQ(filesInScratch(), 1u);
}

TEST_P(Alternating, knowsWhetherItsFileIsStillThere) {
  EXPECT_FALSE(file_->isAt(path_));
  ASSERT_TRUE(replace("a").has_value());
  EXPECT_TRUE(file_->isAt(path_));
  EXPECT_FALSE(file_->isAt(scratch_ / "other"));
  writeFile(path_, "changed by somebody else");
  EXPECT_FALSE(file_->isAt(path_));
}

TEST_P(Alternating, givesTheIdentityOfTheFileInItsPlace) {
  for (int turn = 0; turn < 4; ++turn) {
    const auto written = replace("abc");
    ASSERT_TRUE(written.has_value());
    EXPECT_EQ(*written, fileAttributes(path_)->identity);
    EXPECT_EQ(*written, readWholeFile(path_)->identity);
  }
}

TEST_P(Alternating, givesANewFileTheModeThatTheUmaskLeaves) {
  const mode_t before = umask(027);
  const auto written = replace("new");
  umask(before);
  ASSERT_TRUE(written.has_value());
  EXPECT_EQ(modeOf(path_), 0640u);
}

TEST_P(Alternating, worksForTheLongestNameAndNoLonger) {
  const std::filesystem::path path = scratch_ / std::string(255, 'a');
  for (const char* text : {"a", "b", "c"}) ASSERT_TRUE(replace(*file_, path, text).has_value());
  EXPECT_EQ(readFile(path), "c");
  const auto tooLong = replace(*file_, scratch_ / std::string(256, 'a'), "abc");
  ASSERT_FALSE(tooLong.has_value());
  EXPECT_EQ(tooLong.error().domain(), NSCocoaErrorDomain);
  EXPECT_EQ(tooLong.error().code(), kFileWriteInvalidFileName);
  EXPECT_EQ(filesInScratch(), 1u);
}

TEST_P(Alternating, neverShowsAReaderHalfAFile) {
  const std::string a(200'000, 'a');
  const std::string b(100'000, 'b');
  ASSERT_TRUE(replace(a).has_value());
  std::jthread writer([&] {
    for (int turn = 0; turn < 200; ++turn) std::ignore = replace(turn % 2 == 0 ? b : a);
  });
  for (int i = 0; i < 400; ++i) {
    const auto contents = readWholeFile(path_);
    ASSERT_TRUE(contents);
    ASSERT_TRUE(contents->bytes == a || contents->bytes == b) << contents->bytes.size();
  }
}

std::string nameOfDurability(const testing::TestParamInfo<Durability>& test) {
  switch (test.param) {
    case Durability::disposable:
      return "disposable";
    case Durability::ordinary:
      return "ordinary";
    case Durability::durable:
      return "durable";
  }
  return "unknown";
}

INSTANTIATE_TEST_SUITE_P(OfEveryDurability, Alternating,
                         testing::Values(Durability::disposable, Durability::ordinary, Durability::durable),
                         nameOfDurability);

class ReadingBack : public testing::Test {
 protected:
  int readBack(std::string_view text) {
    writeFile(scratch_ / "file", text);
    const auto file = FileHandle::forReading(scratch_ / "file");
    constexpr std::array<std::string_view, 3> kPieces{"one,", "", "two"};
    return tovrin::readBack(file->descriptor(), kPieces);
  }

  ScratchFolder scratch_;
};

TEST_F(ReadingBack, findsWhatWasWritten) { EXPECT_EQ(readBack("one,two"), 0); }

TEST_F(ReadingBack, findsEveryDifference) {
  for (const char* text : {"", "one", "one,", "one,tw", "one,twp", "ome,two", "one,two,", "one,two,three"})
    EXPECT_EQ(readBack(text), EIO) << text;
}

TEST(WritingOnce, leavesOneFile) {
  ScratchFolder scratch;
  for (const char* text : {"first", "2nd", ""}) {
    ASSERT_TRUE(writeFileAtomically(scratch / "file", text).has_value());
    EXPECT_EQ(readFile(scratch / "file"), text);
    EXPECT_EQ(countFiles(scratch.path()), 1u);
  }
}

}  // namespace
}  // namespace tovrin
