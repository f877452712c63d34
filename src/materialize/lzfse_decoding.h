#pragma once

#include <cstddef>
#include <cstdint>
#include <stop_token>

#include "foundation/result.h"
#include "materialize/written_bytes.h"
#include "platform/file_system.h"

namespace tovrin {

inline constexpr std::size_t kDecodeChunkBytes = 262144;

/// How many decoded bytes are of use. A few bytes of LZFSE can stand for gigabytes, and a hostile or broken payload
/// must not fill the disk.
struct DecodedSizeLimit {
  enum class Surplus {
    isAnError,  ///< one byte more is the checksum error, at once
    isDropped,  ///< decoded, so that damage behind the limit is still found, but not written
  };
  std::int64_t bytes = 0;
  Surplus surplus = Surplus::isAnError;
};

/// Decodes until the stream reports its end; what follows the end is not looked at. NSCocoaErrorDomain 4864 for corrupt
/// data, 4866 for input that ends before the stream does (empty input too), 3072 when stopped.
Result<void> decodeLZFSE(FileHandle& input, FileHandle& output, const DecodedSizeLimit& limit,
                         const WrittenBytes& written, std::stop_token stop);

}  // namespace tovrin
