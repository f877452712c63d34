#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "mount/edit_fixture.h"

namespace tovrin {

namespace {

class Edit : public EditTest {};

TEST_F(Edit, appends) {
  EXPECT_EQ(run("echo four >> $D/notes.txt").status, 0);
  expectOneEdit("notes.txt", text_ + "four\n");
  expectNoLeftovers();
}

TEST_F(Edit, writesInTheMiddle) {
  OpenedFile file(big(), O_WRONLY);
  file.writeAt(250'000, "middle");
  EXPECT_EQ(file.close(), 0);
  std::string expected = bytes_;
  expectOneEdit("big.bin", expected.replace(250'000, 6, "middle"));
}

TEST_F(Edit, emptiesWithoutADownload) {
  EXPECT_EQ(run("echo new > $D/big.bin").status, 0);
  expectOneEdit("big.bin", "new\n");
  EXPECT_EQ(downloads(), 0U);
  expectNoLeftovers();
}

TEST_F(Edit, emptiesWithoutAWrite) {
  OpenedFile file(big(), O_WRONLY | O_TRUNC);
  EXPECT_EQ(file.close(), 0);
  expectOneEdit("big.bin", "");
}

TEST_F(Edit, truncatesAnUnopenedFile) {
  ASSERT_EQ(truncate(big().c_str(), 1000), 0);
  expectOneEdit("big.bin", bytes_.substr(0, 1000));
  ASSERT_EQ(truncate(big().c_str(), 2000), 0);
  expectOneEdit("big.bin", bytes_.substr(0, 1000) + std::string(1000, '\0'));
}

TEST_F(Edit, truncatesAnOpenFile) {
  OpenedFile file(notes(), O_RDWR);
  EXPECT_EQ(ftruncate(file.descriptor(), 4), 0);
  struct stat status{};
  EXPECT_EQ(fstat(file.descriptor(), &status), 0);
  EXPECT_EQ(status.st_size, 4);
  EXPECT_EQ(file.close(), 0);
  expectOneEdit("notes.txt", "one\n");
}

TEST_F(Edit, takesWritesThroughAMapping) {
  OpenedFile file(notes(), O_RDWR);
  void* pages = mmap(nullptr, text_.size(), PROT_READ | PROT_WRITE, MAP_SHARED, file.descriptor(), 0);
  ASSERT_NE(pages, MAP_FAILED);
  EXPECT_EQ(std::string_view(static_cast<char*>(pages), text_.size()), text_);
  std::copy_n("ONE", 3, static_cast<char*>(pages));
  EXPECT_EQ(munmap(pages, text_.size()), 0);
  EXPECT_EQ(file.close(), 0);
  expectOneEdit("notes.txt", "ONE\ntwo\nthree\n");
}

TEST_F(Edit, takesWritesThroughAMappingThatOutlivesItsFile) {
  void* pages = nullptr;
  {
    OpenedFile file(notes(), O_RDWR);
    pages = mmap(nullptr, text_.size(), PROT_READ | PROT_WRITE, MAP_SHARED, file.descriptor(), 0);
    ASSERT_NE(pages, MAP_FAILED);
  }
  std::copy_n("ONE", 3, static_cast<char*>(pages));
  EXPECT_EQ(munmap(pages, text_.size()), 0);
  EXPECT_TRUE(eventually([&] { return edits().size() == 1; }));
  expectOneEdit("notes.txt", "ONE\ntwo\nthree\n");
}

TEST_F(Edit, allocatesAndPunchesHoles) {
  OpenedFile file(notes(), O_RDWR);
  EXPECT_EQ(fallocate(file.descriptor(), 0, 0, 100), 0);
  EXPECT_EQ(fallocate(file.descriptor(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, 4), 0);
  EXPECT_EQ(file.close(), 0);
  expectOneEdit("notes.txt", (std::string(4, '\0') + text_.substr(4)).append(100 - text_.size(), '\0'));
}

TEST_F(Edit, isHandedOverBySynchronizing) {
  OpenedFile file(notes(), O_WRONLY);
  file.writeAt(0, "ONE");
  EXPECT_TRUE(edits().empty());
  EXPECT_EQ(fsync(file.descriptor()), 0);
  expectOneEdit("notes.txt", "ONE\ntwo\nthree\n");
  EXPECT_EQ(fdatasync(file.descriptor()), 0);
}

TEST_F(Edit, isSeenByOtherReadersAtOnce) {
  const OpenedFile reader(notes(), O_RDONLY);
  const OpenedFile writer(notes(), O_WRONLY);
  writer.writeAt(0, "ONE");
  std::string seen(3, '\0');
  EXPECT_EQ(pread(reader.descriptor(), seen.data(), 3, 0), 3);
  EXPECT_EQ(seen, "ONE");
  EXPECT_EQ(readFile(notes()), "ONE\ntwo\nthree\n");
}

TEST_F(Edit, ofTwoWritersIsOne) {
  OpenedFile first(notes(), O_WRONLY);
  OpenedFile second(notes(), O_WRONLY);
  first.writeAt(0, "ONE");
  second.writeAt(4, "TWO");
  EXPECT_EQ(first.close(), 0);
  EXPECT_EQ(second.close(), 0);
  expectOneEdit("notes.txt", "ONE\nTWO\nthree\n");
}

TEST_F(Edit, replacesTheOneBefore) {
  for (const char* word : {"four", "five", "six"})
    EXPECT_EQ(run(std::string("echo ") + word + " >> $D/notes.txt").status, 0);
  expectOneEdit("notes.txt", text_ + "four\nfive\nsix\n");
  expectNoLeftovers();
}

TEST_F(Edit, ofEqualContentsEndsAsACopy) {
  EXPECT_EQ(run("cp $O/notes.txt $D/notes.txt").status, 0);
  EXPECT_EQ(readFile(notes()), text_);
  EXPECT_TRUE(edits().empty());
  EXPECT_EQ(state(notes()), "cached");
  EXPECT_EQ(run("touch -r $O/notes.txt ref; [ $D/notes.txt -nt ref ] || [ $D/notes.txt -ot ref ]").status, 1)
      << "the time is the stored one again";
}

TEST_F(Edit, isNoneWhenNothingIsWritten) {
  EXPECT_EQ(OpenedFile(notes(), O_RDWR).close(), 0);
  EXPECT_TRUE(edits().empty());
  EXPECT_EQ(state(notes()), "cached");
}

TEST_F(Edit, isShownAfterARemountAndAKill) {
  EXPECT_EQ(run("echo four >> $D/notes.txt").status, 0);
  worker_.stop();
  remount();
  expectOneEdit("notes.txt", text_ + "four\n");
  killMount();
  mount();
  expectOneEdit("notes.txt", text_ + "four\n");
  EXPECT_EQ(run("echo five >> $D/notes.txt").status, 0);
  expectOneEdit("notes.txt", text_ + "four\nfive\n");
}

TEST_F(Edit, showsTheTimeOfTheSave) {
  const Ended saved = run("touch before; echo four >> $D/notes.txt; [ ! $D/notes.txt -ot before ]");
  EXPECT_EQ(saved.status, 0) << saved.output;
}

TEST_F(Edit, fitsBesideManyOthers) {
  const Ended saved =
      run("for i in 1 2 3 4 5 6 7 8; do (for j in 1 2 3 4 5; do echo $i.$j >> $D/notes.txt; done) & p+=($!); done; "
          "for i in 1 2 3 4; do cat $D/notes.txt > /dev/null & p+=($!); done; wait \"${p[@]}\"; sort $D/notes.txt | "
          "uniq | wc -l");
  EXPECT_EQ(saved.output, "43\n");
  const std::string all = readFile(notes());
  EXPECT_EQ(all.size(), text_.size() + 40 * 4);
  expectOneEdit("notes.txt", all);
}

TEST_F(Edit, isSyncedThroughAnotherHandle) {
  const OpenedFile writer(notes(), O_WRONLY);
  writer.writeAt(0, "ONE");
  const OpenedFile other(notes(), O_RDONLY);
  EXPECT_EQ(fsync(other.descriptor()), 0);
  expectOneEdit("notes.txt", "ONE\ntwo\nthree\n");
}

TEST_F(Edit, ofATruncateThatFailsIsNone) {
  EXPECT_NE(truncate(notes().c_str(), off_t{1} << 60), 0);
  EXPECT_EQ(state(notes()), "cached");
  EXPECT_TRUE(edits().empty());
  EXPECT_EQ(readFile(notes()), text_);
}

TEST_F(Edit, ofThePutCommandIsShownAndGoneOnWith) {
  EXPECT_EQ(run("wc -c <$D/notes.txt").output, "14\n");
  writeFile(work() / "put", "much more than what was there before\n");
  const auto put = run(TOVRIN_PROGRAM " put --container '" + platform_.warpDirectory().parent_path().string() +
                       "' \"${D#$M}/notes.txt\" put");
  ASSERT_EQ(put.status, 0) << put.output;
  EXPECT_EQ(readFile(notes()), "much more than what was there before\n");
  EXPECT_EQ(state(notes()), "edited");
  EXPECT_EQ(append(notes(), "four\n"), 0);
  expectOneEdit("notes.txt", "much more than what was there before\nfour\n");
}

}  // namespace

}  // namespace tovrin
