#include "platform/notification_center.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <thread>
#include <vector>

#include "support/dbus_daemon.h"

namespace tovrin {
namespace {

/// Another program on the bus, which receives the notifications.
class Listener {
 public:
  explicit Listener(const PrivateBus& bus) {
    EXPECT_GE(sd_bus_new(&bus_), 0);
    EXPECT_GE(sd_bus_set_address(bus_, bus.address().c_str()), 0);
    EXPECT_GE(sd_bus_set_bus_client(bus_, 1), 0);
    EXPECT_GE(sd_bus_start(bus_), 0);
    // Returns with the bus's answer, so that no signal sent afterwards is missed.
    EXPECT_GE(sd_bus_match_signal(bus_, nullptr, nullptr, "/com/tovrin/Notifications", "com.tovrin.Notifications",
                                  "Posted", remember, this),
              0);
  }
  ~Listener() { sd_bus_close_unref(bus_); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  /// The names received, once there are `count` of them; fewer when they do not come.
  std::vector<std::string> names(std::size_t count) {
    constexpr auto kPatience = std::chrono::seconds(20);
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (names_.size() < count && std::chrono::steady_clock::now() < deadline) {
      const int progress = sd_bus_process(bus_, nullptr);
      if (progress < 0) break;
      if (progress == 0) sd_bus_wait(bus_, std::chrono::microseconds(kPatience).count());
    }
    return names_;
  }

 private:
  static int remember(sd_bus_message* message, void* self, sd_bus_error*) {
    const char* name = nullptr;
    if (sd_bus_message_read(message, "s", &name) >= 0 && sd_bus_message_at_end(message, 1) > 0)
      static_cast<Listener*>(self)->names_.emplace_back(name);
    return 0;
  }

  sd_bus* bus_ = nullptr;
  std::vector<std::string> names_;
};

using Names = std::vector<std::string>;

TEST(NotificationCenter, reachesAnotherProgramOnTheSessionBus) {
  PrivateBus bus;
  bus.start();
  Listener listener(bus);
  const auto center = makeDistributedNotificationCenter();
  center->post("com.tovrin.app.finderBadgeUpdate");
  center->post("another name, with a space and ü");
  EXPECT_EQ(listener.names(2), (Names{"com.tovrin.app.finderBadgeUpdate", "another name, with a space and ü"}));
}

TEST(NotificationCenter, isUsedByManyThreadsAtOnce) {
  PrivateBus bus;
  bus.start();
  Listener listener(bus);
  const auto center = makeDistributedNotificationCenter();
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([&] {
        for (int round = 0; round < 25; ++round) center->post("name");
      });
    }
  }
  EXPECT_EQ(listener.names(100), Names(100, "name"));
}

TEST(NotificationCenter, doesNothingWithoutABus) {
  const PrivateBus bus;  // names an address, but nobody is there
  const auto center = makeDistributedNotificationCenter();
  center->post("name");
  center->post("name");
}

TEST(NotificationCenter, doesNothingWithoutAnAddress) {
  const PrivateBus bus;  // puts the environment back
  for (const char* address : {"", "nonsense", "unix:", "tcp:host=256.0.0.1,port=x"}) {
    setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);
    makeDistributedNotificationCenter()->post("name");
  }
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  makeDistributedNotificationCenter()->post("name");
}

TEST(NotificationCenter, findsABusThatStartsLater) {
  PrivateBus bus;
  const auto center = makeDistributedNotificationCenter();
  center->post("unheard");
  bus.start();
  Listener listener(bus);
  center->post("heard");
  EXPECT_EQ(listener.names(1), Names{"heard"});
}

TEST(NotificationCenter, findsABusAgainThatWasRestarted) {
  PrivateBus bus;
  bus.start();
  const auto center = makeDistributedNotificationCenter();
  {
    Listener listener(bus);
    center->post("before");
    EXPECT_EQ(listener.names(1), Names{"before"});
  }
  bus.stop();
  center->post("unheard");
  bus.start();
  Listener listener(bus);
  center->post("after");
  EXPECT_EQ(listener.names(1), Names{"after"});
}

TEST(NotificationCenter, noticesThatTheBusWasReplacedInBetween) {
  PrivateBus bus;
  bus.start();
  const auto center = makeDistributedNotificationCenter();
  center->post("before");
  bus.stop();
  bus.start();
  Listener listener(bus);
  center->post("after");
  EXPECT_EQ(listener.names(1), Names{"after"});
}

TEST(NotificationCenter, connectsAgainAfterAFork) {
  PrivateBus bus;
  bus.start();
  Listener listener(bus);
  const auto center = makeDistributedNotificationCenter();
  center->post("parent");
  const pid_t child = fork();
  if (child == 0) {
    center->post("child");
    _exit(0);
  }
  ASSERT_GT(child, 0);
  waitpid(child, nullptr, 0);
  center->post("parent again");
  EXPECT_EQ(listener.names(3), (Names{"parent", "child", "parent again"}));
}

TEST(NotificationCenter, givesUpSoonOnABusThatDoesNotAnswer) {
  const PrivateBus bus;  // its folder and address, with a server that accepts and keeps silent
  const std::string path = bus.address().substr(bus.address().find('=') + 1);
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listener, 10), 0);

  const auto center = makeDistributedNotificationCenter();
  const auto start = std::chrono::steady_clock::now();
  center->post("name");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  close(listener);
}

}  // namespace
}  // namespace tovrin
