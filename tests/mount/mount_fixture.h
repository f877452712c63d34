#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mount/running_program.h"
#include "support/test_platform.h"
#include "support/warp_fixture.h"
#include "tovrin-worker/loopback_worker.h"

namespace tovrin {

/// A container of its own, a worker on loopback, and a real mount in a process of its own. Skipped where file systems
/// cannot be mounted. Whatever happens, nothing stays mounted and nothing runs on.
class MountTest : public ::testing::Test {
 protected:
  MountTest();
  ~MountTest() override;
  void SetUp() override;

  /// A file in the folder that becomes the Warp "Docs".
  void write(std::string_view name, std::string_view bytes);
  /// Of a file or folder there: a modification time of its own, years ago, which `write` gives, too.
  void setOldTime(std::string_view name);
  /// Makes the Warp of the folder as it is, or makes it again, as after an upload by the main application.
  void makeWarp(const std::vector<std::string>& options = {});
  /// A run of tovrin-warp on the container; fails the test unless it succeeds.
  void warp(std::vector<std::string> words);
  /// Replaces a file of the Warp directory in one step.
  void replaceShared(std::string_view name, std::string_view bytes);

  void mount(std::vector<std::string> options = {});
  /// As a stopping system does it; fails the test unless the process ends well.
  void unmount();
  /// The process dies without a chance to do anything.
  void killMount();
  void remount(const std::vector<std::string>& options = {}) {
    unmount();
    mount(options);
  }
  std::string mountLog() const { return mount_->output(); }

  /// The folder as it was, and as the mount shows it.
  const std::filesystem::path& originals() const { return originals_; }
  const std::filesystem::path& shown() const { return shown_; }
  const std::filesystem::path& mountpoint() const { return mountpoint_; }
  std::filesystem::path work() const { return scratch_ / "work"; }
  /// Of a folder as tovrin-warp or a manifest names it.
  std::filesystem::path shownAt(const std::filesystem::path& original) const;

  /// In a bash in the folder `work`. $M is the mountpoint, $D the shown folder, $O the original one;
  /// only new lines split words.
  Ended run(const std::string& script) const { return start(script)->finish(); }
  std::unique_ptr<RunningProgram> start(const std::string& script) const;

  bool hasProgram(const std::string& name) const { return run("command -v " + name).status == 0; }
  /// The GET requests for objects that reached the worker.
  std::size_t downloads() const;
  /// The value of an extended attribute; nothing when the file does not have it.
  static std::optional<std::string> attribute(const std::filesystem::path& file, const char* name);
  static std::string state(const std::filesystem::path& file) {
    return attribute(file, "user.tovrin.state").value_or("");
  }
  /// Whether it becomes true in time.
  static bool eventually(const std::function<bool()>& condition,
                         std::chrono::milliseconds patience = std::chrono::seconds(10));

  TestPlatform platform_;
  const ScratchFolder& scratch_ = platform_.scratch;
  LoopbackWorker worker_;

 private:
  RunningProgram::Place place() const;
  void detach() const;

  const std::filesystem::path originals_;
  const std::filesystem::path mountpoint_;
  const std::filesystem::path shown_;
  std::unique_ptr<RunningProgram> mount_;
  std::int64_t old_ = 0;
};

/// `size` bytes that compress badly; others for another seed.
std::string noise(std::size_t size, unsigned seed = 1);

}  // namespace tovrin
