#include "platform/compression_stream.h"

#include <algorithm>
#include <new>

#include "lzfse/stream_decoder.h"

namespace tovrin {

using lzfse::Input;
using lzfse::StreamDecoder;

compression_status compression_stream_init(compression_stream* stream, compression_stream_operation operation,
                                           compression_algorithm algorithm) {
  if (operation != COMPRESSION_STREAM_DECODE || algorithm != COMPRESSION_LZFSE) return COMPRESSION_STATUS_ERROR;
  // No parentheses: they would clear the buffers, most of which a small stream never touches.
  stream->state = new (std::nothrow) StreamDecoder;
  return stream->state != nullptr ? COMPRESSION_STATUS_OK : COMPRESSION_STATUS_ERROR;
}

compression_status compression_stream_process(compression_stream* stream, int flags) {
  auto* decoder = static_cast<StreamDecoder*>(stream->state);
  if (decoder == nullptr) return COMPRESSION_STATUS_ERROR;
  Input input{stream->src_ptr, stream->src_size};
  bool progress = true;
  while (progress && decoder->state() == StreamDecoder::State::decoding) {
    const std::span<const std::uint8_t> output = decoder->decode(input, stream->dst_size);
    stream->dst_ptr = std::copy_n(output.data(), output.size(), stream->dst_ptr);
    stream->dst_size -= output.size();
    progress = !output.empty() && stream->dst_size > 0;
  }
  stream->src_ptr = input.next;
  stream->src_size = input.size;
  switch (decoder->state()) {
    case StreamDecoder::State::done:
      return COMPRESSION_STATUS_END;
    case StreamDecoder::State::corrupt:
      return COMPRESSION_STATUS_ERROR;
    case StreamDecoder::State::decoding:
      break;
  }
  const bool truncated = (flags & COMPRESSION_STREAM_FINALIZE) != 0 && stream->src_size == 0 && stream->dst_size > 0;
  return truncated ? COMPRESSION_STATUS_ERROR : COMPRESSION_STATUS_OK;
}

compression_status compression_stream_destroy(compression_stream* stream) {
  if (stream->state == nullptr) return COMPRESSION_STATUS_ERROR;
  delete static_cast<StreamDecoder*>(stream->state);
  stream->state = nullptr;
  return COMPRESSION_STATUS_OK;
}

}  // namespace tovrin
