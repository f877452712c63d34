#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/clock.h"
#include "platform/file_system.h"

namespace tovrin {

/// Whether a file that was read when `identity` was its identity may still change without its identity telling: its
/// last modification is less than two seconds before the reading, and clock ticks are coarse.
bool mayStillChangeUnseen(const FileIdentity& identity, Date readAt);

/// The decoded value of one file, or why it does not decode; decoded again only when the file is another one than
/// before. Thread-safe: concurrent users wait for one decoding.
template <class Value>
class DecodedFile {
 public:
  using Shared = std::shared_ptr<const Value>;

  /// The file's value by `decode(const std::string& bytes) -> Result<Value>`. A missing file is NSCocoaErrorDomain 260.
  template <class Decode>
  Result<Shared> load(const std::filesystem::path& path, const Clock& clock, Decode&& decode) {
    return withCurrent(path, clock, decode, [](const Kept& value) { return Shared(value); });
  }

  /// What `question(const Value&)` says of the value that `load` would return. Whoever only asks may hold up a
  /// `rewrite` for a moment, but never makes it copy the value.
  template <class Decode, class Question>
  auto ask(const std::filesystem::path& path, const Clock& clock, Decode&& decode, Question&& question) {
    return withCurrent(path, clock, decode, [&](const Kept& value) { return question(std::as_const(*value)); });
  }

  /// What `load` would return without decoding; nothing when it would decode.
  std::optional<Result<Shared>> unchanged(const std::filesystem::path& path) {
    const std::lock_guard hold(lock_);
    if (!isUnchanged(path)) return std::nullopt;
    return Result<Shared>(*kept_);
  }

  /// Takes the value of the file that `write() -> Result<FileIdentity>` writes. However young the file is: the writer
  /// writes nothing else under this identity, and keeps its inode from being another file's as long as this object
  /// lives, or until the next time. Whoever sees the file before its value is here waits for it.
  template <class Write>
  Result<Shared> remember(const std::filesystem::path& path, Write&& write, Value value) {
    auto shared = std::make_shared<Value>(std::move(value));
    const std::lock_guard turn(writing_);
    TOVRIN_TRY(const FileIdentity written, write());
    const std::lock_guard hold(lock_);
    keep(path, written, shared);
    return shared;
  }

  /// As `remember`, of what `change(Value&)` makes of `base`, which `load` gave to the caller. Changes the value itself
  /// when nobody else has it, else a copy. Null, and nothing is kept, when the file was loaded anew meanwhile.
  template <class Write, class Change>
  Result<Shared> rewrite(const std::filesystem::path& path, Write&& write, Shared base, Change&& change) {
    const std::lock_guard turn(writing_);
    TOVRIN_TRY(const FileIdentity written, write());
    const std::lock_guard hold(lock_);
    auto kept = std::exchange(kept_, std::nullopt);
    if (!kept || !*kept || **kept != base) return nullptr;
    std::shared_ptr<Value> value = *std::move(*kept);
    kept.reset();
    base.reset();
    if (value.use_count() > 1) value = std::make_shared<Value>(*value);
    change(*value);
    keep(path, written, value);
    return value;
  }

 private:
  using Kept = std::shared_ptr<Value>;

  /// What `use(const Kept&)` makes of the file's value.
  template <class Decode, class Use>
  auto withCurrent(const std::filesystem::path& path, const Clock& clock, Decode& decode, Use&& use)
      -> Result<decltype(use(std::declval<const Kept&>()))> {
    {
      const std::lock_guard hold(lock_);
      if (isUnchanged(path)) return used(*kept_, use);
    }
    const std::lock_guard turn(writing_);
    const std::lock_guard hold(lock_);
    if (isUnchanged(path)) return used(*kept_, use);
    return used(decodeAnew(path, clock, decode), use);
  }

  template <class Use>
  static auto used(const Result<Kept>& value, Use& use) -> Result<decltype(use(std::declval<const Kept&>()))> {
    if (!value) return failure(value.error());
    return use(*value);
  }

  template <class Decode>
  Result<Kept> decodeAnew(const std::filesystem::path& path, const Clock& clock, Decode& decode) {
    kept_.reset();
    const Date readAt = clock.now();
    TOVRIN_TRY(const FileContents contents, readWholeFile(path));
    Result<Value> value = decode(contents.bytes);
    Result<Kept> shared = value ? Result<Kept>(std::make_shared<Value>(*std::move(value)))
                                : Result<Kept>(failure(std::move(value).error()));
    if (!mayStillChangeUnseen(contents.identity, readAt)) keep(path, contents.identity, shared);
    return shared;
  }

  bool isUnchanged(const std::filesystem::path& path) const {
    // As texts: paths are compared component by component.
    if (!kept_ || path.native() != path_.native()) return false;
    const auto attributes = fileAttributes(path);
    return attributes && attributes->identity == identity_;
  }

  void keep(const std::filesystem::path& path, const FileIdentity& identity, Result<Kept> value) {
    path_ = path;
    identity_ = identity;
    kept_ = std::move(value);
  }

  std::mutex writing_;  ///< held while a new file and its value come, and by whoever has to decode; before `lock_`
  std::mutex lock_;     ///< guards what follows
  std::filesystem::path path_;
  FileIdentity identity_;
  std::optional<Result<Kept>> kept_;
};

}  // namespace tovrin
