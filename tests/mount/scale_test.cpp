#include <dirent.h>
#include <sys/stat.h>

#include <set>

#include "mount/mount_fixture.h"

namespace tovrin {

namespace {

namespace fs = std::filesystem;

constexpr int kEntries = 100'000;

std::string name(int number) { return "entry number " + std::to_string(number); }

class Scale : public MountTest {
 protected:
  void SetUp() override {
    MountTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    ManifestSpec manifest{.warpID = "Large", .originalFolderPath = "/Users/ann/Large"};
    manifest.entries.reserve(kEntries);
    for (int number = 0; number < kEntries - 1; ++number) {
      EntrySpec entry{.path = "/Users/ann/Large/" + name(number), .size = number};
      entry.payloadKey = "nowhere";
      entry.modificationTimeNanoseconds = 1'600'000'000'000'000'000 + number;
      manifest.entries.push_back(std::move(entry));
    }
    ASSERT_TRUE(worker_.putObject("tovrin", "last", "the last\n"));
    manifest.entries.push_back(fileEntry("/Users/ann/Large/last", "the last\n", "last"));
    installManifest(platform_, manifest);
    mount();
  }

  const fs::path large_ = shownAt("/Users/ann/Large");
};

TEST_F(Scale, listsAHundredThousandEntriesEachOnce) {
  std::set<std::string> names;
  int listed = 0;
  DIR* folder = opendir(large_.c_str());
  ASSERT_NE(folder, nullptr);
  while (const dirent* entry = readdir(folder)) {
    ++listed;
    names.insert(entry->d_name);
  }
  closedir(folder);
  EXPECT_EQ(listed, kEntries + 2);
  EXPECT_EQ(names.size(), std::size_t{kEntries} + 2);
}

TEST_F(Scale, statsAHundredThousandEntries) {
  std::set<ino_t> inodes;
  for (int number = 0; number < kEntries - 1; ++number) {
    struct stat status;
    ASSERT_EQ(lstat((large_ / name(number)).c_str(), &status), 0) << number;
    ASSERT_EQ(status.st_size, number);
    ASSERT_EQ(status.st_mtim.tv_nsec, number);
    inodes.insert(status.st_ino);
  }
  EXPECT_EQ(inodes.size(), std::size_t{kEntries} - 1);
}

TEST_F(Scale, walksAndOpensInALargeFolder) {
  const Ended walked =
      run("find $M -type f -size +99990c | wc -l; du --apparent-size -s $M >/dev/null && echo counted");
  EXPECT_EQ(walked.output, "8\ncounted\n");
  EXPECT_EQ(readFile(large_ / "last"), "the last\n");
  struct stat missing;
  EXPECT_EQ(lstat((large_ / "no such name").c_str(), &missing), -1);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace

}  // namespace tovrin
