#pragma once

#import <FileProvider/FileProvider.h>
#include <gtest/gtest.h>

#import "TovrinFileProviderExtension.h"
#include "edge/answer.h"
#import "edge/observers.h"
#include "platform/darwin/retained.h"
#include "platform/darwin/values.h"
#include "support/warp_fixture.h"
#include "system/served_directories.h"
#include "tovrin-worker/loopback_worker.h"

namespace tovrin {

/// Plays the system's part against one extension, over a container of the test's own and a worker on loopback. Objects
/// that the test itself makes live until its end.
class Driver : public ::testing::Test {
 protected:
  Driver();
  ~Driver() override;

  /// "W1", whose folder is a real one with a marker: "a.txt" ("stored bytes"), "link" and "sub/b" ("more"), with their
  /// objects at the worker.
  void installWarp();
  std::string folder() const { return (test.scratch / "Photos").string(); }
  std::filesystem::path stateFile() const;

  /// The extension of a process that starts now: it remembers nothing.
  void start();
  /// Lets the extension go, which waits for what it does.
  void finish() { extension = {}; }

  std::shared_ptr<Answer> lookUp(NSString* identifier);
  std::shared_ptr<Answer> fetch(NSString* identifier);
  std::shared_ptr<Answer> create(::NSFileProviderItem itemTemplate, NSURL* contents);
  std::shared_ptr<Answer> modify(::NSFileProviderItem item, ::NSFileProviderItemFields fields, NSURL* contents);
  std::shared_ptr<Answer> remove(NSString* identifier);

  id<NSFileProviderEnumerator> enumerator(NSString* container);
  RecordingObserver* list(NSString* container, NSData* page = [NSData data]);
  RecordingObserver* changes(NSString* container, NSData* anchor);
  NSData* anchor();

  /// The identifier and the item of an entry of "W1".
  NSString* entry(std::string_view relativePath) const;
  ::NSFileProviderItem item(std::string_view relativePath);
  /// A file that the system would hand over, with these contents.
  NSURL* contents(std::string_view bytes);
  /// As the system describes any item.
  ::NSFileProviderItemVersion* anyVersion();

  TestPlatform test;
  LoopbackWorker worker{{.root = test.scratch / "objects"}};
  Retained<::TovrinFileProviderExtension*> extension;

 private:
  ServedDirectories served_{test.directories};
  NSAutoreleasePool* pool_;
  ::NSFileProviderRequest* request_;
};

/// An object of the system's own that only says which item it is.
::NSFileProviderItem foreignItem(NSString* identifier);

/// "(nil)" for nil.
std::string text(NSString* string);
/// "domain code description"; "(nil)" for nil.
std::string text(::NSError* error);

}  // namespace tovrin
