#include "apple/translation/items.h"

#import "TovrinFileProviderItem.h"
#include "platform/darwin/retained.h"
#include "platform/darwin/values.h"

namespace tovrin {

namespace {

class ForeignItem final : public NSFileProviderItem {
 public:
  explicit ForeignItem(NSFileProviderItemIdentifier identifier) : identifier_(std::move(identifier)) {}
  const NSFileProviderItemIdentifier& itemIdentifier() const override { return identifier_; }

 private:
  const NSFileProviderItemIdentifier identifier_;
};

}  // namespace

::NSFileProviderItem toNSFileProviderItem(const SharedItem& item) {
  if (item == nullptr) return nil;
  return autoreleased([[::TovrinFileProviderItem alloc] initWithCore:item]);
}

NSArray< ::NSFileProviderItem>* toNSArray(std::span<const SharedItem> items) {
  NSMutableArray< ::NSFileProviderItem>* array = [NSMutableArray arrayWithCapacity:items.size()];
  for (const SharedItem& item : items) [array addObject:toNSFileProviderItem(item)];
  return array;
}

std::shared_ptr<const NSFileProviderItem> fromNSFileProviderItem(::NSFileProviderItem item) {
  id object = item;
  if ([object isKindOfClass:[::TovrinFileProviderItem class]]) return [(::TovrinFileProviderItem*)object core];
  return std::make_shared<ForeignItem>(toText(item.itemIdentifier));
}

}  // namespace tovrin
