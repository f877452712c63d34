// Does one thing that must stay fast, for its instructions to be counted by callgrind: what comes before and after it
// is not counted. Ends with success when the work came out right.

#include <valgrind/callgrind.h>

#include <cstdlib>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "lzfse_encoder/lzfse_encoder.h"
#include "platform/compression_stream.h"
#include "provider/enumerator.h"
#include "provider/identifier.h"
#include "provider/item.h"
#include "provider/tree.h"
#include "shared/indexed_manifest.h"
#include "support/large_warp.h"
#include "support/pseudo_text.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

constexpr int kFiles = 20'000;  ///< looking at all of them would cost more than listing a folder
const LargeWarp kWarp(kFiles);

template <class Work>
auto counted(Work&& work) {
  CALLGRIND_START_INSTRUMENTATION;
  auto result = work();
  CALLGRIND_STOP_INSTRUMENTATION;
  return result;
}

bool decodesManifest() {
  const std::string json = kWarp.json();
  return counted([&] {
    auto manifest = decodeManifest(json);
    return manifest && IndexedManifest(*std::move(manifest)).entryAt(kWarp.filePath(kFiles / 2)) != nullptr;
  });
}

class Listing {
 public:
  Listing() {
    kWarp.install(platform_);
    tree_.cachedManifests();
    list(1);  // what only the first listing of all costs is not meant
  }

  bool list(int folder) {
    return childItems(entryIdentifier(kWarp.warpID(), kWarp.folderPath(folder)), tree_).size() ==
           LargeWarp::kFilesPerFolder;
  }

  /// As a face takes everything over: each item with its version and whether it is uploaded.
  bool takeAll() {
    std::size_t items = 0;
    for (const SharedItem& item : childItems(std::string(NSFileProviderWorkingSetContainerItemIdentifier), tree_)) {
      items += !item->itemVersion().contentVersion.empty() && item->isUploaded() ? 1 : 0;
    }
    return items > kFiles;
  }

 private:
  TestPlatform platform_;
  TovrinFileProviderTree tree_{platform_.platform(), std::make_shared<CachedItemsJournal>(platform_.platform())};
};

bool takesWholeDomain() {
  Listing listing;
  return counted([&] { return listing.takeAll(); });
}

bool listsFolder() {
  Listing listing;
  return counted([&] { return listing.list(100); });
}

bool listsFolderAgain() {
  Listing listing;
  return counted([&] { return listing.list(1); });
}

std::string decoded(const std::string& stream, std::size_t size) {
  std::string bytes(size + 1, '\0');
  compression_stream state;
  if (compression_stream_init(&state, COMPRESSION_STREAM_DECODE, COMPRESSION_LZFSE) != COMPRESSION_STATUS_OK) return {};
  state.src_ptr = reinterpret_cast<const std::uint8_t*>(stream.data());
  state.src_size = stream.size();
  state.dst_ptr = reinterpret_cast<std::uint8_t*>(bytes.data());
  state.dst_size = bytes.size();
  compression_stream_process(&state, 0);
  compression_stream_destroy(&state);
  bytes.resize(bytes.size() - state.dst_size);
  return bytes;
}

bool decodesAll(const std::vector<std::string>& texts) {
  std::vector<std::string> streams;
  for (const std::string& text : texts) streams.push_back(encodeLZFSE(text));
  return counted([&] {
    bool intact = true;
    for (std::size_t i = 0; i < texts.size(); ++i) intact &= decoded(streams[i], texts[i].size()) == texts[i];
    return intact;
  });
}

/// Compressed blocks.
bool decodesLZFSE() { return decodesAll({pseudoText(256 * 1024, 1)}); }

/// Small files, each of which is a single LZVN block.
bool decodesLZVN() {
  std::vector<std::string> texts;
  for (std::uint64_t seed = 2; seed < 66; ++seed) texts.push_back(pseudoText(4000, seed));
  return decodesAll(texts);
}

}  // namespace
}  // namespace tovrin

int main(int argc, char** argv) {
  const std::map<std::string, bool (*)()> paths{
      {"decode-manifest", tovrin::decodesManifest},    {"list-folder", tovrin::listsFolder},
      {"list-folder-again", tovrin::listsFolderAgain}, {"take-whole-domain", tovrin::takesWholeDomain},
      {"decode-lzfse", tovrin::decodesLZFSE},          {"decode-lzvn", tovrin::decodesLZVN}};
  const auto path = paths.find(argc == 2 ? argv[1] : "");
  if (path != paths.end()) return path->second() ? EXIT_SUCCESS : EXIT_FAILURE;
  for (const auto& [name, run] : paths) std::cerr << name << '\n';
  return EXIT_FAILURE;
}
