#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/platform.h"
#include "shared/decoded_file.h"
#include "shared/indexed_manifest.h"
#include "shared/warp_directory.h"

namespace tovrin {

using SharedManifest = std::shared_ptr<const IndexedManifest>;

/// The manifests in the mirror directory. Looks at the directory on every call and decodes what changed since the last
/// one, several files at once. Writes nothing. Thread-safe.
class ManifestStore {
 public:
  explicit ManifestStore(const Platform& platform) : platform_(platform) {}

  /// Every manifest that decodes, newest `createdAt` first, directory order among equals. Never fails: what cannot be
  /// read or breaks a rule is left out.
  std::vector<SharedManifest> loadAll();

  /// The manifest in the file named by the Warp, or null when there is no such file. Errors of reading and decoding are
  /// passed on; a file that holds another Warp is NSCocoaErrorDomain 259.
  Result<SharedManifest> load(std::string_view warpID);

  /// A file of the mirror that `loadAll` leaves out, and why.
  struct SkippedManifest {
    std::string fileName;
    NSError error;
  };
  /// What `loadAll` would leave out now.
  std::vector<SkippedManifest> skipped();

 private:
  using File = DecodedFile<SharedManifest>;
  struct MirroredFile {
    std::string name;
    Result<SharedManifest> manifest;
  };

  /// Every file of the mirror, in directory order. What needs no decoding costs one look at the file's attributes.
  std::vector<MirroredFile> readMirror();

  /// What is kept of a file of the mirror; made empty when it is new.
  std::shared_ptr<File> fileNamed(const std::string& fileName);
  void forgetAllBut(const std::vector<std::string>& fileNames);

  Platform platform_;
  std::mutex lock_;
  std::unordered_map<std::string, std::shared_ptr<File>> files_;  ///< by file name
};

}  // namespace tovrin
