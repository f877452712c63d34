#include "host/troubles.h"

#include <fmt/core.h>

#include "host/log.h"

namespace tovrin::host {

namespace {

/// A search through a whole domain with no worker there must not fill the memory with one and the same sentence.
constexpr std::size_t kMostProblems = 1000;

std::string cause(const NSError& error) { return fmt::format("{} {}", error.domain(), error.code()); }

}  // namespace

void Troubles::openFailed(const TovrinFileProviderItem& item, const NSError& error) {
  // Of many who waited for the same file, and of one who tries again and again, one line is enough.
  if (sentence(item.itemIdentifier()) != error.localizedDescription()) {
    log::error("“{}” could not be opened: {}", item.filename(), error.localizedDescription());
  }
  if (desktop_ != nullptr) {
    desktop_->error(cause(error), fmt::format("“{}” could not be opened", item.filename()),
                    error.localizedDescription());
  }
  const std::scoped_lock hold(lock_);
  if (problems_.size() >= kMostProblems && !problems_.contains(item.itemIdentifier())) return;
  problems_[item.itemIdentifier()] = {item.itemIdentifier(), item.filename(), error.localizedDescription()};
}

void Troubles::editRefused(const TovrinFileProviderItem& item, const NSError& error) {
  log::error("the changes in “{}” were not taken and are kept: {}", item.filename(), error.localizedDescription());
  if (desktop_ == nullptr) return;
  desktop_->error("edit " + cause(error), fmt::format("The changes in “{}” are not saved yet", item.filename()),
                  error.localizedDescription() + " They are kept, and saving is tried again.");
}

void Troubles::cleared(std::string_view identifier) {
  const std::scoped_lock hold(lock_);
  problems_.erase(NSFileProviderItemIdentifier(identifier));
}

std::optional<std::string> Troubles::sentence(std::string_view identifier) const {
  const std::scoped_lock hold(lock_);
  const auto known = problems_.find(NSFileProviderItemIdentifier(identifier));
  return known == problems_.end() ? std::nullopt : std::optional(known->second.error);
}

std::vector<MountStatus::Problem> Troubles::all() const {
  const std::scoped_lock hold(lock_);
  std::vector<MountStatus::Problem> problems;
  for (const auto& [identifier, problem] : problems_) problems.push_back(problem);
  return problems;
}

}  // namespace tovrin::host
