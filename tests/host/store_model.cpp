#include "host/store_model.h"

#include <unistd.h>

#include "provider/identifier.h"
#include "support/scratch_folder.h"

namespace tovrin::host {

namespace {

using Kind = StoreStep::Kind;

std::vector<Kind> sensibleKinds(const ModelItem& item) {
  if (!item.edit) {
    if (item.copy) return {Kind::adopt, Kind::evict, Kind::drop, Kind::begin, Kind::begin, Kind::begin};
    return {Kind::adopt, Kind::adopt, Kind::begin};
  }
  if (item.edit->state == EditState::writing) {
    if (!item.edit->isWritten) return {Kind::write, Kind::write, Kind::forget};
    return {Kind::flush, Kind::flush, Kind::flush, Kind::forget, Kind::turn};
  }
  if (item.edit->state == EditState::unsaved) return {Kind::save, Kind::save, Kind::rewrite, Kind::drop, Kind::turn};
  return {Kind::forget, Kind::rewrite, item.copy ? Kind::drop : Kind::adopt};
}

std::string failureOf(const Result<void>& result) { return result ? "" : result.error().localizedDescription(); }

template <class T>
std::string failureOf(const Result<T>& result) {
  return result ? "" : result.error().localizedDescription();
}

std::string writeContents(ReplicaStore& store, const std::string& identifier, const std::string& contents) {
  const auto file = store.openEdit(identifier);
  if (!file) return "no edit to write to";
  const bool isWritten = ftruncate(file->descriptor(), 0) == 0 &&
                         pwrite(file->descriptor(), contents.data(), contents.size(), 0) == ssize_t(contents.size());
  return isWritten ? "" : "not written";
}

std::string begin(ReplicaStore& store, const ModelItem& item, const std::string& identifier, int version) {
  std::shared_ptr<LocalFile> from;
  if (item.copy) {
    from = store.openCopy(identifier, std::to_string(*item.copy));
    if (!from) return "no copy to begin with";
  }
  return failureOf(store.beginEdit(identifier, std::to_string(version), from.get()));
}

}  // namespace

std::string modelIdentifier(int item) { return entryIdentifier("W1", "Folder/file" + std::to_string(item) + ".txt"); }

std::string modelContents(int item, int version) {
  std::string contents = std::to_string(item) + " " + std::to_string(version) + "\n";
  contents.resize(contents.size() + static_cast<std::size_t>(version) * 7919 % 50000,
                  static_cast<char>('a' + version % 26));
  return contents;
}

StoreStep randomStep(const StoreModel& model, int version, std::mt19937& random) {
  const int item = static_cast<int>(random() % kModelItems);
  const std::vector<Kind> kinds = sensibleKinds(model.at(static_cast<std::size_t>(item)));
  return {.kind = kinds[random() % kinds.size()], .item = item, .version = version};
}

ModelItem after(ModelItem item, const StoreStep& step) {
  switch (step.kind) {
    case Kind::adopt:
      item.copy = step.version;
      break;
    case Kind::evict:
    case Kind::drop:
      item.copy.reset();
      break;
    case Kind::begin:
      item.edit = {.version = step.version, .state = EditState::writing, .isWritten = false};
      break;
    case Kind::write:
      item.edit->isWritten = true;
      break;
    case Kind::flush:
      item.edit->state = EditState::unsaved;
      break;
    case Kind::save:
      item.edit->state = EditState::saved;
      break;
    case Kind::rewrite:
      item.edit->state = EditState::writing;
      break;
    case Kind::turn:
      item.copy = item.edit->version;
      item.edit.reset();
      break;
    case Kind::forget:
      item.edit.reset();
      break;
  }
  return item;
}

ModelItem afterKill(ModelItem item) {
  if (item.edit && item.edit->state == EditState::writing) {
    item.edit.reset();
    ++item.interrupted;
  }
  return item;
}

std::vector<ModelItem> afterKillDuring(const ModelItem& item, const StoreStep& step) {
  std::vector<ModelItem> possible{afterKill(item), afterKill(after(item, step))};
  if (step.kind == Kind::begin) possible.push_back(item);  // recorded, and not yet among the edits
  if (step.kind == Kind::turn) {  // among the copies, and not yet recorded: the stored contents can be fetched again
    possible.push_back(item);
    possible.back().edit.reset();
  }
  return possible;
}

std::string perform(ReplicaStore& store, const ModelItem& item, const StoreStep& step,
                    const std::filesystem::path& scratch) {
  const std::string identifier = modelIdentifier(step.item);
  switch (step.kind) {
    case Kind::adopt: {
      const auto file = scratch / "delivered";
      writeFile(file, modelContents(step.item, step.version));
      return failureOf(store.adopt(identifier, std::to_string(step.version), file, nullptr));
    }
    case Kind::evict:
      return store.evict(identifier) == Evicted::dropped ? "" : "not evicted";
    case Kind::drop:
      store.dropCopy(identifier);
      return "";
    case Kind::begin:
      return begin(store, item, identifier, step.version);
    case Kind::write:
      return writeContents(store, identifier, modelContents(step.item, item.edit->version));
    case Kind::flush:
      return failureOf(store.markEdit(identifier, EditState::unsaved, step.version % 2 == 0));
    case Kind::save:
      return failureOf(store.markEdit(identifier, EditState::saved, false));
    case Kind::rewrite:
      return failureOf(store.markEdit(identifier, EditState::writing, false));
    case Kind::turn:
      return failureOf(store.turnEditIntoCopy(identifier));
    case Kind::forget:
      store.forgetEdit(identifier);
      return "";
  }
  return "unknown step";
}

}  // namespace tovrin::host
