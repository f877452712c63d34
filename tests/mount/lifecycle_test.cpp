#include "mount/lifecycle_fixture.h"

namespace tovrin {

namespace {

/// How a mount comes, is refused and goes.
class Lifecycle : public LifecycleTest {};

TEST_F(Lifecycle, succeedsOnceItAnswersAndLeavesNothing) {
  const Ended ended = system(R"sh(
tovrin mount $M
findmnt -no SOURCE,FSTYPE $M
cat $D/notes.txt
tovrin unmount $M
settled
ls -A $M
)sh");
  EXPECT_EQ(ended.output, "tovrin fuse.tovrin\nhello\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(Lifecycle, failsBeforeItReturnsWithTheReason) {
  const Ended ended = system(R"sh(
mkdir full; touch full/file; touch plain
refused tovrin mount full
refused tovrin mount plain
refused tovrin mount missing/below
refused tovrin mount --foreground full
refused tovrin mount $TOVRIN_CONTAINER/..
settled
)sh");
  const std::string ownFolder = platform_.directories.container->string() + "/..";
  EXPECT_EQ(ended.output,
            "tovrin: full: The folder is not empty; a mount would hide what is in it.\n"
            "tovrin: plain: The operation couldn’t be completed. Not a directory\n"
            "tovrin: missing/below: The operation couldn’t be completed. No such file or directory\n"
            "tovrin: full: The folder is not empty; a mount would hide what is in it.\n"
            "tovrin: " +
                ownFolder + ": The folder is not empty; a mount would hide what is in it.\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(Lifecycle, isNotBegunTwice) {
  const Ended ended = system(R"sh(
tovrin mount $M
refused tovrin mount $M
refused tovrin mount other 2>err
sed 's/process [0-9]*/process N/' err
cat $D/notes.txt
tovrin unmount $M
settled
ls
)sh");
  EXPECT_EQ(ended.output, "tovrin: " + mountpoint().string() + ": A Tovrin mount is here already.\n" +
                              "tovrin: other: The container is mounted already, at " + mountpoint().string() +
                              " by process N.\nhello\nerr\nscript\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(Lifecycle, makesAMissingFolderThatTakesNoFilesAndGoesAgain) {
  const Ended ended = system(R"sh(
tovrin mount made
ls made
mount --bind . $S/home   # shows what the mount hides
stat -c %a $S/home/made
tovrin unmount made
settled
ls
)sh");
  EXPECT_EQ(ended.output,
            "tovrin: made: Made this folder; it will be removed after unmounting.\nWarped Files\n500\nscript\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(Lifecycle, takesOffWhatAKilledProcessLeft) {
  const Ended ended = system(R"sh(
killed() {
  tovrin mount $M
  stat $M >/dev/null  # which the kernel remembers
  kill -KILL $(server)
  until_true refused ls $M
  refused ls $M 2>&1 | grep -o 'Transport endpoint is not connected'
}
killed
killed
tovrin unmount $M
refused ls $M/*
killed
tovrin mount $M
mounts
cat $D/notes.txt
tovrin unmount $M
settled
)sh");
  const std::string dead = "Transport endpoint is not connected\n";
  const std::string tookOff =
      "tovrin: " + mountpoint().string() + ": Took off an earlier mount whose process had died.\n";
  EXPECT_EQ(ended.output, dead + tookOff + dead + "tovrin: " + mountpoint().string() +
                              ": Its process had died; the mount is taken off.\n" + "ls: cannot access '" +
                              mountpoint().string() + "/*': No such file or directory\n" + dead + tookOff +
                              "1\nhello\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(Lifecycle, canBeginAtOnceWhereOneWasUnmounted) {
  const Ended ended = system(R"sh(
for round in 1 2 3 4 5; do
  tovrin mount $M; umount $M
  tovrin mount $M; fusermount3 -u $M
done
tovrin mount $M; tovrin unmount $M
settled
for round in 1 2 3 4 5; do
  tovrin mount made 2>err
  umount made
done
until_true refused test -e made
until_true settled
)sh");
  EXPECT_EQ(ended.output, "");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(Lifecycle, namesWhoKeepsItBusy) {
  const Ended ended = system(R"sh(
tovrin mount $M
(cd "$D" && exec sleep infinity) & worker=$!
works_there() { [[ $(readlink /proc/$worker/exe) == */sleep && $(readlink /proc/$worker/cwd) == "$D" ]]; }
until_true works_there
exec {file}<$D/notes.txt
refused tovrin unmount $M 2>err
sed "s/process $worker /process WORKER /; s/process $$ /process SHELL /" err
cat $D/notes.txt
tovrin unmount --lazy $M
mounts
cat <&$file
exec {file}<&-
kill $worker
until_true settled
)sh");
  const std::string at = "tovrin: " + mountpoint().string();
  const std::string folder = "tovrin: " + shown().string();
  EXPECT_EQ(ended.output,
            folder + "/notes.txt: Used by process SHELL (script).\n" + folder + ": Used by process WORKER (sleep).\n" +
                at +
                ": It is in use. With --lazy it is taken out of sight at once, and ends when nobody uses it any more.\n"
                "hello\n0\nhello\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(Lifecycle, endsWhenToldAlsoOutOfSightAndLeavesALaterMountAlone) {
  const Ended ended = system(R"sh(
tovrin mount $M
first=$(server)
exec {file}<$D/notes.txt
tovrin unmount --lazy $M
mkdir -p other/Warp
tovrin --container other mount $M
kill -TERM $first
until_true refused test -e /proc/$first
refused cat <&$file 2>&1 | grep -o "Transport endpoint is not connected"
ls $M
exec {file}<&-
tovrin --container other unmount $M
settled
)sh");
  EXPECT_EQ(ended.output, "Transport endpoint is not connected\nWarped Files\n");
  EXPECT_EQ(ended.status, 0);
}

}  // namespace

}  // namespace tovrin
