#include "provider/extension.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include "materialize/errors.h"
#include "provider/domain.h"
#include "provider/identifier.h"

namespace tovrin {
namespace {

static_assert(!std::is_default_constructible_v<TovrinFileProviderExtension>);
static_assert(!std::is_copy_constructible_v<TovrinFileProviderExtension>);

struct ExtensionTest : testing::Test {
  void install(const ManifestSpec& manifest) { installManifest(platform, manifest); }

  struct Lookup {
    SharedItem item;
    std::optional<NSError> error;
    int calls = 0;
    std::thread::id thread;
    std::shared_ptr<NSProgress> progress;
  };
  Lookup lookUp(const std::string& identifier) {
    Lookup lookup;
    lookup.progress = extension.itemForIdentifier(identifier, [&](const auto& item, const auto& error) {
      ++lookup.calls;
      lookup.item = item;
      lookup.error = error;
      lookup.thread = std::this_thread::get_id();
    });
    EXPECT_EQ(lookup.calls, 1) << identifier;
    EXPECT_FALSE(lookup.error) << identifier;
    EXPECT_EQ(lookup.thread, std::this_thread::get_id());
    EXPECT_EQ(lookup.progress->totalUnitCount(), 1);
    EXPECT_EQ(lookup.progress->completedUnitCount(), 1);
    return lookup;
  }

  TestPlatform platform;
  TovrinFileProviderExtension extension{{"domain", "Tovrin"}, platform.platform()};
};

struct Listing final : NSFileProviderEnumerationObserver {
  void didEnumerateItems(std::span<const SharedItem> given) override { items.assign(given.begin(), given.end()); }
  void finishEnumeratingUpToPage(const std::optional<NSFileProviderPage>&) override {}
  std::vector<SharedItem> items;
};

TEST_F(ExtensionTest, keepsItsDomain) {
  EXPECT_EQ(extension.domain().identifier, "domain");
  EXPECT_EQ(extension.domain().displayName, "Tovrin");
}

TEST_F(ExtensionTest, makesNothingOnDisk) {
  lookUp("warped-root");
  EXPECT_FALSE(std::filesystem::exists(platform.warpDirectory()));
}

TEST_F(ExtensionTest, looksUpTheRootContainer) {
  const auto lookup = lookUp(std::string(NSFileProviderRootContainerItemIdentifier));
  ASSERT_NE(lookup.item, nullptr);
  EXPECT_EQ(lookup.item->filename(), "Tovrin");
}

TEST_F(ExtensionTest, looksUpWarpedFiles) {
  const auto lookup = lookUp("warped-root");
  ASSERT_NE(lookup.item, nullptr);
  EXPECT_EQ(lookup.item->filename(), "Warped Files");
}

TEST_F(ExtensionTest, whatDoesNotParseOrExistIsANullItemWithoutAnError) {
  for (const char* identifier : {"bogus", "entry:only-two", "manifest:unknown", "entry:W1:YQ", ""}) {
    EXPECT_EQ(lookUp(identifier).item, nullptr) << identifier;
  }
}

TEST_F(ExtensionTest, looksUpAHiddenWarp) {
  ManifestSpec hidden = warp("W1", "/Photos");
  hidden.status = "uploading";
  install(hidden);
  EXPECT_NE(lookUp("manifest:W1").item, nullptr);
  EXPECT_NE(lookUp(entryIdentifier("W1", "/Photos/a.txt")).item, nullptr);
}

TEST_F(ExtensionTest, stillLooksUpAfterInvalidate) {
  extension.invalidate();
  EXPECT_NE(lookUp("warped-root").item, nullptr);
}

TEST_F(ExtensionTest, givesAnEnumeratorForAnyIdentifier) {
  for (const std::string_view identifier :
       {NSFileProviderRootContainerItemIdentifier, NSFileProviderWorkingSetContainerItemIdentifier,
        NSFileProviderTrashContainerItemIdentifier, std::string_view("bogus"), std::string_view("")}) {
    EXPECT_NE(extension.enumeratorForContainerItemIdentifier(std::string(identifier)), nullptr) << identifier;
  }
}

TEST_F(ExtensionTest, anEnumeratorSharesTheCacheOfTheExtension) {
  install(warp("W1", "/Photos"));
  const auto enumerator = extension.enumeratorForContainerItemIdentifier("warped-root");
  Listing first;
  enumerator->enumerateItems(first, "");
  EXPECT_EQ(filenames(first.items), (Names{"Photos"}));
  ManifestSpec renamed = warp("W1", "/Photos");
  renamed.displayName = "renamed";
  install(renamed);
  EXPECT_EQ(lookUp("manifest:W1").item->filename(), "Photos");
  platform.clock.advance(1);
  EXPECT_EQ(lookUp("manifest:W1").item->filename(), "renamed");
}

TEST_F(ExtensionTest, anEnumeratorOutlivesTheExtension) {
  install(warp("W1", "/Photos"));
  std::unique_ptr<NSFileProviderEnumerator> enumerator;
  {
    TovrinFileProviderExtension shortLived({"other", "Other"}, platform.platform());
    enumerator = shortLived.enumeratorForContainerItemIdentifier("warped-root");
  }
  Listing listing;
  enumerator->enumerateItems(listing, "");
  EXPECT_EQ(filenames(listing.items), (Names{"Photos"}));
}

TEST_F(ExtensionTest, refusesToCreate) {
  int calls = 0;
  const SharedItem original = lookUp("warped-root").item;
  const auto progress = extension.createItemBasedOnTemplate(
      *original, NSFileProviderItemFilename, std::nullopt,
      [&](const SharedItem& item, NSFileProviderItemFields pending, bool fetch, const std::optional<NSError>& error) {
        ++calls;
        EXPECT_EQ(item, nullptr);
        EXPECT_EQ(pending, NSFileProviderItemNoFields);
        EXPECT_FALSE(fetch);
        ASSERT_TRUE(error);
        EXPECT_TRUE(error->isSameInstance(readOnlyError()));
      });
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(progress->totalUnitCount(), 1);
  EXPECT_EQ(progress->completedUnitCount(), 1);
}

TEST_F(ExtensionTest, refusesToDelete) {
  int calls = 0;
  const auto progress = extension.deleteItemWithIdentifier("warped-root", {}, [&](const std::optional<NSError>& error) {
    ++calls;
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->isSameInstance(readOnlyError()));
  });
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(progress->totalUnitCount(), 1);
  EXPECT_EQ(progress->completedUnitCount(), 1);
}

TEST_F(ExtensionTest, refusesToFetchAFolder) {
  std::promise<std::optional<NSError>> refused;
  const auto progress =
      extension.fetchContentsForItemWithIdentifier("warped-root", std::nullopt,
                                                   [&](const std::optional<std::filesystem::path>& file,
                                                       const SharedItem& item, const std::optional<NSError>& error) {
                                                     EXPECT_FALSE(file);
                                                     EXPECT_EQ(item, nullptr);
                                                     refused.set_value(error);
                                                   });
  EXPECT_EQ(refused.get_future().get(), notOnDemandError());
  EXPECT_EQ(progress->totalUnitCount(), 100);
}

TEST_F(ExtensionTest, refusesAChangeOfMetadata) {
  install(warp("W1", "/Photos"));
  const SharedItem item = lookUp(entryIdentifier("W1", "/Photos/a.txt")).item;
  std::promise<std::optional<NSError>> refused;
  const auto progress = extension.modifyItem(
      item, item->itemVersion(), NSFileProviderItemFilename, std::nullopt,
      [&](const SharedItem& changed, NSFileProviderItemFields, bool, const std::optional<NSError>& error) {
        EXPECT_EQ(changed, nullptr);
        refused.set_value(error);
      });
  EXPECT_EQ(refused.get_future().get(), readOnlyError());
  EXPECT_EQ(progress->totalUnitCount(), 100);
}

/// Listens on a port of its own and never answers, so whoever asks it waits.
class SilentServer {
 public:
  SilentServer() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (bind(descriptor_, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(descriptor_, 8) != 0 ||
        getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      throw std::runtime_error("cannot listen on loopback");
    }
    port_ = ntohs(address.sin_port);
  }
  ~SilentServer() { close(descriptor_); }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  /// The first connection, which the caller closes.
  int awaitConnection() const { return accept(descriptor_, nullptr, nullptr); }

