#include "host/domain_size.h"

#include "host/presentation.h"

namespace tovrin::host {

DomainSize::Sum DomainSize::sumOfWarp(const TovrinFileProviderItem& warp) {
  const std::string& warpID = *warp.warpID();
  const auto known = counted_.find(warpID);
  if (known != counted_.end() && known->second.entry) {
    const auto children = domain_.children(warp.itemIdentifier());
    if (!children.empty() && children.front()->entry() &&
        !children.front()->entry().owner_before(known->second.entry) &&
        !known->second.entry.owner_before(children.front()->entry())) {
      return current_.emplace(warpID, known->second).first->second;
    }
  }
  return current_.emplace(warpID, sumBelow(warp.itemIdentifier())).first->second;
}

DomainSize::Sum DomainSize::sumBelow(const NSFileProviderItemIdentifier& folder) {
  Sum sum;
  for (const SharedItem& item : domain_.children(folder)) {
    sum.entry = item->entry();
    if (!isFolder(*item)) {
      sum.bytes += item->documentSize().value_or(0);
      ++sum.files;
      continue;
    }
    const Sum below = item->warpID() && !item->entry() ? sumOfWarp(*item) : sumBelow(item->itemIdentifier());
    sum.bytes += below.bytes;
    sum.files += below.files;
  }
  return sum;
}

void DomainSize::count() {
  current_.clear();
  const Sum sum = sumBelow(NSFileProviderItemIdentifier(NSFileProviderRootContainerItemIdentifier));
  counted_.swap(current_);
  current_.clear();
  bytes_ = sum.bytes;
  files_ = sum.files;
}

}  // namespace tovrin::host
