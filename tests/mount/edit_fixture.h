#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "mount/mount_fixture.h"
#include "mount/pending_edits.h"

namespace tovrin {

/// Open for as long as the object lives; `close` tells what close(2) said.
class OpenedFile {
 public:
  OpenedFile(const std::filesystem::path& path, int flags) : descriptor_(open(path.c_str(), flags | O_CLOEXEC)) {
    EXPECT_GE(descriptor_, 0) << path;
  }
  ~OpenedFile() { ::close(descriptor_); }
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;

  int descriptor() const { return descriptor_; }
  void writeAt(off_t place, std::string_view bytes) const {
    EXPECT_EQ(pwrite(descriptor_, bytes.data(), bytes.size(), place), static_cast<ssize_t>(bytes.size()));
  }
  /// An errno, 0 for a good end.
  int close() {
    const int descriptor = std::exchange(descriptor_, -1);
    return ::close(descriptor) == 0 ? 0 : errno;
  }

 private:
  int descriptor_;
};

/// A mount with some files to edit.
class EditTest : public MountTest {
 protected:
  void SetUp() override;

  std::vector<PendingEdit> edits() const { return pendingEdits(platform_.warpDirectory()); }
  /// Adds to the file as a program would; the errno of its close.
  static int append(const std::filesystem::path& file, std::string_view bytes);
  /// The file shows these bytes, and they alone wait for the main application.
  void expectOneEdit(std::string_view name, std::string_view bytes);
  /// Nothing but the original files is there, in the Warp or in the host's folders for what is under way.
  void expectNoLeftovers() const;

  const std::string text_ = "one\ntwo\nthree\n";  ///< of notes.txt
  const std::string bytes_ = noise(500'000);      ///< of big.bin
  std::filesystem::path notes() const { return shown() / "notes.txt"; }
  std::filesystem::path big() const { return shown() / "big.bin"; }
};

}  // namespace tovrin
