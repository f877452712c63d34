#include "platform/directories.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <optional>
#include <string>

namespace tovrin {
namespace {

/// Sets or unsets a variable until the end of the test.
class Variable {
 public:
  Variable(std::string name, const char* value) : name_(std::move(name)) {
    if (const char* before = getenv(name_.c_str())) before_ = before;
    assign(value);
  }
  ~Variable() { assign(before_ ? before_->c_str() : nullptr); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  void assign(const char* value) const {
    if (value == nullptr) {
      unsetenv(name_.c_str());
    } else {
      setenv(name_.c_str(), value, 1);
    }
  }

  std::string name_;
  std::optional<std::string> before_;
};

class LinuxDirectories : public testing::Test {
 private:
  Variable home_{"HOME", "/home/ann"};
  Variable data_{"XDG_DATA_HOME", nullptr};
  Variable state_{"XDG_STATE_HOME", nullptr};
  Variable cache_{"XDG_CACHE_HOME", nullptr};
  Variable temporary_{"TMPDIR", nullptr};
};

TEST_F(LinuxDirectories, haveNoContainerUnlessTheUserNamesOne) {
  EXPECT_EQ(makeDirectories()->appGroupContainer(), std::nullopt);
  EXPECT_EQ(makeDirectories("")->appGroupContainer(), std::nullopt);
  EXPECT_EQ(makeDirectories("/srv/group")->appGroupContainer(), "/srv/group");
}

TEST_F(LinuxDirectories, keepARelativeContainerWhereTheUserStood) {
  EXPECT_EQ(makeDirectories("group")->appGroupContainer(), std::filesystem::current_path() / "group");
}

TEST_F(LinuxDirectories, lieBelowTheHomeDirectory) {
  const auto directories = makeDirectories();
  EXPECT_EQ(directories->applicationSupport(), "/home/ann/.local/share");
  EXPECT_EQ(directories->localState(), "/home/ann/.local/state");
  const auto provider = directories->providerTemporaryDirectory();
  ASSERT_TRUE(provider && provider->has_value());
  EXPECT_EQ(**provider, "/home/ann/.cache/tovrin");
  EXPECT_EQ(directories->temporaryDirectory(), "/tmp");
}

TEST_F(LinuxDirectories, followTheBaseDirectoryVariables) {
  const Variable data("XDG_DATA_HOME", "/data");
  const Variable state("XDG_STATE_HOME", "/state");
  const Variable cache("XDG_CACHE_HOME", "/cache");
  const Variable temporary("TMPDIR", "/scratch");
  const auto directories = makeDirectories();
  EXPECT_EQ(directories->applicationSupport(), "/data");
  EXPECT_EQ(directories->localState(), "/state");
  EXPECT_EQ(directories->providerTemporaryDirectory()->value(), "/cache/tovrin");
  EXPECT_EQ(directories->temporaryDirectory(), "/scratch");
}

TEST_F(LinuxDirectories, ignoreRelativeAndEmptyVariables) {
  for (const char* value : {"relative/path", "./x", "~/x", ""}) {
    const Variable data("XDG_DATA_HOME", value);
    const Variable cache("XDG_CACHE_HOME", value);
    const Variable temporary("TMPDIR", value);
    const auto directories = makeDirectories();
    EXPECT_EQ(directories->applicationSupport(), "/home/ann/.local/share") << value;
    EXPECT_EQ(directories->providerTemporaryDirectory()->value(), "/home/ann/.cache/tovrin") << value;
    EXPECT_EQ(directories->temporaryDirectory(), "/tmp") << value;
  }
}

TEST_F(LinuxDirectories, findTheHomeDirectoryWithoutTheVariable) {
  for (const char* value : {static_cast<const char*>(nullptr), "", "relative"}) {
    const Variable home("HOME", value);
    const auto support = makeDirectories()->applicationSupport();
    if (!support) GTEST_SKIP() << "this user has no home directory on record";
    EXPECT_TRUE(support->is_absolute());
    EXPECT_TRUE(support->native().ends_with("/.local/share"));
  }
}

TEST_F(LinuxDirectories, doNotMoveWhenTheEnvironmentChangesLater) {
  const auto directories = makeDirectories();
  const Variable home("HOME", "/home/ben");
  EXPECT_EQ(directories->applicationSupport(), "/home/ann/.local/share");
}

}  // namespace
}  // namespace tovrin
