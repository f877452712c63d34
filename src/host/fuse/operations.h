#pragma once

#include <cstddef>
#include <cstdint>

#include "host/fuse/library.h"

/// What the kernel may ask for; each answers its request exactly once. Grouped as the sources are.
namespace tovrin::host::fuse {

// browse.cpp
void lookUp(fuse_req_t request, fuse_ino_t parent, const char* name);
void forget(fuse_req_t request, fuse_ino_t node, std::uint64_t lookups);
void forgetSeveral(fuse_req_t request, std::size_t count, fuse_forget_data* forgets);
void getAttributes(fuse_req_t request, fuse_ino_t node, fuse_file_info* info);
void readLink(fuse_req_t request, fuse_ino_t node);
void statistics(fuse_req_t request, fuse_ino_t node);

// permissions.cpp
void checkAccess(fuse_req_t request, fuse_ino_t node, int mask);

// folder.cpp
void openFolder(fuse_req_t request, fuse_ino_t node, fuse_file_info* info);
void readFolder(fuse_req_t request, fuse_ino_t node, std::size_t size, off_t offset, fuse_file_info* info);
void readFolderWithAttributes(fuse_req_t request, fuse_ino_t node, std::size_t size, off_t offset,
                              fuse_file_info* info);
void releaseFolder(fuse_req_t request, fuse_ino_t node, fuse_file_info* info);

// file.cpp
void openFile(fuse_req_t request, fuse_ino_t node, fuse_file_info* info);
void readFile(fuse_req_t request, fuse_ino_t node, std::size_t size, off_t offset, fuse_file_info* info);
void seekFile(fuse_req_t request, fuse_ino_t node, off_t offset, int whence, fuse_file_info* info);
void releaseFile(fuse_req_t request, fuse_ino_t node, fuse_file_info* info);

// change.cpp
void writeFile(fuse_req_t request, fuse_ino_t node, fuse_bufvec* bytes, off_t offset, fuse_file_info* info);
void allocateFile(fuse_req_t request, fuse_ino_t node, int mode, off_t offset, off_t length, fuse_file_info* info);
void flushFile(fuse_req_t request, fuse_ino_t node, fuse_file_info* info);
void synchronizeFile(fuse_req_t request, fuse_ino_t node, int dataOnly, fuse_file_info* info);
void setAttributes(fuse_req_t request, fuse_ino_t node, struct stat* attributes, int which, fuse_file_info* info);

// extended_attributes.cpp
void getExtendedAttribute(fuse_req_t request, fuse_ino_t node, const char* name, std::size_t size);
void listExtendedAttributes(fuse_req_t request, fuse_ino_t node, std::size_t size);
void setExtendedAttribute(fuse_req_t request, fuse_ino_t node, const char* name, const char* value, std::size_t size,
                          int flags);
void removeExtendedAttribute(fuse_req_t request, fuse_ino_t node, const char* name);

/// All of them, and refusals of what would change the tree.
fuse_lowlevel_ops operations();

}  // namespace tovrin::host::fuse
