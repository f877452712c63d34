#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/scratch_folder.h"
#include "support/server_process.h"

namespace tovrin {

/// A real nginx on a loopback port of its own that answers like a worker: objects are files, the list of accounts is a
/// document. Wrong passwords get 401 without a challenge, a missing bucket name gets 400. It serves from the moment the
/// constructor returns until the object goes.
class NginxServer {
 public:
  explicit NginxServer(std::string_view password = "a loopback password");

  /// Host and port, as `httpAddress` of a connection has them.
  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  const std::string& password() const { return password_; }
  /// The value of the Authorization header that opens it.
  std::string authorization() const;

  /// What GET /api/worker/object/KEY?bucket=BUCKET gives.
  void putObject(std::string_view bucket, std::string_view key, std::string_view bytes);
  void removeObject(std::string_view bucket, std::string_view key);
  /// What GET /api/worker/accounts gives; a 404 without one.
  void putAccounts(std::string_view json);
  void removeAccounts();

  // For tests of the transfer itself; these need no password.
  /// GET answers with the number of the connection that the request came over.
  std::string connectionURL() const { return "http://" + address() + "/test/connection"; }
  /// GET answers with the request's target, Authorization, Accept and Accept-Encoding, a line each.
  std::string reflectionURL(std::string_view rest = {}) const {
    return "http://" + address() + "/test/reflection" + std::string(rest);
  }
  /// The object at KEY of bucket "compressed", gzip-encoded on the way.
  std::string compressedURL(std::string_view key) const {
    return "http://" + address() + "/test/compressed/" + std::string(key);
  }
  /// GET redirects to `url`, which must stay valid as long as the server.
  std::string redirectURL(std::string_view url) const {
    return "http://" + address() + "/test/redirect?to=" + std::string(url);
  }

  /// The requests answered so far, oldest first, each as "STATUS TARGET".
  std::vector<std::string> requests() const;
  /// Ends the server; afterwards connections are refused.
  void stop();

 private:
  void start();
  void waitForAnswer() const;
  std::filesystem::path objectPath(std::string_view bucket, std::string_view key) const;

  ScratchFolder folder_;
  std::string password_;
  int port_ = 0;
  std::optional<ServerProcess> process_;
};

}  // namespace tovrin
