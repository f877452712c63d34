#pragma once

#import <Foundation/Foundation.h>

#include <type_traits>
#include <utility>

#if !__has_feature(objc_arc)
#include <Block.h>
#endif

/// Ownership of Objective-C objects and blocks by C++ values, in one source for both ways to compile it: automatic and
/// manual reference counting.
namespace tovrin {

template <class T>
inline constexpr bool kIsBlock = false;
template <class R, class... Arguments>
inline constexpr bool kIsBlock<R (^)(Arguments...)> = true;

/// A hold on an object or block, or on nothing. A block is moved to the heap when it is first held. As safe to use from
/// several threads as a `std::shared_ptr`.
template <class Pointer>
class Retained {
 public:
  Retained() = default;
  /// Takes a hold of its own.
  explicit Retained(Pointer object) : object_(hold(object)) {}

#if !__has_feature(objc_arc)
  Retained(const Retained& other) : object_(hold(other.object_)) {}
  Retained(Retained&& other) noexcept : object_(std::exchange(other.object_, nil)) {}
  Retained& operator=(Retained other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Retained() { letGo(object_); }
#endif

  Pointer get() const { return object_; }

 private:
#if __has_feature(objc_arc)
  static Pointer hold(Pointer object) { return object; }
#else
  static Pointer hold(Pointer object) {
    if (object == nil) return nil;
    if constexpr (kIsBlock<Pointer>)
      return Block_copy(object);
    else
      return [object retain];
  }
  static void letGo(Pointer object) {
    if (object == nil) return;
    if constexpr (kIsBlock<Pointer>)
      Block_release(object);
    else
      [object release];
  }
#endif

  Pointer object_ = nil;
};

/// What `alloc` and `init` made, to be returned from a function that does not own it.
template <class Pointer>
Pointer autoreleased(Pointer made) {
#if __has_feature(objc_arc)
  return made;
#else
  return [made autorelease];
#endif
}

}  // namespace tovrin
