#include "platform/compression_stream.h"

#include <compression.h>

#include <new>

namespace tovrin {

namespace {

using SystemStream = ::compression_stream;

/// The system's stream keeps its address from the beginning to the end, whatever happens to ours.
SystemStream& systemStream(const compression_stream& stream) { return *static_cast<SystemStream*>(stream.state); }

}  // namespace

compression_status compression_stream_init(compression_stream* stream, compression_stream_operation operation,
                                           compression_algorithm algorithm) {
  if (operation != COMPRESSION_STREAM_DECODE || algorithm != COMPRESSION_LZFSE) return COMPRESSION_STATUS_ERROR;
  auto* const system = new (std::nothrow) SystemStream{};
  if (system == nullptr) return COMPRESSION_STATUS_ERROR;
  if (::compression_stream_init(system, ::COMPRESSION_STREAM_DECODE, ::COMPRESSION_LZFSE) != ::COMPRESSION_STATUS_OK) {
    delete system;
    return COMPRESSION_STATUS_ERROR;
  }
  stream->state = system;
  return COMPRESSION_STATUS_OK;
}

compression_status compression_stream_process(compression_stream* stream, int flags) {
  SystemStream& system = systemStream(*stream);
  system.dst_ptr = stream->dst_ptr;
  system.dst_size = stream->dst_size;
  system.src_ptr = stream->src_ptr;
  system.src_size = stream->src_size;
  const auto status = static_cast<compression_status>(::compression_stream_process(&system, flags));
  stream->dst_ptr = system.dst_ptr;
  stream->dst_size = system.dst_size;
  stream->src_ptr = system.src_ptr;
  stream->src_size = system.src_size;
  return status;
}

compression_status compression_stream_destroy(compression_stream* stream) {
  SystemStream* const system = &systemStream(*stream);
  const auto status = static_cast<compression_status>(::compression_stream_destroy(system));
  delete system;
  stream->state = nullptr;
  return status;
}

}  // namespace tovrin
