#pragma once

// Calls and constants that Darwin declares in headers which Debian has without them; given to every source.

#define F_FULLFSYNC 51
#define RENAME_SWAP 0x00000002
#define RENAME_EXCL 0x00000004
#define CLOCK_UPTIME_RAW 8

extern "C" int renamex_np(const char* from, const char* to, unsigned int flags);
