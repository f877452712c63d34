#include "host/store/store_contents.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tovrin::host {

StoredItem* StoreContents::find(std::string_view identifier) {
  const auto found = items_.find(identifier);
  return found == items_.end() ? nullptr : &found->second;
}

const StoredItem* StoreContents::find(std::string_view identifier) const {
  const auto found = items_.find(identifier);
  return found == items_.end() ? nullptr : &found->second;
}

StoredItem& StoreContents::item(const NSFileProviderItemIdentifier& identifier) { return items_[identifier]; }

void StoreContents::forgetIfEmpty(std::string_view identifier) {
  const auto found = items_.find(identifier);
  if (found != items_.end() && !found->second.copy && !found->second.isEdited()) items_.erase(found);
}

StoredCopy& StoreContents::addCopy(CopyRecord record) {
  const auto place = items_.try_emplace(record.identifier).first;
  lastOpening_ = std::max(lastOpening_, record.opened);
  copyBytes_ += record.allocatedBytes;
  oldestFirst_.push_back(place->first);
  return place->second.copy.emplace(
      StoredCopy{.record = std::move(record), .reader = {}, .writer = {}, .age = std::prev(oldestFirst_.end())});
}

CopyRecord StoreContents::takeCopy(std::string_view identifier) {
  const auto found = items_.find(identifier);
  StoredCopy copy = std::move(*found->second.copy);
  found->second.copy.reset();
  oldestFirst_.erase(copy.age);
  if (!found->second.isEdited()) items_.erase(found);

  copyBytes_ -= copy.record.allocatedBytes;
  std::shared_ptr<OpenFile> open = copy.reader.lock();
  if (!open) open = copy.writer.lock();
  if (open) open->countAsUnlinked(copy.record.allocatedBytes);
  return std::move(copy.record);
}

std::int64_t StoreContents::touch(StoredCopy& copy) {
  oldestFirst_.splice(oldestFirst_.end(), oldestFirst_, copy.age);
  return copy.record.opened = nextOpening();
}

std::optional<std::vector<CopyRecord>> StoreContents::takeOldest(std::int64_t bytes) {
  std::vector<std::string_view> chosen;
  for (auto age = oldestFirst_.begin(); bytes > 0 && age != oldestFirst_.end(); ++age) {
    const StoredCopy& copy = *find(*age)->copy;
    if (copy.isOpen()) continue;
    bytes -= copy.record.allocatedBytes;
    chosen.push_back(*age);
  }
  if (bytes > 0) return std::nullopt;
  std::vector<CopyRecord> taken;
  taken.reserve(chosen.size());
  for (const std::string_view identifier : chosen) taken.push_back(takeCopy(identifier));
  return taken;
}

std::int64_t StoreContents::idleBytes() const {
  std::int64_t bytes = 0;
  for (const std::string_view identifier : oldestFirst_) {
    const StoredCopy& copy = *find(identifier)->copy;
    if (!copy.isOpen()) bytes += copy.record.allocatedBytes;
  }
  return bytes;
}

void StoreContents::addEdit(EditRecord record, const std::shared_ptr<OpenFile>& file) {
  if (record.state == EditState::interrupted) {
    interrupted_.push_back(std::move(record));
    return;
  }
  const auto place = items_.try_emplace(record.identifier).first;
  edited_.insert(place->first);
  place->second.edit.emplace(StoredEdit{.record = std::move(record), .file = file});
}

EditRecord StoreContents::takeEdit(std::string_view identifier) {
  const auto found = items_.find(identifier);
  EditRecord record = std::move(found->second.edit->record);
  found->second.edit.reset();
  edited_.erase(found->first);
  forgetIfEmpty(record.identifier);
  return record;
}

std::vector<NSFileProviderItemIdentifier> StoreContents::identifiers() const {
  std::vector<NSFileProviderItemIdentifier> identifiers;
  identifiers.reserve(items_.size());
  for (const auto& [identifier, item] : items_) {
    if (item.copy || item.edit) identifiers.push_back(identifier);
  }
  return identifiers;
}

std::vector<EditRecord> StoreContents::edits() const {
  std::vector<EditRecord> edits = interrupted_;
  for (const std::string_view identifier : edited_) edits.push_back(find(identifier)->edit->record);
  return edits;
}

}  // namespace tovrin::host
