#include "provider/extension.h"

#include <utility>

#include "local/edits.h"
#include "materialize/errors.h"
#include "materialize/fetch_contents.h"
#include "provider/enumerator.h"
#include "provider/failure_as_absence.h"
#include "provider/item.h"

namespace tovrin {

TovrinFileProviderExtension::TovrinFileProviderExtension(NSFileProviderDomain domain, const Platform& platform)
    : domain_(std::move(domain)),
      platform_(platform),
      journal_(std::make_shared<CachedItemsJournal>(platform)),
      tree_(std::make_shared<TovrinFileProviderTree>(platform, journal_)),
      badges_(platform),
      publisher_(platform, badges_) {}

TovrinFileProviderExtension::~TovrinFileProviderExtension() = default;

std::shared_ptr<NSProgress> TovrinFileProviderExtension::itemForIdentifier(
    const NSFileProviderItemIdentifier& identifier, const ItemCompletion& completion) {
  auto progress = NSProgress::withTotalUnitCount(1);
  completion(emptyOnFailure([&] { return makeItem(identifier, *tree_); }), std::nullopt);
  progress->setCompletedUnitCount(1);
  return progress;
}

std::unique_ptr<NSFileProviderEnumerator> TovrinFileProviderExtension::enumeratorForContainerItemIdentifier(
    const NSFileProviderItemIdentifier& containerItemIdentifier) {
  return std::make_unique<TovrinFileProviderEnumerator>(containerItemIdentifier, tree_);
}

std::shared_ptr<NSProgress> TovrinFileProviderExtension::fetchContentsForItemWithIdentifier(
    const NSFileProviderItemIdentifier& itemIdentifier, const std::optional<NSFileProviderItemVersion>&,
    FetchCompletion completion) {
  return fetchContents({platform_, tree_, *journal_, publisher_, tasks_}, itemIdentifier, std::move(completion));
}

std::shared_ptr<NSProgress> TovrinFileProviderExtension::createItemBasedOnTemplate(
    const NSFileProviderItem&, NSFileProviderItemFields, const std::optional<std::filesystem::path>&,
    ModifyCompletion completion) {
  auto progress = NSProgress::withTotalUnitCount(1);
  completion(nullptr, NSFileProviderItemNoFields, false, readOnlyError());
  progress->setCompletedUnitCount(1);
  return progress;
}

std::shared_ptr<NSProgress> TovrinFileProviderExtension::modifyItem(
    const std::shared_ptr<const NSFileProviderItem>& item, const NSFileProviderItemVersion&, NSFileProviderItemFields,
    const std::optional<std::filesystem::path>& contents, ModifyCompletion completion) {
  return tovrin::modifyItem({platform_, tree_, *journal_, publisher_, tasks_}, item, contents, std::move(completion));
}

std::shared_ptr<NSProgress> TovrinFileProviderExtension::deleteItemWithIdentifier(const NSFileProviderItemIdentifier&,
                                                                                  const NSFileProviderItemVersion&,
                                                                                  DeleteCompletion completion) {
  auto progress = NSProgress::withTotalUnitCount(1);
  completion(readOnlyError());
  progress->setCompletedUnitCount(1);
  return progress;
}

}  // namespace tovrin
