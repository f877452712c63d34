#pragma once

// Darwin's names for the times of a file, on Debian's declaration; the unused room at its end makes the birth time.
#define st_atim st_atimespec
#define st_mtim st_mtimespec
#define st_ctim st_ctimespec
#define __glibc_reserved            \
  __unused_room[0];                 \
  struct timespec st_birthtimespec; \
  int __unused_rest
#include_next <sys/stat.h>
#undef __glibc_reserved
#undef st_atim
#undef st_mtim
#undef st_ctim
