#include "mount/edit_fixture.h"

namespace tovrin {

namespace {

#define NEEDS(program) \
  if (!hasProgram(program)) GTEST_SKIP() << "this machine has no " program

constexpr std::string_view kReadOnly = "Read-only file system";

/// How programs save, each as it comes.
class SafeSave : public EditTest {
 protected:
  /// The script saves the text with "two" replaced.
  void saves(const std::string& script) {
    const Ended ended = run(script);
    EXPECT_EQ(ended.status, 0) << ended.output;
    expectOneEdit("notes.txt", edited_);
    expectNoLeftovers();
  }
  /// The script fails by these words and leaves everything as it was.
  void isRefused(const std::string& script, int status, std::string_view words) {
    const Ended ended = run(script);
    EXPECT_EQ(ended.status, status) << ended.output;
    EXPECT_NE(ended.output.find(words), std::string::npos) << ended.output;
    EXPECT_EQ(readFile(notes()), text_);
    EXPECT_TRUE(edits().empty());
    expectNoLeftovers();
  }

  const std::string edited_ = "one\nTWO\nthree\n";
  const std::string makeNew_ = "sed s/two/TWO/ $D/notes.txt > new && ";
};

TEST_F(SafeSave, byVimWritesInPlace) {
  const std::string vim = hasProgram("vim") ? "vim" : "vim.tiny";
  if (!hasProgram(vim)) GTEST_SKIP() << "this machine has no vim";
  saves(vim + " -es -u NONE -c '%s/two/TWO/' -c wq $D/notes.txt");
}

TEST_F(SafeSave, bySedInPlaceIsRefused) { isRefused("sed -i s/two/TWO/ $D/notes.txt", 4, kReadOnly); }

TEST_F(SafeSave, byPythonWritesInPlace) {
  NEEDS("python3");
  saves(R"(python3 -c 'if True:
    import sys
    with open(sys.argv[1], "r+") as file:
      text = file.read().replace("two", "TWO")
      file.seek(0)
      file.write(text)
      file.truncate()' $D/notes.txt)");
}

TEST_F(SafeSave, byGIOFallsBackToWritingInPlace) {
  NEEDS("gio");
  saves(makeNew_ + "gio save $D/notes.txt < new");
}

TEST_F(SafeSave, byGIOWithABackupIsRefused) {
  NEEDS("gio");
  isRefused(makeNew_ + "gio save --backup $D/notes.txt < new", 2, "Backup file creation failed");
}

TEST_F(SafeSave, byOfficeProgramsGoesOnWithoutALockFile) {
  NEEDS("python3");
  saves(R"(python3 -c 'if True:
    import os, sys
    folder, name = os.path.split(sys.argv[1])
    try:
      os.open(os.path.join(folder, ".~lock." + name + "#"), os.O_RDWR | os.O_CREAT | os.O_EXCL)
      sys.exit("the lock file was made")
    except OSError as error:
      if os.access(folder, os.W_OK) and os.geteuid() != 0: sys.exit("the folder looks writable")
    text = open(sys.argv[1], "rb").read().replace(b"two", b"TWO")
    file = os.open(sys.argv[1], os.O_RDWR)
    os.ftruncate(file, 0)
    os.write(file, text)
    os.fsync(file)
    os.close(file)' $D/notes.txt)");
}

TEST_F(SafeSave, byNanoWritesInPlace) {
  NEEDS("nano");
  NEEDS("python3");
  saves(R"(TERM=linux python3 -c 'if True:
    import os, pty, sys
    process, terminal = pty.fork()
    if process == 0: os.execvp("nano", ["nano", "-I", "+2", sys.argv[1]])
    def expect(words):
      seen = b""
      while words not in seen: seen += os.read(terminal, 4096)
    expect(b"three")
    os.write(terminal, b"\x0bTWO\r\x0f")
    expect(b"File Name")
    os.write(terminal, b"\r")
    expect(b"Wrote")
    os.write(terminal, b"\x18")
    sys.exit(os.waitstatus_to_exitcode(os.waitpid(process, 0)[1]))' $D/notes.txt)");
}

TEST_F(SafeSave, byCopyingOverIt) { saves(makeNew_ + "cp new $D/notes.txt"); }

TEST_F(SafeSave, byCopyingOverItWithAttributes) { saves(makeNew_ + "cp -p new $D/notes.txt"); }

TEST_F(SafeSave, byMovingOverItIsRefused) { isRefused(makeNew_ + "mv new $D/notes.txt", 1, kReadOnly); }

TEST_F(SafeSave, byDDWritesInTheMiddle) {
  saves("printf TWO | dd of=$D/notes.txt bs=1 seek=4 conv=notrunc status=none");
}

TEST_F(SafeSave, byRsyncInPlace) {
  NEEDS("rsync");
  saves(makeNew_ + "rsync --inplace new $D/notes.txt");
}

TEST_F(SafeSave, byRsyncInPlaceWithTimes) {
  NEEDS("rsync");
  saves(makeNew_ + "touch -d 2001-01-01 new && rsync -t --inplace new $D/notes.txt");
  EXPECT_EQ(run("stat -c %y $D/notes.txt").output.substr(0, 10), "2001-01-01");
}

TEST_F(SafeSave, byPlainRsyncIsRefused) {
  NEEDS("rsync");
  isRefused(makeNew_ + "rsync new $D/notes.txt", 23, kReadOnly);
}

TEST_F(SafeSave, byAShellRedirection) { saves(makeNew_ + "cat new > $D/notes.txt"); }

TEST_F(SafeSave, byGitIsRefusedEarly) {
  NEEDS("git");
  ASSERT_EQ(run("cd $O/folder && git init -q . && git config user.name ann && git config user.email ann@localhost && "
                "git add other.txt && git commit -qm first")
                .status,
            0);
  makeWarp();
  ASSERT_TRUE(eventually([&] { return std::filesystem::exists(shown() / "folder/.git/HEAD"); }));
  const Ended read = run("cd $D/folder && git log --oneline && git status --short");
  EXPECT_EQ(read.status, 0) << read.output;
  const Ended commit = run("cd $D/folder && git commit --allow-empty -m second");
  EXPECT_EQ(commit.status, 128);
  EXPECT_NE(commit.output.find(kReadOnly), std::string::npos) << commit.output;
  EXPECT_TRUE(edits().empty());
  EXPECT_EQ(run("cd $D/folder && find . -name '*.lock'").output, "");
}

}  // namespace

}  // namespace tovrin
