#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "foundation/date.h"
#include "local/cached_items.h"
#include "platform/uniform_type.h"
#include "provider/replicated_extension.h"
#include "shared/manifest_store.h"

namespace tovrin {

class TovrinFileProviderTree;

/// Capabilities are a set of bits: reading 1, writing 2.
using NSFileProviderItemCapabilities = std::uint64_t;
inline constexpr NSFileProviderItemCapabilities NSFileProviderItemCapabilitiesAllowsReading = 1;
inline constexpr NSFileProviderItemCapabilities NSFileProviderItemCapabilitiesAllowsWriting = 2;

enum class NSFileProviderContentPolicy { inherited = 0, downloadLazily = 1 };

/// A folder or file as the domain shows it: an immutable snapshot, built on demand, never stored.
class TovrinFileProviderItem final : public NSFileProviderItem {
 public:
  struct Fields {
    NSFileProviderItemIdentifier itemIdentifier;
    NSFileProviderItemIdentifier parentItemIdentifier;
    std::string filename;
    UTType contentType = UTType::folder();
    std::optional<std::int64_t> documentSize;
    std::optional<Date> creationDate;
    std::optional<Date> contentModificationDate;
    std::optional<std::string> warpID;  ///< on Warp folders and entries
    SharedEntry entry;                  ///< on entries; keeps its manifest alive
  };
  TovrinFileProviderItem() = delete;
  /// An entry's item needs the journal; for the folders it may be null.
  TovrinFileProviderItem(Fields fields, std::shared_ptr<CachedItemsJournal> journal)
      : fields_(std::move(fields)), journal_(std::move(journal)) {}

  const NSFileProviderItemIdentifier& itemIdentifier() const override { return fields_.itemIdentifier; }
  const NSFileProviderItemIdentifier& parentItemIdentifier() const { return fields_.parentItemIdentifier; }
  const std::string& filename() const { return fields_.filename; }
  UTType contentType() const { return fields_.contentType; }
  std::optional<std::int64_t> documentSize() const { return fields_.documentSize; }
  std::optional<Date> creationDate() const { return fields_.creationDate; }
  std::optional<Date> contentModificationDate() const { return fields_.contentModificationDate; }
  const std::optional<std::string>& warpID() const { return fields_.warpID; }
  const SharedEntry& entry() const { return fields_.entry; }

  NSFileProviderItemCapabilities capabilities() const;
  NSFileProviderContentPolicy contentPolicy() const;
  /// False while an edit of this entry waits for upload; asks the journal at every call.
  bool isUploaded() const;
  /// filename-size-date, the same bytes as content and as metadata version.
  NSFileProviderItemVersion itemVersion() const;

  /// This item with the size and date of an accepted edit.
  SharedItem withEditedContents(std::int64_t documentSize, Date contentModificationDate) const;

 private:
  Fields fields_;
  std::shared_ptr<CachedItemsJournal> journal_;
};

bool isFolder(const TovrinFileProviderItem& item);
bool isSymbolicLink(const TovrinFileProviderItem& item);

/// The item of an identifier, or null when there is none.
SharedItem makeItem(const NSFileProviderItemIdentifier& identifier, TovrinFileProviderTree& tree);
SharedItem makeEntryItem(const TovrinWarpSharedEntry& entry, const SharedManifest& manifest,
                         TovrinFileProviderTree& tree);

}  // namespace tovrin
