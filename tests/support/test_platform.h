#pragma once

#include <atomic>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "support/scratch_folder.h"

namespace tovrin {

/// A clock that only tests move. `sleep` moves it by the duration and returns at once.
class TestClock final : public Clock {
 public:
  Date now() const override;
  double systemUptime() const override;
  bool sleep(std::chrono::nanoseconds duration, std::stop_token stop) override;

  void advance(double seconds);
  void setNow(Date date);
  /// How often `sleep` was called.
  int sleeps() const { return sleeps_.load(); }

 private:
  mutable std::mutex lock_;
  Date now_{1700000000.0};
  double uptime_ = 1000.0;
  std::atomic<int> sleeps_{0};
};

/// Directories inside a test's own folder. Every member may be changed before use.
class TestDirectories final : public Directories {
 public:
  explicit TestDirectories(const std::filesystem::path& root);

  std::optional<std::filesystem::path> appGroupContainer() const override { return container; }
  std::optional<std::filesystem::path> applicationSupport() const override { return support; }
  std::optional<std::filesystem::path> localState() const override { return state; }
  std::optional<Result<std::filesystem::path>> providerTemporaryDirectory() const override { return providerTemporary; }
  std::filesystem::path temporaryDirectory() const override { return temporary; }

  std::optional<std::filesystem::path> container;
  std::optional<std::filesystem::path> support;
  std::optional<std::filesystem::path> state;
  std::optional<Result<std::filesystem::path>> providerTemporary;
  std::filesystem::path temporary;
};

/// Remembers what was posted.
class TestNotificationCenter final : public NotificationCenter {
 public:
  void post(const std::string& name) override;
  std::vector<std::string> posted() const;

 private:
  mutable std::mutex lock_;
  std::vector<std::string> posted_;
};

/// A whole platform over one scratch folder: real files and real HTTP, a clock that tests move, notifications
/// remembered.
struct TestPlatform {
  TestPlatform();

  Platform platform() { return {clock, directories, *urlSession, notifications}; }
  /// The shared Warp directory; not made yet.
  std::filesystem::path warpDirectory() const { return *directories.container / "Warp"; }

  ScratchFolder scratch;
  TestClock clock;
  TestDirectories directories;
  TestNotificationCenter notifications;
  std::unique_ptr<URLSession> urlSession;
};

}  // namespace tovrin
