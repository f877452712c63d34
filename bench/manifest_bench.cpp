// Decoding a manifest, against a bare sweep of the JSON parser over the same bytes in the same run.

#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <string>

#include "shared/indexed_manifest.h"
#include "shared/manifest.h"

namespace tovrin {
namespace {

/// A manifest shaped like those that the main application writes: checksums, keys, times and one part per file.
std::string realShapedManifest(int entries) {
  std::string json =
      R"({"version":4,"warpID":"W1","deviceID":"device","manifestKey":"manifests/W1.json","originalFolderPath":"/Users/ann/Pictures",)"
      R"("displayName":"Pictures","createdAt":"2025-03-01T12:00:00Z","status":"replaced","entries":[)";
  const std::string checksum = "9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08";
  for (int i = 0; i < entries; ++i) {
    const std::string number = std::to_string(i);
    const std::string folder = std::to_string(i / 100);
    if (i > 0) json += ',';
    json +=
        R"({"absolutePath":"/Users/ann/Pictures/Album )" + folder + "/IMG_" + number + R"(.jpeg","displayName":"IMG_)" +
        number + R"(.jpeg","kind":"file","size":)" + std::to_string(2000000 + i) +
        R"(,"modificationTimeNanoseconds":1700000000123456789,"statusChangeTimeNanoseconds":1700000001123456789,)"
        R"("birthTimeNanoseconds":1690000000123456789,"ownerUserID":501,"ownerGroupID":20,"posixPermissions":420,"bsdFlags":0,)"
        R"("payloadParts":[{"key":"warps/W1/)" +
        number + R"(.bin","offset":0,"size":)" + std::to_string(2000000 + i) +
        R"(,"namespace":"warp"}],"uploadStrategy":"direct","contentChecksumSHA256":")" + checksum +
        R"(","payloadEncoding":"raw","storedSize":)" + std::to_string(2000000 + i) + R"(,"sparseExtents":[]})";
  }
  return json + "]}";
}

void sweep(simdjson::ondemand::value value) {
  switch (value.type().value_unsafe()) {
    case simdjson::ondemand::json_type::array:
      for (auto element : value.get_array()) sweep(element.value_unsafe());
      break;
    case simdjson::ondemand::json_type::object:
      for (auto field : value.get_object()) {
        benchmark::DoNotOptimize(field.unescaped_key().value_unsafe());
        sweep(field.value().value_unsafe());
      }
      break;
    case simdjson::ondemand::json_type::string:
      benchmark::DoNotOptimize(value.get_string().value_unsafe());
      break;
    case simdjson::ondemand::json_type::number:
      benchmark::DoNotOptimize(value.get_int64().value_unsafe());
      break;
    default:
      break;
  }
}

void bareSweep(benchmark::State& state) {
  const simdjson::padded_string json(realShapedManifest(static_cast<int>(state.range(0))));
  for (auto _ : state) {
    simdjson::ondemand::parser parser;
    simdjson::ondemand::document document;
    if (parser.iterate(json).get(document)) state.SkipWithError("no JSON");
    sweep(document.get_value().value_unsafe());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * json.size()));
}

void decode(benchmark::State& state) {
  const std::string json = realShapedManifest(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    auto manifest = decodeManifest(json);
    if (!manifest) state.SkipWithError("does not decode");
    benchmark::DoNotOptimize(manifest);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * json.size()));
}

void decodeAndIndex(benchmark::State& state) {
  const std::string json = realShapedManifest(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    auto manifest = decodeManifest(json);
    if (!manifest) state.SkipWithError("does not decode");
    benchmark::DoNotOptimize(IndexedManifest(*std::move(manifest)));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * json.size()));
}

BENCHMARK(bareSweep)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(decode)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(decodeAndIndex)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tovrin
