#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <random>
#include <thread>

#include "mount/edit_fixture.h"

namespace tovrin {

namespace {

namespace fs = std::filesystem;

constexpr unsigned kFiles = 8;
constexpr unsigned kKills = 12;

/// The host is killed at any moment while programs read and save, again and again.
class Kill : public MountTest {
 protected:
  void SetUp() override {
    MountTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    for (unsigned number = 0; number < 2 * kFiles; ++number) {
      contents_.push_back(noise(50'000 + number * 30'011, number + 1));
      write(name(number), contents_.back());
    }
    makeWarp();
  }

  static std::string name(unsigned number) { return std::to_string(number) + ".bin"; }
  fs::path file(unsigned number) const { return shown() / name(number); }

  /// Reads the upper files, which nobody edits, until the host is gone; evicts nothing, so that copies pile up.
  void readUntilKilled(unsigned seed) {
    std::mt19937 random(seed);
    while (!isKilled_) {
      const unsigned number = kFiles + random() % kFiles;
      const int descriptor = open(file(number).c_str(), O_RDONLY | O_CLOEXEC);
      if (descriptor < 0) continue;
      std::string bytes(contents_[number].size() + 1, '\0');
      const ssize_t size = read(descriptor, bytes.data(), bytes.size());
      close(descriptor);
      if (size < 0) continue;
      bytes.resize(static_cast<std::size_t>(size));
      if (!contents_[number].starts_with(bytes)) ++wrongReads_;
    }
  }

  /// Saves the file anew until the host is gone, and remembers what was accepted last.
  void saveUntilKilled(unsigned number, unsigned seed) {
    for (unsigned round = 1; !isKilled_; ++round) {
      const std::string bytes = noise(1000 + (seed * 7919 + round * 104'729) % 100'000, seed * 1000 + round);
      underWay_[number].push_back(bytes);
      const int descriptor = open(file(number).c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
      if (descriptor < 0) continue;
      const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
      const bool isClosed = close(descriptor) == 0;
      if (written == static_cast<ssize_t>(bytes.size()) && isClosed) {
        contents_[number] = bytes;
        underWay_[number].clear();
      }
    }
  }

  void killWhileUsed(unsigned seed) {
    isKilled_ = false;
    std::vector<std::jthread> programs;
    programs.emplace_back([&] { readUntilKilled(seed); });
    programs.emplace_back([&] { readUntilKilled(seed + 1000); });
    for (unsigned number = 0; number < 2; ++number) {
      programs.emplace_back([this, seed, number] { saveUntilKilled((seed * 2 + number) % kFiles, seed); });
    }
    std::mt19937 random(seed);
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 200));
    killMount();
    isKilled_ = true;
  }

  /// The copies that the shared journal keeps for the main application.
  std::vector<std::string> keptForUpload() const {
    std::vector<std::string> kept;
    std::error_code none;
    for (const auto& entry : fs::recursive_directory_iterator(platform_.warpDirectory(), none)) {
      const bool isCopy = entry.is_regular_file() && entry.path().string().contains("FileProviderPendingWriteback");
      if (isCopy) kept.push_back(readFile(entry.path()));
    }
    return kept;
  }

  void expectAcceptedEdits(unsigned seed) {
    const std::vector<std::string> kept = keptForUpload();
    for (unsigned number = 0; number < kFiles; ++number) {
      const std::string shown = readFile(file(number));
      const auto isThere = [&](const std::string& save) {
        return shown == save || std::ranges::find(kept, save) != kept.end();
      };
      std::vector<std::string>& underWay = underWay_[number];
      if (!underWay.empty()) {
        // One may have been accepted all the same, and is set aside otherwise: then the mount shows what is stored.
        EXPECT_TRUE(isThere(contents_[number]) || std::ranges::any_of(underWay, isThere))
            << "kill " << seed << ": the last save of " << name(number) << " is gone";
      } else {
        EXPECT_TRUE(shown == contents_[number]) << "kill " << seed << ": " << name(number) << " is not the last save";
      }
    }
  }

  std::vector<std::string> contents_;
  std::array<std::vector<std::string>, kFiles> underWay_;  ///< saves that no program knows to be accepted
  std::atomic<bool> isKilled_ = false;
  std::atomic<unsigned> wrongReads_ = 0;
};

TEST_F(Kill, neverLosesAnAcceptedEditNorServesAWrongCopy) {
  for (unsigned seed = 1; seed <= kKills && !HasFailure(); ++seed) {
    mount();
    ASSERT_FALSE(HasFatalFailure());
    killWhileUsed(seed);
    mount();
    ASSERT_FALSE(HasFatalFailure());
    expectAcceptedEdits(seed);
    for (unsigned number = kFiles; number < 2 * kFiles; ++number) {
      EXPECT_TRUE(readFile(file(number)) == contents_[number]) << "kill " << seed << ": " << name(number);
    }
    unmount();
  }
  EXPECT_EQ(wrongReads_, 0U);
}

TEST_F(Kill, halfASecondSaveIsSetAsideAndTheFirstIsKept) {
  mount();
  EXPECT_EQ(OpenedFile(file(0), O_WRONLY | O_TRUNC).close(), 0);
  {
    OpenedFile first(file(0), O_WRONLY);
    first.writeAt(0, "the first save");
    EXPECT_EQ(first.close(), 0);
    const OpenedFile second(file(0), O_WRONLY | O_TRUNC);
    second.writeAt(0, "half of");
    killMount();
  }
  mount();
  const std::vector<PendingEdit> kept = pendingEdits(platform_.warpDirectory());
  ASSERT_EQ(kept.size(), 1U);
  EXPECT_EQ(kept.front().bytes, "the first save");
  EXPECT_NE(readFile(file(0)), "half of");
  EXPECT_EQ(run("cat $HOME/state/tovrin/*/interrupted/*").output, "half of");
}

TEST_F(Kill, fetchesAnewWhatAKillCutOff) {
  ASSERT_TRUE(worker_.addFault("stall after=20000 route=object"));
  mount();
  const auto reader = start("exec cat $D/8.bin");
  ASSERT_TRUE(eventually([&] { return downloads() == 1; }));
  killMount();
  const Ended failed = reader->finish();
  EXPECT_EQ(failed.status, 1);
  EXPECT_LT(failed.output.size(), 1000U);
  worker_.clearFaults();
  mount();
  EXPECT_TRUE(readFile(file(kFiles)) == contents_[kFiles]);
}

}  // namespace

}  // namespace tovrin
