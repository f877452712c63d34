#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tovrin::lzfse {

/// Writes `bytes` as a block of byte-wise opcodes, which for small inputs is smaller than any table of frequencies, or
/// stores them where that is smaller still. Nothing in front of them is referred to.
void appendSmallBlock(std::span<const std::uint8_t> bytes, std::string& out);

}  // namespace tovrin::lzfse
