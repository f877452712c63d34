#include "host/domain_key.h"

#include <gtest/gtest.h>

#include "platform/sha256.h"
#include "support/scratch_folder.h"

namespace tovrin::host {
namespace {

class DomainKey : public testing::Test {
 protected:
  DomainKey() { std::filesystem::create_directories(warp_); }

  ScratchFolder scratch_;
  std::filesystem::path warp_ = scratch_ / "container/Warp";
};

TEST_F(DomainKey, isTheBeginningOfTheDirectorysDigest) {
  const std::string canonical = std::filesystem::canonical(warp_).native();
  EXPECT_EQ(domainKey(warp_), sha256Hex(canonical).substr(0, 16));
  EXPECT_EQ(domainKey(warp_).size(), 16u);
}

TEST_F(DomainKey, isTheSameByEveryWayToTheDirectory) {
  std::filesystem::create_directory_symlink(scratch_ / "container", scratch_ / "link");
  EXPECT_EQ(domainKey(scratch_ / "link/Warp"), domainKey(warp_));
  EXPECT_EQ(domainKey(scratch_ / "container/../container/Warp"), domainKey(warp_));
}

TEST_F(DomainKey, staysTheSameWhenTheDirectoryIsMade) {
  const auto later = scratch_ / "later/Warp";
  const std::string before = domainKey(later);
  std::filesystem::create_directories(later);
  EXPECT_EQ(domainKey(later), before);
}

TEST_F(DomainKey, isAnotherForAnotherDirectory) { EXPECT_NE(domainKey(scratch_ / "other/Warp"), domainKey(warp_)); }

}  // namespace
}  // namespace tovrin::host
