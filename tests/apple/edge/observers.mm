#import "edge/observers.h"

#include "platform/darwin/values.h"

@implementation RecordingObserver

- (void)record:(NSArray<id<NSFileProviderItem>>*)items {
  for (id<NSFileProviderItem> item in items) {
    filenames.push_back(tovrin::toText(item.filename));
    identifiers.push_back(tovrin::toText(item.itemIdentifier));
  }
}

- (void)didEnumerateItems:(NSArray<id<NSFileProviderItem>>*)updatedItems {
  calls.push_back("items");
  [self record:updatedItems];
}

- (void)finishEnumeratingUpToPage:(nullable NSFileProviderPage)page {
  calls.push_back("finish");
  if (page != nil) nextPage = tovrin::toBytes(page);
}

- (void)didUpdateItems:(NSArray<id<NSFileProviderItem>>*)updatedItems {
  calls.push_back("update");
  [self record:updatedItems];
}

- (void)didDeleteItemsWithIdentifiers:(NSArray<NSFileProviderItemIdentifier>*)deletedItemIdentifiers {
  calls.push_back("delete");
}

- (void)finishEnumeratingChangesUpToSyncAnchor:(NSFileProviderSyncAnchor)newAnchor moreComing:(BOOL)more {
  calls.push_back("finish");
  anchor = tovrin::toBytes(newAnchor);
  moreComing = more;
}

- (void)finishEnumeratingWithError:(NSError*)error {
  calls.push_back("error");
}

- (NSInteger)suggestedPageSize {
  return 1;
}

- (NSInteger)suggestedBatchSize {
  return 1;
}

@end
