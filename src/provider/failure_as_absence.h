#pragma once

#include <exception>

namespace tovrin {

/// Lookup and enumeration report no errors: what cannot be made, for want of memory too, is an empty answer.
template <class Make>
auto emptyOnFailure(const Make& make) noexcept -> decltype(make()) {
  try {
    return make();
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace tovrin
