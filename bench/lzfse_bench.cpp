// Decoding LZFSE against memcpy of the output and against zstd, in turn, and with that against the reference decoder as
// it must be expected to be on this machine. What counts are the medians.

#include <benchmark/benchmark.h>
#include <time.h>
#include <zstd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "lzfse_corpora.h"

namespace tovrin {
namespace {

/// Of this thread alone: all that is compared here only computes, and other programs' turns must not count.
template <class Work>
double processorSecondsOf(Work&& work) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  };
  const double begin = now();
  work();
  return now() - begin;
}

/// A corpus in the forms that are decoded.
class Contest {
 public:
  explicit Contest(Corpus corpus)
      : corpus_(std::move(corpus)),
        zstd1_(zstdCompressed(1)),
        zstd3_(zstdCompressed(3)),
        output_(corpus_.bytes.size(), '\0') {}

  const std::string& name() const { return corpus_.name; }

  /// Runs the decoder and its anchors in turn. The `of_` counters are how many times as fast as the anchor it is;
  /// `of_reference` is the lower one of the two estimates that the two zstd levels give.
  void run(benchmark::State& state) {
    double memcpySeconds = 0;
    double zstd1Seconds = 0;
    double zstd3Seconds = 0;
    double seconds = 0;
    bool intact = true;
    for (auto _ : state) {
      const double turn = processorSecondsOf([&] { intact &= decodesLZFSE(); });
      state.SetIterationTime(turn);
      seconds += turn;
      memcpySeconds += processorSecondsOf([&] { copy(); });
      zstd1Seconds += processorSecondsOf([&] { intact &= decodesZstd(zstd1_); });
      zstd3Seconds += processorSecondsOf([&] { intact &= decodesZstd(zstd3_); });
    }
    if (!intact) state.SkipWithError("a stream does not decode to what it was made of");
    const auto bytes = static_cast<double>(output_.size());
    state.counters["MB_per_s"] = 1e-6 * bytes * static_cast<double>(state.iterations()) / seconds;
    state.counters["packed"] = bytes / static_cast<double>(corpus_.lzfse.size());
    state.counters["of_memcpy"] = memcpySeconds / seconds;
    state.counters["of_zstd1"] = zstd1Seconds / seconds;
    state.counters["of_zstd3"] = zstd3Seconds / seconds;
    const ReferenceSpeeds& speeds = corpus_.speeds;
    if (speeds.reference > 0) {
      state.counters["of_reference"] =
          std::min(zstd1Seconds * speeds.zstd1, zstd3Seconds * speeds.zstd3) / (seconds * speeds.reference);
    }
  }

 private:
  std::string zstdCompressed(int level) const {
    const std::string& bytes = corpus_.bytes;
    std::string compressed(ZSTD_compressBound(bytes.size()), '\0');
    compressed.resize(ZSTD_compress(compressed.data(), compressed.size(), bytes.data(), bytes.size(), level));
    return compressed;
  }

  bool decodesLZFSE() const { return decodeLZFSEInPieces(corpus_.lzfse, nullptr) == output_.size(); }
  bool decodesZstd(const std::string& compressed) {
    return ZSTD_decompressDCtx(zstd_.get(), output_.data(), output_.size(), compressed.data(), compressed.size()) ==
           output_.size();
  }
  void copy() {
    std::memcpy(output_.data(), corpus_.bytes.data(), output_.size());
    benchmark::DoNotOptimize(output_.data());
    benchmark::ClobberMemory();
  }

  Corpus corpus_;
  std::string zstd1_;
  std::string zstd3_;
  std::string output_;
  std::unique_ptr<ZSTD_DCtx, decltype(&ZSTD_freeDCtx)> zstd_{ZSTD_createDCtx(), &ZSTD_freeDCtx};
};

}  // namespace
}  // namespace tovrin

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  std::vector<std::unique_ptr<tovrin::Contest>> contests;
  std::vector<tovrin::Corpus> corpora = tovrin::lzfseCorpora(std::string(TOVRIN_SHARED_FIXTURES) + "/lzfse");
  for (tovrin::Corpus& corpus : corpora) {
    contests.push_back(std::make_unique<tovrin::Contest>(std::move(corpus)));
    tovrin::Contest& contest = *contests.back();
    benchmark::RegisterBenchmark(contest.name().c_str(), [&contest](benchmark::State& state) { contest.run(state); })
        ->UseManualTime()
        ->MinTime(0.1)
        ->Repetitions(11)
        ->ReportAggregatesOnly();
  }
  benchmark::RunSpecifiedBenchmarks();
}
