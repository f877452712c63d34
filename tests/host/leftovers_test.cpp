#include "host/leftovers.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "foundation/uuid.h"
#include "materialize/fetch_destination.h"
#include "support/test_platform.h"

namespace tovrin::host {
namespace {

class Leftovers : public testing::Test {
 protected:
  static Date inHours(double hours) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return Date{std::chrono::duration<double>(now).count()} + hours * 3600;
  }
  std::filesystem::path deliveries() const { return deliveryDirectory(directories_).value(); }

  /// A file as a fetch makes it, or something else.
  std::filesystem::path make(const std::filesystem::path& folder, const std::string& name) {
    writeFile(folder / name, "bytes");
    return folder / name;
  }
  void sweep(double hoursLater) { sweepDeliveries(directories_, inHours(hoursLater)); }

  ScratchFolder scratch_;
  TestDirectories directories_{scratch_.path()};
};

TEST_F(Leftovers, areAllThatKilledFetchesLeft) {
  make(deliveries(), makeUUIDString() + ".jpg");
  make(deliveries(), makeUUIDString() + ".warp");
  make(deliveries(), "." + makeUUIDString() + ".stored");
  make(directories_.temporary, "tovrin-provider-" + makeUUIDString() + ".decoded");
  sweep(25);
  EXPECT_EQ(countFiles(deliveries()), 0U);
  EXPECT_EQ(countFiles(directories_.temporary), 0U);
}

TEST_F(Leftovers, areADayOld) {
  const auto file = make(deliveries(), makeUUIDString() + ".jpg");
  // Delivered files have the dates of their entries: what counts is when they came here.
  const timespec times[2] = {{1, 0}, {1, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  sweep(23);
  EXPECT_TRUE(std::filesystem::exists(file));
  sweep(25);
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Leftovers, areNotWhatOthersCallTheirs) {
  const std::string id = makeUUIDString();
  for (const std::string& name :
       {id, id + ".", "x" + id + ".jpg", "." + id + ".stored2", std::string("picture.jpg"),
        "tovrin-provider-" + id + ".decoded", id.substr(0, 35) + "g.jpg", id.substr(0, 35) + ".jpg"}) {
    make(deliveries(), name);
  }
  for (const std::string& name : {id + ".jpg", "tovrin-provider-" + id, std::string("tovrin-provider-x.decoded")}) {
    make(directories_.temporary, name);
  }
  sweep(25);
  EXPECT_EQ(countFiles(deliveries()), 8U);
  EXPECT_EQ(countFiles(directories_.temporary), 3U);
}

TEST_F(Leftovers, areFilesAndNothingElse) {
  const auto target = make(scratch_.path(), "target");
  const auto folder = deliveries() / (makeUUIDString() + ".folder");
  make(folder, makeUUIDString() + ".jpg");
  std::filesystem::create_symlink(target, deliveries() / (makeUUIDString() + ".link"));
  std::filesystem::create_directory_symlink(folder, deliveries() / (makeUUIDString() + ".jpg"));
  sweep(25);
  EXPECT_EQ(countFiles(deliveries()), 4U);
  EXPECT_TRUE(std::filesystem::exists(target));
}

TEST_F(Leftovers, areOpenNowhere) {
  const auto file = make(deliveries(), makeUUIDString() + ".jpg");
  const auto other = make(deliveries(), makeUUIDString() + ".jpg");
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(descriptor, 0);
  sweep(25);
  EXPECT_TRUE(std::filesystem::exists(file));
  EXPECT_FALSE(std::filesystem::exists(other));
  ::close(descriptor);
  sweep(25);
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Leftovers, areFoundThroughALinkedFolder) {
  const auto real = scratch_ / "real";
  const auto file = make(real / "TovrinFileProvider", makeUUIDString() + ".jpg");
  std::filesystem::create_directory_symlink(real, scratch_ / "link");
  directories_.providerTemporary = Result<std::filesystem::path>(scratch_ / "link");
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(descriptor, 0);
  sweep(25);
  EXPECT_TRUE(std::filesystem::exists(file));
  ::close(descriptor);
  sweep(25);
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Leftovers, needNoFolder) {
  directories_.temporary = scratch_ / "missing";
  sweep(25);
  directories_.providerTemporary.reset();
  sweep(25);
  EXPECT_FALSE(std::filesystem::exists(scratch_ / "missing"));
}

}  // namespace
}  // namespace tovrin::host
