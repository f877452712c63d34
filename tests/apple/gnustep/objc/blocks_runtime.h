#pragma once

// GNUstep looks for this one; the blocks runtime of Debian has another name for it.
#include <Block.h>