 private:
  int descriptor_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int port_ = 0;
};

TEST_F(ExtensionTest, endsAndAwaitsARunningFetchWhenItIsDestroyed) {
  const SilentServer worker;
  installConnection(platform, worker.address(), "password");
  install(warp("W1", "/Photos", {fileEntry("/Photos/a.txt", "text", "objects/a")}));
  std::optional<NSError> ended;
  int connection = -1;
  {
    TovrinFileProviderExtension shortLived({"other", "Other"}, platform.platform());
    shortLived.fetchContentsForItemWithIdentifier(entryIdentifier("W1", "/Photos/a.txt"), std::nullopt,
                                                  [&](const std::optional<std::filesystem::path>&, const SharedItem&,
                                                      const std::optional<NSError>& error) { ended = error; });
    connection = worker.awaitConnection();
  }
  close(connection);
  ASSERT_TRUE(ended);
  EXPECT_TRUE(ended->is(CocoaErrorCode::userCancelled)) << ended->domain() << " " << ended->code();
}

TEST_F(ExtensionTest, mayGoWithTheLastOfItsCompletions) {
  struct Hold {
    ~Hold() {
      extension.reset();
      released.set_value();
    }
    std::shared_ptr<TovrinFileProviderExtension> extension;
    std::promise<void> released;
  };
  install(warp("W1", "/Photos", {{.path = "/Photos/link", .kind = "symlink", .symlinkTarget = "a.txt"}}));
  auto hold = std::make_shared<Hold>();
  hold->extension =
      std::make_shared<TovrinFileProviderExtension>(NSFileProviderDomain{"other", "Other"}, platform.platform());
  std::future<void> released = hold->released.get_future();
  std::promise<void> mayComplete;
  const std::weak_ptr<TovrinFileProviderExtension> observer = hold->extension;
  TovrinFileProviderExtension& running = *hold->extension;
  running.fetchContentsForItemWithIdentifier(
      entryIdentifier("W1", "/Photos/link"), std::nullopt,
      [hold, end = mayComplete.get_future().share()](const std::optional<std::filesystem::path>& file,
                                                     const SharedItem&, const std::optional<NSError>&) {
        EXPECT_TRUE(file);
        end.wait();
      });
  hold.reset();
  EXPECT_FALSE(observer.expired());
  mayComplete.set_value();
  released.wait();
}

}  // namespace
}  // namespace tovrin
