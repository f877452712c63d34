#pragma once

#import <FileProvider/FileProvider.h>

#include <condition_variable>
#include <mutex>

#include "platform/darwin/retained.h"

namespace tovrin {

/// What a completion block is called with, whichever operation it belongs to, and how often. Safe to use from any
/// thread.
class Answer {
 public:
  struct Values {
    Retained<NSURL*> file{};
    Retained<::NSFileProviderItem> item{};
    Retained<::NSError*> error{};
    ::NSFileProviderItemFields stillPending = ::NSFileProviderItemContents;
    BOOL shouldFetchContent = YES;
  };

  void give(Values values);
  /// Waits for the first completion.
  Values wait();
  int completions();

  Retained<::NSProgress*> progress;  ///< what the operation returned

 private:
  std::mutex lock_;
  std::condition_variable given_;
  Values first_;
  int completions_ = 0;
};

}  // namespace tovrin
