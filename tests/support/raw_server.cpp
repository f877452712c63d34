#include "support/raw_server.h"

#include <tuple>
#include <utility>

namespace tovrin {

std::string RawConnection::readRequest() {
  constexpr std::string_view kEndOfHead = "\r\n\r\n";
  for (;;) {
    if (const std::size_t end = pending_.find(kEndOfHead); end != std::string::npos) {
      std::string request = pending_.substr(0, end + kEndOfHead.size());
      pending_.erase(0, request.size());
      return request;
    }
    const std::string bytes = socket_.receive();
    if (bytes.empty()) return {};
    pending_ += bytes;
  }
}

RawServer::RawServer(Script script) : script_(std::move(script)), listener_(LoopbackSocket::listen()) {
  acceptor_ = std::thread([this] { accept(); });
}

RawServer::~RawServer() {
  {
    const std::lock_guard hold(lock_);
    ending_ = true;
    for (const RawConnection& connection : open_) connection.socket_.shutDown();
  }
  listener_.shutDown();
  acceptor_.join();
  for (std::thread& script : scripts_) script.join();
}

int RawServer::connections() const {
  const std::lock_guard hold(lock_);
  return static_cast<int>(scripts_.size());
}

void RawServer::accept() {
  for (;;) {
    LoopbackSocket socket = listener_.accept();
    const std::lock_guard hold(lock_);
    if (ending_ || socket.descriptor() < 0) return;
    RawConnection& connection = open_.emplace_back(std::move(socket));
    const int number = static_cast<int>(scripts_.size());
    scripts_.emplace_back([this, &connection, number] { serve(connection, number); });
  }
}

void RawServer::serve(RawConnection& connection, int number) {
  script_(connection, number);
  const std::lock_guard hold(lock_);
  open_.remove_if([&](const RawConnection& other) { return &other == &connection; });
}

std::string httpResponse(int status, std::string_view body, std::string_view extraHeaderLines) {
  std::string response = "HTTP/1.1 " + std::to_string(status) + " Scripted\r\n";
  response += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  response += extraHeaderLines;
  response += "\r\n";
  response += body;
  return response;
}

RawServer::Script answering(std::function<std::string(const std::string& request)> answer) {
  return [answer = std::move(answer)](RawConnection& connection, int) {
    for (std::string request = connection.readRequest(); !request.empty(); request = connection.readRequest())
      connection.send(answer(request));
  };
}

}  // namespace tovrin
