#include "edge/driver.h"

#include "provider/identifier.h"

@interface ForeignItem : NSObject <NSFileProviderItem> {
 @private
  tovrin::Retained<NSString*> _identifier;
}
@end

@implementation ForeignItem

- (instancetype)initWithIdentifier:(NSString*)identifier {
  self = [super init];
  if (self != nil) _identifier = tovrin::Retained(identifier);
  return self;
}

- (NSFileProviderItemIdentifier)itemIdentifier {
  return _identifier.get();
}

- (NSFileProviderItemIdentifier)parentItemIdentifier {
  return ::NSFileProviderRootContainerItemIdentifier;
}

- (NSString*)filename {
  return @"of the system's making";
}

@end

namespace tovrin {

Driver::Driver()
    : pool_([[NSAutoreleasePool alloc] init]), request_([[[::NSFileProviderRequest alloc] init] autorelease]) {
  start();
}

Driver::~Driver() {
  finish();
  [pool_ drain];
}

void Driver::start() {
  @autoreleasepool {
    ::NSFileProviderDomain* domain = [[[::NSFileProviderDomain alloc] initWithIdentifier:@"tovrin"
                                                                             displayName:@"Tovrin"] autorelease];
    extension = Retained([[[::TovrinFileProviderExtension alloc] initWithDomain:domain] autorelease]);
  }
}

void Driver::installWarp() {
  ASSERT_TRUE(worker.start());
  ASSERT_TRUE(worker.putObject("tovrin", "a", "stored bytes"));
  ASSERT_TRUE(worker.putObject("tovrin", "b", "more"));
  installConnection(test, worker.address(), worker.password());
  writeFile(folder() + "/a.txt", "");
  installMarker(folder(), "W1");

  EntrySpec file = fileEntry(folder() + "/a.txt", "stored bytes", "a");
  file.modificationTimeNanoseconds = 1'700'000'000'500'000'000;
  file.birthTimeNanoseconds = 1'500'000'000;
  ManifestSpec manifest;
  manifest.originalFolderPath = folder();
  manifest.entries = {file,
                      {.path = folder() + "/link", .kind = "symlink", .symlinkTarget = "a.txt"},
                      {.path = folder() + "/sub", .kind = "directory"},
                      fileEntry(folder() + "/sub/b", "more", "b")};
  installManifest(test, manifest);
}

std::filesystem::path Driver::stateFile() const {
  return test.warpDirectory() / "file-provider-materialization-state.json";
}

std::shared_ptr<Answer> Driver::lookUp(NSString* identifier) {
  auto answer = std::make_shared<Answer>();
  answer->progress = Retained([extension.get() itemForIdentifier:identifier
                                                         request:request_
                                               completionHandler:^(::NSFileProviderItem item, ::NSError* error) {
                                                 answer->give({.item = Retained(item), .error = Retained(error)});
                                               }]);
  return answer;
}

std::shared_ptr<Answer> Driver::fetch(NSString* identifier) {
  auto answer = std::make_shared<Answer>();
  answer->progress = Retained([extension.get()
      fetchContentsForItemWithIdentifier:identifier
                                 version:nil
                                 request:request_
                       completionHandler:^(NSURL* file, ::NSFileProviderItem item, ::NSError* error) {
                         answer->give({.file = Retained(file), .item = Retained(item), .error = Retained(error)});
                       }]);
  return answer;
}

std::shared_ptr<Answer> Driver::create(::NSFileProviderItem itemTemplate, NSURL* contents) {
  auto answer = std::make_shared<Answer>();
  answer->progress = Retained([extension.get()
      createItemBasedOnTemplate:itemTemplate
                         fields: ::NSFileProviderItemContents
                       contents:contents
                        options: ::NSFileProviderCreateItemMayAlreadyExist
                        request:request_
              completionHandler:^(::NSFileProviderItem item, ::NSFileProviderItemFields stillPending,
                                  BOOL shouldFetchContent, ::NSError* error) {
                answer->give({.item = Retained(item),
                              .error = Retained(error),
                              .stillPending = stillPending,
                              .shouldFetchContent = shouldFetchContent});
              }]);
  return answer;
}

std::shared_ptr<Answer> Driver::modify(::NSFileProviderItem item, ::NSFileProviderItemFields fields, NSURL* contents) {
  auto answer = std::make_shared<Answer>();
  answer->progress =
      Retained([extension.get() modifyItem:item
                               baseVersion:anyVersion()
                             changedFields:fields
                                  contents:contents
                                   options: ::NSFileProviderModifyItemMayAlreadyExist
                                   request:request_
                         completionHandler:^(::NSFileProviderItem edited, ::NSFileProviderItemFields stillPending,
                                             BOOL shouldFetchContent, ::NSError* error) {
                           answer->give({.item = Retained(edited),
                                         .error = Retained(error),
                                         .stillPending = stillPending,
                                         .shouldFetchContent = shouldFetchContent});
                         }]);
  return answer;
}

std::shared_ptr<Answer> Driver::remove(NSString* identifier) {
  auto answer = std::make_shared<Answer>();
  answer->progress = Retained([extension.get()
      deleteItemWithIdentifier:identifier
                   baseVersion:anyVersion()
                       options: ::NSFileProviderDeleteItemRecursive
                       request:request_
             completionHandler:^(::NSError* error) {
               answer->give({.error = Retained(error), .stillPending = {}, .shouldFetchContent = NO});
             }]);
  return answer;
}

id<NSFileProviderEnumerator> Driver::enumerator(NSString* container) {
  ::NSError* error = nil;
  id<NSFileProviderEnumerator> enumerator = [extension.get() enumeratorForContainerItemIdentifier:container
                                                                                          request:request_
                                                                                            error:&error];
  EXPECT_EQ(error, nil);
  return enumerator;
}

RecordingObserver* Driver::list(NSString* container, NSData* page) {
  RecordingObserver* observer = [[[RecordingObserver alloc] init] autorelease];
  [enumerator(container) enumerateItemsForObserver:observer startingAtPage:page];
  return observer;
}

RecordingObserver* Driver::changes(NSString* container, NSData* anchor) {
  RecordingObserver* observer = [[[RecordingObserver alloc] init] autorelease];
  [enumerator(container) enumerateChangesForObserver:observer fromSyncAnchor:anchor];
  return observer;
}

NSData* Driver::anchor() {
  __block Retained<NSData*> current;
  [enumerator(::NSFileProviderWorkingSetContainerItemIdentifier)
      currentSyncAnchorWithCompletionHandler:^(::NSFileProviderSyncAnchor anchor) {
        current = Retained(anchor);
      }];
  return [[current.get() retain] autorelease];
}

NSString* Driver::entry(std::string_view relativePath) const {
  return toNSString(entryIdentifier("W1", folder() + "/" + std::string(relativePath)));
}

::NSFileProviderItem Driver::item(std::string_view relativePath) {
  return [[lookUp(entry(relativePath))->wait().item.get() retain] autorelease];
}

NSURL* Driver::contents(std::string_view bytes) {
  const std::filesystem::path file = test.scratch / "handed over";
  writeFile(file, bytes);
  return toFileURL(file);
}

::NSFileProviderItemVersion* Driver::anyVersion() {
  return [[[::NSFileProviderItemVersion alloc] initWithContentVersion:[NSData data]
                                                      metadataVersion:[NSData data]] autorelease];
}

::NSFileProviderItem foreignItem(NSString* identifier) {
  return [[[ForeignItem alloc] initWithIdentifier:identifier] autorelease];
}

std::string text(NSString* string) { return string == nil ? "(nil)" : toText(string); }

std::string text(::NSError* error) {
  if (error == nil) return "(nil)";
  return text(error.domain) + " " + std::to_string(error.code) + " " + text(error.localizedDescription);
}

}  // namespace tovrin
