#pragma once

#include <string_view>

namespace tovrin {

/// True when the bytes are a well-formed binary property list whose root is an array of strings, all of them inside the
/// bytes and not blown up by repetition. Bytes from a stranger must pass before a general decoder sees them: one that
/// follows every reference can be led through a tree of 10^20 nodes by a few hundred bytes.
bool isPlainStringArray(std::string_view bytes);

}  // namespace tovrin
