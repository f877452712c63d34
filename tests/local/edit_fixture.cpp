#include "local/edit_fixture.h"

#include <future>
#include <mutex>

#include "provider/identifier.h"

namespace tovrin {

EditWorld::EditWorld() {
  installWarp();
  installMarker(folder(), "W1");
}

void EditWorld::installWarp(const std::function<void(ManifestSpec&)>& change) {
  ManifestSpec manifest;
  manifest.originalFolderPath = folder().string();
  manifest.entries.push_back(fileEntry(pathOf("a.txt"), "stored bytes", "objects/a"));
  manifest.entries.push_back(fileEntry(pathOf("noextension"), "stored bytes", "objects/n"));
  manifest.entries.push_back(EntrySpec{.path = pathOf("sub"), .kind = "directory"});
  manifest.entries.push_back(EntrySpec{.path = pathOf("link"), .kind = "symlink", .symlinkTarget = "a.txt"});
  if (change) change(manifest);
  installManifest(testPlatform, manifest);
  testPlatform.clock.advance(1);  // past what the tree keeps
}

SharedItem EditWorld::itemNamed(std::string_view name) { return makeItem(entryIdentifier("W1", pathOf(name)), *tree); }

EditOutcome EditWorld::edit(const std::shared_ptr<const NSFileProviderItem>& item,
                            const std::optional<std::filesystem::path>& contents) {
  struct Shared {
    std::mutex lock;
    EditOutcome outcome;
    std::promise<void> completed;
  };
  const auto shared = std::make_shared<Shared>();
  auto progress = modifyItem(context(), item, contents,
                             [shared](const SharedItem& edited, NSFileProviderItemFields stillPending,
                                      bool shouldFetchContent, const std::optional<NSError>& error) {
                               const std::lock_guard hold(shared->lock);
                               shared->outcome.item = edited;
                               shared->outcome.stillPending = stillPending;
                               shared->outcome.shouldFetchContent = shouldFetchContent;
                               shared->outcome.error = error;
                               if (++shared->outcome.completions == 1) shared->completed.set_value();
                             });
  shared->completed.get_future().wait();
  const std::lock_guard hold(shared->lock);
  shared->outcome.progress = std::move(progress);
  return shared->outcome;
}

EditOutcome EditWorld::save(std::string_view name, std::string_view contents) {
  const auto handedOver = testPlatform.scratch / "handed-over";
  writeFile(handedOver, contents);
  return edit(itemNamed(name), handedOver);
}

TovrinWarpSharedMaterializationState EditWorld::publishedState() const {
  return decodeMaterializationState(readFile(testPlatform.warpDirectory() / "file-provider-materialization-state.json"))
      .value();
}

bool EditWorld::hasPublishedState() const {
  return std::filesystem::exists(testPlatform.warpDirectory() / "file-provider-materialization-state.json");
}

}  // namespace tovrin
