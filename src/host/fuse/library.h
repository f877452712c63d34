#pragma once

/// libfuse's low-level interface, in the version that this is written for.
#define FUSE_USE_VERSION 314
#include <fuse_lowlevel.h>
