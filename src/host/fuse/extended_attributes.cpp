#include <cerrno>
#include <string_view>

#include "host/fuse/operations.h"
#include "host/fuse/session.h"
#include "host/item_state.h"

namespace tovrin::host::fuse {

namespace {

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
  // Programs ask for attributes of the system's with every file; only these are ours.
  if (!std::string_view(name).starts_with("user.")) {
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

}  // namespace tovrin::host::fuse
