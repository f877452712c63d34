#include <fmt/core.h>

#include <chrono>

#include "cli/doctor_checks.h"
#include "cli/output.h"
#include "foundation/readable_size.h"
#include "host/control/control_client.h"
#include "host/mounting/fuse_support.h"
#include "host/mounting/mount_table.h"

namespace tovrin::cli {

namespace {

/// A mount answers from memory; one that does not is stopped or stuck.
constexpr std::chrono::seconds kPatience{3};

std::string copiesOf(const host::MountStatus& mount) {
  return fmt::format("Answers. Its local copies are {}, {} of {}.",
                     counted(static_cast<std::uint64_t>(mount.usage.cachedItems), "file"),
                     readableSize(mount.usage.cachedBytes), readableSize(mount.limits.cacheBytes));
}

void addRunningMount(const host::MountStatus& mount, Findings& findings) {
  const std::string mountpoint = mount.mountpoint.string();
  findings.push_back(well("mount", mountpoint, copiesOf(mount)));
  if (mount.refusedCrawlers > 0) {
    findings.push_back(note("crawlers", mountpoint,
                            fmt::format("Refused {} by indexers and makers of thumbnails of files that are not here.",
                                        counted(static_cast<std::uint64_t>(mount.refusedCrawlers), "open"))));
  }
  for (const host::MountStatus::KeptEdit& edit : mount.edits) {
    if (!edit.error.empty())
      findings.push_back(problem("mount", edit.filename, "Its edit was not taken: " + edit.error));
  }
}

/// Desktops go by the type: on a local disk they index every file and make thumbnails of all that is in view.
std::string desktopsView(const std::string& type) {
  return type == "fuse.tovrin"
             ? "Desktop programs take its type, fuse.tovrin, for a local disk: see CRAWLERS in “man tovrin”."
             : fmt::format("Shown to desktop programs as of type {}.", type);
}

}  // namespace

void checkMounts(const Platform& platform, Findings& findings) {
  if (const auto client = host::ControlClient::find(platform.directories)) {
    const auto status = client->status(kPatience);
    if (status) {
      addRunningMount(*status, findings);
    } else {
      findings.push_back(problem("mount", {}, status.error()));
    }
  } else {
    findings.push_back(note("mount", {}, "The container is not mounted."));
  }
  const auto all = host::mountedFileSystems();
  if (!all) return findings.push_back(problem("mount", {}, all.error()));
  for (const host::MountedFileSystem& mounted : *all) {
    if (!host::isTovrin(mounted)) continue;
    const std::string mountpoint = mounted.mountpoint.string();
    findings.push_back(
        host::isDead(mounted.mountpoint)
            ? note("mount", mountpoint, "Left by a process that has died: take it off with “tovrin unmount”.")
            : note("mount", mountpoint, desktopsView(mounted.type)));
  }
}

void checkFUSE(Findings& findings) {
  const auto possible = host::checkMountingIsPossible();
  findings.push_back(possible ? well("fuse", "/dev/fuse", "Available.")
                              : note("fuse", {}, possible.error().localizedDescription()));
}

}  // namespace tovrin::cli
