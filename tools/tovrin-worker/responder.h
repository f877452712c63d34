#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <variant>

#include "tovrin-worker/connection.h"
#include "tovrin-worker/descriptor.h"
#include "tovrin-worker/fault.h"
#include "tovrin-worker/http_text.h"

namespace tovrin::worker {

struct FileBody {
  Descriptor file;
  std::int64_t offset = 0;
  std::int64_t size = 0;
};

/// An answer without its framing, which the responder adds.
struct Response {
  int status = 200;
  /// In their order on the wire; "Content-Length" marks where the length goes.
  Headers headers{};
  std::variant<std::string, FileBody> body{};
  bool withoutBody = false;  ///< the length is declared and nothing follows: an answer to HEAD
};

/// A plain-text answer as Go's standard server makes it; the message gets one newline.
Response textResponse(int status, std::string message, std::string type = "text/plain; charset=utf-8");

/// Sends one answer with the faults that hit its request.
class Responder {
 public:
  Responder(Connection& connection, const RequestFaults& faults, std::function<bool()> released)
      : connection_(connection), faults_(faults), released_(std::move(released)) {}

  /// False when the connection must end, because it broke or because a fault says so.
  bool send(const Response& response);
  std::int64_t bodyBytes() const { return bodyBytes_; }

 private:
  struct Framing;
  std::string makeHead(const Response& response, const Framing& framing) const;
  bool sendBody(const Response& response, std::int64_t from, std::int64_t to, bool chunked);
  /// At most `count` bytes, fewer where their source changes. The number sent, or -1 when the connection broke.
  std::int64_t sendPiece(const Response& response, std::int64_t offset, std::int64_t count);

  Connection& connection_;
  const RequestFaults& faults_;
  std::function<bool()> released_;
  std::int64_t bodyBytes_ = 0;
};

}  // namespace tovrin::worker
