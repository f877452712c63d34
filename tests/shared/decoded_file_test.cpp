#include "shared/decoded_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "platform/alternating_file.h"
#include "support/scratch_folder.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

/// Files here are younger than the clock: none is trusted because of its age.
class DecodedText : public testing::Test {
 protected:
  Result<std::string> decode(const std::string& bytes) {
    ++decodings_;
    return bytes;
  }

  std::string load() {
    const auto loaded = file_.load(path_, clock_, [this](const std::string& bytes) { return decode(bytes); });
    return loaded ? **loaded : "";
  }

  Result<std::size_t> askForSize() {
    return file_.ask(
        path_, clock_, [this](const std::string& bytes) { return decode(bytes); },
        [](const std::string& text) { return text.size(); });
  }

  /// Writes the text when it is called.
  auto writing(std::string_view text) {
    return [this, text] { return written_.replace(path_, std::span(&text, 1), Durability::ordinary); };
  }

  std::shared_ptr<const std::string> remember(const std::string& text) {
    return *file_.remember(path_, writing(text), text);
  }

  /// "one" becomes "one!".
  std::shared_ptr<const std::string> addMark(std::shared_ptr<const std::string> base) {
    return *file_.rewrite(path_, writing("one!"), std::move(base), [](std::string& text) { text += "!"; });
  }

  /// As another process would, with the modification time of the file that is there.
  void replaceKeepingTheTime(std::string_view text) {
    struct stat old{};
    ASSERT_EQ(stat(path_.c_str(), &old), 0);
    const std::filesystem::path other = scratch_ / "other";
    writeFile(other, text);
    const timespec times[] = {old.st_atim, old.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, other.c_str(), times, 0), 0);
    std::filesystem::rename(other, path_);
  }

  ScratchFolder scratch_;
  TestClock clock_;
  const std::filesystem::path path_ = scratch_ / "file";
  AlternatingFile written_;
  DecodedFile<std::string> file_;
  int decodings_ = 0;
};

TEST_F(DecodedText, isReadAgainWhileAFileOfOthersIsYoung) {
  writeFile(path_, "one");
  EXPECT_EQ(load(), "one");
  EXPECT_EQ(load(), "one");
  EXPECT_EQ(decodings_, 2);
}

TEST_F(DecodedText, ofAFileWrittenHereIsNotDecoded) {
  remember("one");
  EXPECT_EQ(load(), "one");
  EXPECT_EQ(decodings_, 0);
}

TEST_F(DecodedText, isReadAgainWhenAnotherFileOfTheSameSizeAndTimeIsThere) {
  remember("one");
  replaceKeepingTheTime("two");
  EXPECT_EQ(load(), "two");
  EXPECT_EQ(decodings_, 1);
}

TEST_F(DecodedText, isNeverThatOfAFileThatGotTheFreedInode) {
  for (int round = 0; round < 50; ++round) {
    const std::string mine = "m" + std::to_string(round % 10);
    const std::string theirs = "t" + std::to_string(round % 10);
    remember(mine);
    std::filesystem::remove(path_);
    writeFile(path_, theirs);
    ASSERT_EQ(load(), theirs) << round;
  }
}

TEST_F(DecodedText, isGoneWithItsFile) {
  remember("one");
  std::filesystem::remove(path_);
  EXPECT_EQ(load(), "");
}

TEST_F(DecodedText, answersQuestionsAboutTheFileThatIsThere) {
  remember("one");
  EXPECT_EQ(askForSize(), 3u);
  EXPECT_EQ(decodings_, 0);
  writeFile(path_, "three");
  EXPECT_EQ(askForSize(), 5u);
  EXPECT_EQ(decodings_, 1);
  std::filesystem::remove(path_);
  ASSERT_FALSE(askForSize());
  EXPECT_TRUE(askForSize().error().is(CocoaErrorCode::fileReadNoSuchFile));
}

TEST_F(DecodedText, changesWithTheFileThatItsOwnerWrites) {
  auto base = remember("one");
  const std::string* before = base.get();
  const auto changed = addMark(std::move(base));
  EXPECT_EQ(*changed, "one!");
  EXPECT_EQ(changed.get(), before) << "nobody else had it, so it needs no copy";
  EXPECT_EQ(load(), "one!");
  EXPECT_EQ(decodings_, 0);
}

TEST_F(DecodedText, staysAsItIsForWhoeverHasIt) {
  auto base = remember("one");
  const auto reader = base;
  const auto changed = addMark(std::move(base));
  EXPECT_EQ(*reader, "one");
  EXPECT_EQ(*changed, "one!");
}

TEST_F(DecodedText, staysAsItIsWhenTheFileCannotBeWritten) {
  auto base = remember("one");
  const auto failing = []() -> Result<FileIdentity> {
    return failure(NSError::cocoa(CocoaErrorCode::fileWriteOutOfSpace));
  };
  const auto changed = file_.rewrite(path_, failing, std::move(base), [](std::string& text) { text += "!"; });
  ASSERT_FALSE(changed);
  EXPECT_TRUE(changed.error().is(CocoaErrorCode::fileWriteOutOfSpace));
  EXPECT_FALSE(file_.remember(path_, failing, "two"));
  EXPECT_EQ(load(), "one");
  EXPECT_EQ(decodings_, 0);
}

TEST_F(DecodedText, isNotChangedOnceTheFileWasLoadedAnew) {
  auto base = remember("one");
  replaceKeepingTheTime("two");
  EXPECT_EQ(load(), "two");
  const auto changed = addMark(std::move(base));
  EXPECT_EQ(changed, nullptr);
  EXPECT_EQ(load(), "one!");
  EXPECT_EQ(decodings_, 2);
}

}  // namespace
}  // namespace tovrin
