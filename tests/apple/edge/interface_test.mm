#import <objc/runtime.h>

#include <algorithm>
#include <cstdlib>
#include <span>

#import "TovrinFileProviderEnumerator.h"
#import "TovrinFileProviderItem.h"
#include "edge/driver.h"

namespace tovrin {

namespace {

/// The method's types as the runtime writes them, without stack offsets: return value, self, selector, arguments.
std::string types(Class inspected, const char* selector) {
  const Method method = class_getInstanceMethod(inspected, sel_registerName(selector));
  if (method == nullptr) return "no such method";
  std::string types = method_getTypeEncoding(method);
  std::erase_if(types, [](char c) { return c >= '0' && c <= '9'; });
  return types;
}

/// By name: this runtime does not recognise a protocol of one source as the same one of another.
bool adopts(Class inspected, std::string_view protocol) {
  unsigned count = 0;
  Protocol* __unsafe_unretained* const protocols = class_copyProtocolList(inspected, &count);
  const std::span adopted(protocols, count);
  const bool found = std::ranges::any_of(adopted, [&](Protocol* each) { return protocol == protocol_getName(each); });
  free(protocols);
  return found;
}

const std::string kBool = @encode(BOOL);
const std::string kOptions = @encode(NSUInteger);
const std::string kSigned = @encode(NSInteger);

TEST(Interface, ofTheExtensionIsTheReplicatedExtensions) {
  Class extension = [::TovrinFileProviderExtension class];
  EXPECT_TRUE(adopts(extension, "NSFileProviderReplicatedExtension"));
  EXPECT_EQ(class_getSuperclass(extension), [NSObject class]);
  EXPECT_EQ(types(extension, "initWithDomain:"), "@@:@");
  EXPECT_EQ(types(extension, "invalidate"), "v@:");
  EXPECT_EQ(types(extension, "itemForIdentifier:request:completionHandler:"), "@@:@@@?");
  EXPECT_EQ(types(extension, "enumeratorForContainerItemIdentifier:request:error:"), "@@:@@^@");
  EXPECT_EQ(types(extension, "fetchContentsForItemWithIdentifier:version:request:completionHandler:"), "@@:@@@@?");
  EXPECT_EQ(types(extension, "createItemBasedOnTemplate:fields:contents:options:request:completionHandler:"),
            "@@:@" + kOptions + "@" + kOptions + "@@?");
  EXPECT_EQ(types(extension, "modifyItem:baseVersion:changedFields:contents:options:request:completionHandler:"),
            "@@:@@" + kOptions + "@" + kOptions + "@@?");
  EXPECT_EQ(types(extension, "deleteItemWithIdentifier:baseVersion:options:request:completionHandler:"),
            "@@:@@" + kOptions + "@@?");
}

TEST(Interface, ofTheExtensionHasNoneOfTheOptionalOperations) {
  for (const char* selector :
       {"importDidFinishWithCompletionHandler:", "materializedItemsDidChangeWithCompletionHandler:",
        "pendingItemsDidChangeWithCompletionHandler:"}) {
    EXPECT_FALSE([::TovrinFileProviderExtension instancesRespondToSelector:sel_registerName(selector)]) << selector;
  }
}

TEST(Interface, ofTheEnumeratorFollowsChangesToo) {
  Class enumerator = [::TovrinFileProviderEnumerator class];
  EXPECT_TRUE(adopts(enumerator, "NSFileProviderEnumerator"));
  EXPECT_EQ(types(enumerator, "invalidate"), "v@:");
  EXPECT_EQ(types(enumerator, "enumerateItemsForObserver:startingAtPage:"), "v@:@@");
  EXPECT_EQ(types(enumerator, "enumerateChangesForObserver:fromSyncAnchor:"), "v@:@@");
  EXPECT_EQ(types(enumerator, "currentSyncAnchorWithCompletionHandler:"), "v@:@?");
}

TEST(Interface, ofTheItemHasExactlyTheseProperties) {
  Class item = [::TovrinFileProviderItem class];
  EXPECT_TRUE(adopts(item, "NSFileProviderItem"));
  for (const char* property : {"itemIdentifier", "parentItemIdentifier", "filename", "contentType", "documentSize",
                               "creationDate", "contentModificationDate", "itemVersion"}) {
    EXPECT_EQ(types(item, property), "@@:") << property;
  }
  EXPECT_EQ(types(item, "capabilities"), kOptions + "@:");
  EXPECT_EQ(types(item, "contentPolicy"), kSigned + "@:");
  EXPECT_EQ(types(item, "isUploaded"), kBool + "@:");
  for (const char* absent : {"symlinkTargetPath", "fileSystemFlags", "extendedAttributes", "tagData", "typeAndCreator",
                             "childItemCount", "uploaded", "isDownloaded", "userInfo", "lastUsedDate"}) {
    EXPECT_FALSE([item instancesRespondToSelector:sel_registerName(absent)]) << absent;
  }
}

// Their classes, as the documentation of the framework names them; the compiler checks these as well.
static_assert(std::is_same_v<decltype(((::TovrinFileProviderItem*)nil).documentSize), NSNumber*>);
static_assert(std::is_same_v<decltype(((::TovrinFileProviderItem*)nil).creationDate), NSDate*>);
static_assert(std::is_same_v<decltype(((::TovrinFileProviderItem*)nil).contentType), ::UTType*>);
static_assert(std::is_same_v<decltype(((::TovrinFileProviderItem*)nil).itemVersion), ::NSFileProviderItemVersion*>);

using InterfaceDeathTest = Driver;

TEST_F(InterfaceDeathTest, hasNoPlainInitializer) {
  for (Class inspected in @[
         [::TovrinFileProviderExtension class], [::TovrinFileProviderEnumerator class], [::TovrinFileProviderItem class]
       ]) {
    const std::string name = class_getName(inspected);
    EXPECT_DEATH([[inspected alloc] performSelector:@selector(init)],
                 "Fatal error: Use of unimplemented initializer 'init\\(\\)' for class 'TovrinFileProviderExtension." +
                     name + "'");
  }
}

}  // namespace

}  // namespace tovrin
