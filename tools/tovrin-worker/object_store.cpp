#include "tovrin-worker/object_store.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace tovrin::worker {
namespace {

/// No bucket can have this name, because bucket names have no dots.
constexpr std::string_view kUploadsFolder = ".uploads";

constexpr std::array<std::pair<std::string_view, std::string_view>, 9> kTypes{{
    {".txt", "text/plain; charset=utf-8"},
    {".html", "text/html; charset=utf-8"},
    {".json", "application/json"},
    {".jpg", "image/jpeg"},
    {".png", "image/png"},
    {".pdf", "application/pdf"},
    {".mp4", "video/mp4"},
    {".zip", "application/zip"},
    {".gz", "application/gzip"},
}};

bool isBucketName(std::string_view name) {
  const auto isAlphanumeric = [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); };
  return name.size() >= 3 && name.size() <= 63 && isAlphanumeric(name.front()) && isAlphanumeric(name.back()) &&
         std::ranges::all_of(name, [&](char c) { return isAlphanumeric(c) || c == '-'; });
}

std::string typeByExtension(const std::filesystem::path& path) {
  const auto found = std::ranges::find(kTypes, path.extension().native(), [](auto& type) { return type.first; });
  return std::string(found == kTypes.end() ? "application/octet-stream" : found->second);
}

std::string makeTag(const struct stat& attributes) {
  const auto time = static_cast<std::uint64_t>(attributes.st_mtim.tv_sec) * 1'000'000'000U +
                    static_cast<std::uint64_t>(attributes.st_mtim.tv_nsec);
  return fmt::format("\"{:016x}{:016x}\"", static_cast<std::uint64_t>(attributes.st_ino) * 0x9e3779b97f4a7c15ULL ^ time,
                     static_cast<std::uint64_t>(attributes.st_size) * 0xc2b2ae3d27d4eb4fULL + time);
}

NSError storeError(std::string_view action, int errnoValue) {
  return NSError::posix(errnoValue, fmt::format("The object could not be {}: error {}.", action, errnoValue));
}

}  // namespace

ObjectStore::BucketOutcome ObjectStore::createBucket(std::string_view bucket) {
  if (!isBucketName(bucket)) return BucketOutcome::badName;
  std::error_code error;
  const bool created = std::filesystem::create_directories(root_ / bucket, error);
  if (error) return BucketOutcome::failed;
  return created ? BucketOutcome::created : BucketOutcome::exists;
}

bool ObjectStore::hasBucket(std::string_view bucket) const {
  std::error_code error;
  return isBucketName(bucket) && std::filesystem::is_directory(root_ / bucket, error);
}

std::filesystem::path ObjectStore::objectPath(std::string_view bucket, std::string_view key) const {
  std::filesystem::path path = root_ / bucket;
  for (std::size_t begin = 0; begin <= key.size();) {
    const std::size_t end = std::min(key.find('/', begin), key.size());
    std::string piece(key.substr(begin, end - begin));
    if (piece.empty() || piece == "." || piece == ".." || piece.front() == '%') piece.insert(0, 1, '%');
    path /= piece;
    begin = end + 1;
  }
  return path;
}

std::optional<OpenObject> ObjectStore::open(std::string_view bucket, std::string_view key) const {
  if (!hasBucket(bucket) || key.find('\0') != std::string_view::npos) return std::nullopt;
  const std::filesystem::path path = objectPath(bucket, key);
  Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat attributes{};
  if (!file || ::fstat(file.number(), &attributes) != 0 || !S_ISREG(attributes.st_mode)) return std::nullopt;
  OpenObject object{.file = std::move(file),
                    .size = attributes.st_size,
                    .lastModified = attributes.st_mtim.tv_sec,
                    .etag = makeTag(attributes),
                    .metadata = {typeByExtension(path), {}}};
  const std::lock_guard guard(lock_);
  if (const auto found = metadata_.find(path); found != metadata_.end()) object.metadata = found->second;
  return object;
}

bool ObjectStore::remove(std::string_view bucket, std::string_view key) {
  if (!hasBucket(bucket) || key.find('\0') != std::string_view::npos) return false;
  const std::filesystem::path path = objectPath(bucket, key);
  const std::lock_guard guard(lock_);
  metadata_.erase(path);
  return ::unlink(path.c_str()) == 0;
}

ObjectStore::Upload::Upload(Upload&& other) noexcept
    : file_(std::move(other.file_)), path_(std::exchange(other.path_, {})) {}

ObjectStore::Upload::~Upload() {
  if (!path_.empty()) ::unlink(path_.c_str());
}

bool ObjectStore::Upload::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file_.number(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

Result<ObjectStore::Upload> ObjectStore::beginUpload() {
  const std::lock_guard guard(lock_);
  std::error_code error;
  std::filesystem::create_directories(root_ / kUploadsFolder, error);
  std::filesystem::path path = root_ / kUploadsFolder / fmt::format("{}-{}", ::getpid(), ++uploads_);
  Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  if (!file) return failure(storeError("received", errno));
  return Upload(std::move(file), std::move(path));
}

Result<std::string> ObjectStore::commit(Upload upload, std::string_view bucket, std::string_view key,
                                        ObjectMetadata metadata) {
  const std::filesystem::path path = objectPath(bucket, key);
  std::error_code error;
  std::filesystem::create_directories(path.parent_path(), error);
  if (error) return failure(storeError("stored", error.value()));
  struct stat attributes{};
  const std::lock_guard guard(lock_);
  if (::fstat(upload.file_.number(), &attributes) != 0 || ::rename(upload.path_.c_str(), path.c_str()) != 0) {
    return failure(storeError("stored", errno));
  }
  upload.path_.clear();
  if (metadata.contentType.empty()) metadata.contentType = typeByExtension(path);
  metadata_.insert_or_assign(path, std::move(metadata));
  return makeTag(attributes);
}

}  // namespace tovrin::worker
