#include "mount/lifecycle_fixture.h"

namespace tovrin {

namespace {

/// Who is not root and mounts with fusermount3.
class OrdinaryUser : public LifecycleTest {
 protected:
  void SetUp() override {
    LifecycleTest::SetUp();
    if (!IsSkipped() && !hasProgram("fusermount3")) GTEST_SKIP() << "no fusermount3";
  }
};

TEST_F(OrdinaryUser, mountsReadsSavesAndUnmounts) {
  const Ended ended = system(R"sh(
own
as_user tovrin mount $M
as_user stat -c '%U %A' $D $D/notes.txt
as_user cat $D/notes.txt
as_user bash -c "echo more >>'$D/notes.txt'"
as_user cat $D/notes.txt
as_user tovrin status | grep -o '^Local copies: 1 file'
as_user tovrin unmount $M
as_user tovrin mount $M
as_user cat $D/notes.txt
as_user umount $M
as_user tovrin mount made
as_user ls made
as_user fusermount3 -u made
until_true settled
refused test -e made
)sh");
  EXPECT_EQ(ended.output,
            "nobody dr-xr-xr-x\nnobody -rw-r--r--\nhello\nhello\nmore\nLocal copies: 1 file\n"
            "hello\nmore\ntovrin: made: Made this folder; it will be removed after unmounting.\nWarped Files\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(OrdinaryUser, isTheOnlyOneLetInUnlessOthersAre) {
  const Ended ended = system(R"sh(
own
as_user tovrin mount $M
refused as_other ls $M
refused ls $M
as_user tovrin unmount $M

refused as_user tovrin mount -o allow_other $M
echo user_allow_other >fuse.conf
mount --bind fuse.conf /etc/fuse.conf
as_user tovrin mount -o allow_other,owner=manifest,umask=0 $M
as_other cat $D/notes.txt
as_other stat -c %u:%g $D/notes.txt
refused as_other cat $D/secret.txt
as_user tovrin unmount $M
settled
)sh");
  const std::string at = mountpoint().string();
  EXPECT_EQ(ended.output, "ls: cannot access '" + at + "': Permission denied\nls: cannot access '" + at +
                              "': Permission denied\ntovrin: " + at +
                              ": Ordinary users may use allow_other and allow_root only when /etc/fuse.conf has a line "
                              "user_allow_other.\nhello\n1234:4321\ncat: '" +
                              (shown() / "secret.txt").string() + "': Permission denied\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(OrdinaryUser, isToldThatFoldersArePartOfAReadOnlyFileSystem) {
  const Ended ended = system(R"sh(
own
as_user tovrin mount $M
cat >as_user.sh <<'AS_USER'
cd "$D"
for words in 'touch new' 'mkdir new' 'ln -s a new' 'rm -f notes.txt' 'rmdir folder' 'mv notes.txt new' \
             'ln notes.txt new' 'mv notes.txt folder/' 'chmod 777 folder' 'chmod 600 notes.txt' 'touch notes.txt'; do
  $words 2>&1 | grep -o 'Read-only file system$' || echo "not: $words"
done | uniq
for name in . folder notes.txt secret.txt; do
  for right in r w x; do test -$right $name && echo -n $right || echo -n -; done
  echo " $name"
done
cat secret.txt
echo x 2>&1 >>secret.txt | grep -o 'Permission denied'
truncate -s 0 secret.txt 2>&1 | grep -o 'Permission denied'
AS_USER
as_user bash as_user.sh 2>&1
as_user tovrin unmount $M
settled
)sh");
  EXPECT_EQ(ended.output,
            "Read-only file system\nr-x .\nr-x folder\nrw- notes.txt\nr-- secret.txt\nfor its owner\n"
            "Permission denied\nPermission denied\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(OrdinaryUser, isToldWhatIsMissingToMount) {
  const Ended ended = system(R"sh(
own
mkdir $S/roots
refused as_user tovrin mount $S/roots
refused as_user tovrin mount $S/new
refused setpriv --no-new-privs --reuid nobody --regid nogroup --clear-groups tovrin mount $M
chmod 600 /dev/fuse
refused as_user tovrin mount $M
settled
)sh");
  const std::string at = "tovrin: " + mountpoint().string();
  EXPECT_EQ(ended.output,
            "tovrin: " + (scratch_ / "roots").string() +
                ": This user may not write to the folder, and ordinary users mount only where they may.\n" +
                "tovrin: " + (scratch_ / "new").string() +
                ": The operation couldn’t be completed. Permission denied\n" + at +
                ": Ordinary users mount with fusermount3, which gets no rights here: whoever started this has switched "
                "on NoNewPrivileges, as many sandboxes and options of systemd do.\n" +
                at +
                ": This user may not open /dev/fuse: its mode is usually 0666. Without a mount, “tovrin ls”, “tovrin "
                "cat” and “tovrin fetch” do the same work.\n");
  EXPECT_EQ(ended.status, 0);
}

}  // namespace

}  // namespace tovrin
