#pragma once

#include <string>

#include "support/test_platform.h"

namespace tovrin {

/// A Warp as large as they get, shaped like those that the main application writes: checksums, keys, times and one part
/// per file; folders of a hundred files. The same on every machine.
class LargeWarp {
 public:
  static constexpr int kFilesPerFolder = 100;

  /// Warps of different numbers can stand side by side.
  explicit LargeWarp(int files, int number = 0) : files_(files), number_(number) {}

  std::string warpID() const { return "0B5C3A52-6C11-4A8E-9E0B-" + std::to_string(100'000'000'000 + number_); }
  std::string originalFolderPath() const { return "/Users/ann/Pictures " + std::to_string(number_); }
  std::string folderPath(int folder) const { return originalFolderPath() + "/Album " + std::to_string(folder); }
  std::string filePath(int file) const;

  std::string json() const;
  /// Writes it into the mirror directory.
  void install(const TestPlatform& platform) const;

 private:
  int files_;
  int number_;
};

}  // namespace tovrin
