#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "shared/manifest.h"
#include "shared/warp_directory.h"
#include "support/test_platform.h"
#include "tools/program.h"
#include "tools/worker_fixture.h"

namespace tovrin {

/// A real folder, a container and a folder of objects, with tovrin-warp run as a process over them.
class WarpTest : public testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(folder); }

  /// `make` of the folder into the container as the Warp W1, besides `words`; objects go to the folder of objects
  /// unless `words` say otherwise.
  ProgramResult make(std::vector<std::string> words = {});
  /// Any command over the container.
  ProgramResult run(const std::string& command, std::vector<std::string> words = {});

  /// As the provider decodes it; fails the test when it does not.
  TovrinWarpSharedManifest manifest(const std::string& warpID = "W1");
  /// The entry of a path below the folder; fails the test when there is none.
  const TovrinWarpSharedEntry& entry(const TovrinWarpSharedManifest& manifest, std::string_view relativePath);
  /// The stored object's bytes.
  std::string object(std::string_view bucket, std::string_view key);

  /// Opens every file as the provider does, over HTTP from a worker, and compares it with the folder's.
  void expectEveryFileToComeBack(const TovrinWarpSharedManifest& manifest);

  TestPlatform test;
  std::filesystem::path folder = test.scratch / "folder";
  std::filesystem::path container = *test.directories.container;
  std::filesystem::path objects = test.scratch / "objects";
};

/// Bytes that LZFSE makes smaller.
std::string repetitiveBytes(std::size_t count);

}  // namespace tovrin
