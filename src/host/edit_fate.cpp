#include "host/edit_fate.h"

#include "materialize/file_checksum.h"

namespace tovrin::host {

EditFate fateOf(Domain& domain, const SharedItem& item, const std::string& baseVersion,
                const std::filesystem::path& file) {
  // An item counts as uploaded when the journal cannot be read.
  if (!item || !item->isUploaded() || !domain.isJournalReadable()) return EditFate::waits;
  if (item->itemVersion().contentVersion != baseVersion) return EditFate::isStored;
  const SharedEntry& entry = item->entry();
  GrowingFileHash hash;
  const bool isUnchanged = entry && entry->contentChecksumSHA256 && verifyFile(file, *entry, hash, {});
  return isUnchanged ? EditFate::isUnchanged : EditFate::waits;
}

}  // namespace tovrin::host
