#pragma once

#include <cstddef>
#include <cstdint>

/// Streaming decompression with the shape of the system library that macOS offers. A stream belongs to one thread at a
/// time.
namespace tovrin {

struct compression_stream {
  std::uint8_t* dst_ptr = nullptr;        ///< where the next output byte goes
  std::size_t dst_size = 0;               ///< room left there
  const std::uint8_t* src_ptr = nullptr;  ///< the next input byte
  std::size_t src_size = 0;               ///< bytes left there
  void* state = nullptr;                  ///< owned by the stream between init and destroy
};

enum compression_status { COMPRESSION_STATUS_OK = 0, COMPRESSION_STATUS_END = 1, COMPRESSION_STATUS_ERROR = -1 };
enum compression_stream_operation { COMPRESSION_STREAM_DECODE = 1 };
enum compression_stream_flags { COMPRESSION_STREAM_FINALIZE = 1 };
enum compression_algorithm { COMPRESSION_LZFSE = 0x801 };

/// OK, or ERROR for anything but decoding LZFSE and when there is no memory.
compression_status compression_stream_init(compression_stream* stream, compression_stream_operation operation,
                                           compression_algorithm algorithm);

/// Takes input and gives output until one of them is used up, whatever byte they are cut at. Takes all input offered
/// while there is room for output. END once the end-of-stream block was read and all output handed out (bytes behind it
/// stay unread); ERROR for corrupt data, and then at every further call. Input that is cut short is never an error
/// with flags 0: the caller sees OK with nothing left to give.
compression_status compression_stream_process(compression_stream* stream, int flags);

compression_status compression_stream_destroy(compression_stream* stream);

}  // namespace tovrin
