#include <unistd.h>

#include <cstdlib>

#include "cli/command_fixture.h"

namespace tovrin {
namespace {

/// The words of `mount` and `unmount`, without mounting anything.
class MountWords : public Command {
 protected:
  /// Runs the program as mount(8) does, by a name that tells the type of the file system.
  Ended runAsHelper(const std::string& name, const std::string& words) {
    const std::filesystem::path program = work() / name;
    if (!std::filesystem::exists(program)) std::filesystem::create_symlink(TOVRIN_PROGRAM, program);
    const std::filesystem::path err = work() / "err";
    Ended ended;
    const int status = std::system(("'" + program.string() + "' " + words + " 2>'" + err.string() + "'").c_str());
    ended.status = WEXITSTATUS(status);
    ended.err = readFile(err);
    return ended;
  }
};

TEST_F(MountWords, thatAreWrongAreNamedWithTheUsageAndStatusTwo) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> calls{
      {{"mount"}, "MOUNTPOINT is required\nUsage: tovrin mount [OPTIONS] MOUNTPOINT\n"},
      {{"mount", "-o", "ro,bogus", "x"}, "tovrin: there is no option “bogus”\nUsage: tovrin mount "},
      {{"mount", "-oro,bogus=1", "x"}, "tovrin: there is no option “bogus”\nUsage: tovrin mount "},
      {{"mount", "-o", "cache_size=big", "x"}, "tovrin: cache_size: “big” is no size; write 500M or 10G\nUsage: "},
      {{"mount", "--cache-size", "big", "x"}, "tovrin: --cache-size: “big” is no size; write 500M or 10G\nUsage: "},
      {{"mount", "--cache-free=10", "x"}, "tovrin: --cache-free: “10” is no part of a disk; write 10% or 20G\n"},
      {{"mount", "--crawlers=some", "x"}, "tovrin: --crawlers: “some” is neither deny nor allow\n"},
      {{"mount", "--max-fetches=0", "x"}, "tovrin: --max-fetches: “0” is no number from 1 to 64\n"},
      {{"mount", "-o", "allow_other,allow_root", "x"},
       "tovrin: allow_root: allow_other and allow_root exclude each other\n"},
      {{"mount", ""}, "MOUNTPOINT is empty\nUsage: tovrin mount "},
      {{"mount", "--bogus", "x"}, "--bogus\nUsage: tovrin mount "},
      {{"mount", "a", "b"}, "Usage: tovrin mount "},
      {{"unmount"}, "MOUNTPOINT is required\nUsage: tovrin unmount [OPTIONS] MOUNTPOINT\n"},
      {{"unmount", "a", "b"}, "Usage: tovrin unmount "},
  };
  for (const auto& [words, message] : calls) {
    const Ended ended = run(words);
    EXPECT_EQ(ended.status, 2) << message;
    EXPECT_EQ(ended.out, "") << message;
    EXPECT_NE(ended.err.find(message), std::string::npos) << message << "\n" << ended.err;
  }
}

TEST_F(MountWords, thatAreUsualAreAccepted) {
  const std::vector<std::vector<std::string>> calls{
      {"-f", "-d", "-s", "-vv"},
      {"-o", "ro,allow_other", "-o", "fsname=a,subtype=sshfs"},
      {"-o", "_netdev,nofail,noauto,user,x-gvfs-notrash,defaults,rw,comment=a"},
      {"--cache-size=2GiB", "--cache-free", "5%", "--crawlers=allow", "--crawler", "walk", "--max-fetches=2"},
      {"--offline", "--notify=none", "-o", "uid=0,gid=0,umask=022,owner=manifest,container=/some\\,where"},
      {"--sloppy", "-o", "bogus"},
  };
  for (std::vector<std::string> words : calls) {
    words.insert(words.begin(), {"mount", "--fake", "mnt"});
    const Ended ended = run(words);
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(ended.err, "");
  }
  EXPECT_FALSE(std::filesystem::exists(work() / "mnt"));
}

TEST_F(MountWords, ofTheMountProgramAreUnderstood) {
  for (const std::string name : {"mount.tovrin", "mount.fuse.tovrin"}) {
    EXPECT_EQ(runAsHelper(name, "tovrin mnt -f").status, 0);
    EXPECT_EQ(runAsHelper(name, "/some/container mnt -fnv -t fuse.tovrin -N 1 -o rw,nofail,uid=0").status, 0);
    EXPECT_EQ(runAsHelper(name, "tovrin mnt -fs -o rw,bogus").status, 0);
    EXPECT_EQ(runAsHelper(name, "tovrin mnt -f -orw,nofail").status, 0);
    const Ended unknown = runAsHelper(name, "tovrin mnt -f -o rw,bogus");
    EXPECT_EQ(unknown.status, 2);
    EXPECT_TRUE(unknown.err.starts_with("tovrin: there is no option “bogus”\nUsage: tovrin mount ")) << unknown.err;
    EXPECT_EQ(runAsHelper(name, "").status, 2);
    EXPECT_EQ(runAsHelper(name, "tovrin").status, 2);
    EXPECT_EQ(runAsHelper(name, "--help >/dev/null").status, 0);
  }
  EXPECT_FALSE(std::filesystem::exists("mnt"));
}

TEST_F(MountWords, toUnmountWhatIsNoMountAreAnError) {
  std::filesystem::create_directory(work() / "folder");
  const Ended folder = run({"unmount", "folder"});
  EXPECT_EQ(folder.status, 1);
  EXPECT_EQ(folder.err, "tovrin: folder: Nothing is mounted here.\n");
  EXPECT_EQ(run({"unmount", "missing"}).err, "tovrin: missing: Nothing is mounted here.\n");
  const Ended processes = run({"unmount", "/proc"});
  EXPECT_EQ(processes.status, 1);
  EXPECT_EQ(processes.err, "tovrin: /proc: What is mounted here is no Tovrin mount but of type proc.\n");
}

}  // namespace
}  // namespace tovrin
