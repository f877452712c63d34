#include "host/desktop_notifications.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/dbus_daemon.h"
#include "support/test_platform.h"

namespace tovrin::host {
namespace {

constexpr auto kPatience = std::chrono::seconds(20);

struct Shown {
  std::string application;
  std::uint32_t replaced = 0;
  std::string summary;
  std::string body;
};

/// What a desktop runs: a program that shows notifications, here by remembering them. They are numbered from 1.
class FakeDesktop {
 public:
  enum class Kind { plain, withMarkup, hanging };

  explicit FakeDesktop(const PrivateBus& bus, Kind kind = Kind::plain) : kind_(kind), wakeUp_(eventfd(0, EFD_CLOEXEC)) {
    EXPECT_GE(sd_bus_new(&bus_), 0);
    EXPECT_GE(sd_bus_set_address(bus_, bus.address().c_str()), 0);
    EXPECT_GE(sd_bus_set_bus_client(bus_, 1), 0);
    EXPECT_GE(sd_bus_start(bus_), 0);
    EXPECT_GE(sd_bus_add_filter(bus_, nullptr, onMessage, this), 0);
    EXPECT_GE(sd_bus_request_name(bus_, "org.freedesktop.Notifications", 0), 0);
    thread_ = std::jthread([this](const std::stop_token& stop) { serve(stop); });
  }
  ~FakeDesktop() {
    thread_.request_stop();
    eventfd_write(wakeUp_, 1);
    thread_.join();
    sd_bus_close_unref(bus_);
    close(wakeUp_);
  }
  FakeDesktop(const FakeDesktop&) = delete;
  FakeDesktop& operator=(const FakeDesktop&) = delete;

  /// All that was shown, once there are `count`; fewer when they do not come.
  std::vector<Shown> shown(std::size_t count) {
    std::unique_lock hold(lock_);
    changed_.wait_for(hold, kPatience, [&] { return shown_.size() >= count; });
    return shown_;
  }
  /// Whether a notification with this summary comes.
  bool shows(const std::string& summary) {
    std::unique_lock hold(lock_);
    return changed_.wait_for(hold, kPatience,
                             [&] { return std::ranges::find(shown_, summary, &Shown::summary) != shown_.end(); });
  }
  bool waitUntilAsked() {
    std::unique_lock hold(lock_);
    return changed_.wait_for(hold, kPatience, [&] { return asked_; });
  }

 private:
  void serve(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      if (sd_bus_process(bus_, nullptr) > 0) continue;
      pollfd sources[]{{sd_bus_get_fd(bus_), POLLIN, 0}, {wakeUp_, POLLIN, 0}};
      poll(sources, 2, -1);
    }
  }

  static int onMessage(sd_bus_message* message, void* self, sd_bus_error*) {
    return static_cast<FakeDesktop*>(self)->answer(message);
  }
  int answer(sd_bus_message* message) {
    if (sd_bus_message_is_method_call(message, "org.freedesktop.Notifications", "GetCapabilities") > 0) {
      remember([&] { asked_ = true; });
      if (kind_ == Kind::hanging) return 1;
      const char* markup = kind_ == Kind::withMarkup ? "body-markup" : "actions";
      return sd_bus_reply_method_return(message, "as", 2, "body", markup);
    }
    if (sd_bus_message_is_method_call(message, "org.freedesktop.Notifications", "Notify") <= 0) return 0;
    const char *application = nullptr, *icon = nullptr, *summary = nullptr, *body = nullptr;
    std::uint32_t replaced = 0;
    EXPECT_GE(sd_bus_message_read(message, "susss", &application, &replaced, &icon, &summary, &body), 0);
    EXPECT_STREQ(sd_bus_message_get_signature(message, 1), "susssasa{sv}i");
    std::uint32_t number = 0;
    remember([&] {
      shown_.push_back({application, replaced, summary, body});
      number = static_cast<std::uint32_t>(shown_.size());
    });
    return sd_bus_reply_method_return(message, "u", number);
  }
  template <class Change>
  void remember(Change&& change) {
    const std::lock_guard hold(lock_);
    change();
    changed_.notify_all();
  }

