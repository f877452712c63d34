#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "materialize/payload_reconstruction.h"
#include "materialize/renterd_client.h"
#include "shared/manifest.h"
#include "support/test_platform.h"
#include "support/warp_fixture.h"
#include "tovrin-worker/loopback_worker.h"

namespace tovrin {

/// A manifest decoded from specs, which its entries point into.
class DecodedEntries {
 public:
  explicit DecodedEntries(const std::vector<EntrySpec>& entries);
  const TovrinWarpSharedEntry& operator[](std::size_t index) const { return manifest_.entries.at(index); }

 private:
  TovrinWarpSharedManifest manifest_;
};

/// A platform in a folder of its own and a worker on loopback that serves what a test puts there.
class WorkerFixture : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(worker.start()); }

  TovrinWarpRenterdConnectionSnapshot snapshot() const { return {worker.address(), worker.password(), {}}; }
  RenterdClient client() { return RenterdClient(test.platform()); }
  /// The keys of the object requests so far, as sent, with their bucket: "a%20b?bucket=tovrin".
  std::vector<std::string> objectRequests() const;

  void put(std::string_view key, std::string_view bytes, std::string_view bucket = "tovrin");
  void addFault(std::string_view line);

  TestPlatform test;
  LoopbackWorker worker{options(test.scratch / "objects")};

 private:
  static LoopbackWorkerOptions options(std::filesystem::path root) {
    LoopbackWorkerOptions options;
    options.root = std::move(root);
    return options;
  }
};

/// Rebuilds single entries into one destination.
class ReconstructionFixture : public WorkerFixture {
 protected:
  /// `primary`: the entry whose payload is used instead of the entry's own.
  Result<void> rebuild(const EntrySpec& entry);
  Result<void> rebuild(const EntrySpec& entry, const EntrySpec& primary);

  std::filesystem::path destination() const { return test.scratch / "delivered" / "file"; }
  std::string rebuiltBytes() const { return readFile(destination()); }
  /// Whatever lies where files are made while rebuilding.
  std::size_t leftovers() const;

  std::vector<double> fractions;
  std::stop_source stop;
};

/// Bytes that repeat rarely and differ from seed to seed.
std::string patternedBytes(std::size_t count, std::uint32_t seed = 1);

}  // namespace tovrin
