#include "host/store/store_sweep.h"

#include <unistd.h>

#include <algorithm>
#include <string>
#include <system_error>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/posix/file_error.h"

namespace tovrin::host {

namespace {

using Names = std::unordered_set<std::string>;

/// Everything in the folder, hidden names too.
Result<Names> namesIn(const std::filesystem::path& folder) {
  Names names;
  std::error_code error;
  std::filesystem::directory_iterator entry(folder, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    names.insert(entry->path().filename().native());
  }
  if (error) return failure(fileError(error.value(), FileOperation::read, folder));
  return names;
}

void removeFiles(const std::filesystem::path& folder, const Names& names) {
  for (const std::string& name : names) ::unlink((folder / name).c_str());
}

Result<void> sweepCopies(const StorePlaces& places, StoreIndex::Loaded& loaded) {
  TOVRIN_TRY(Names strays, namesIn(places.copies()));
  std::unordered_set<std::string_view> identifiers;
  std::vector<CopyRecord> kept;
  kept.reserve(loaded.copies.size());  // nothing moves that `identifiers` looks at
  for (CopyRecord& copy : loaded.copies) {
    const bool isHere = copy.isTrusted && strays.contains(copy.fileName) && !identifiers.contains(copy.identifier);
    if (!isHere) {
      TOVRIN_CHECK(loaded.index.removeCopy(copy.row));
      continue;
    }
    strays.erase(copy.fileName);
    kept.push_back(std::move(copy));
    identifiers.insert(kept.back().identifier);
  }
  loaded.copies = std::move(kept);
  removeFiles(places.copies(), strays);
  return {};
}

/// The state that an edit's file gives it: one that lies among the interrupted ones is, whatever its row says.
EditState stateAfterEnd(const EditRecord& edit, const Names& edits) {
  const bool wasFlushed = edit.state == EditState::unsaved || edit.state == EditState::saved;
  return wasFlushed && edits.contains(edit.fileName) ? edit.state : EditState::interrupted;
}

Result<void> setAside(const StorePlaces& places, const std::string& name) {
  return moveItem(places.edits() / name, places.interrupted() / name);
}

/// Rows of which the file is gone are dropped, the others get the state that fits; `edits` and `interrupted` keep the
/// names that no row has.
Result<void> sweepEditRows(const StorePlaces& places, StoreIndex::Loaded& loaded, Names& edits, Names& interrupted) {
  std::vector<EditRecord> kept;
  for (EditRecord& edit : loaded.edits) {
    const EditState state = stateAfterEnd(edit, edits);
    const bool isAmongEdits = edits.erase(edit.fileName) != 0;
    if (!isAmongEdits && interrupted.erase(edit.fileName) == 0) {
      TOVRIN_CHECK(loaded.index.removeEdit(edit.row));
      continue;
    }
    if (isAmongEdits && state == EditState::interrupted) TOVRIN_CHECK(setAside(places, edit.fileName));
    if (state != edit.state) TOVRIN_CHECK(loaded.index.setEditState(edit.row, state));
    edit.state = state;
    kept.push_back(std::move(edit));
  }
  loaded.edits = std::move(kept);
  return {};
}

Result<void> sweepEdits(const StorePlaces& places, StoreIndex::Loaded& loaded) {
  TOVRIN_TRY(const Names beginnings, namesIn(places.beginnings()));
  removeFiles(places.beginnings(), beginnings);

  TOVRIN_TRY(Names edits, namesIn(places.edits()));
  TOVRIN_TRY(Names interrupted, namesIn(places.interrupted()));
  TOVRIN_CHECK(sweepEditRows(places, loaded, edits, interrupted));
  for (const std::string& name : edits) TOVRIN_CHECK(setAside(places, name));
  interrupted.merge(edits);
  for (const std::string& name : interrupted) {
    EditRecord edit{.identifier = {}, .baseVersion = {}, .state = EditState::interrupted, .fileName = name};
    TOVRIN_TRY(edit.row, loaded.index.addEdit(edit));
    loaded.edits.push_back(std::move(edit));
  }
  return {};
}

}  // namespace

Result<void> sweepStore(const StorePlaces& places, StoreIndex::Loaded& loaded) {
  TOVRIN_TRY(Transaction transaction, loaded.index.begin());
  TOVRIN_CHECK(sweepCopies(places, loaded));
  TOVRIN_CHECK(sweepEdits(places, loaded));
  return transaction.commit();
}

}  // namespace tovrin::host
