#include "host/mount.h"

#include <sys/statvfs.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "host/control/control_server.h"
#include "host/domain.h"
#include "host/earlier_mount.h"
#include "host/fuse/session.h"
#include "host/leftovers.h"
#include "host/log.h"
#include "host/mounted_domain.h"
#include "host/store/store_folders.h"
#include "shared/warp_directory.h"

namespace tovrin::host {

namespace {

/// How long an ending mount waits for edits to be taken. They are kept, and the next mount goes on with them.
constexpr std::chrono::seconds kLastHandOver{20};

void handOverLast(MountedDomain& domain) {
  std::stop_source tooLate;
  DelayedCalls timer;
  timer.after(kLastHandOver, [&] { tooLate.request_stop(); });
  for (const MountStatus::KeptEdit& edit : domain.handOverEdits(tooLate.get_token())) {
    log::warning("the changes in “{}” are not taken yet; they are kept for the next mount", edit.filename);
  }
}

/// The thread that answers the kernel.
class Serving {
 public:
  Serving(fuse::Session& session, MountedDomain& domain)
      : session_(session), thread_([this, &domain] {
          session_.serve(domain);
          const std::scoped_lock hold(lock_);
          ended_ = true;
          changed_.notify_all();
        }) {}
  ~Serving() {
    if (!hasEnded()) session_.end();
    thread_.join();
  }

  /// Until the file system is unmounted, or `stop`.
  void wait(std::stop_token stop) {
    std::unique_lock hold(lock_);
    changed_.wait(hold, stop, [this] { return ended_; });
  }
  bool hasEnded() {
    const std::scoped_lock hold(lock_);
    return ended_;
  }

 private:
  fuse::Session& session_;
  std::mutex lock_;
  std::condition_variable_any changed_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace

Result<void> serveMount(const MountRequest& request, std::stop_token stop, const std::function<void()>& answering) {
  Domain domain(request.container);
  const Directories& directories = domain.platform().directories;
  TOVRIN_TRY(const WarpDirectory warp, locateWarpDirectory(directories));
  TOVRIN_TRY(const StoreFolders folders, storeFolders(directories));
  TOVRIN_TRY(std::unique_ptr<ReplicaStore> store,
             openStoreAfterEarlierMount(folders, request.limits, directories, stop));
  TOVRIN_TRY(const std::unique_ptr<fuse::Session> session, fuse::Session::mount(request));
  MountedDomain mounted(request, domain, std::move(store), *session);
  TOVRIN_TRY(const std::unique_ptr<ControlServer> control, ControlServer::start(mounted, directories));
  {
    Serving serving(*session, mounted);
    struct statvfs answer;
    statvfs(request.mountpoint.c_str(), &answer);
    mounted.start(warp.path());
    sweepDeliveries(directories, domain.platform().clock.now());
    log::notice("mounted at {}", request.mountpoint.native());
    answering();
    serving.wait(stop);
    handOverLast(mounted);
  }
  log::notice("unmounted from {}", request.mountpoint.native());
  return {};
}

}  // namespace tovrin::host
