#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <iostream>
#include <random>
#include <string>

#include "host/store/replica_store.h"
#include "host/store_fixture.h"
#include "host/store_model.h"

namespace tovrin::host {
namespace {

/// What a working process says: before a step that it begins it, after it that it returned.
struct Report {
  StoreStep step;
  bool isDone = false;
};

/// Another process that does one step after the other to a store, until it is killed.
class WorkingProcess {
 public:
  WorkingProcess(const StoreFolders& folders, const StoreLimits& limits, const StoreModel& model, int firstVersion,
                 std::mt19937 random, const std::filesystem::path& scratch) {
    std::array<int, 2> pipe{};
    if (pipe2(pipe.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    process_ = fork();
    if (process_ < 0) throw std::runtime_error("no process");
    if (process_ == 0) {
      close(pipe[0]);  // its reports end this process when nobody is left to read them
      auto store = ReplicaStore::open(folders, limits);
      if (!store) endWith(store.error().localizedDescription());
      work(**store, model, firstVersion, random, pipe[1], scratch);
    }
    close(pipe[1]);
    reports_ = pipe[0];
  }
  ~WorkingProcess() {
    if (process_ > 0) kill();
    close(reports_);
  }
  WorkingProcess(const WorkingProcess&) = delete;
  WorkingProcess& operator=(const WorkingProcess&) = delete;

  /// The next report; nothing when the process has ended and everything was read.
  std::optional<Report> next() {
    Report report;
    if (read(reports_, &report, sizeof report) != sizeof report) return std::nullopt;
    return report;
  }

  /// Whether it was still at work when the signal came.
  bool kill() {
    ::kill(process_, SIGKILL);
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    return WIFSIGNALED(status);
  }

 private:
  [[noreturn]] static void endWith(const std::string& words) {
    std::cerr << words << std::endl;
    _exit(1);
  }

  [[noreturn]] static void work(ReplicaStore& store, StoreModel model, int version, std::mt19937& random, int reports,
                                const std::filesystem::path& scratch) {
    for (;; ++version) {
      Report report{.step = randomStep(model, version, random)};
      ModelItem& item = model.at(static_cast<std::size_t>(report.step.item));
      if (write(reports, &report, sizeof report) != sizeof report) _exit(2);
      if (const auto wrong = perform(store, item, report.step, scratch); !wrong.empty()) endWith(wrong);
      item = after(item, report.step);
      report.isDone = true;
      if (write(reports, &report, sizeof report) != sizeof report) _exit(2);
    }
  }

  pid_t process_ = -1;
  int reports_ = -1;
};

class ReplicaStoreCrash : public StoreTest {
 protected:
  /// What the item is now, as far as it can be seen. Checks contents on the way.
  ModelItem seen(int item, const ModelItem& expected) {
    const std::string identifier = modelIdentifier(item);
    ModelItem found{.copy = expected.edit ? expected.copy : std::nullopt};  // an edit hides it
    if (const auto local = store->find(identifier); local && local->edit) {
      const int version = std::stoi(local->version);
      found.edit = {.version = version, .state = *local->edit, .isWritten = true};
      EXPECT_EQ(readAll(*store->openEdit(identifier)), modelContents(item, version));
    } else if (local) {
      found.copy = std::stoi(local->version);
      const auto file = store->openCopy(identifier, local->version);
      EXPECT_NE(file, nullptr);
      EXPECT_EQ(file ? readAll(*file) : "", modelContents(item, *found.copy));
    }
    for (const Edit& edit : store->edits()) {
      found.interrupted += edit.identifier == identifier && edit.state == EditState::interrupted ? 1 : 0;
    }
    return found;
  }

  /// Every item is as it should be; that of the step during which the process was killed is as it may be. Makes the
  /// model what is there.
  void match(StoreModel& model, const std::optional<StoreStep>& killedStep) {
    std::vector<ModelItem> possible;
    if (killedStep) possible = afterKillDuring(model.at(static_cast<std::size_t>(killedStep->item)), *killedStep);
    std::int64_t otherCopies = 0;
    for (int item = 0; item < kModelItems; ++item) {
      ModelItem& expected = model.at(static_cast<std::size_t>(item));
      if (killedStep && killedStep->item == item) continue;
      expected = afterKill(expected);
      EXPECT_EQ(seen(item, expected), expected) << item;
      otherCopies += expected.copy ? 1 : 0;
    }
    if (!killedStep) return;
    const auto real = std::ranges::find_if(possible, [&](const ModelItem& expected) {
      return seen(killedStep->item, expected) == expected &&
             store->usage().cachedItems == otherCopies + (expected.copy ? 1 : 0);
    });
    ASSERT_NE(real, possible.end()) << "the item of the last step is as it never was";
    model.at(static_cast<std::size_t>(killedStep->item)) = *real;
  }

  void expectNoStrays() {
    EXPECT_EQ(countFiles(copies()), static_cast<std::size_t>(store->usage().cachedItems));
    EXPECT_EQ(countFiles(folders.state / "beginning"), 0U);
    std::size_t interruptedEdits = 0;
    for (const Edit& edit : store->edits()) {
      EXPECT_TRUE(std::filesystem::exists(edit.file)) << edit.file;
      EXPECT_TRUE(edit.file.filename().native().starts_with("file")) << edit.file;
      EXPECT_FALSE(edit.identifier.empty());
      interruptedEdits += edit.state == EditState::interrupted ? 1 : 0;
    }
    EXPECT_EQ(countFiles(interrupted()), interruptedEdits);
    EXPECT_EQ(countFiles(edits()), store->edits().size() - interruptedEdits);
  }

  /// So that the copies below are seen too.
  void giveUpEdits(StoreModel& model) {
    for (const Edit& edit : store->edits()) {
      store->forgetEdit(edit.identifier);
      std::filesystem::remove(edit.file);
    }
    for (ModelItem& item : model) {
      item.edit.reset();
      item.interrupted = 0;
    }
    for (int item = 0; item < kModelItems; ++item) {
      const ModelItem& expected = model.at(static_cast<std::size_t>(item));
      EXPECT_EQ(seen(item, expected), expected) << item;
    }
    expectNoStrays();
  }

  using Clock = std::chrono::steady_clock;
  /// The moment to kill a process, asked for again and again.
  using Moment = std::function<bool()>;

  static Moment soon(std::mt19937& random) {
    const auto end = Clock::now() + std::chrono::microseconds(random() % 3000);
    return [end] { return Clock::now() >= end; };
  }
  /// A file has come or gone.
  static Moment changeOf(const std::filesystem::path& folder) {
    return [folder, before = namesIn(folder)] { return namesIn(folder) != before; };
  }

  /// Lets a process work on the store and kills it at the moment, or soon after when that does not come. Brings the
  /// model to the last step that returned; returns the step that did not.
  std::optional<StoreStep> workAndKill(StoreModel& model, int& version, std::mt19937& random,
                                       const std::function<Moment()>& makeMoment) {
    std::optional<StoreStep> begun;
    const auto take = [&](const Report& report) {
      version = report.step.version + 1;
      begun = report.step;
      if (!report.isDone) return;
      ModelItem& item = model.at(static_cast<std::size_t>(report.step.item));
      item = after(item, report.step);
      begun.reset();
    };
    const unsigned steps = random() % 40;
    WorkingProcess process(folders, limits, model, version, std::mt19937(random()), scratch.path());
    for (unsigned done = 0; done < steps;) {
      const auto report = process.next();
      if (!report) break;
      take(*report);
      done += report->isDone ? 1 : 0;
    }
    const Moment moment = makeMoment();
    const auto end = Clock::now() + std::chrono::milliseconds(50);
    while (!moment() && Clock::now() < end) continue;
    EXPECT_TRUE(process.kill()) << "no step fails";
    while (const auto report = process.next()) take(*report);
    return begun;
  }

  void crashRepeatedly(int rounds, const std::function<Moment(std::mt19937&)>& makeMoment) {
    std::mt19937 random(20250401);
    StoreModel model;
    int version = 1;
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
      close();
      const auto killedStep = workAndKill(model, version, random, [&] { return makeMoment(random); });
      open();
      match(model, killedStep);
      expectNoStrays();
      if (round % 4 == 3) giveUpEdits(model);
    }
  }
};

TEST_F(ReplicaStoreCrash, atAnyMomentLosesNothingThatWasAcceptedAndServesNothingElse) { crashRepeatedly(40, soon); }

TEST_F(ReplicaStoreCrash, whileACopyComesOrGoesLeavesNoFileWithoutARow) {
  crashRepeatedly(20, [this](std::mt19937&) { return changeOf(copies()); });
}

TEST_F(ReplicaStoreCrash, whileAnEditBeginsLeavesNothingToSetAside) {
  crashRepeatedly(20, [this](std::mt19937&) { return changeOf(folders.state / "beginning"); });
}

TEST_F(ReplicaStoreCrash, whileAnEditComesOrGoesLosesNoOther) {
  crashRepeatedly(20, [this](std::mt19937&) { return changeOf(edits()); });
}

}  // namespace
}  // namespace tovrin::host
