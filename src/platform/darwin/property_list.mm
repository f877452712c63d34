#include "platform/property_list.h"

#import <Foundation/Foundation.h>

#include <algorithm>

#include "platform/darwin/values.h"

namespace tovrin {

std::optional<std::string> encodeBinaryPropertyList(const std::vector<std::string>& strings) {
  const auto holdsNUL = [](const std::string& string) { return string.contains('\0'); };
  if (std::ranges::any_of(strings, holdsNUL)) return std::nullopt;
  @autoreleasepool {
    NSMutableArray<NSString*>* array = [NSMutableArray arrayWithCapacity:strings.size()];
    for (const std::string& string : strings) [array addObject:toNSString(string)];
    NSData* bytes = [NSPropertyListSerialization dataWithPropertyList:array
                                                               format:NSPropertyListBinaryFormat_v1_0
                                                              options:0
                                                                error:nullptr];
    if (bytes == nil) return std::nullopt;
    return toBytes(bytes);
  }
}

std::optional<std::vector<std::string>> decodeStringArrayPropertyList(std::string_view bytes) {
  @autoreleasepool {
    id root = [NSPropertyListSerialization propertyListWithData:toNSData(bytes)
                                                        options:NSPropertyListImmutable
                                                         format:nullptr
                                                          error:nullptr];
    if (![root isKindOfClass:[NSArray class]]) return std::nullopt;
    std::vector<std::string> strings;
    for (id element in root) {
      if (![element isKindOfClass:[NSString class]]) return std::nullopt;
      strings.push_back(toText(element));
    }
    return strings;
  }
}

}  // namespace tovrin
