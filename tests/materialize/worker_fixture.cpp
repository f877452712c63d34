#include "materialize/worker_fixture.h"

#include <stdexcept>

namespace tovrin {

DecodedEntries::DecodedEntries(const std::vector<EntrySpec>& entries) {
  ManifestSpec manifest;
  manifest.entries = entries;
  auto decoded = decodeManifest(manifestJSON(manifest));
  if (!decoded) throw std::invalid_argument(decoded.error().localizedDescription());
  manifest_ = std::move(*decoded);
}

std::vector<std::string> WorkerFixture::objectRequests() const {
  constexpr std::string_view kRoute = "/api/worker/object/";
  std::vector<std::string> keys;
  for (const WorkerRequest& request : worker.requests()) {
    if (request.target.starts_with(kRoute)) keys.push_back(request.target.substr(kRoute.size()));
  }
  return keys;
}

void WorkerFixture::put(std::string_view key, std::string_view bytes, std::string_view bucket) {
  ASSERT_TRUE(worker.putObject(bucket, key, bytes));
}

void WorkerFixture::addFault(std::string_view line) { ASSERT_TRUE(worker.addFault(line)) << line; }

Result<void> ReconstructionFixture::rebuild(const EntrySpec& entry) {
  const DecodedEntries entries({entry});
  RenterdClient worker_ = client();
  return reconstruct(
      worker_, snapshot(), {entries[0], entries[0], destination(), test.directories.temporary},
      [this](double fraction) { fractions.push_back(fraction); }, stop.get_token());
}

Result<void> ReconstructionFixture::rebuild(const EntrySpec& entry, const EntrySpec& primary) {
  const DecodedEntries entries({entry, primary});
  RenterdClient worker_ = client();
  return reconstruct(
      worker_, snapshot(), {entries[0], entries[1], destination(), test.directories.temporary},
      [this](double fraction) { fractions.push_back(fraction); }, stop.get_token());
}

std::size_t ReconstructionFixture::leftovers() const {
  return countFiles(destination().parent_path()) + countFiles(test.directories.temporary);
}

std::string patternedBytes(std::size_t count, std::uint32_t seed) {
  std::string bytes(count, '\0');
  std::uint32_t state = seed * 2654435761U + 1U;
  for (char& byte : bytes) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<char>(state >> 24U);
  }
  return bytes;
}

}  // namespace tovrin
