#include "tovrin-worker/responder.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <limits>

namespace tovrin::worker {
namespace {

constexpr std::int64_t kMostPieceBytes = 1 << 20;
constexpr std::int64_t kChunkBytes = 32 << 10;

std::int64_t naturalSize(const Response& response) {
  if (const auto* file = std::get_if<FileBody>(&response.body)) return file->size;
  return static_cast<std::int64_t>(std::get<std::string>(response.body).size());
}

std::string_view zeros() {
  static const std::string block(static_cast<std::size_t>(kMostPieceBytes), '\0');
  return block;
}

}  // namespace

struct Responder::Framing {
  bool chunked = false;
  std::int64_t declared = 0;
  std::int64_t end = 0;  ///< where the body stops being sent
  bool incomplete = false;
};

Response textResponse(int status, std::string message, std::string type) {
  Response response{.status = status, .body = std::move(message) + "\n"};
  response.headers = {{"Content-Type", std::move(type)},
                      {"X-Content-Type-Options", "nosniff"},
                      {"Date", formatHTTPDate(std::time(nullptr))},
                      {"Content-Length", ""}};
  return response;
}

std::string Responder::makeHead(const Response& response, const Framing& framing) const {
  std::string head = fmt::format("HTTP/1.1 {} {}\r\n", response.status, reasonPhrase(response.status));
  const Fault* type = faults_.find(Fault::Kind::contentType);
  for (const auto& [name, value] : response.headers) {
    if (name == "Content-Length") {
      head += framing.chunked ? "Transfer-Encoding: chunked\r\n" : fmt::format("{}: {}\r\n", name, framing.declared);
    } else if (name == "Content-Type" && type) {
      head += fmt::format("{}: {}\r\n", name, type->text("value"));
    } else {
      head += fmt::format("{}: {}\r\n", name, value);
    }
  }
  for (const Fault& fault : faults_.all()) {
    if (fault.kind == Fault::Kind::header) head += fmt::format("{}: {}\r\n", fault.text("name"), fault.text("value"));
  }
  return head + "\r\n";
}

bool Responder::send(const Response& response) {
  const auto argument = [&](Fault::Kind kind, std::string_view name, std::int64_t otherwise) {
    const Fault* fault = faults_.find(kind);
    return fault ? fault->integer(name) : otherwise;
  };
  const bool endless = faults_.find(Fault::Kind::endless);
  std::int64_t total = argument(Fault::Kind::resize, "bytes", naturalSize(response));
  Framing framing{.chunked = endless || faults_.find(Fault::Kind::chunked),
                  .declared = argument(Fault::Kind::declare, "bytes", total)};
  if (endless) total = std::numeric_limits<std::int64_t>::max();
  framing.end = std::min(argument(Fault::Kind::cut, "after", total), total);
  framing.incomplete = faults_.find(Fault::Kind::cut) || framing.declared != total || faults_.find(Fault::Kind::close);

  const bool hasBody = !response.withoutBody && response.status != 304 && response.status != 204;
  const Fault* stall = hasBody ? faults_.find(Fault::Kind::stall) : nullptr;
  const std::int64_t pause = stall ? std::min(stall->integer("after"), framing.end) : 0;
  const bool bodyFollowsAtOnce = hasBody && framing.end > 0 && (!stall || pause > 0);
  if (!connection_.send(makeHead(response, framing),
                        bodyFollowsAtOnce ? Connection::Following::more : Connection::Following::nothing)) {
    return false;
  }
  if (!hasBody) return !faults_.find(Fault::Kind::close);
  if (stall) {
    if (!sendBody(response, 0, pause, framing.chunked)) return false;
    if (!connection_.hold(stall->seconds(), released_)) return false;
  }
  if (!sendBody(response, pause, framing.end, framing.chunked)) return false;
  if (framing.chunked && framing.end == total && !connection_.send("0\r\n\r\n")) return false;
  return !framing.incomplete;
}

bool Responder::sendBody(const Response& response, std::int64_t from, std::int64_t to, bool chunked) {
  while (from < to) {
    const std::int64_t piece = std::min(to - from, chunked ? kChunkBytes : kMostPieceBytes);
    if (chunked && !connection_.send(fmt::format("{:x}\r\n", piece), Connection::Following::more)) return false;
    for (const std::int64_t end = from + piece; from < end;) {
      const std::int64_t sent = sendPiece(response, from, end - from);
      if (sent < 0) return false;
      from += sent;
      bodyBytes_ += sent;
    }
    if (chunked && !connection_.send("\r\n")) return false;
  }
  return true;
}

std::int64_t Responder::sendPiece(const Response& response, std::int64_t offset, std::int64_t count) {
  const std::int64_t size = naturalSize(response);
  if (offset >= size) {
    return connection_.send(zeros().substr(0, static_cast<std::size_t>(count))) ? count : -1;
  }
  count = std::min(count, size - offset);
  const auto* file = std::get_if<FileBody>(&response.body);
  const Fault* flip = faults_.find(Fault::Kind::flip);
  const std::int64_t wrongByte = flip ? flip->integer("at") : -1;
  if (offset == wrongByte) {
    char byte = file ? '\0' : std::get<std::string>(response.body)[static_cast<std::size_t>(offset)];
    if (file && ::pread(file->file.number(), &byte, 1, file->offset + offset) != 1) return -1;
    byte = static_cast<char>(byte ^ 1);
    return connection_.send({&byte, 1}) ? 1 : -1;
  }
  if (offset < wrongByte) count = std::min(count, wrongByte - offset);
  const bool sent =
      file ? connection_.sendFile(file->file.number(), file->offset + offset, count)
           : connection_.send(std::string_view(std::get<std::string>(response.body))
                                  .substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(count)));
  return sent ? count : -1;
}

}  // namespace tovrin::worker
