#pragma once

#include <stddef.h>
#include <stdint.h>

extern "C" {
typedef struct {
  uint8_t* dst_ptr;
  size_t dst_size;
  const uint8_t* src_ptr;
  size_t src_size;
  void* state;
} compression_stream;
typedef enum { COMPRESSION_STREAM_ENCODE = 0, COMPRESSION_STREAM_DECODE = 1 } compression_stream_operation;
typedef enum { COMPRESSION_STREAM_FINALIZE = 1 } compression_stream_flags;
typedef enum {
  COMPRESSION_STATUS_OK = 0,
  COMPRESSION_STATUS_ERROR = -1,
  COMPRESSION_STATUS_END = 1
} compression_status;
typedef enum { COMPRESSION_LZFSE = 0x801 } compression_algorithm;
compression_status compression_stream_init(compression_stream* stream, compression_stream_operation operation,
                                           compression_algorithm algorithm);
compression_status compression_stream_process(compression_stream* stream, int flags);
compression_status compression_stream_destroy(compression_stream* stream);
}
