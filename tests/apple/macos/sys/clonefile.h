#pragma once

#include <stdint.h>

#define CLONE_NOOWNERCOPY 0x0002

extern "C" int fclonefileat(int source, int folder, const char* path, uint32_t flags);
