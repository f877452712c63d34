#include "host/mounted_domain_fixture.h"

#include <fcntl.h>
#include <unistd.h>

#include <future>

namespace tovrin::host {

std::vector<std::string> RecordingKernel::take() {
  const std::scoped_lock hold(lock_);
  return std::exchange(told_, {});
}

void RecordingKernel::add(std::string line) {
  const std::scoped_lock hold(lock_);
  told_.push_back(std::move(line));
}

void MountedDomainTest::SetUp() {
  test_.clock.setNow(systemClock().now());  // files are judged by their age
  ASSERT_TRUE(worker_.start());
  installConnection(test_, worker_.address(), worker_.password());
  installMarker(test_.scratch / "original", "W1");
  install(usualEntries());
  mount();
}

std::vector<EntrySpec> MountedDomainTest::usualEntries() {
  EntrySpec folder;
  folder.path = (test_.scratch / "original/sub").string();
  folder.kind = "directory";
  return {file("a.txt", "first contents"), file("b.txt", "second"), folder};
}

EntrySpec MountedDomainTest::file(const std::string& name, const std::string& contents,
                                  std::int64_t modificationSeconds) {
  const std::string key = name + std::to_string(modificationSeconds);
  EXPECT_TRUE(worker_.putObject("tovrin", key, contents));
  EntrySpec entry = fileEntry((test_.scratch / "original" / name).string(), contents, key);
  entry.modificationTimeNanoseconds = modificationSeconds * 1'000'000'000;
  entry.posixPermissions = 0644;
  return entry;
}

void MountedDomainTest::install(const std::vector<EntrySpec>& entries, const std::string& warpID) {
  ManifestSpec manifest;
  manifest.warpID = warpID;
  manifest.originalFolderPath = (test_.scratch / "original").string();
  manifest.entries = entries;
  // A file this old is not decoded again when nothing about it is different.
  std::filesystem::last_write_time(installManifest(test_, manifest),
                                   std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
  test_.clock.advance(10);
}

void MountedDomainTest::mount(MountRequest request) {
  mounted_.reset();
  domain_.reset();
  request.notifyErrors = false;
  request.limits.keepFree = 0;  // however full the disk of this machine is
  domain_.emplace(test_.platform());
  auto store = ReplicaStore::open({test_.scratch / "copies", test_.scratch / "state"}, request.limits);
  ASSERT_TRUE(store) << store.error().localizedDescription();
  mounted_ = std::make_unique<MountedDomain>(request, *domain_, std::move(*store), kernel_);
}

std::optional<Shown> MountedDomainTest::walk(std::string_view path) {
  std::optional<Shown> shown;
  NodeID folder = kRootNode;
  while (!path.empty()) {
    const std::string_view name = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(path.size(), name.size() + 1));
    shown = mounted_->lookUp(folder, name);
    if (!shown) return {};
    folder = shown->node.id;
  }
  return shown;
}

Shown MountedDomainTest::find(std::string_view name) {
  return walk("Warped Files" + (test_.scratch / "original" / name).string()).value();
}

Result<std::shared_ptr<OpenItem>> MountedDomainTest::open(NodeID id, int flags) {
  std::promise<Result<std::shared_ptr<OpenItem>>> opened;
  mounted_->open(id, {getpid(), flags}, [&](const auto& result) { opened.set_value(result); });
  return opened.get_future().get();
}

std::string MountedDomainTest::bytesOf(const OpenItem& item) {
  std::string bytes(1 << 20, '\0');
  const auto contents = item.contents();
  const ssize_t count = contents ? pread(contents->descriptor(), bytes.data(), bytes.size(), 0) : 0;
  bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return bytes;
}

int MountedDomainTest::append(OpenItem& item, std::string_view bytes) {
  return item.change([&](int descriptor) {
    lseek(descriptor, 0, SEEK_END);
    return write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) ? 0 : errno;
  });
}

Result<void> MountedDomainTest::handOver(const OpenItem& item) {
  std::promise<Result<void>> taken;
  mounted_->edits().handOver(item.identifier(), [&](const Result<void>& result) { taken.set_value(result); });
  return taken.get_future().get();
}

std::size_t MountedDomainTest::downloads() const {
  std::size_t count = 0;
  for (const WorkerRequest& request : worker_.requests()) count += request.target.contains("/object/") ? 1 : 0;
  return count;
}

std::vector<std::filesystem::path> MountedDomainTest::pendingCopies() const {
  std::vector<std::filesystem::path> copies;
  std::error_code none;
  for (const auto& copy :
       std::filesystem::directory_iterator(test_.warpDirectory() / "FileProviderPendingWriteback", none)) {
    copies.push_back(copy.path());
  }
  return copies;
}

}  // namespace tovrin::host
