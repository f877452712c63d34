#pragma once

#import <FileProvider/FileProvider.h>

#include <optional>
#include <string>
#include <vector>

/// What an enumerator told, in the order of the calls: "items", "update", "delete", "finish", "error".
@interface RecordingObserver : NSObject <NSFileProviderEnumerationObserver, NSFileProviderChangeObserver> {
 @public
  std::vector<std::string> calls;
  std::vector<std::string> filenames;
  std::vector<std::string> identifiers;
  std::optional<std::string> nextPage;
  std::string anchor;
  BOOL moreComing;
}

@property(nonatomic, readonly) NSInteger suggestedPageSize;
@property(nonatomic, readonly) NSInteger suggestedBatchSize;

@end
