#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "tovrin-worker/descriptor.h"

namespace tovrin {

/// An HTTP response as it came over the wire.
struct RawResponse {
  int status = 0;                                           ///< 0: the connection ended without one
  std::string head;                                         ///< everything up to the empty line
  std::map<std::string, std::string, std::less<>> headers;  ///< by their names as sent
  std::string body;
  bool complete = false;  ///< the body has its declared length, or its last chunk came

  std::string header(std::string_view name) const;
};

/// One connection that sends what it is told, also what no HTTP library would send.
class RawClient {
 public:
  explicit RawClient(const std::string& address);

  bool connected() const { return static_cast<bool>(socket_); }
  void send(std::string_view bytes);
  /// The next response on this connection; `withoutBody` for an answer to HEAD.
  RawResponse receive(bool withoutBody = false);
  /// Header and the first bytes of a body that goes on.
  RawResponse receiveBeginning(std::size_t bodyBytes);
  /// So many more bytes, fewer when the stream ends.
  std::string receiveBytes(std::size_t count);
  /// Whether nothing arrives for so long; true also means that the connection is still open.
  bool staysSilent(int milliseconds);
  /// Reads until the end of the stream; true when it was an end and not a reset.
  bool endsCleanly();

 private:
  bool fill();
  RawResponse readHead();

  worker::Descriptor socket_;
  std::string buffer_;
};

/// "Authorization: Basic …\r\n" for this password.
std::string authorization(std::string_view password, std::string_view user = "");
/// A whole request without body, on a connection of its own.
RawResponse request(const std::string& address, std::string_view method, std::string_view target,
                    std::string_view headers, std::string_view body = "");

}  // namespace tovrin
