#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tovrin {

/// Decoding speeds that were measured together on one machine, in MB/s of output. What a decoder has in relation to
/// zstd there says how fast it would be on another machine where zstd is measured.
struct ReferenceSpeeds {
  double reference = 0;  ///< the reference decoder of LZFSE, from the better of two compilers; 0 for not measured
  double zstd1 = 0;      ///< zstd of what it compressed with level 1
  double zstd3 = 0;
};

struct Corpus {
  std::string name;
  ReferenceSpeeds speeds;  ///< for data of the same kind
  std::string bytes;
  std::string lzfse;  ///< the same, encoded
};

/// Of what this machine has, 16 MiB at most of each kind, and of the large streams in `fixtures`, which the reference
/// encoder made, where there are any.
std::vector<Corpus> lzfseCorpora(const std::string& fixtures);

/// The size of what the stream decodes to in pieces of 256 KiB, as payloads are decoded; 0 when it is damaged.
/// `decoded` may be null.
std::size_t decodeLZFSEInPieces(const std::string& stream, std::string* decoded);

}  // namespace tovrin
