#pragma once

#include <memory>
#include <string>

#include "mount/mount_fixture.h"

namespace tovrin {

/// The command in a system of its own: mounts and processes that nobody else sees and that end with the script, a
/// /dev/fuse with its usual mode, and `mount.tovrin` where mount(8) looks. Skipped where that cannot be made.
class LifecycleTest : public MountTest {
 protected:
  /// The Warp "Docs" has notes.txt, whose owner is 1234:4321, and secret.txt, which only its owner may read.
  void SetUp() override;

  /// A bash there, which ends with the first command that fails. Besides the variables of `start`: $S, the scratch
  /// folder, and the container in $TOVRIN_CONTAINER. `own` gives the scratch folder to the ordinary user that
  /// `as_user` runs a command as, `as_other` is another one, `until_true` waits for a command to succeed, `refused`
  /// succeeds when its command fails, `settled` fails unless nothing is left: no mount, process or socket.
  Ended system(const std::string& script) const { return startSystem(script)->finish(); }
  std::unique_ptr<RunningProgram> startSystem(const std::string& script) const;
};

}  // namespace tovrin
