#include "mount/lifecycle_fixture.h"

#include <sys/stat.h>
#include <unistd.h>

namespace tovrin {

namespace {

constexpr const char* kNamespaces = "unshare --mount --propagation private --pid --fork --kill-child --mount-proc ";

/// Run in the new namespaces, in front of the script.
constexpr const char* kSystem = R"(
set -euo pipefail
IFS=$'\n'
mkdir -p "$S/system"
mount -t tmpfs none "$S/system"
mknod -m 666 "$S/system/fuse" c 10 229
mount --bind "$S/system/fuse" /dev/fuse
mkdir -p "$S/home/cache"
mount -t tmpfs none "$S/home/cache"  # with room, however full the disk of this machine is
mkdir "$S/system/sbin"
touch "$S/system/sbin/tovrin"
mount --bind ')" TOVRIN_PROGRAM R"(' "$S/system/sbin/tovrin"
ln -s tovrin "$S/system/sbin/mount.tovrin"
ln -s tovrin "$S/system/sbin/mount.fuse.tovrin"
mount --rbind "$S/system/sbin" /sbin

own() { chown -hR nobody:nogroup "$S/home" "$S/run" "$S/mount" "$S/work" "$TOVRIN_CONTAINER"; chmod 755 "$S"; }
as_user() { setpriv --reuid nobody --regid nogroup --clear-groups "$@"; }
as_other() { setpriv --reuid daemon --regid daemon --clear-groups "$@"; }
until_true() {
  local looks
  for ((looks = 0; looks < 1000; looks++)); do
    "$@" >/dev/null 2>&1 && return
    sleep 0.01
  done
  echo "never true: $*"
  "$@"
}
refused() { ! "$@"; }
server() {
  local process
  for process in /proc/[0-9]*; do
    [[ $(readlink $process/exe) != */tovrin ]] || echo ${process#/proc/}
  done
}
mounts() { grep -c " $S/.* fuse.tovrin " /proc/self/mounts || true; }
settled() {
  local left
  left="$(mounts) mounts, $(server | wc -l) processes, $(find "$S/run" -type s | wc -l) sockets"
  [ "$left" = "0 mounts, 0 processes, 0 sockets" ] || { echo "left: $left"; return 1; }
}
)";

}  // namespace

void LifecycleTest::SetUp() {
  MountTest::SetUp();
  if (IsSkipped() || HasFatalFailure()) return;
  if (geteuid() != 0 || start(std::string(kNamespaces) + "true")->finish().status != 0)
    GTEST_SKIP() << "no namespaces can be made here";
  write("notes.txt", "hello\n");
  write("secret.txt", "for its owner\n");
  write("folder/inner.txt", "inner\n");
  ASSERT_EQ(chown((originals() / "notes.txt").c_str(), 1234, 4321), 0);
  ASSERT_EQ(chmod((originals() / "secret.txt").c_str(), 0400), 0);
  makeWarp();
}

std::unique_ptr<RunningProgram> LifecycleTest::startSystem(const std::string& script) const {
  const std::filesystem::path file = work() / "script";
  writeFile(file, kSystem + script);
  return start("export S='" + scratch_.path().string() + "' TOVRIN_CONTAINER='" +
               platform_.directories.container->string() + "'\nexec " + kNamespaces + "bash '" + file.string() + "'");
}

}  // namespace tovrin
