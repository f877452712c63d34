#include "host/fuse/session.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

#include "host/fuse/operations.h"
#include "host/log.h"
#include "host/mounting/mount_table.h"

namespace tovrin::host::fuse {

namespace {

constexpr unsigned kMostThreads = 64;
/// Interrupts a wait, and does nothing else.
constexpr int kWakeSignal = SIGUSR1;

/// What libfuse said last: the only place where it tells why it could not mount.
class LibraryMessages {
 public:
  static void receive(fuse_log_level level, const char* format, va_list values) {
    char line[1024];
    std::vsnprintf(line, sizeof line, format, values);
    std::string text(line);
    while (text.ends_with('\n')) text.pop_back();
    if (text.starts_with("fuse: ")) text.erase(0, 6);
    if (level <= FUSE_LOG_ERR) {
      const std::scoped_lock hold(lock_);
      last_ = text;
    }
    log::write(level <= FUSE_LOG_WARNING ? log::Level::info : log::Level::debug, std::string_view(text));
  }
  static std::string last() {
    const std::scoped_lock hold(lock_);
    return last_;
  }

 private:
  static inline std::mutex lock_;
  static inline std::string last_;
};

NSError mountError(const std::string& fallback) {
  const std::string said = LibraryMessages::last();
  return {NSPOSIXErrorDomain, EIO, said.empty() ? fallback : "The file system could not be mounted: " + said + "."};
}

}  // namespace

Result<std::unique_ptr<Session>> Session::mount(const MountRequest& request) {
  fuse_set_log_func(LibraryMessages::receive);
  std::vector<std::string> words{"tovrin"};
  for (const std::string& option : request.fuseOptions) {
    words.emplace_back("-o");
    words.push_back(option);
  }
  const bool isShared = std::ranges::any_of(
      request.fuseOptions, [](const std::string& option) { return option == "allow_other" || option == "allow_root"; });
  // Where others may enter, the kernel judges by the attributes shown. The owner alone is told more: that a folder
  // without write permission is part of a read-only file system.
  if (isShared) words.insert(words.end(), {"-o", "default_permissions"});
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  fuse_args arguments = FUSE_ARGS_INIT(static_cast<int>(pointers.size()), pointers.data());

  std::unique_ptr<Session> session(new Session(request.mountpoint));
  const fuse_lowlevel_ops table = operations();
  session->kernelJudgesPermissions_ = isShared;
  session->session_ = fuse_session_new(&arguments, &table, sizeof table, session.get());
  fuse_opt_free_args(&arguments);
  if (session->session_ == nullptr) return failure(mountError("The options for the file system were not accepted."));
  if (fuse_session_mount(session->session_, request.mountpoint.c_str()) != 0) {
    return failure(mountError("The file system could not be mounted."));
  }
  session->device_ = deviceMountedAt(request.mountpoint);
  return session;
}

Session::~Session() {
  if (session_ == nullptr) return;
  // Once it was unmounted lazily, what is mounted there is another's.
  if (deviceMountedAt(mountpoint_) == device_) fuse_session_unmount(session_);
  fuse_session_destroy(session_);
}

void Session::serve(MountedDomain& domain) {
  domain_ = &domain;
  struct sigaction wake{};
  wake.sa_handler = [](int) {};
  sigaction(kWakeSignal, &wake, nullptr);
  server_ = pthread_self();
  isServing_ = true;
  fuse_loop_config* configuration = fuse_loop_cfg_create();
  fuse_loop_cfg_set_clone_fd(configuration, 1);
  fuse_loop_cfg_set_max_threads(configuration, kMostThreads);
  fuse_session_loop_mt(session_, configuration);
  isServing_ = false;
  fuse_loop_cfg_destroy(configuration);
}

void Session::end() {
  fuse_session_exit(session_);
  // The serving thread waits for one of those that answer. A request of ours would wake that, but none arrives once the
  // mount is out of sight. A signal that comes before the wait is lost.
  constexpr std::chrono::milliseconds kBetweenSignals{2};
  while (isServing_) {
    pthread_kill(server_, kWakeSignal);
    std::this_thread::sleep_for(kBetweenSignals);
  }
}

void Session::nameChanged(NodeID parent, const std::string& name) {
  fuse_lowlevel_notify_inval_entry(session_, parent, name.data(), name.size());
}

void Session::nameVanished(NodeID parent, NodeID child, const std::string& name) {
  fuse_lowlevel_notify_delete(session_, parent, child, name.data(), name.size());
}

void Session::attributesChanged(NodeID node) { fuse_lowlevel_notify_inval_inode(session_, node, -1, 0); }

void Session::contentsChanged(NodeID node) { fuse_lowlevel_notify_inval_inode(session_, node, 0, 0); }

}  // namespace tovrin::host::fuse
