#include "platform/darwin/values.h"

#include "platform/darwin/retained.h"

namespace tovrin {

namespace {

NSString* decoded(std::string_view bytes, NSStringEncoding encoding) {
  return autoreleased([[NSString alloc] initWithBytes:bytes.data() length:bytes.size() encoding:encoding]);
}

}  // namespace

NSString* toNSString(std::string_view utf8) {
  NSString* text = decoded(utf8, NSUTF8StringEncoding);
  return text != nil ? text : decoded(utf8, NSISOLatin1StringEncoding);
}

std::string toText(NSString* string) {
  // Not UTF8String: it ends at the first NUL.
  NSData* utf8 = [string dataUsingEncoding:NSUTF8StringEncoding];
  return utf8 != nil ? toBytes(utf8) : std::string();
}

NSData* toNSData(std::string_view bytes) { return [NSData dataWithBytes:bytes.data() length:bytes.size()]; }

std::string toBytes(NSData* data) { return {static_cast<const char*>(data.bytes), data.length}; }

NSDate* toNSDate(Date date) { return [NSDate dateWithTimeIntervalSince1970:date.secondsSince1970]; }

NSURL* toFileURL(const std::filesystem::path& path) {
  NSString* text = [NSFileManager.defaultManager stringWithFileSystemRepresentation:path.c_str()
                                                                             length:path.native().size()];
  return [NSURL fileURLWithPath:text isDirectory:NO];
}

std::optional<std::filesystem::path> toPath(NSURL* fileURL) {
  NSString* path = fileURL.path;
  if (path.length == 0) return std::nullopt;
  return path.fileSystemRepresentation;
}

}  // namespace tovrin
