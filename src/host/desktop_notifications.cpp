#include "host/desktop_notifications.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <tuple>

#include "foundation/utf8.h"
#include "platform/linux/session_bus.h"

namespace tovrin::host {

namespace {

constexpr double kPauseSeconds = 600;
/// Many causes at once are one trouble with many faces; nobody reads more windows than this.
constexpr std::size_t kMostCauses = 12;
constexpr std::uint64_t kLongestAnswerMicroseconds = 5'000'000;

constexpr const char* kService = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";

struct Message {
  std::string cause;
  std::string summary;
  std::string body;
};

struct MessageDeleter {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using BusMessage = std::unique_ptr<sd_bus_message, MessageDeleter>;

std::string escapedForMarkup(std::string_view text) {
  std::string result;
  for (const char character : text) {
    switch (character) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      default:
        result += character;
    }
  }
  return result;
}

/// Calls of the desktop's notification service, which a stop ends at once. For one thread.
class NotificationService {
 public:
  explicit NotificationService(std::stop_token stop)
      : stop_(std::move(stop)), wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~NotificationService() { close(wakeUp_); }
  NotificationService(const NotificationService&) = delete;
  NotificationService& operator=(const NotificationService&) = delete;

  /// Shows it in place of the one with the number `replaced`, if any; the number of the one that is shown now.
  std::optional<std::uint32_t> show(const Message& message, std::uint32_t replaced) {
    if (!connect()) return std::nullopt;
    const BusMessage answer = call(notification(message, replaced));
    std::uint32_t number = 0;
    if (answer == nullptr || sd_bus_message_read(answer.get(), "u", &number) < 0) return std::nullopt;
    return number;
  }

 private:
  bool connect() {
    if (bus_ != nullptr && isAlive(bus_.get())) return true;
    bus_ = openSessionBus();
    if (bus_ == nullptr) return false;
    takesMarkup_ = asksForMarkup();
    return true;
  }

  BusMessage newCall(const char* member) {
    sd_bus_message* message = nullptr;
    sd_bus_message_new_method_call(bus_.get(), &message, kService, kPath, kService, member);
    return BusMessage(message);
  }

  bool asksForMarkup() {
    const BusMessage answer = call(newCall("GetCapabilities"));
    if (answer == nullptr || sd_bus_message_enter_container(answer.get(), 'a', "s") < 0) return false;
    const char* capability = nullptr;
    while (sd_bus_message_read(answer.get(), "s", &capability) > 0) {
      if (std::string_view(capability) == "body-markup") return true;
    }
    return false;
  }

  BusMessage notification(const Message& message, std::uint32_t replaced) {
    BusMessage call = newCall("Notify");
    const std::string summary = repairedUTF8(message.summary);
    const std::string body = repairedUTF8(takesMarkup_ ? escapedForMarkup(message.body) : message.body);
    constexpr int kUsualTime = -1;
    constexpr int kNormalUrgency = 1;
    const bool isMade =
        call != nullptr && sd_bus_message_append(call.get(), "susssasa{sv}i", "Tovrin", replaced, "dialog-error",
                                                 summary.c_str(), body.c_str(), 0, 2, "urgency", "y", kNormalUrgency,
                                                 "category", "s", "transfer.error", kUsualTime) >= 0;
    return isMade ? std::move(call) : nullptr;
  }

  /// The answer; null for an error or when none came in time.
  BusMessage call(const BusMessage& message) {
    if (message == nullptr) return nullptr;
    BusMessage answer;
    bool isOver = false;
    Waiting waiting{answer, isOver};
    sd_bus_slot* slot = nullptr;
    if (sd_bus_call_async(bus_.get(), &slot, message.get(), takeAnswer, &waiting, kLongestAnswerMicroseconds) < 0)
      return nullptr;
    const std::stop_callback wake(stop_, [this] {
      const std::uint64_t one = 1;
      std::ignore = write(wakeUp_, &one, sizeof one);
    });
    while (!isOver && !stop_.stop_requested()) {
      const int progress = sd_bus_process(bus_.get(), nullptr);
      if (progress < 0 || sd_bus_is_open(bus_.get()) <= 0) break;
      if (progress == 0) waitForBus();
    }
    sd_bus_slot_unref(slot);
    return answer;
  }

