#include "host/open_item.h"

#include "host/error_numbers.h"

namespace tovrin::host {

std::shared_ptr<LocalFile> OpenItem::contents() const {
  const std::scoped_lock hold(lock_);
  return contents_;
}

void OpenItem::showEdit(std::shared_ptr<LocalFile> edit) {
  const std::scoped_lock hold(lock_);
  if (edit_ && edit_->path() == edit->path()) return;
  edit_ = contents_ = std::move(edit);
}

Result<std::shared_ptr<LocalFile>> OpenItem::edit() {
  const std::scoped_lock once(beginning_);
  std::shared_ptr<LocalFile> from;
  {
    const std::scoped_lock hold(lock_);
    if (edit_) return edit_;
    from = contents_;
  }
  TOVRIN_TRY(std::shared_ptr<LocalFile> begun, edits_.open(item_, version_, from.get()));
  const std::scoped_lock hold(lock_);
  edit_ = contents_ = std::move(begun);
  return edit_;
}

void OpenItem::leaveEdit(const std::shared_ptr<LocalFile>& edit) {
  const std::scoped_lock hold(lock_);
  if (edit_ == edit) edit_.reset();
}

int OpenItem::change(const std::function<int(int descriptor)>& write) {
  while (true) {
    const Result<std::shared_ptr<LocalFile>> file = edit();
    if (!file) return errorNumber(file.error(), Operation::open);
    int outcome = 0;
    const Result<bool> changed = edits_.change(identifier(), [&] { outcome = write((*file)->descriptor()); });
    if (!changed) return errorNumber(changed.error(), Operation::open);
    if (*changed) return outcome;
    // It has become the item's copy meanwhile: this change begins another.
    leaveEdit(*file);
  }
}

}  // namespace tovrin::host
