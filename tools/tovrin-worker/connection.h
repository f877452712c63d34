#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "tovrin-worker/descriptor.h"
#include "tovrin-worker/http_text.h"

namespace tovrin::worker {

/// One client's socket. Every call blocks its thread at most until the client leaves or the worker stops, which is when
/// `stopEvent` becomes readable.
class Connection {
 public:
  Connection(Descriptor socket, int stopEvent) : socket_(std::move(socket)), stopEvent_(stopEvent) {}

  enum class HeadOutcome : std::uint8_t { request, closed, malformed, tooLarge };
  /// The next request's head; `head` is set only for `request`.
  HeadOutcome readHead(RequestHead& head);

  /// Hands the request's body to `sink` piece by piece. False when the client left before its end, when the body is not
  /// framed as HTTP says, or when the sink returned false.
  bool readBody(const RequestHead& head, const std::function<bool(std::string_view)>& sink);

  enum class Following : bool { nothing, more };
  bool send(std::string_view bytes, Following following = Following::nothing);
  /// Straight from the file to the socket, without a copy in this process.
  bool sendFile(int file, std::int64_t offset, std::int64_t count);

  /// Sends nothing for so long (for ever when absent), but ends early when the client leaves, the worker stops, or
  /// `released` says so. True when the connection may still be used.
  bool hold(std::optional<double> seconds, const std::function<bool()>& released);

  /// Ends the connection so that the client can still read what was sent: what it goes on sending is read and dropped
  /// for a moment, because unread bytes would turn the end into a reset.
  void lingerAndClose();

 private:
  enum class Wait : std::uint8_t { ready, timedOut, stopped };
  Wait wait(short events, std::optional<std::chrono::milliseconds> timeout);
  /// Appends to `buffer_`; false at the end of the stream.
  bool fill();
  bool readExactly(std::int64_t count, const std::function<bool(std::string_view)>& sink);
  std::optional<std::string> readLine();

  Descriptor socket_;
  int stopEvent_;
  std::string buffer_;
};

}  // namespace tovrin::worker
