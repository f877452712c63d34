#include "mount/lifecycle_fixture.h"

namespace tovrin {

namespace {

/// mount(8) and the table of file systems.
class MountProgram : public LifecycleTest {};

TEST_F(MountProgram, knowsTheTypeByItsTwoNames) {
  const Ended ended = system(R"sh(
for type in tovrin fuse.tovrin; do
  mount -t $type -o ro,nofail,_netdev,x-gvfs-notrash,umask=077 $TOVRIN_CONTAINER $M
  findmnt -no FSTYPE,OPTIONS $M | grep -o 'fuse.tovrin ro'
  [ "$(findmnt -no SOURCE $M)" = $TOVRIN_CONTAINER ]
  stat -c %a $D/notes.txt
  umount $M
done
until_true settled
)sh");
  EXPECT_EQ(ended.output, "fuse.tovrin ro\n600\nfuse.tovrin ro\n600\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(MountProgram, knowsItsOwnUnderTheTypeOfAnother) {
  const Ended ended = system(R"sh(
mount -t tovrin -o subtype=sshfs $TOVRIN_CONTAINER $M
findmnt -no FSTYPE,SOURCE $M | tr -s ' '
tovrin unmount $M
until_true settled
)sh");
  EXPECT_EQ(ended.output, "fuse.sshfs tovrin\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(MountProgram, failsWithTheReason) {
  const Ended ended = system(R"sh(
status=0
mount -t tovrin -o ro,bogus $TOVRIN_CONTAINER $M 2>err || status=$?
head -1 err; echo $status
touch $M/file
status=0
mount -t tovrin $TOVRIN_CONTAINER $M || status=$?
echo $status
settled
)sh");
  EXPECT_EQ(ended.output, "tovrin: there is no option “bogus”\n2\ntovrin: " + mountpoint().string() +
                              ": The folder is not empty; a mount would hide what is in it.\n1\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(MountProgram, mountsTheLinesOfTheTableOnce) {
  const Ended ended = system(R"sh(
mkdir "a b"
echo "$TOVRIN_CONTAINER $PWD/a\\040b tovrin nofail,x-systemd.automount,owner=manifest,allow_other 0 0" >fstab
echo "none $M tovrin noauto,container=$TOVRIN_CONTAINER 0 0" >>fstab
mount -T fstab -a
mount -T fstab -a
mounts
stat -c %u:%g "a b/${D#$M}/notes.txt"
umount "a b"
mount -T fstab $M
cat $D/notes.txt
findmnt -no SOURCE $M
umount $M
until_true settled
)sh");
  EXPECT_EQ(ended.output, "1\n1234:4321\nhello\nnone\n");
  EXPECT_EQ(ended.status, 0);
}

TEST_F(MountProgram, mountsForAnOrdinaryUserWhomTheTableNames) {
  const Ended ended = system(R"sh(
own
echo "$TOVRIN_CONTAINER $M tovrin noauto,user,x-gvfs-notrash 0 0" >fstab
mount --bind fstab /etc/fstab
as_user mount $M
findmnt -no FSTYPE,OPTIONS $M | grep -o 'user_id=[0-9]*'
as_user cat $D/notes.txt
refused cat $D/notes.txt 2>&1 | grep -o 'Permission denied'
as_user umount $M
until_true settled
)sh");
  EXPECT_EQ(ended.output, "user_id=65534\nhello\nPermission denied\n");
  EXPECT_EQ(ended.status, 0);
}

}  // namespace

}  // namespace tovrin
