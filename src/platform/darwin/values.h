#pragma once

#import <Foundation/Foundation.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/date.h"

/// Plain values as Foundation has them, and back. What is returned as an object is not owned by the caller.
namespace tovrin {

NS_ASSUME_NONNULL_BEGIN

/// Text that is not UTF-8, as a file's name can be, is shown byte for byte.
NSString* toNSString(std::string_view utf8);
/// UTF-8; empty for text that has none, such as half a surrogate pair.
std::string toText(NSString* string);

NSData* toNSData(std::string_view bytes);
std::string toBytes(NSData* data);

NSDate* toNSDate(Date date);

/// The URL of a file, not of a folder.
NSURL* toFileURL(const std::filesystem::path& path);
/// The path of a file URL, in the bytes that the file system takes; nothing of nil.
std::optional<std::filesystem::path> toPath(NSURL* _Nullable fileURL);

NS_ASSUME_NONNULL_END

}  // namespace tovrin
