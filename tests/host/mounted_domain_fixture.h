#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/mounted_domain.h"
#include "support/test_platform.h"
#include "support/warp_fixture.h"
#include "tovrin-worker/loopback_worker.h"

namespace tovrin::host {

/// A kernel that writes down what it is told.
class RecordingKernel final : public KernelCache {
 public:
  void nameChanged(NodeID, const std::string& name) override { add("changed " + name); }
  void nameVanished(NodeID, NodeID, const std::string& name) override { add("vanished " + name); }
  void attributesChanged(NodeID node) override { add("attributes " + std::to_string(node)); }
  void contentsChanged(NodeID node) override { add("contents " + std::to_string(node)); }

  std::vector<std::string> take();

 private:
  void add(std::string line);

  std::mutex lock_;
  std::vector<std::string> told_;
};

/// A domain with one Warp, mounted without a kernel, over a worker on loopback. The Warp's folder is "original" in the
/// test's own folder; it has the files a.txt ("first contents") and b.txt ("second") and the folder sub.
class MountedDomainTest : public ::testing::Test {
 protected:
  void SetUp() override;

  /// Replaces the Warp's manifest, and lets the domain see it.
  void install(const std::vector<EntrySpec>& entries, const std::string& warpID = "W1");
  std::vector<EntrySpec> usualEntries();
  EntrySpec file(const std::string& name, const std::string& contents, std::int64_t modificationSeconds = 1600000000);

  /// Ends the mount and begins it again, as after a restart of the host.
  void mount(MountRequest request);
  void mount() { mount(MountRequest()); }

  /// Looks the path's names up one by one, as a kernel does.
  std::optional<Shown> walk(std::string_view path);
  /// In the Warp W1.
  Shown find(std::string_view name);
  Result<std::shared_ptr<OpenItem>> open(NodeID id, int flags);
  static std::string bytesOf(const OpenItem& item);
  static int append(OpenItem& item, std::string_view bytes);
  /// As closing a written handle does.
  Result<void> handOver(const OpenItem& item);
  std::size_t downloads() const;
  std::vector<std::filesystem::path> pendingCopies() const;

  TestPlatform test_;
  LoopbackWorker worker_{{.root = test_.scratch / "objects"}};
  RecordingKernel kernel_;
  std::optional<Domain> domain_;
  std::unique_ptr<MountedDomain> mounted_;
};

}  // namespace tovrin::host
