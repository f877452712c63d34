#include "tools/raw_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>

#include "foundation/encoding.h"

namespace tovrin {

std::string RawResponse::header(std::string_view name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? "(none)" : found->second;
}

RawClient::RawClient(const std::string& address) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const auto colon = address.rfind(':');
  sockaddr_in target{};
  target.sin_family = AF_INET;
  target.sin_port = htons(static_cast<std::uint16_t>(std::stoi(address.substr(colon + 1))));
  inet_pton(AF_INET, address.substr(0, colon).c_str(), &target.sin_addr);
  if (::connect(socket_.number(), reinterpret_cast<const sockaddr*>(&target), sizeof target) != 0) {
    socket_ = worker::Descriptor();
    return;
  }
  // No test waits longer than this for bytes that should come.
  const timeval patience{.tv_sec = 20, .tv_usec = 0};
  ::setsockopt(socket_.number(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
}

void RawClient::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(socket_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

bool RawClient::fill() {
  std::array<char, 65536> piece;
  const ssize_t count = ::recv(socket_.number(), piece.data(), piece.size(), 0);
  if (count <= 0) return false;
  buffer_.append(piece.data(), static_cast<std::size_t>(count));
  return true;
}

RawResponse RawClient::readHead() {
  RawResponse response;
  std::size_t end = 0;
  while ((end = buffer_.find("\r\n\r\n")) == std::string::npos) {
    if (!fill()) return response;
  }
  response.head = buffer_.substr(0, end + 4);
  buffer_.erase(0, end + 4);
  response.status = std::stoi(response.head.substr(9, 3));
  std::size_t begin = response.head.find("\r\n") + 2;
  while (begin < end) {
    const std::size_t lineEnd = response.head.find("\r\n", begin);
    const std::string line = response.head.substr(begin, lineEnd - begin);
    const std::size_t colon = line.find(": ");
    response.headers.emplace(line.substr(0, colon), line.substr(colon + 2));
    begin = lineEnd + 2;
  }
  return response;
}

RawResponse RawClient::receive(bool withoutBody) {
  RawResponse response = readHead();
  if (response.status == 0 || withoutBody || response.status == 304) {
    response.complete = response.status != 0;
    return response;
  }
  if (response.header("Transfer-Encoding") == "chunked") {
    while (true) {
      std::size_t lineEnd = 0;
      while ((lineEnd = buffer_.find("\r\n")) == std::string::npos) {
        if (!fill()) return response;
      }
      const std::size_t length = std::stoul(buffer_, nullptr, 16);
      while (buffer_.size() < lineEnd + 2 + length + 2) {
        if (!fill()) return response;
      }
      response.body += buffer_.substr(lineEnd + 2, length);
      buffer_.erase(0, lineEnd + 2 + length + 2);
      if (length == 0) break;
    }
    response.complete = true;
    return response;
  }
  const bool declared = response.headers.contains("Content-Length");
  const std::size_t length = declared ? std::stoul(response.header("Content-Length")) : std::string::npos;
  while (buffer_.size() < length && fill()) {
  }
  response.complete = declared && buffer_.size() >= length;
  response.body = buffer_.substr(0, length);
  buffer_.erase(0, response.body.size());
  return response;
}

RawResponse RawClient::receiveBeginning(std::size_t bodyBytes) {
  RawResponse response = readHead();
  if (response.status != 0) response.body = receiveBytes(bodyBytes);
  return response;
}

std::string RawClient::receiveBytes(std::size_t count) {
  while (buffer_.size() < count && fill()) {
  }
  std::string bytes = buffer_.substr(0, count);
  buffer_.erase(0, bytes.size());
  return bytes;
}

bool RawClient::staysSilent(int milliseconds) {
  pollfd wait{socket_.number(), POLLIN, 0};
  return buffer_.empty() && ::poll(&wait, 1, milliseconds) == 0;
}

bool RawClient::endsCleanly() {
  std::array<char, 65536> piece;
  ssize_t count = 0;
  while ((count = ::recv(socket_.number(), piece.data(), piece.size(), 0)) > 0) {
  }
  return count == 0;
}

std::string authorization(std::string_view password, std::string_view user) {
  return "Authorization: Basic " + base64Encode(std::string(user) + ":" + std::string(password)) + "\r\n";
}

RawResponse request(const std::string& address, std::string_view method, std::string_view target,
                    std::string_view headers, std::string_view body) {
  RawClient client(address);
  if (!client.connected()) return {};
  std::string text = std::string(method) + " " + std::string(target) + " HTTP/1.1\r\nHost: " + address + "\r\n";
  text += headers;
  if (!body.empty()) text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  client.send(text + "\r\n" + std::string(body));
  return client.receive(method == "HEAD");
}

}  // namespace tovrin
