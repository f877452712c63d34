#pragma once

#include <cstdint>

#include "lzfse/block_header.h"
#include "lzfse/fse_table.h"

namespace tovrin::lzfse {

/// Writes all `header.literals` of a block, from a payload with room around it (`BackwardBitReader`). False for corrupt
/// data.
[[nodiscard]] bool decodeLiterals(const CompressedHeader& header, const LiteralTable& table,
                                  const std::uint8_t* payload, std::uint8_t* literals);

}  // namespace tovrin::lzfse
