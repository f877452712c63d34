#include "materialize/connection_snapshot.h"

#include <tuple>
#include <utility>

#include "foundation/json/coding.h"
#include "foundation/json/decoder.h"
#include "foundation/path.h"
#include "platform/file_system.h"
#include "shared/warp_directory.h"

namespace tovrin {

template <>
struct RecordCoding<TovrinWarpRenterdConnectionSnapshot> {
  using Snapshot = TovrinWarpRenterdConnectionSnapshot;
  static constexpr std::tuple fields{
      field("httpAddress", &Snapshot::httpAddress),
      field("apiPassword", &Snapshot::apiPassword),
      field("updatedAt", &Snapshot::updatedAt),
  };
};

Result<TovrinWarpRenterdConnectionSnapshot> readConnectionSnapshot(const std::filesystem::path& containerDirectory) {
  const std::filesystem::path file = WarpDirectory(containerDirectory).renterdConnection();
  TOVRIN_TRY(const FileContents contents, readWholeFile(standardizedPath(file.native())));
  return decodeJSON<TovrinWarpRenterdConnectionSnapshot>(contents.bytes);
}

}  // namespace tovrin
