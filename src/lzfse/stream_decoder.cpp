#include "lzfse/stream_decoder.h"

#include <algorithm>
#include <utility>

#include "lzfse/bytes.h"

namespace tovrin::lzfse {

std::span<const std::uint8_t> StreamDecoder::decode(Input& input, std::size_t room) {
  window_.open(room);
  Progress progress = Progress::finished;
  while (state_ == State::decoding && progress == Progress::finished) progress = runPart(input);
  if (progress == Progress::corrupt) state_ = State::corrupt;
  return window_.fresh();
}

Progress StreamDecoder::runPart(Input& input) {
  Progress progress;
  switch (part_) {
    case Part::storedBytes:
      progress = runStored(input);
      break;
    case Part::lzvnOpcodes:
      progress = lzvn_.run(input, window_);
      break;
    case Part::compressedOutput:
      progress = compressed_.run(window_);
      break;
    default: {
      const std::size_t count = std::min(wanted_ - gathered_, input.size);
      std::copy_n(input.take(count), count, block_.begin() + static_cast<std::ptrdiff_t>(gathered_));
      gathered_ += count;
      return gathered_ == wanted_ ? readGathered() : Progress::suspended;
    }
  }
  if (progress != Progress::finished) return progress;
  gathered_ = 0;
  return gatherUntil(kMagicBytes, Part::magic);
}

Progress StreamDecoder::runStored(Input& input) {
  const auto count = static_cast<std::uint32_t>(std::min({std::size_t{storedLeft_}, input.size, window_.room()}));
  window_.append(input.take(count), count);
  storedLeft_ -= count;
  return storedLeft_ == 0 ? Progress::finished : Progress::suspended;
}

Progress StreamDecoder::readGathered() {
  switch (part_) {
    case Part::magic:
      return readMagic();
    case Part::header:
      return readHeader();
    case Part::packedFrequencies:
      return readPackedFrequencies();
    default:
      return readPayload();
  }
}

Progress StreamDecoder::readMagic() {
  const auto magic = Magic{loadLittleEndian<std::uint32_t>(block_.data())};
  const std::optional<std::size_t> headerBytes = fixedHeaderBytes(magic);
  if (!headerBytes) return Progress::corrupt;
  if (magic == Magic::endOfStream) state_ = State::done;
  return gatherUntil(*headerBytes, Part::header);
}

Progress StreamDecoder::readHeader() {
  const std::uint8_t* const bytes = block_.data();
  switch (Magic{loadLittleEndian<std::uint32_t>(bytes)}) {
    case Magic::stored:
      storedLeft_ = readStoredHeader(bytes).rawBytes;
      return goOnWith(Part::storedBytes);
    case Magic::lzvn: {
      const std::optional<LZVNHeader> header = readLZVNHeader(bytes);
      if (!header) return Progress::corrupt;
      lzvn_.start(*header);
      return goOnWith(Part::lzvnOpcodes);
    }
    case Magic::plainCompressed: {
      const std::optional<CompressedHeader> header = readPlainHeader(bytes);
      if (!header) return Progress::corrupt;
      header_ = *header;
      headerBytes_ = kPlainHeaderBytes;
      frequencies_ = readPlainFrequencies(bytes);
      return gatherPayload();
    }
    case Magic::packedCompressed: {
      const std::optional<PackedHeader> header = readPackedHeader(bytes);
      if (!header) return Progress::corrupt;
      header_ = header->block;
      headerBytes_ = header->headerBytes;
      return gatherUntil(headerBytes_, Part::packedFrequencies);
    }
    case Magic::endOfStream:
      break;
  }
  std::unreachable();
}

Progress StreamDecoder::readPackedFrequencies() {
  const std::optional<Frequencies> frequencies =
      unpackFrequencies(std::span(block_).first(headerBytes_).subspan(kPackedHeaderBytes));
  if (!frequencies) return Progress::corrupt;
  frequencies_ = *frequencies;
  return gatherPayload();
}

Progress StreamDecoder::readPayload() {
  if (!compressed_.start(header_, frequencies_, block_.data() + headerBytes_)) return Progress::corrupt;
  return goOnWith(Part::compressedOutput);
}

Progress StreamDecoder::gatherUntil(std::size_t bytes, Part part) {
  wanted_ = bytes;
  return goOnWith(part);
}

Progress StreamDecoder::gatherPayload() {
  return gatherUntil(headerBytes_ + header_.literalPayloadBytes + header_.tripletPayloadBytes, Part::payload);
}

Progress StreamDecoder::goOnWith(Part part) {
  part_ = part;
  return Progress::finished;
}

}  // namespace tovrin::lzfse
