#include "materialize/fetch_fixture.h"

#include <algorithm>
#include <iterator>

#include "provider/identifier.h"

namespace tovrin {

void StateRecorder::post(const std::string&) {
  const auto state = decodeMaterializationState(readFile(stateFile_));
  if (!state) return;
  {
    const std::lock_guard hold(lock_);
    states_.push_back(*state);
  }
  if (onState) onState(*state);
}

std::vector<TovrinWarpSharedMaterializationState> StateRecorder::states() const {
  const std::lock_guard hold(lock_);
  return states_;
}

void FetchFixture::install(const std::vector<EntrySpec>& entries) {
  ManifestSpec manifest;
  manifest.entries = entries;
  installManifest(test, manifest);
  installConnection(test, worker.address(), worker.password());
}

FetchOutcome FetchFixture::fetch(std::string_view path) { return fetchIdentifier(entryIdentifier("W1", path)); }

FetchOutcome FetchFixture::fetchIdentifier(const NSFileProviderItemIdentifier& identifier) {
  std::promise<FetchOutcome> outcome;
  auto progress = startIdentifier(identifier, outcome);
  FetchOutcome result = outcome.get_future().get();
  result.progress = std::move(progress);
  tasks.emplace();
  return result;
}

std::shared_ptr<NSProgress> FetchFixture::start(std::string_view path, std::promise<FetchOutcome>& outcome) {
  return startIdentifier(entryIdentifier("W1", path), outcome);
}

std::shared_ptr<NSProgress> FetchFixture::startIdentifier(const NSFileProviderItemIdentifier& identifier,
                                                          std::promise<FetchOutcome>& outcome) {
  std::promise<std::shared_ptr<NSProgress>> started;
  progress_ = started.get_future().share();
  const Platform fetchPlatform{test.clock, test.directories, *session, recorder};
  const FetchContext context{fetchPlatform, tree, *journal, publisher, *tasks};
  auto progress = fetchContents(context, identifier,
                                [this, &outcome, ofThisFetch = std::make_shared<std::atomic<int>>(0)](
                                    const auto& file, const auto& item, const auto& error) {
                                  ++completions;
                                  if (onCompletion) onCompletion();
                                  if (++*ofThisFetch == 1) outcome.set_value({file, item, error, nullptr});
                                });
  started.set_value(progress);
  return progress;
}

std::vector<std::string> FetchFixture::details() const {
  std::vector<std::string> details;
  std::ranges::transform(recorder.states(), std::back_inserter(details), &TovrinWarpSharedMaterializationState::detail);
  return details;
}

std::filesystem::path FetchFixture::stateFile() const {
  return test.warpDirectory() / "file-provider-materialization-state.json";
}

std::size_t FetchFixture::filesMade() const {
  return countFiles(test.directories.providerTemporary->value() / "TovrinFileProvider") +
         countFiles(test.directories.temporary);
}

}  // namespace tovrin