  struct Waiting {
    BusMessage& answer;
    bool& isOver;
  };
  static int takeAnswer(sd_bus_message* message, void* context, sd_bus_error*) {
    const auto* waiting = static_cast<Waiting*>(context);
    waiting->isOver = true;
    if (sd_bus_message_is_method_error(message, nullptr) == 0) waiting->answer.reset(sd_bus_message_ref(message));
    return 0;
  }

  void waitForBus() {
    const int events = sd_bus_get_events(bus_.get());
    std::uint64_t deadline = 0;  // of the monotonic clock, in microseconds
    if (events < 0 || sd_bus_get_timeout(bus_.get(), &deadline) < 0) return;
    const auto now =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count();
    const std::uint64_t left = deadline - std::min(deadline, static_cast<std::uint64_t>(now));
    const auto milliseconds = static_cast<int>(std::min(left, kLongestAnswerMicroseconds) / 1000 + 1);
    std::array<pollfd, 2> sources{pollfd{sd_bus_get_fd(bus_.get()), static_cast<short>(events), 0},
                                  pollfd{wakeUp_, POLLIN, 0}};
    poll(sources.data(), sources.size(), milliseconds);
  }

  const std::stop_token stop_;
  const int wakeUp_;
  Bus bus_;
  bool takesMarkup_ = false;
};

}  // namespace

class DesktopNotifications::Presenter {
 public:
  explicit Presenter(const Clock& clock) : clock_(clock) {}

  void error(Message message) {
    const std::lock_guard hold(lock_);
    if (!isDue(message.cause)) return;
    lastShown_[message.cause] = clock_.systemUptime();
    queue_.push_back(std::move(message));
    if (!thread_.joinable()) thread_ = std::jthread([this](const std::stop_token& stop) { present(stop); });
    somethingToShow_.notify_one();
  }

 private:
  bool isDue(const std::string& cause) {
    const double now = clock_.systemUptime();
    std::erase_if(lastShown_, [&](const auto& last) { return now - last.second >= kPauseSeconds; });
    return !lastShown_.contains(cause) && lastShown_.size() < kMostCauses;
  }

  std::optional<Message> next(const std::stop_token& stop) {
    std::unique_lock hold(lock_);
    if (!somethingToShow_.wait(hold, stop, [this] { return !queue_.empty(); })) return std::nullopt;
    Message message = std::move(queue_.front());
    queue_.pop_front();
    return message;
  }

  void present(const std::stop_token& stop) {
    NotificationService service(stop);
    std::map<std::string, std::uint32_t> numbers;  // of the notifications that were shown last, by cause
    while (const auto message = next(stop)) {
      const auto shown = numbers.find(message->cause);
      const auto number = service.show(*message, shown == numbers.end() ? 0 : shown->second);
      if (!number) continue;
      if (shown == numbers.end() && numbers.size() >= kMostCauses) numbers.clear();
      numbers[message->cause] = *number;
    }
  }

  const Clock& clock_;
  std::mutex lock_;
  std::condition_variable_any somethingToShow_;
  std::map<std::string, double> lastShown_;
  std::deque<Message> queue_;
  std::jthread thread_;  // last: it uses the others
};

DesktopNotifications::DesktopNotifications(const Clock& clock) : presenter_(std::make_unique<Presenter>(clock)) {}

DesktopNotifications::~DesktopNotifications() = default;

void DesktopNotifications::error(const std::string& cause, std::string summary, std::string body) {
  presenter_->error({cause, std::move(summary), std::move(body)});
}

}  // namespace tovrin::host
