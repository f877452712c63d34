#include "foundation/tasks.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <fstream>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace tovrin {
namespace {

/// Blocks until a stop is requested.
void waitForStop(const std::stop_token& stop) {
  std::promise<void> stopped;
  const std::stop_callback callback(stop, [&] { stopped.set_value(); });
  stopped.get_future().wait();
}

int threadsOfThisProcess() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("Threads:")) return std::stoi(line.substr(8));
  }
  return -1;
}

/// While it lives the system cannot give a thread: no address space holds such a stack.
class NoMoreThreads {
 public:
  NoMoreThreads() {
    pthread_getattr_default_np(&before_);
    pthread_attr_t huge;
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t{1} << 60);
    pthread_setattr_default_np(&huge);
    pthread_attr_destroy(&huge);
  }
  ~NoMoreThreads() {
    pthread_setattr_default_np(&before_);
    pthread_attr_destroy(&before_);
  }

 private:
  pthread_attr_t before_;
};

TEST(TaskGroup, runsWorkOnAnotherThread) {
  std::promise<std::thread::id> ran;
  TaskGroup group;
  group.start([&](std::stop_token) { ran.set_value(std::this_thread::get_id()); });
  EXPECT_NE(ran.get_future().get(), std::this_thread::get_id());
}

TEST(TaskGroup, waitsForItsTasksWhenItGoes) {
  std::atomic<int> finished{0};
  {
    TaskGroup group;
    for (int i = 0; i < 8; ++i) group.start([&](std::stop_token) { ++finished; });
  }
  EXPECT_EQ(finished.load(), 8);
}

TEST(TaskGroup, stopsTasksThatStillRunWhenItGoes) {
  std::atomic<int> stopped{0};
  {
    TaskGroup group;
    for (int i = 0; i < 4; ++i) {
      group.start([&](std::stop_token stop) {
        waitForStop(stop);
        ++stopped;
      });
    }
  }
  EXPECT_EQ(stopped.load(), 4);
}

TEST(TaskGroup, stopsOneTaskAlone) {
  std::promise<void> firstStopped;
  std::atomic<bool> secondStopped{false};
  TaskGroup group;
  std::stop_source first = group.start([&](std::stop_token stop) {
    waitForStop(stop);
    firstStopped.set_value();
  });
  group.start([&](std::stop_token stop) {
    waitForStop(stop);
    secondStopped = true;
  });
  first.request_stop();
  firstStopped.get_future().wait();
  EXPECT_FALSE(secondStopped.load());
}

TEST(TaskGroup, letsATaskStartAnotherOneEvenWhileItIsStopped) {
  std::atomic<bool> secondRan{false};
  {
    TaskGroup group;
    group.start([&](std::stop_token stop) {
      waitForStop(stop);
      group.start([&](std::stop_token inner) {
        waitForStop(inner);
        secondRan = true;
      });
    });
  }
  EXPECT_TRUE(secondRan.load());
}

TEST(TaskGroup, letsGoOfWhatAFinishedTaskHeld) {
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> observer = held;
  TaskGroup group;
  group.start([held = std::move(held)](std::stop_token) {});
  while (!observer.expired()) std::this_thread::yield();
}

TEST(TaskGroup, givesThreadsOfFinishedTasksBack) {
  TaskGroup group;
  const int before = threadsOfThisProcess();
  std::promise<void> mayEnd;
  const std::shared_future<void> end = mayEnd.get_future().share();
  for (int i = 0; i < 50; ++i) group.start([end](std::stop_token) { end.wait(); });
  EXPECT_GE(threadsOfThisProcess(), before + 50);
  mayEnd.set_value();
  // Ends only if starting gives most threads back.
  do {
    group.start([](std::stop_token) {});
  } while (threadsOfThisProcess() > before + 10);
}

TEST(TaskGroup, runsTasksOnThreadsOfStoppedOnesWithoutStoppingThem) {
  TaskGroup group;
  std::set<std::thread::id> threads;
  // Ends only if a thread comes twice, and none is given back here.
  for (bool isNew = true; isNew;) {
    std::promise<bool> ran;
    std::stop_source source = group.start([&](std::stop_token stop) {
      isNew = threads.insert(std::this_thread::get_id()).second;
      ran.set_value(stop.stop_requested());
    });
    EXPECT_FALSE(ran.get_future().get());
    source.request_stop();
  }
}

TEST(TaskGroup, runsTheWorkOnTheCallingThreadWhenThereAreNoThreads) {
  TaskGroup group;
  int runs = 0;
  std::thread::id where;
  bool stopIsPossible = false;
  {
    const NoMoreThreads noMoreThreads;
    EXPECT_THROW(std::thread([] {}).join(), std::system_error);
    const std::stop_source stop = group.start([&](std::stop_token token) {
      ++runs;
      where = std::this_thread::get_id();
      stopIsPossible = token.stop_possible();
    });
  }
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(where, std::this_thread::get_id());
  EXPECT_TRUE(stopIsPossible);

  std::promise<void> ranAgain;
  group.start([&](std::stop_token) { ranAgain.set_value(); });
  ranAgain.get_future().wait();
}

/// Holds a group and says when it has let go of it.
struct GroupHold {
  ~GroupHold() {
    group.reset();
    released.set_value();
  }
  std::shared_ptr<TaskGroup> group;
  std::promise<void> released;
};

TEST(TaskGroup, mayBeDestroyedByItsOwnTask) {
  auto hold = std::make_shared<GroupHold>();
  hold->group = std::make_shared<TaskGroup>();
  std::future<void> released = hold->released.get_future();
  const std::weak_ptr<TaskGroup> group = hold->group;
  std::promise<void> mayEnd;
  hold->group->start([hold, end = mayEnd.get_future().share()](std::stop_token) { end.wait(); });
  hold.reset();
  EXPECT_FALSE(group.expired());
  mayEnd.set_value();
  released.wait();
  EXPECT_TRUE(group.expired());
}

TEST(TaskGroup, stopsAndAwaitsTheOthersWhenOneOfItsTasksDestroysIt) {
  std::atomic<bool> otherEnded{false};
  auto hold = std::make_shared<GroupHold>();
  hold->group = std::make_shared<TaskGroup>();
  std::future<void> released = hold->released.get_future();
  hold->group->start([&](std::stop_token stop) {
    waitForStop(stop);
    otherEnded = true;
  });
  std::promise<void> mayEnd;
  hold->group->start([hold, end = mayEnd.get_future().share()](std::stop_token) { end.wait(); });
  hold.reset();
  mayEnd.set_value();
  released.wait();
  EXPECT_TRUE(otherEnded.load());
}

TEST(TaskGroup, startsTasksFromManyThreads) {
  std::atomic<int> ran{0};
  {
    TaskGroup group;
    std::vector<std::jthread> starters;
    for (int i = 0; i < 4; ++i) {
      starters.emplace_back([&] {
        for (int j = 0; j < 50; ++j) group.start([&](std::stop_token) { ++ran; });
      });
    }
    starters.clear();
  }
  EXPECT_EQ(ran.load(), 200);
}

}  // namespace
}  // namespace tovrin
