#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <random>
#include <set>
#include <string>

#include "local/edit_fixture.h"
#include "platform/sha256.h"

namespace tovrin {
namespace {

constexpr int kFiles = 3;
constexpr int kOrdinaryRecords = 300;

std::string fileName(int edit) { return "file" + std::to_string(edit % kFiles) + ".bin"; }

/// The contents of an edit tell its number.
std::string contentsOf(int edit) {
  std::string contents = std::to_string(edit) + "\n";
  contents.resize(contents.size() + static_cast<std::size_t>(edit) * 7919 % 200000, static_cast<char>('a' + edit % 26));
  return contents;
}

/// Another process that saves one edit after the other and reports each that was accepted, until it is killed.
class EditingProcess {
 public:
  EditingProcess(EditWorld& world, int firstEdit) {
    std::array<int, 2> pipe{};
    if (pipe2(pipe.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    process_ = fork();
    if (process_ < 0) throw std::runtime_error("no process");
    if (process_ == 0) {
      close(pipe[0]);  // its reports end this process when nobody is left to read them
      for (int edit = firstEdit;; ++edit) {
        if (const auto error = world.save(fileName(edit), contentsOf(edit)).error) {
          std::cerr << "edit " << edit << ": " << error->localizedDescription() << std::endl;
          _exit(1);
        }
        if (write(pipe[1], &edit, sizeof edit) != sizeof edit) _exit(2);
      }
    }
    close(pipe[1]);
    reports_ = pipe[0];
    fcntl(reports_, F_SETFL, O_NONBLOCK);
  }
  ~EditingProcess() {
    if (process_ > 0) kill();
    close(reports_);
  }
  EditingProcess(const EditingProcess&) = delete;
  EditingProcess& operator=(const EditingProcess&) = delete;

  /// The last edit known to be accepted, or `none`.
  int lastAccepted(int none) {
    int edit = 0;
    ssize_t length = 0;
    while ((length = read(reports_, &edit, sizeof edit)) == sizeof edit) lastReport_ = edit;
    isGone_ = length == 0;
    return lastReport_ < 0 ? none : lastReport_;
  }

  /// It ended by itself, as far as `lastAccepted` could see.
  bool isGone() const { return isGone_; }

  /// Whether it was still at work when the signal came.
  bool kill() {
    ::kill(process_, SIGKILL);
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    return WIFSIGNALED(status);
  }

 private:
  pid_t process_ = -1;
  int reports_ = -1;
  int lastReport_ = -1;
  bool isGone_ = false;
};

class EditCrash : public testing::Test {
 protected:
  EditCrash() {
    world_.installWarp([this](ManifestSpec& manifest) {
      for (int file = 0; file < kFiles; ++file)
        manifest.entries.push_back(fileEntry(world_.pathOf(fileName(file)), "x", "objects/" + fileName(file)));
    });
    std::vector<TovrinWarpSharedCachedItemRecord> records;  // so that writing the journal takes its time
    for (int i = 0; i < kOrdinaryRecords; ++i) records.push_back(someRecord("/ordinary/" + std::to_string(i)));
    EXPECT_TRUE(world_.journal->save(records).has_value());
  }

  std::set<std::string> names(const std::filesystem::path& folder) const {
    std::set<std::string> found;
    std::error_code missing;
    for (const auto& file : std::filesystem::directory_iterator(folder, missing)) found.insert(file.path().filename());
    return found;
  }

  /// Waits for one more accepted edit, then for `moment`, but not for ever.
  template <class Moment>
  void waitFor(EditingProcess& process, int firstEdit, Moment moment) {
    while (process.lastAccepted(firstEdit - 1) < firstEdit && !process.isGone()) continue;
    while (!moment() && process.lastAccepted(firstEdit - 1) < firstEdit + 30 && !process.isGone()) continue;
  }

  /// The number of the edit that the journal holds for a file; -1 for none. Checks the copy on the way.
  int journalledEdit(CachedItemsJournal& journal, int file) {
    const auto records = journal.load();
    EXPECT_TRUE(records.has_value()) << "the journal is valid";
    if (!records) return -1;
    const auto record =
        std::ranges::find(*records, world_.pathOf(fileName(file)), &TovrinWarpSharedCachedItemRecord::relativePath);
    if (record == records->end()) return -1;
    EXPECT_TRUE(record->pendingWritebackFilePath.has_value());
    const std::string copy = readFile(record->pendingWritebackFilePath.value_or(""));
    EXPECT_EQ(record->pendingWritebackSize, static_cast<std::int64_t>(copy.size()));
    EXPECT_EQ(record->pendingWritebackChecksumSHA256, sha256Hex(copy));
    const int edit = copy.empty() ? -1 : std::stoi(copy);
    EXPECT_EQ(copy, contentsOf(edit));
    return edit;
  }

  /// Kills an editing process when `moment` says so; what it had reported must be in the journal, or something newer.
  template <class MakeMoment>
  void crashRepeatedly(int rounds, MakeMoment makeMoment) {
    int firstEdit = 0;
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
      int accepted = -1;
      {
        EditingProcess process(world_, firstEdit);
        waitFor(process, firstEdit, makeMoment(round));
        EXPECT_TRUE(process.kill()) << "no edit fails, the locks of the killed are free";
        accepted = process.lastAccepted(-1);
      }
      CachedItemsJournal journal(world_.platform);
      for (int edit = std::max(accepted - kFiles + 1, firstEdit); edit <= accepted; ++edit)
        EXPECT_GE(journalledEdit(journal, edit % kFiles), edit) << "an accepted edit survives";
      std::size_t journalled = kOrdinaryRecords;
      for (int file = 0; file < kFiles; ++file) {
        const int edit = journalledEdit(journal, file);
        EXPECT_LE(edit, accepted + 1) << "no edit is there before it was made";
        if (edit >= 0) ++journalled;
      }
      EXPECT_EQ(journal.load()->size(), journalled) << "no other record is lost or doubled";
      firstEdit = accepted + 2;
    }
  }

  EditWorld world_;
};

TEST_F(EditCrash, atAnyMomentLosesNoAcceptedEdit) {
  std::mt19937 random(20250301);
  crashRepeatedly(20, [&random](int) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::microseconds(random() % 20000);
    return [end] { return Clock::now() >= end; };
  });
}

TEST_F(EditCrash, whileACopyIsMadeLeavesAValidJournal) {
  crashRepeatedly(10, [this](int) {
    return [this, before = names(pendingDirectory(world_.testPlatform))] {
      return names(pendingDirectory(world_.testPlatform)) != before;
    };
  });
}

TEST_F(EditCrash, whileTheJournalIsWrittenLeavesTheOldOneOrTheNewOne) {
  crashRepeatedly(10, [this](int) {
    return [this] {
      // Of the files that are written there and renamed into place only the journal is large.
      const auto folder = world_.testPlatform.warpDirectory();
      return std::ranges::any_of(names(folder), [&folder](const std::string& name) {
        std::error_code gone;
        return name.ends_with(".partial") && std::filesystem::file_size(folder / name, gone) > 20000 && !gone;
      });
    };
  });
}

}  // namespace
}  // namespace tovrin
