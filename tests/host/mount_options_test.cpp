#include "host/mounting/mount_options.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "host/size_text.h"
#include "support/scratch_folder.h"

namespace tovrin::host {
namespace {

using Options = std::vector<std::string>;

/// Notes all options of a list; the first complaint.
std::optional<OptionComplaint> applyAll(std::string_view list, MountRequest& request,
                                        const std::filesystem::path& cacheFolder = "/nowhere/yet") {
  for (const std::string& option : splitMountOptions(list)) {
    if (const auto applied = applyMountOption(option, cacheFolder, request); !applied) return applied.error();
  }
  return std::nullopt;
}

MountRequest applied(std::string_view list) {
  MountRequest request;
  const auto complaint = applyAll(list, request);
  EXPECT_FALSE(complaint) << list << ": " << complaint.value_or(OptionComplaint{}).message;
  return request;
}

std::string complaintAbout(std::string_view list) {
  MountRequest request;
  const auto complaint = applyAll(list, request);
  if (!complaint) return "none";
  return complaint->message.empty() ? "unknown: " + complaint->name : complaint->name + ": " + complaint->message;
}

TEST(MountOptions, areSplitAtCommasThatAreNotEscaped) {
  EXPECT_EQ(splitMountOptions("a,b=c,d"), (Options{"a", "b=c", "d"}));
  EXPECT_EQ(splitMountOptions(R"(container=/a\,b,ro)"), (Options{"container=/a,b", "ro"}));
  EXPECT_EQ(splitMountOptions(R"(x-a=\\,y\)"), (Options{R"(x-a=\)", R"(y\)"}));
  EXPECT_EQ(splitMountOptions(",a,,b,"), (Options{"a", "b"}));
  EXPECT_EQ(splitMountOptions(""), Options{});
}

TEST(MountOptions, ofOurOwnAreNoted) {
  const MountRequest request = applied(
      "cache_size=3G,crawlers=allow,crawler=scan*,crawler=walk,max_fetches=3,offline,notify=none,owner=manifest,"
      "uid=1234,gid=5678,umask=027,container=/shared container");
  EXPECT_EQ(request.limits.cacheBytes, std::int64_t{3} << 30);
  EXPECT_EQ(request.crawlers, CrawlerMode::allow);
  EXPECT_EQ(request.moreCrawlers, (Options{"scan*", "walk"}));
  EXPECT_EQ(request.maxFetches, 3U);
  EXPECT_TRUE(request.offline);
  EXPECT_FALSE(request.notifyErrors);
  EXPECT_EQ(request.owner, OwnerMode::manifest);
  EXPECT_EQ(request.userID, 1234U);
  EXPECT_EQ(request.groupID, 5678U);
  EXPECT_EQ(request.umask, 027U);
  EXPECT_EQ(request.container, "/shared container");
  EXPECT_EQ(request.fuseOptions, Options{});
}

TEST(MountOptions, nameUsersAndGroupsAlsoByTheirNames) {
  const MountRequest request = applied("uid=root,gid=root");
  EXPECT_EQ(request.userID, 0U);
  EXPECT_EQ(request.groupID, 0U);
}

TEST(MountOptions, ofWhichTheLastOneCounts) {
  EXPECT_EQ(applied("crawlers=allow,crawlers=deny").crawlers, CrawlerMode::deny);
  EXPECT_EQ(applied("owner=manifest,owner=user").owner, OwnerMode::mountingUser);
  const MountRequest request = applied("ro,ro,rw");
  EXPECT_FALSE(request.isReadOnly);
  EXPECT_EQ(request.fuseOptions, Options{});
  EXPECT_EQ(applied("rw,ro").fuseOptions, Options{"ro"});
  EXPECT_TRUE(applied("rw,ro").isReadOnly);
}

TEST(MountOptions, forTheKernelArePassedOn) {
  const MountRequest request =
      applied("allow_other,fsname=photos\\,2,subtype=sshfs,nosuid,nodev,noexec,noatime,nosuid");
  EXPECT_EQ(request.fuseOptions,
            (Options{"allow_other", "fsname=photos\\,2", "subtype=sshfs", "nosuid", "nodev", "noexec", "noatime"}));
  EXPECT_TRUE(isShared(request));
  EXPECT_FALSE(isShared(applied("nosuid")));
  EXPECT_TRUE(isShared(applied("allow_root")));
  EXPECT_TRUE(isDebugging(applied("debug")));
  EXPECT_FALSE(isDebugging(request));
}

TEST(MountOptions, ofFstabAreSwallowed) {
  const MountRequest request = applied(
      "rw,defaults,_netdev,nofail,noauto,auto,user,user=ann,users,nouser,owner,group,exec,async,relatime,nodiratime,"
      "x-gvfs-notrash,x-systemd.automount,X-mount.mkdir=0700,comment=photos,default_permissions");
  EXPECT_EQ(request.fuseOptions, Options{});
  EXPECT_EQ(request.owner, OwnerMode::mountingUser);
}

TEST(MountOptions, thatNobodyKnowsAreNamed) {
  EXPECT_EQ(complaintAbout("ro,bogus"), "unknown: bogus");
  EXPECT_EQ(complaintAbout("bogus=1"), "unknown: bogus");
  EXPECT_EQ(complaintAbout("nonempty"), "unknown: nonempty");
  EXPECT_EQ(complaintAbout("allow_other=1"), "unknown: allow_other");
  EXPECT_EQ(complaintAbout("offline=no"), "unknown: offline");
}

TEST(MountOptions, withAWrongValueSayWhatIsRight) {
  const std::vector<std::pair<std::string, std::string>> wrong{
      {"cache_size=much", "cache_size: “much” is no size; write 500M or 10G"},
      {"cache_size", "cache_size: a value is missing"},
      {"cache_free=10", "cache_free: “10” is no part of a disk; write 10% or 20G"},
      {"cache_free=-1%", "cache_free: “-1%” is no part of a disk; write 10% or 20G"},
      {"cache_free=nan%", "cache_free: “nan%” is no part of a disk; write 10% or 20G"},
      {"cache_free=100%", "cache_free: “100%” is the whole disk"},
      {"crawlers=some", "crawlers: “some” is neither deny nor allow"},
      {"max_fetches=0", "max_fetches: “0” is no number from 1 to 64"},
      {"max_fetches=65", "max_fetches: “65” is no number from 1 to 64"},
      {"max_fetches=2x", "max_fetches: “2x” is no number from 1 to 64"},
      {"notify=all", "notify: “all” is neither errors nor none"},
      {"owner=me", "owner: “me” is neither user nor manifest"},
      {"uid=no such user", "uid: there is no user “no such user”"},
      {"gid=no such group", "gid: there is no group “no such group”"},
      {"umask=8", "umask: “8” is no octal number from 0 to 777"},
      {"umask=1777", "umask: “1777” is no octal number from 0 to 777"},
      {"container=", "container: a value is missing"},
      {"subtype", "subtype: a value is missing"},
      {"fsname=", "fsname: a value is missing"},
      {"allow_other,allow_root", "allow_root: allow_other and allow_root exclude each other"},
  };
  for (const auto& [option, complaint] : wrong) EXPECT_EQ(complaintAbout(option), complaint);
}

TEST(MountOptions, keepRoomAsAShareOrInBytes) {
  EXPECT_DOUBLE_EQ(applied("cache_free=12.5%").limits.keepFree, 0.125);
  EXPECT_DOUBLE_EQ(applied("cache_free=0%").limits.keepFree, 0);
  const ScratchFolder scratch;
  struct statvfs disk{};
  ASSERT_EQ(statvfs(scratch.path().c_str(), &disk), 0);
  MountRequest request;
  EXPECT_FALSE(applyAll("cache_free=1M", request, scratch / "not/there/yet"));
  const double diskBytes = static_cast<double>(disk.f_blocks) * static_cast<double>(disk.f_frsize);
  EXPECT_DOUBLE_EQ(request.limits.keepFree, 1048576 / diskBytes);
}

TEST(Sizes, areReadAsPeopleWriteThem) {
  constexpr std::int64_t kGiB = std::int64_t{1} << 30;
  EXPECT_EQ(parseSize("4096"), 4096);
  EXPECT_EQ(parseSize("0"), 0);
  EXPECT_EQ(parseSize("10B"), 10);
  EXPECT_EQ(parseSize("1k"), 1024);
  EXPECT_EQ(parseSize("1.5G"), kGiB * 3 / 2);
  EXPECT_EQ(parseSize("10 GiB"), kGiB * 10);
  EXPECT_EQ(parseSize("2gib"), kGiB * 2);
  EXPECT_EQ(parseSize("10GB"), 10'000'000'000);
  EXPECT_EQ(parseSize("1T"), kGiB * 1024);
  EXPECT_EQ(parseSize("1E"), kGiB * kGiB);
  for (const char* wrong : {"", "G", "-1", "1e3", "inf", "nan", "1X", "1GiBs", "1 G B", "10E", "0x10"}) {
    EXPECT_EQ(parseSize(wrong), std::nullopt) << wrong;
  }
}

}  // namespace
}  // namespace tovrin::host
