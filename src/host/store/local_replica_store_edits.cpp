#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <tuple>
#include <utility>

#include "foundation/uuid.h"
#include "host/store/edit_file_name.h"
#include "host/store/local_replica_store.h"
#include "platform/posix/system_calls.h"

namespace tovrin::host {

namespace {

constexpr mode_t kPrivateFileMode = 0600;

NSError noEditError() { return NSError::posix(ENOENT, "This file has no edit to be kept."); }

FileDescriptor openForWriting(const std::filesystem::path& file) {
  return FileDescriptor::open(file, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
}

}  // namespace

Result<std::shared_ptr<LocalFile>> LocalReplicaStore::beginEdit(const NSFileProviderItemIdentifier& identifier,
                                                                const std::string& baseVersion, const LocalFile* from) {
  {
    const std::scoped_lock guard(contentsLock_);
    StoredItem& item = contents_.item(identifier);
    if (item.isEdited()) return failure(NSError::posix(EEXIST, "This file is being edited already."));
    item.beginsEdit = true;
  }
  EditRecord edit{.identifier = identifier, .baseVersion = baseVersion, .fileName = editFileName(identifier)};
  const std::filesystem::path beginning = places_.beginnings() / edit.fileName;
  const Result<void> made = makeEditFile(beginning, from);
  Result<std::shared_ptr<LocalFile>> result = made ? recordEdit(std::move(edit), beginning) : failure(made.error());
  if (!result) ::unlink(beginning.c_str());

  const std::scoped_lock guard(contentsLock_);
  contents_.item(identifier).beginsEdit = false;
  contents_.forgetIfEmpty(identifier);
  return result;
}

Result<void> LocalReplicaStore::makeEditFile(const std::filesystem::path& beginning, const LocalFile* from) {
  if (from == nullptr) {
    TOVRIN_TRY(FileHandle empty, FileHandle::createExclusively(beginning));
    return empty.close();
  }
  // By its descriptor: the name of an open copy may be gone.
  return copyItem(fmt::format("/proc/self/fd/{}", from->descriptor()), beginning);
}

/// The row comes before the name among the edits: a file there without a row would be taken for an edit of which the
/// row was lost.
Result<std::shared_ptr<LocalFile>> LocalReplicaStore::recordEdit(EditRecord edit,
                                                                 const std::filesystem::path& beginning) {
  FileDescriptor descriptor = openForWriting(beginning);
  if (!descriptor.isOpen() || fchmod(descriptor.get(), kPrivateFileMode) != 0) {
    return failure(fileError(errno, FileOperation::update, beginning));
  }
  const std::filesystem::path path = places_.file(edit);
  auto file = std::make_shared<OpenFile>(std::move(descriptor), path, diskUse_);

  const std::scoped_lock guard(changeLock_);
  TOVRIN_TRY(edit.row, index_.addEdit(edit));
  if (auto moved = moveItem(beginning, path); !moved) {
    std::ignore = index_.removeEdit(edit.row);
    return failure(std::move(moved).error());
  }
  const std::scoped_lock contentsGuard(contentsLock_);
  contents_.addEdit(std::move(edit), file);
  return file;
}

std::shared_ptr<LocalFile> LocalReplicaStore::openEdit(std::string_view identifier) {
  const std::scoped_lock guard(contentsLock_);
  StoredItem* item = contents_.find(identifier);
  return item != nullptr && item->edit ? openEditFile(*item->edit) : nullptr;
}

std::shared_ptr<OpenFile> LocalReplicaStore::openEditFile(StoredEdit& edit) {
  std::shared_ptr<OpenFile> file = edit.file.lock();
  if (file) return file;
  const std::filesystem::path path = places_.file(edit.record);
  FileDescriptor descriptor = openForWriting(path);
  if (!descriptor.isOpen()) return nullptr;
  file = std::make_shared<OpenFile>(std::move(descriptor), path, diskUse_);
  edit.file = file;
  return file;
}

Result<void> LocalReplicaStore::markEdit(std::string_view identifier, EditState state, bool durable) {
  if (state == EditState::interrupted) return setAside(identifier);
  if (durable) {
    const std::shared_ptr<LocalFile> file = openEdit(identifier);
    if (!file) return failure(noEditError());
    int error = synchronizeDescriptor(file->descriptor());
    if (error == 0) error = synchronizeFolderOf(file->path());
    if (error != 0) return failure(fileError(error, FileOperation::update, file->path()));
  }

  const std::scoped_lock guard(changeLock_);
  TOVRIN_TRY(const EditRecord edit, editRecord(identifier));
  TOVRIN_TRY(Transaction transaction, index_.begin(durable ? Durability::durable : Durability::ordinary));
  TOVRIN_CHECK(index_.setEditState(edit.row, state));
  TOVRIN_CHECK(transaction.commit());
  const std::scoped_lock contentsGuard(contentsLock_);
  contents_.find(identifier)->edit->record.state = state;
  return {};
}

Result<EditRecord> LocalReplicaStore::editRecord(std::string_view identifier) const {
  const std::scoped_lock guard(contentsLock_);
  const StoredItem* item = contents_.find(identifier);
  if (item == nullptr || !item->edit) return failure(noEditError());
  return item->edit->record;
}

Result<void> LocalReplicaStore::setAside(std::string_view identifier) {
  const std::scoped_lock guard(changeLock_);
  TOVRIN_TRY(EditRecord edit, editRecord(identifier));
  const std::filesystem::path before = places_.file(edit);
  edit.state = EditState::interrupted;
  TOVRIN_CHECK(moveItem(before, places_.file(edit)));
  if (auto recorded = index_.setEditState(edit.row, edit.state); !recorded) {
    std::ignore = moveItem(places_.file(edit), before);
    return recorded;
  }
  const std::scoped_lock contentsGuard(contentsLock_);
  contents_.takeEdit(identifier);
  contents_.addEdit(std::move(edit));
  return {};
}

Result<void> LocalReplicaStore::turnEditIntoCopy(std::string_view identifier) {
  const std::scoped_lock guard(changeLock_);
  TOVRIN_TRY(EditRecord edit, editRecord(identifier));
  const std::filesystem::path file = places_.file(edit);
  TOVRIN_TRY(NewCopy copy, moveIn(edit.identifier, edit.baseVersion, file));
  if (auto recorded = recordCopy(copy.record, edit.row); !recorded) {
    std::ignore = moveItem(places_.file(copy.record), file);
    return recorded;
  }
  showCopy(std::move(copy), Before::edit);
  std::ignore = makeRoom(0);
  return {};
}

void LocalReplicaStore::forgetEdit(std::string_view identifier) {
  const std::scoped_lock guard(changeLock_);
  EditRecord edit;
  {
    const std::scoped_lock contentsGuard(contentsLock_);
    const StoredItem* item = contents_.find(identifier);
    if (item == nullptr || !item->edit) return;
    edit = contents_.takeEdit(identifier);
  }
  ::unlink(places_.file(edit).c_str());
  std::ignore = index_.removeEdit(edit.row);
}

std::int64_t LocalReplicaStore::roomForEdits() const {
  std::error_code error;
  const std::filesystem::space_info disk = std::filesystem::space(places_.edits(), error);
  return error ? 0 : static_cast<std::int64_t>(disk.available);
}

std::vector<Edit> LocalReplicaStore::edits() const {
  std::vector<EditRecord> records;
  {
    const std::scoped_lock guard(contentsLock_);
    records = contents_.edits();
  }
  std::vector<Edit> edits;
  for (EditRecord& edit : records) {
    const std::filesystem::path file = places_.file(edit);
    if (edit.state == EditState::interrupted && !fileExists(file)) continue;
    edits.push_back({.identifier = std::move(edit.identifier),
                     .baseVersion = std::move(edit.baseVersion),
                     .state = edit.state,
                     .file = file});
  }
  return edits;
}

}  // namespace tovrin::host
