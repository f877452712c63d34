// Decoding a manifest, against a bare sweep of the JSON parser over the same bytes in the same run.

#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <string>

#include "shared/indexed_manifest.h"
#include "shared/manifest.h"
#include "support/large_warp.h"

namespace tovrin {
namespace {

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
  const simdjson::padded_string json(LargeWarp(static_cast<int>(state.range(0))).json());
  for (auto _ : state) {
    simdjson::ondemand::parser parser;
    simdjson::ondemand::document document;
    if (parser.iterate(json).get(document)) state.SkipWithError("no JSON");
    sweep(document.get_value().value_unsafe());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * json.size()));
}

void decode(benchmark::State& state) {
  const std::string json = LargeWarp(static_cast<int>(state.range(0))).json();
  for (auto _ : state) {
    auto manifest = decodeManifest(json);
    if (!manifest) state.SkipWithError("does not decode");
    benchmark::DoNotOptimize(manifest);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * json.size()));
}

void decodeAndIndex(benchmark::State& state) {
  const std::string json = LargeWarp(static_cast<int>(state.range(0))).json();
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
