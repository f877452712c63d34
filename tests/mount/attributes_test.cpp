#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "mount/edit_fixture.h"

namespace tovrin {

namespace {

constexpr const char* kState = "user.tovrin.state";
constexpr const char* kProgress = "user.tovrin.progress";
constexpr const char* kError = "user.tovrin.error";
constexpr const char* kTags = "user.com.apple.metadata:_kMDItemUserTags";

class Attributes : public EditTest {};

TEST_F(Attributes, tellWhatIsHere) {
  EXPECT_EQ(attribute(notes(), kState), "remote");
  EXPECT_EQ(attribute(notes(), kProgress), "0");
  EXPECT_EQ(readFile(notes()), text_);
  EXPECT_EQ(attribute(notes(), kState), "cached");
  EXPECT_EQ(attribute(notes(), kProgress), "100");
  EXPECT_EQ(append(notes(), "four\n"), 0);
  EXPECT_EQ(attribute(notes(), kState), "edited");
  EXPECT_EQ(attribute(notes(), kProgress), "100");
  EXPECT_EQ(attribute(notes(), kError), std::nullopt);
}

TEST_F(Attributes, tellHowFarADownloadIs) {
  makeWarp({"--layout", "parts", "--part-size", "64KiB"});
  remount();
  ASSERT_TRUE(worker_.addFault("delay seconds=0.1 route=object"));
  const auto reader = start("exec cat $D/big.bin");
  ASSERT_TRUE(eventually([&] { return state(big()) == "opening"; }));
  EXPECT_TRUE(eventually([&] {
    const int percent = std::stoi(attribute(big(), kProgress).value_or("0"));
    return percent > 0 && percent < 100;
  }));
  worker_.clearFaults();
  EXPECT_EQ(reader->finish().output, bytes_);
  EXPECT_EQ(attribute(big(), kProgress), "100");
}

TEST_F(Attributes, areReadByThePluginForFiles) {
  // The plugin itself, and names for the file manager's classes that it derives from.
  const std::string states = R"(python3 -c '
import sys, types
gi = types.ModuleType("gi")
gi.repository = types.ModuleType("gi.repository")
gi.repository.GLib = gi.repository.GObject = gi.repository.Nautilus = types.SimpleNamespace(
    GObject=type("GObject", (), {}), InfoProvider=type("InfoProvider", (), {}))
sys.modules["gi"], sys.modules["gi.repository"] = gi, gi.repository
sys.path.insert(0, sys.argv[1])
sys.dont_write_bytecode = True
import tovrin
print(*(tovrin.state(path) for path in sys.argv[2:]))' )"
                             "'" TOVRIN_SOURCE "/desktop/nautilus' ";
  EXPECT_EQ(readFile(big()), bytes_);
  EXPECT_EQ(run(states + "$D/notes.txt $D/big.bin $D $D/nowhere /etc/passwd").output, "remote cached None None None\n");
}

TEST_F(Attributes, tellTheErrorUntilItIsMadeGood) {
  ASSERT_TRUE(worker_.addFault("flip at=5 route=object times=1"));
  EXPECT_EQ(run("cat $D/notes.txt").status, 1);
  EXPECT_EQ(attribute(notes(), kState), "issue");
  EXPECT_EQ(attribute(notes(), kError), "The downloaded warped file did not match its manifest checksum.");
  EXPECT_EQ(attribute(notes(), kProgress), std::nullopt);
  EXPECT_EQ(readFile(notes()), text_);
  EXPECT_EQ(attribute(notes(), kState), "cached");
  EXPECT_EQ(attribute(notes(), kError), std::nullopt);
}

TEST_F(Attributes, tellTheIdentifierAndTheTag) {
  EXPECT_TRUE(attribute(notes(), "user.tovrin.id").value_or("").starts_with("entry:Docs:"));
  EXPECT_TRUE(attribute(notes(), kTags).value_or("").starts_with("bplist00"));
  const auto before = attribute(notes(), kTags);
  EXPECT_EQ(readFile(notes()), text_);
  EXPECT_NE(attribute(notes(), kTags), before);
}

TEST_F(Attributes, areNotListed) {
  EXPECT_EQ(listxattr(notes().c_str(), nullptr, 0), 0);
  EXPECT_EQ(run("getfattr -d -m - $D/notes.txt").output, "");
  EXPECT_EQ(run("cp -a $D/notes.txt copy && getfattr -d -m - copy").output, "");
  EXPECT_EQ(attribute(work() / "copy", kState), std::nullopt);
}

TEST_F(Attributes, areNoOthers) {
  for (const char* name : {"user.other", "security.selinux", "system.posix_acl_access", "trusted.overlay"}) {
    char value[16];
    EXPECT_EQ(getxattr(notes().c_str(), name, value, sizeof value), -1) << name;
    EXPECT_TRUE(errno == ENODATA || errno == EOPNOTSUPP) << name << ": " << errno;
  }
  char tiny[2];
  EXPECT_EQ(getxattr(notes().c_str(), kState, tiny, sizeof tiny), -1);
  EXPECT_EQ(errno, ERANGE);
}

}  // namespace

}  // namespace tovrin
