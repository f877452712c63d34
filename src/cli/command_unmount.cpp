#include <fmt/core.h>

#include <cerrno>
#include <memory>

#include "cli/command.h"
#include "cli/output.h"
#include "host/mounting/file_users.h"
#include "host/mounting/mount_point.h"
#include "host/mounting/stop_signals.h"
#include "host/mounting/unmount.h"

namespace tovrin::cli {

namespace {

struct Words {
  std::string mountpoint;
  bool lazily = false;
};

void say(std::string_view subject, std::string_view sentence) {
  fmt::print(stderr, "tovrin: {}: {}\n", printable(subject), printable(sentence));
}

void tellOfKeptEdits(const host::Unmounted& unmounted) {
  for (const auto& edit : unmounted.keptEdits) {
    const std::string reason = edit.error.empty() ? "." : ": " + edit.error;
    say(edit.filename, fmt::format("The changes wait for the next mount, in {}{}", edit.file.string(), reason));
  }
}

void tellWhoUses(const std::filesystem::path& mountpoint) {
  const auto all = host::mountedFileSystems();
  const auto mounted = all ? host::mountedAt(*all, mountpoint) : std::nullopt;
  if (!mounted) return;
  for (const auto& [process, program, file] : host::usersOf(mounted->device)) {
    say(file.string(), fmt::format("Used by process {} ({}).", process, program));
  }
  for (const auto& other : *all) {
    const std::string below = mountpoint.string() + "/";
    if (other.mountpoint.string().starts_with(below)) say(other.mountpoint.string(), "Something is mounted here.");
  }
}

Failure inUse(const Words& words) {
  return {words.mountpoint,
          NSError::posix(EBUSY,
                         "It is in use. With --lazy it is taken out of sight at once, and ends when nobody "
                         "uses it any more."),
          {}};
}

Outcome unmount(const Words& words, const Directories& directories) {
  const host::StopSignals signals([] { _exit(kExitInterrupted); });
  TOVRIN_TRY(const std::filesystem::path mountpoint,
             about(words.mountpoint, host::resolveMountpoint(words.mountpoint)));
  const auto mode = words.lazily ? host::UnmountMode::lazily : host::UnmountMode::whenUnused;
  const auto unmounted = host::unmount(mountpoint, mode, directories, signals.token());
  if (unmounted) {
    if (unmounted->wasDead) say(words.mountpoint, "Its process had died; the mount is taken off.");
    tellOfKeptEdits(*unmounted);
    return kExitDone;
  }
  if (signals.token().stop_requested()) {
    say(words.mountpoint, "Interrupted while waiting; nothing is lost.");
    return kExitInterrupted;
  }
  if (unmounted.error().domain() != NSPOSIXErrorDomain || unmounted.error().code() != EBUSY)
    return std::unexpected(Failure{words.mountpoint, unmounted.error(), {}});
  tellWhoUses(mountpoint);
  return std::unexpected(inUse(words));
}

}  // namespace

void addUnmountCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command =
      addCommand(app, "unmount", "Wait until edits are handed over, then unmount", "tovrin unmount ~/Warps");
  const auto words = std::make_shared<Words>();
  command->add_option("MOUNTPOINT", words->mountpoint, "Where it is mounted")->required()->option_text(" ");
  command->add_flag("-l,--lazy", words->lazily, "Out of sight at once, even when in use");
  command->callback([&invocation, words] {
    invocation.run = [words](Session& session) { return unmount(*words, session.platform().directories); };
  });
}

}  // namespace tovrin::cli
