#include "platform/text.h"

#import <Foundation/Foundation.h>

#include <algorithm>
#include <numeric>

#include "foundation/encoding.h"
#include "platform/darwin/retained.h"
#include "platform/darwin/values.h"
#include "platform/posix/character_boundary.h"

namespace tovrin {

bool isCharacterBoundary(std::string_view text, std::size_t offset) {
  if (offset == 0 || offset == text.size()) return true;
  @autoreleasepool {
    NSString* whole = toNSString(text);
    const NSUInteger unitsBefore = toNSString(text.substr(0, offset)).length;
    return [whole rangeOfComposedCharacterSequenceAtIndex:unitsBefore].location == unitsBefore;
  }
}

std::string canonicalForm(std::string_view text) {
  if (isASCII(text)) return std::string(text);
  @autoreleasepool {
    return toText(toNSString(text).precomposedStringWithCanonicalMapping);
  }
}

std::vector<std::uint32_t> finderOrder(std::span<const std::string_view> texts) {
  @autoreleasepool {
    std::vector<Retained<NSString*>> names;
    names.reserve(texts.size());
    for (const std::string_view text : texts) names.emplace_back(toNSString(text));
    std::vector<std::uint32_t> indexes(texts.size());
    std::iota(indexes.begin(), indexes.end(), 0U);
    std::ranges::stable_sort(indexes, [&](std::uint32_t a, std::uint32_t b) {
      return [names[a].get() localizedStandardCompare:names[b].get()] == NSOrderedAscending;
    });
    return indexes;
  }
}

}  // namespace tovrin