  const Kind kind_;
  const int wakeUp_;
  sd_bus* bus_ = nullptr;
  std::mutex lock_;
  std::condition_variable changed_;
  std::vector<Shown> shown_;
  bool asked_ = false;
  std::jthread thread_;
};

TEST(DesktopNotifications, showAnError) {
  PrivateBus bus;
  bus.start();
  FakeDesktop desktop(bus);
  const TestClock clock;
  DesktopNotifications notifications(clock);
  notifications.error("unreachable", "Cannot open “a & <b>.jpg”", "The worker is not reachable & <silent>.");
  const auto shown = desktop.shown(1);
  ASSERT_EQ(shown.size(), 1U);
  EXPECT_EQ(shown[0].application, "Tovrin");
  EXPECT_EQ(shown[0].replaced, 0U);
  EXPECT_EQ(shown[0].summary, "Cannot open “a & <b>.jpg”");
  EXPECT_EQ(shown[0].body, "The worker is not reachable & <silent>.");
}

TEST(DesktopNotifications, areTakenLiterallyWhereTheDesktopReadsMarkup) {
  PrivateBus bus;
  bus.start();
  FakeDesktop desktop(bus, FakeDesktop::Kind::withMarkup);
  const TestClock clock;
  DesktopNotifications notifications(clock);
  notifications.error("unreachable", "a & b", "<a.jpg> & more \xFF");
  const auto shown = desktop.shown(1);
  ASSERT_EQ(shown.size(), 1U);
  EXPECT_EQ(shown[0].summary, "a & b");
  EXPECT_EQ(shown[0].body, "&lt;a.jpg&gt; &amp; more \uFFFD");
}

TEST(DesktopNotifications, areFewAndReplaceEachOther) {
  PrivateBus bus;
  bus.start();
  FakeDesktop desktop(bus);
  TestClock clock;
  DesktopNotifications notifications(clock);
  notifications.error("one", "first of one", "");
  notifications.error("one", "dropped", "");
  notifications.error("two", "first of two", "");
  clock.advance(599);
  notifications.error("one", "dropped", "");
  clock.advance(1);
  notifications.error("one", "second of one", "");
  notifications.error("two", "second of two", "");
  const auto shown = desktop.shown(4);
  ASSERT_EQ(shown.size(), 4U);
  EXPECT_EQ(shown[0].summary, "first of one");
  EXPECT_EQ(shown[1].summary, "first of two");
  EXPECT_EQ(shown[2].summary, "second of one");
  EXPECT_EQ(shown[2].replaced, 1U);
  EXPECT_EQ(shown[3].summary, "second of two");
  EXPECT_EQ(shown[3].replaced, 2U);
}

TEST(DesktopNotifications, doNotFloodTheDesktopWithManyCauses) {
  PrivateBus bus;
  bus.start();
  FakeDesktop desktop(bus);
  TestClock clock;
  DesktopNotifications notifications(clock);
  for (int cause = 0; cause < 100; ++cause) notifications.error(std::to_string(cause), "many", "");
  clock.advance(600);
  notifications.error("last", "last", "");
  const auto shown = desktop.shown(13);
  ASSERT_EQ(shown.size(), 13U);
  EXPECT_EQ(shown.back().summary, "last");
}

TEST(DesktopNotifications, findTheDesktopWhenItComesLater) {
  PrivateBus bus;
  const TestClock clock;
  DesktopNotifications notifications(clock);
  notifications.error("one", "perhaps unseen", "");
  bus.start();
  FakeDesktop desktop(bus);
  notifications.error("two", "seen", "");
  EXPECT_TRUE(desktop.shows("seen"));
}

TEST(DesktopNotifications, areNothingWithoutADesktop) {
  const PrivateBus bus;  // names an address, but nobody is there
  const TestClock clock;
  DesktopNotifications(clock).error("one", "unseen", "");
}

TEST(DesktopNotifications, doNotHoldUpTheEndWhenTheDesktopHangs) {
  PrivateBus bus;
  bus.start();
  FakeDesktop desktop(bus, FakeDesktop::Kind::hanging);
  const TestClock clock;
  const auto start = std::chrono::steady_clock::now();
  {
    DesktopNotifications notifications(clock);
    notifications.error("one", "never answered", "");
    ASSERT_TRUE(desktop.waitUntilAsked());
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
}

}  // namespace
}  // namespace tovrin::host
