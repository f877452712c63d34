#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "mount/edit_fixture.h"

namespace tovrin {

namespace {

namespace fs = std::filesystem;

/// What the main application changes while everything is mounted, listed and in the kernel's caches.
class Changes : public EditTest {
 protected:
  void SetUp() override {
    EditTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    ASSERT_EQ(run("ls -lR $M && cat $D/notes.txt").status, 0);
  }

  /// A change is shown within a second; the rest is for busy machines.
  static bool soon(const std::function<bool()>& condition) {
    return eventually(condition, std::chrono::milliseconds(1500));
  }
  std::string names(const fs::path& folder) const { return run("ls '" + folder.native() + "'").output; }
};

TEST_F(Changes, showANewWarp) {
  const fs::path more = scratch_ / "Users/ann/More";
  writeFile(more / "a.txt", "more\n");
  EXPECT_EQ(names(shown().parent_path()), "Docs\n");
  warp({"make", more, "--warp-id", "More", "--objects", scratch_ / "objects"});
  EXPECT_TRUE(soon([&] { return names(shown().parent_path()) == "Docs\nMore\n"; }));
  EXPECT_EQ(readFile(shownAt(more) / "a.txt"), "more\n");
}

TEST_F(Changes, showANewFile) {
  EXPECT_FALSE(fs::exists(shown() / "new.txt"));
  write("new.txt", "new\n");
  makeWarp();
  EXPECT_TRUE(soon([&] { return readFile(shown() / "new.txt") == "new\n"; }));
  EXPECT_EQ(names(shown()), "big.bin\nfolder\nnew.txt\nnotes.txt\n");
}

TEST_F(Changes, showNewBytesAndAttributes) {
  write("notes.txt", "four\n");
  makeWarp();
  EXPECT_TRUE(soon([&] { return readFile(notes()) == "four\n"; }));
  EXPECT_EQ(run("stat -c '%s %Y %h' $D/notes.txt").output, run("stat -c '%s %Y %h' $O/notes.txt").output);
  EXPECT_EQ(run("ls -l $D/notes.txt | awk '{print $5}'").output, "5\n");
}

TEST_F(Changes, leaveOpenFilesTheirBytes) {
  const OpenedFile open(big(), O_RDONLY);
  void* pages = mmap(nullptr, bytes_.size(), PROT_READ, MAP_SHARED, open.descriptor(), 0);
  ASSERT_NE(pages, MAP_FAILED);
  const std::string changed = noise(bytes_.size(), 7);
  write("big.bin", changed);
  makeWarp();
  EXPECT_TRUE(soon([&] { return readFile(big()) == changed; }));
  std::string seen(bytes_.size(), '\0');
  EXPECT_EQ(pread(open.descriptor(), seen.data(), seen.size(), 0), static_cast<ssize_t>(seen.size()));
  EXPECT_TRUE(seen == bytes_);
  EXPECT_TRUE(std::string_view(static_cast<char*>(pages), bytes_.size()) == bytes_);
  EXPECT_TRUE(readFile(big()) == changed);
  munmap(pages, bytes_.size());
}

TEST_F(Changes, giveTheNewBytesToWhoWaitsForTheFile) {
  remount({"max_fetches=1"});
  ASSERT_TRUE(worker_.addFault("stall after=1 route=object times=1"));
  const std::size_t before = downloads();
  const auto other = start("exec cat $D/folder/other.txt");
  ASSERT_TRUE(eventually([&] { return downloads() == before + 1; }));
  const auto reader = start("exec cmp $O/big.bin $D/big.bin");
  ASSERT_TRUE(eventually([&] { return state(big()) == "opening"; }));
  const std::string changed = noise(bytes_.size() + 1, 7);
  write("big.bin", changed);
  makeWarp();
  ASSERT_TRUE(soon([&] { return fs::file_size(big()) == changed.size(); }));
  worker_.clearFaults();
  EXPECT_EQ(other->finish().output, "other\n");
  const Ended read = reader->finish();
  EXPECT_EQ(read.status, 0) << read.output;
  EXPECT_EQ(state(big()), "cached");
  EXPECT_EQ(downloads(), before + 2);
  EXPECT_TRUE(soon([&] { return std::stoul(run("stat -c %b $D/big.bin").output) >= changed.size() / 512; }));
}

TEST_F(Changes, showNewPermissions) {
  fs::permissions(originals() / "notes.txt", fs::perms(0600));
  makeWarp();
  EXPECT_TRUE(soon([&] { return fs::status(notes()).permissions() == fs::perms(0600); }));
}

TEST_F(Changes, takeFilesAndFoldersAway) {
  fs::remove(originals() / "notes.txt");
  fs::remove_all(originals() / "folder");
  makeWarp();
  EXPECT_TRUE(soon([&] { return !fs::exists(notes()) && !fs::exists(shown() / "folder/other.txt"); }));
  EXPECT_EQ(names(shown()), "big.bin\n");
}

TEST_F(Changes, turnAFileIntoAFolderAndALink) {
  fs::remove(originals() / "notes.txt");
  write("notes.txt/inside", "inside\n");
  fs::remove_all(originals() / "folder");
  fs::create_symlink("big.bin", originals() / "folder");
  makeWarp();
  EXPECT_TRUE(soon([&] { return readFile(notes() / "inside") == "inside\n"; }));
  EXPECT_TRUE(soon([&] { return fs::is_symlink(shown() / "folder"); }));
  EXPECT_EQ(fs::read_symlink(shown() / "folder"), "big.bin");
}

TEST_F(Changes, takeADestroyedWarpAway) {
  warp({"destroy", "Docs"});
  EXPECT_TRUE(soon([&] { return !fs::exists(shown()); }));
  EXPECT_EQ(run("find $M -type f").output, "");
}

TEST_F(Changes, takeAWarpWithATombstoneAway) {
  warp({"destroy", "--keep-manifest", "Docs"});
  EXPECT_TRUE(soon([&] { return !fs::exists(shown()); }));
  replaceShared("destroyed-manifest-index.json", tombstonesJSON({}));
  EXPECT_TRUE(soon([&] { return readFile(notes()) == text_; }));
}

TEST_F(Changes, followTheVisibilityIndex) {
  warp({"hide", "Docs"});
  EXPECT_TRUE(soon([&] { return !fs::exists(shown()); }));
  warp({"show", "Docs"});
  EXPECT_TRUE(soon([&] { return fs::exists(notes()); }));
  EXPECT_EQ(readFile(notes()), text_);
}

TEST_F(Changes, bringAWarpBackUnderWhoeverIsInIt) {
  const OpenedFile open(notes(), O_RDONLY);
  const auto inside = start("cd $D && echo inside && exec sleep 60");
  ASSERT_TRUE(inside->waitForOutput("inside"));
  warp({"hide", "Docs"});
  EXPECT_TRUE(soon([&] { return !fs::exists(shown()); }));
  warp({"show", "Docs"});
  EXPECT_TRUE(soon([&] { return fs::exists(shown() / "folder/other.txt"); }));
  EXPECT_EQ(names(shown()), "big.bin\nfolder\nnotes.txt\n");
  EXPECT_EQ(readFile(shown() / "folder/other.txt"), "other\n");
}

TEST_F(Changes, fillAContainerThatComesLate) {
  unmount();
  fs::rename(platform_.warpDirectory(), scratch_ / "later");
  mount();
  EXPECT_EQ(run("find $M -type f").output, "");
  fs::rename(scratch_ / "later", platform_.warpDirectory());
  EXPECT_TRUE(eventually([&] { return fs::exists(notes()); }, std::chrono::milliseconds(3000)));
  EXPECT_EQ(readFile(notes()), text_);
}

TEST_F(Changes, letGoOfAnEditThatIsStored) {
  EXPECT_EQ(append(notes(), "four\n"), 0);
  expectOneEdit("notes.txt", text_ + "four\n");
  write("notes.txt", text_ + "four\n");
  makeWarp();
  replaceShared("file-provider-cached-items.json", R"({"version":1,"updatedAt":"2025-03-01T12:00:00Z","records":[]})");
  EXPECT_TRUE(soon([&] { return state(notes()) == "remote"; })) << state(notes());
  const std::size_t before = downloads();
  EXPECT_EQ(readFile(notes()), text_ + "four\n");
  EXPECT_EQ(downloads(), before + 1);
  EXPECT_EQ(run("stat -c %y $D/notes.txt").output, run("stat -c %y $O/notes.txt").output);
}

TEST_F(Changes, keepAnEditThatIsNotStored) {
  EXPECT_EQ(append(notes(), "four\n"), 0);
  write("big.bin", "another\n");
  makeWarp();
  EXPECT_TRUE(soon([&] { return readFile(big()) == "another\n"; }));
  expectOneEdit("notes.txt", text_ + "four\n");
}

TEST_F(Changes, areSeenByAListingThatIsCached) {
  EXPECT_EQ(names(shown()), names(shown()));
  for (int i = 0; i < 3; ++i) {
    const std::string name = "new" + std::to_string(i);
    write(name, "x");
    makeWarp();
    EXPECT_TRUE(soon([&] { return names(shown()).find(name) != std::string::npos; })) << name;
  }
}

}  // namespace

}  // namespace tovrin
