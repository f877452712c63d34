#import <Foundation/NSDebug.h>

#import "TovrinFileProviderEnumerator.h"
#import "TovrinFileProviderItem.h"
#include "edge/driver.h"

namespace tovrin {

namespace {

/// How many objects of the classes that requests make are alive.
std::vector<int> live() {
  std::vector<int> counts;
  for (Class counted in @[
         [::TovrinFileProviderExtension class], [::TovrinFileProviderEnumerator class],
         [::TovrinFileProviderItem class], [::NSFileProviderItemVersion class], [::NSFileProviderDomain class],
         [::UTType class], [::NSProgress class], [::NSError class], [NSURL class]
       ]) {
    counts.push_back(GSDebugAllocationCount(counted));
  }
  return counts;
}

class Lifetime : public Driver {
 protected:
  void SetUp() override {
    installWarp();
    GSDebugAllocationActive(YES);
    @autoreleasepool {
      finish();
    }
  }

  /// What is left of a whole life of an extension, and of everything that was asked of it.
  template <class Requests>
  std::vector<int> leftBy(const Requests& requests) {
    const std::vector<int> before = live();
    @autoreleasepool {
      start();
      requests();
      finish();
    }
    std::vector<int> left = live();
    for (std::size_t i = 0; i < left.size(); ++i) left[i] -= before[i];
    return left;
  }

  const std::vector<int> nothing = std::vector<int>(9, 0);
};

TEST_F(Lifetime, countsWhatIsAlive) {
  const std::vector<int> before = live();
  start();
  const auto root = lookUp(::NSFileProviderRootContainerItemIdentifier);
  EXPECT_EQ(live()[0], before[0] + 1);
  EXPECT_EQ(live()[2], before[2] + 1);
}

TEST_F(Lifetime, leavesNothingOfLookups) {
  EXPECT_EQ(leftBy([&] {
              for (int i = 0; i < 3; ++i) {
                lookUp(entry("a.txt"));
                lookUp(@"bogus");
                ::NSFileProviderItem found = item("a.txt");
                (void)found.itemVersion;
                (void)found.contentType;
              }
            }),
            nothing);
}

TEST_F(Lifetime, leavesNothingOfListings) {
  EXPECT_EQ(leftBy([&] {
              list(@"manifest:W1");
              changes(@"manifest:W1", toNSData("x"));
              anchor();
            }),
            nothing);
}

TEST_F(Lifetime, leavesNothingOfFetches) {
  EXPECT_EQ(leftBy([&] {
              fetch(entry("a.txt"))->wait();
              fetch(entry("sub"))->wait();
              fetch(entry("link"));
            }),
            nothing);
}

TEST_F(Lifetime, leavesNothingOfACancelledFetch) {
  ASSERT_TRUE(worker.addFault("silent key=a"));
  EXPECT_EQ(leftBy([&] {
              const auto answer = fetch(entry("a.txt"));
              EXPECT_TRUE(worker.waitForArrivals(2));
              [answer->progress.get() cancel];
              answer->wait();
            }),
            nothing);
}

TEST_F(Lifetime, leavesNothingOfEditsAndRefusals) {
  EXPECT_EQ(leftBy([&] {
              modify(item("a.txt"), ::NSFileProviderItemContents, contents("edited"))->wait();
              modify(item("a.txt"), ::NSFileProviderItemFilename, nil)->wait();
              create(foreignItem(@"new"), nil);
              remove(entry("a.txt"));
            }),
            nothing);
}

/// The system may drop the extension in the very call that it waited for.
TEST_F(Lifetime, letsACompletionBeTheLastToHoldTheExtension) {
  start();
  ASSERT_TRUE(worker.addFault("silent key=a times=1"));
  auto done = std::make_shared<Answer>();
  auto last = std::make_shared<Retained<::TovrinFileProviderExtension*>>(extension);
  @autoreleasepool {
    ::NSProgress* progress = [extension.get()
        fetchContentsForItemWithIdentifier:entry("a.txt")
                                   version:nil
                                   request:[[[::NSFileProviderRequest alloc] init] autorelease]
                         completionHandler:^([[maybe_unused]] NSURL* file, [[maybe_unused]] ::NSFileProviderItem item,
                                             [[maybe_unused]] ::NSError* error) {
                           *last = {};
                           done->give({});
                         }];
    EXPECT_TRUE(worker.waitForArrivals(2));
    finish();
    [progress cancel];
  }
  done->wait();
  EXPECT_EQ(done->completions(), 1);
}

}  // namespace

}  // namespace tovrin
