#include <cerrno>
#include <string_view>

#include "host/fuse/operations.h"
#include "host/fuse/session.h"
#include "host/item_state.h"

namespace tovrin::host::fuse {

namespace {

/// Programs ask for the system's attributes with every file, access lists above all; only these can be ours.
bool isOfUsers(std::string_view name) { return name.starts_with("user."); }

/// Access lists and the like are what this file system does not have: programs that copy permissions set plain ones
/// then.
int refusal(std::string_view name) { return isOfUsers(name) ? EROFS : EOPNOTSUPP; }

/// The kernel asks twice: how long, and then for the bytes.
void replyValue(fuse_req_t request, std::string_view value, std::size_t size) {
  if (size == 0) {
    fuse_reply_xattr(request, value.size());
  } else if (size < value.size()) {
    fuse_reply_err(request, ERANGE);
  } else {
    fuse_reply_buf(request, value.data(), value.size());
  }
}

}  // namespace

void getExtendedAttribute(fuse_req_t request, fuse_ino_t node, const char* name, std::size_t size) {
  if (!isOfUsers(name)) {
    fuse_reply_err(request, ENODATA);
    return;
  }
  MountedDomain& domain = domainOf(request);
  const std::optional<Node> known = domain.node(node);
  const std::optional<std::string> value = known ? attributeValue(name, domain.itemStatus(*known)) : std::nullopt;
  if (value) {
    replyValue(request, *value, size);
  } else {
    fuse_reply_err(request, ENODATA);
  }
}

void listExtendedAttributes(fuse_req_t request, fuse_ino_t, std::size_t size) { replyValue(request, {}, size); }

void setExtendedAttribute(fuse_req_t request, fuse_ino_t, const char* name, const char*, std::size_t, int) {
  fuse_reply_err(request, refusal(name));
}

void removeExtendedAttribute(fuse_req_t request, fuse_ino_t, const char* name) {
  fuse_reply_err(request, refusal(name));
}

}  // namespace tovrin::host::fuse
