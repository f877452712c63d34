#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "lzfse/block_header.h"
#include "lzfse/compressed_block.h"
#include "lzfse/input.h"
#include "lzfse/limits.h"
#include "lzfse/lzvn_block.h"
#include "lzfse/window.h"

namespace tovrin::lzfse {

/// Decodes one stream, whatever bytes its input and output are cut at. Of a constant size, which is all the memory it
/// ever uses; far too large for a thread's stack. It must not be moved.
class StreamDecoder {
 public:
  StreamDecoder() = default;
  StreamDecoder(const StreamDecoder&) = delete;
  StreamDecoder& operator=(const StreamDecoder&) = delete;

  enum class State {
    decoding,
    done,     ///< the end of the stream was read; what follows it is left in the input
    corrupt,  ///< for good
  };
  State state() const { return state_; }

  /// Takes input until at most `room` bytes of output are made, the input is used up, or `state` changes. The output is
  /// valid until the next call; there is none in advance, so a stream whose end was read is handed out completely.
  std::span<const std::uint8_t> decode(Input& input, std::size_t room);

 private:
  /// What comes next in the input. The first four are gathered as a whole before they are looked at.
  enum class Part { magic, header, packedFrequencies, payload, storedBytes, lzvnOpcodes, compressedOutput };

  /// Does one part, or as much of it as there is input and room for.
  Progress runPart(Input& input);
  Progress runStored(Input& input);

  Progress readGathered();
  Progress readMagic();
  Progress readHeader();
  Progress readPackedFrequencies();
  Progress readPayload();

  /// Gathers until `bytes` of the block are there, then reads them as `part`.
  Progress gatherUntil(std::size_t bytes, Part part);
  Progress gatherPayload();
  Progress goOnWith(Part part);

  State state_ = State::decoding;
  Part part_ = Part::magic;
  std::size_t gathered_ = 0;  ///< bytes of the block in `block_`
  std::size_t wanted_ = kMagicBytes;
  std::uint32_t storedLeft_ = 0;
  std::size_t headerBytes_ = 0;
  CompressedHeader header_{};
  Frequencies frequencies_{};
  LZVNBlock lzvn_;
  std::array<std::uint8_t, kPlainHeaderBytes + kMaxLiteralPayload + kMaxTripletPayload + kReadBehind> block_;
  CompressedBlock compressed_;
  Window window_;
};

}  // namespace tovrin::lzfse
