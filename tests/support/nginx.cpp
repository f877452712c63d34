#include "support/nginx.h"

#include <sstream>

#include "foundation/encoding.h"
#include "support/loopback_socket.h"

namespace tovrin {

namespace {

// The password is compared by hand: basic authentication proper refuses an empty user name and adds a challenge.
constexpr std::string_view kConfiguration = R"(
daemon off;
user root;  # where the master is root, its worker has to read the folder too
worker_processes 1;
pid @FOLDER@/nginx.pid;
error_log @FOLDER@/error.log;
events { worker_connections 256; }
http {
  log_format request '$status $request_uri';
  access_log @FOLDER@/access.log request;
  client_body_temp_path @FOLDER@/temporary;
  proxy_temp_path @FOLDER@/temporary;
  fastcgi_temp_path @FOLDER@/temporary;
  uwsgi_temp_path @FOLDER@/temporary;
  scgi_temp_path @FOLDER@/temporary;
  default_type application/octet-stream;
  sendfile on;
  merge_slashes off;
  keepalive_requests 1000000;
  server {
    listen 127.0.0.1:@PORT@;
    location = /api/worker/accounts {
      if ($http_authorization != "@AUTHORIZATION@") { return 401 "Unauthorized\n"; }
      default_type application/json;
      alias @FOLDER@/accounts.json;
    }
    location /api/worker/object/ {
      if ($http_authorization != "@AUTHORIZATION@") { return 401 "Unauthorized\n"; }
      if ($arg_bucket = "") { return 400 "'bucket' parameter is required\n"; }
      alias @FOLDER@/objects/$arg_bucket/;
    }
    location = /test/fence { access_log off; return 204; }
    location = /test/connection { return 200 "$connection"; }
    location = /test/redirect { return 302 "$arg_to"; }
    location /test/reflection {
      return 200 "$request_uri\n$http_authorization\n$http_accept\n$http_accept_encoding\n";
    }
    location /test/compressed/ {
      gzip on;
      gzip_types *;
      gzip_min_length 1;
      alias @FOLDER@/objects/compressed/;
    }
  }
}
)";

std::string filledIn(std::string text, std::string_view place, std::string_view value) {
  for (std::size_t at = text.find(place); at != std::string::npos; at = text.find(place, at + value.size()))
    text.replace(at, place.size(), value);
  return text;
}

}  // namespace

NginxServer::NginxServer(std::string_view password) : password_(password) {
  start();
  // A signal to end that comes while nginx still starts can be slept through for ever.
  waitForAnswer();
}

void NginxServer::start() {
  // nginx inherits a socket that listens already, as it does when it replaces its own binary: nobody can take the port
  // in between, and clients can connect at once.
  const LoopbackSocket socket = LoopbackSocket::listen();
  port_ = socket.port();
  std::string configuration = filledIn(std::string(kConfiguration), "@FOLDER@", folder_.path().native());
  configuration = filledIn(configuration, "@PORT@", std::to_string(port_));
  configuration = filledIn(configuration, "@AUTHORIZATION@", authorization());
  writeFile(folder_ / "nginx.conf", configuration);
  writeFile(folder_ / "access.log", "");
  process_.emplace(std::vector<std::string>{"nginx", "-e", folder_ / "error.log", "-p", folder_.path(), "-c",
                                            folder_ / "nginx.conf"},
                   ServerProcess::Options{.environment = {"NGINX=3;"}, .passedDescriptor = socket.descriptor()});
}

std::string NginxServer::authorization() const { return "Basic " + base64Encode(":" + password_); }

std::filesystem::path NginxServer::objectPath(std::string_view bucket, std::string_view key) const {
  return folder_ / "objects" / bucket / key;
}

void NginxServer::putObject(std::string_view bucket, std::string_view key, std::string_view bytes) {
  writeFile(objectPath(bucket, key), bytes);
}

void NginxServer::removeObject(std::string_view bucket, std::string_view key) {
  std::filesystem::remove(objectPath(bucket, key));
}

void NginxServer::putAccounts(std::string_view json) { writeFile(folder_ / "accounts.json", json); }

void NginxServer::removeAccounts() { std::filesystem::remove(folder_ / "accounts.json"); }

std::vector<std::string> NginxServer::requests() const {
  // One worker with one loop: once it answers a later request, the earlier ones are in its log.
  waitForAnswer();
  std::istringstream log(readFile(folder_ / "access.log"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(log, line);) lines.push_back(line);
  return lines;
}

void NginxServer::waitForAnswer() const {
  const LoopbackSocket connection = LoopbackSocket::connect(port_);
  connection.send("GET /test/fence HTTP/1.0\r\n\r\n");
  connection.receiveUntilClosed();
}

void NginxServer::stop() { process_->end(); }

}  // namespace tovrin
