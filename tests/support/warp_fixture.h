#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/test_platform.h"

/// What the main application writes, as tests need it. Texts are JSON made here, not by the code under test, and may
/// break any rule; what is not set is left out of the JSON.
namespace tovrin {

struct PartSpec {
  std::string key{};
  std::int64_t offset = 0;
  std::int64_t size = 0;
  std::optional<std::string> payloadNamespace{};
};

struct ExtentSpec {
  std::int64_t logicalOffset = 0;
  std::int64_t storedOffset = 0;
  std::int64_t length = 0;
};

struct EntrySpec {
  std::string path{};
  std::string kind = "file";
  std::int64_t size = 0;
  std::optional<std::string> displayName{};
  std::optional<std::int64_t> modificationTimeNanoseconds{};
  std::optional<std::int64_t> birthTimeNanoseconds{};
  std::optional<std::uint16_t> posixPermissions{};
  std::optional<std::string> symlinkTarget{};
  std::optional<std::string> payloadKey{};
  std::vector<PartSpec> payloadParts{};
  std::optional<std::string> uploadStrategy{};
  std::optional<std::string> contentChecksumSHA256{};
  std::optional<std::string> payloadEncoding{};
  std::optional<std::int64_t> storedSize{};
  std::vector<ExtentSpec> sparseExtents{};
  std::optional<std::string> hardLinkPrimaryPath{};
  std::string rawMembers{};  ///< JSON members added as they stand, such as `"bsdFlags":1`
};

struct ManifestSpec {
  std::string warpID = "W1";
  std::string deviceID = "device-1";
  std::optional<std::string> manifestKey{};  ///< "manifests/<warpID>.json" when not set
  std::string originalFolderPath = "/Users/ann/Photos";
  std::optional<std::string> displayName{};
  std::string createdAt = "2025-03-01T12:00:00Z";
  std::optional<std::string> uploadedAt{};
  std::optional<std::string> replacedAt{};
  std::string status = "replaced";
  std::vector<EntrySpec> entries{};
  std::string rawMembers{};  ///< as for an entry
};

struct TombstoneSpec {
  std::string warpID{};
  std::string manifestKey{};
  std::string originalFolderPath = "/Users/ann/Photos";
  std::string destroyedAt = "2025-03-02T12:00:00Z";
};

/// The whole content is one object, named by `key`; size and checksum are those of `contents`.
EntrySpec fileEntry(std::string path, std::string_view contents, std::string key);

std::string entryJSON(const EntrySpec& entry);
std::string manifestJSON(const ManifestSpec& manifest);
std::string visibilityIndexJSON(const std::vector<std::string>& visibleWarpIDs);
std::string tombstonesJSON(const std::vector<TombstoneSpec>& records);
std::string connectionJSON(std::string_view httpAddress, std::string_view apiPassword);

/// Each writes one file of the shared Warp directory, making folders as needed, and returns its path.
std::filesystem::path installManifest(const TestPlatform& platform, const ManifestSpec& manifest);
std::filesystem::path installVisibilityIndex(const TestPlatform& platform,
                                             const std::vector<std::string>& visibleWarpIDs);
std::filesystem::path installTombstones(const TestPlatform& platform, const std::vector<TombstoneSpec>& records);
std::filesystem::path installConnection(const TestPlatform& platform, std::string_view httpAddress,
                                        std::string_view apiPassword);

/// The marker that a warped folder carries; `folder` is a real folder of the test's own.
std::filesystem::path installMarker(const std::filesystem::path& folder, std::string_view warpID);

}  // namespace tovrin
