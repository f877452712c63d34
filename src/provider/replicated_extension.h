#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/progress.h"
#include "foundation/result.h"

/// What the operating system asks of a File Provider extension, in C++: the one door through which both faces go.
namespace tovrin {

using NSFileProviderItemIdentifier = std::string;
using NSFileProviderPage = std::string;        ///< bytes
using NSFileProviderSyncAnchor = std::string;  ///< bytes

inline constexpr std::string_view NSFileProviderRootContainerItemIdentifier =
    "NSFileProviderRootContainerItemIdentifier";
inline constexpr std::string_view NSFileProviderWorkingSetContainerItemIdentifier =
    "NSFileProviderWorkingSetContainerItemIdentifier";
inline constexpr std::string_view NSFileProviderTrashContainerItemIdentifier =
    "NSFileProviderTrashContainerItemIdentifier";

struct NSFileProviderDomain {
  std::string identifier;
  std::string displayName;
};

/// What a change of an item may concern; a set of bits.
enum NSFileProviderItemFields : std::uint64_t {
  NSFileProviderItemNoFields = 0,
  NSFileProviderItemContents = 1,
  NSFileProviderItemFilename = 2,
  NSFileProviderItemParentItemIdentifier = 4,
  NSFileProviderItemLastUsedDate = 8,
  NSFileProviderItemTagData = 16,
  NSFileProviderItemFavoriteRank = 32,
  NSFileProviderItemCreationDate = 64,
  NSFileProviderItemContentModificationDate = 128,
  NSFileProviderItemFileSystemFlags = 256,
  NSFileProviderItemExtendedAttributes = 512,
  NSFileProviderItemTypeAndCreator = 1024,
};

/// Bytes that change with the contents, and with anything at all.
struct NSFileProviderItemVersion {
  std::string contentVersion;
  std::string metadataVersion;

  friend bool operator==(const NSFileProviderItemVersion&, const NSFileProviderItemVersion&) = default;
};

/// An item as a face hands it in: it may be one of ours or an object of the face's own.
class NSFileProviderItem {
 public:
  virtual ~NSFileProviderItem() = default;
  virtual const NSFileProviderItemIdentifier& itemIdentifier() const = 0;
};

class TovrinFileProviderItem;
using SharedItem = std::shared_ptr<const TovrinFileProviderItem>;

class NSFileProviderEnumerationObserver {
 public:
  virtual ~NSFileProviderEnumerationObserver() = default;
  virtual void didEnumerateItems(std::span<const SharedItem> items) = 0;
  virtual void finishEnumeratingUpToPage(const std::optional<NSFileProviderPage>& nextPage) = 0;
};

class NSFileProviderChangeObserver {
 public:
  virtual ~NSFileProviderChangeObserver() = default;
  virtual void didUpdateItems(std::span<const SharedItem> items) = 0;
  virtual void didDeleteItemsWithIdentifiers(std::span<const NSFileProviderItemIdentifier> identifiers) = 0;
  virtual void finishEnumeratingChangesUpToSyncAnchor(const NSFileProviderSyncAnchor& anchor, bool moreComing) = 0;
};

/// Calls its observer on the calling thread, before it returns. Stays usable after `invalidate`.
class NSFileProviderEnumerator {
 public:
  virtual ~NSFileProviderEnumerator() = default;
  virtual void invalidate() = 0;
  virtual void enumerateItems(NSFileProviderEnumerationObserver& observer, const NSFileProviderPage& page) = 0;
  virtual void enumerateChanges(NSFileProviderChangeObserver& observer, const NSFileProviderSyncAnchor& anchor) = 0;
  virtual void currentSyncAnchor(const std::function<void(const NSFileProviderSyncAnchor&)>& completion) = 0;
};

/// The extension as the system sees it. Every operation may be called from any thread. Those that are asynchronous
/// return their progress at once and call their completion handler exactly once, on a thread of the extension;
/// cancelling the progress ends them early with NSCocoaErrorDomain 3072.
class NSFileProviderReplicatedExtension {
 public:
  virtual ~NSFileProviderReplicatedExtension() = default;

  /// Null item and no error for what cannot be found.
  using ItemCompletion = std::function<void(const SharedItem&, const std::optional<NSError>&)>;
  /// A file and its item, or an error.
  using FetchCompletion = std::function<void(const std::optional<std::filesystem::path>&, const SharedItem&,
                                             const std::optional<NSError>&)>;
  using ModifyCompletion = std::function<void(const SharedItem&, NSFileProviderItemFields stillPending,
                                              bool shouldFetchContent, const std::optional<NSError>&)>;
  using DeleteCompletion = std::function<void(const std::optional<NSError>&)>;

  virtual void invalidate() = 0;

  virtual std::shared_ptr<NSProgress> itemForIdentifier(const NSFileProviderItemIdentifier& identifier,
                                                        const ItemCompletion& completion) = 0;

  virtual std::unique_ptr<NSFileProviderEnumerator> enumeratorForContainerItemIdentifier(
      const NSFileProviderItemIdentifier& containerItemIdentifier) = 0;

  /// The delivered file belongs to the caller.
  virtual std::shared_ptr<NSProgress> fetchContentsForItemWithIdentifier(
      const NSFileProviderItemIdentifier& itemIdentifier,
      const std::optional<NSFileProviderItemVersion>& requestedVersion, FetchCompletion completion) = 0;

  virtual std::shared_ptr<NSProgress> createItemBasedOnTemplate(const NSFileProviderItem& itemTemplate,
                                                                NSFileProviderItemFields fields,
                                                                const std::optional<std::filesystem::path>& contents,
                                                                ModifyCompletion completion) = 0;

  /// `contents` belongs to the caller and must stay until the completion is called.
  virtual std::shared_ptr<NSProgress> modifyItem(const std::shared_ptr<const NSFileProviderItem>& item,
                                                 const NSFileProviderItemVersion& baseVersion,
                                                 NSFileProviderItemFields changedFields,
                                                 const std::optional<std::filesystem::path>& contents,
                                                 ModifyCompletion completion) = 0;

  virtual std::shared_ptr<NSProgress> deleteItemWithIdentifier(const NSFileProviderItemIdentifier& identifier,
                                                               const NSFileProviderItemVersion& baseVersion,
                                                               DeleteCompletion completion) = 0;
};

}  // namespace tovrin
