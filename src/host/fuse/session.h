#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <atomic>
#include <memory>
#include <string>

#include "foundation/result.h"
#include "host/fuse/library.h"
#include "host/fuse/pending_opens.h"
#include "host/kernel_cache.h"
#include "host/mount.h"
#include "host/mounted_domain.h"

namespace tovrin::host::fuse {

/// One connection with the kernel: a mount point and the requests that come through it.
class Session final : public KernelCache {
 public:
  /// Mounts. From here on programs that touch the mount point wait until `serve` runs. A failure has libfuse's words.
  static Result<std::unique_ptr<Session>> mount(const MountRequest& request);
  /// Takes the mount off its place if it is still there, out of sight at once; programs that have files open get
  /// ENOTCONN.
  ~Session() override;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Answers requests, several at once, until the file system is unmounted or `end` is called. `domain` outlives this
  /// call and all requests that still wait.
  void serve(MountedDomain& domain);
  /// Ends `serve`; from another thread.
  void end();

  MountedDomain& domain() { return *domain_; }
  PendingOpens& pendingOpens() { return pendingOpens_; }
  /// Whether permission bits were looked at before a request comes.
  bool kernelJudgesPermissions() const { return kernelJudgesPermissions_; }

  void nameChanged(NodeID parent, const std::string& name) override;
  void nameVanished(NodeID parent, NodeID child, const std::string& name) override;
  void attributesChanged(NodeID node) override;
  void contentsChanged(NodeID node) override;

 private:
  explicit Session(std::filesystem::path mountpoint) : mountpoint_(std::move(mountpoint)) {}

  const std::filesystem::path mountpoint_;
  dev_t device_ = 0;  ///< the st_dev of everything on it
  bool kernelJudgesPermissions_ = false;
  fuse_session* session_ = nullptr;
  MountedDomain* domain_ = nullptr;
  PendingOpens pendingOpens_;
  pthread_t server_{};  ///< the thread in `serve`, while it is serving
  std::atomic<bool> isServing_ = false;
};

/// Of the request's mount.
inline Session& sessionOf(fuse_req_t request) { return *static_cast<Session*>(fuse_req_userdata(request)); }
inline MountedDomain& domainOf(fuse_req_t request) { return sessionOf(request).domain(); }

}  // namespace tovrin::host::fuse
