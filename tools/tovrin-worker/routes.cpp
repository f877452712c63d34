#include "tovrin-worker/routes.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <ctime>
#include <optional>

namespace tovrin::worker {
namespace {

constexpr std::string_view kObject = "/api/worker/object/";
constexpr std::string_view kUserMetadata = "X-Sia-Meta-";
constexpr std::size_t kMostTextBytes = 1 << 20;

Response methodNotAllowed(std::string allowed) {
  Response response = textResponse(405, "Method Not Allowed");
  response.headers.insert(response.headers.begin(), {"Allow", std::move(allowed)});
  return response;
}

Response emptyResponse(Headers headers = {}) {
  Response response{.status = 200, .headers = std::move(headers)};
  response.headers.emplace_back("Date", formatHTTPDate(std::time(nullptr)));
  response.headers.emplace_back("Content-Length", "");
  return response;
}

Response dataResponse(std::string type, std::string body) {
  Response response{.status = 200, .body = std::move(body)};
  response.headers = {
      {"Content-Type", std::move(type)}, {"Date", formatHTTPDate(std::time(nullptr))}, {"Content-Length", ""}};
  return response;
}

std::optional<std::string> readText(Exchange& exchange) {
  std::string text;
  const bool whole = exchange.connection.readBody(exchange.head, [&](std::string_view piece) {
    text += piece;
    return text.size() <= kMostTextBytes;
  });
  exchange.bodyRead = whole;
  return whole ? std::optional(std::move(text)) : std::nullopt;
}

bool isUnchanged(const RequestHead& head, const OpenObject& object) {
  if (const std::string* tags = head.header("If-None-Match")) {
    return *tags == "*" || tags->find(object.etag) != std::string::npos;
  }
  const std::string* since = head.header("If-Modified-Since");
  const auto time = since ? parseHTTPDate(*since) : std::nullopt;
  return time && object.lastModified <= *time;
}

}  // namespace

bool classify(Exchange& exchange) {
  auto path = percentDecode(exchange.head.rawPath());
  if (!path) return false;
  exchange.path = std::move(*path);
  if (exchange.path.starts_with(kObject)) {
    exchange.route = Route::object;
    exchange.key = exchange.path.substr(kObject.size());
  } else if (exchange.path == "/api/worker/accounts") {
    exchange.route = Route::accounts;
  } else if (exchange.path == "/api/bus/buckets") {
    exchange.route = Route::buckets;
  } else if (exchange.path.starts_with("/control/")) {
    exchange.route = Route::control;
  }
  return true;
}

Response Routes::answer(Exchange& exchange, const RequestFaults& requestFaults) {
  // Before routing, and without WWW-Authenticate: a client must not start to ask for credentials.
  if (basicPassword(exchange.head) != password_) return textResponse(401, "Unauthorized");
  switch (exchange.route) {
    case Route::object:
      return object(exchange);
    case Route::accounts:
      return accounts(exchange, requestFaults);
    case Route::buckets:
      return buckets(exchange);
    case Route::control:
      return control(exchange);
    case Route::other:
      break;
  }
  return textResponse(404, "404 page not found");
}

Response Routes::object(Exchange& exchange) {
  const std::string& method = exchange.head.method;
  if (method != "GET" && method != "HEAD" && method != "PUT" && method != "DELETE") {
    return methodNotAllowed("DELETE, GET, HEAD, PUT");
  }
  const std::string bucket = exchange.head.query("bucket").value_or("");
  if (bucket.empty()) return textResponse(400, "'bucket' parameter is required");
  if (method == "PUT") return putObject(exchange, bucket);
  if (method == "DELETE") {
    return store_.remove(bucket, exchange.key) ? emptyResponse() : textResponse(404, "object not found");
  }
  return getObject(exchange, bucket);
}

Response Routes::getObject(const Exchange& exchange, std::string_view bucket) {
  auto object = store_.open(bucket, exchange.key);
  if (!object) return textResponse(404, "object not found");
  const std::string date = formatHTTPDate(std::time(nullptr));
  if (isUnchanged(exchange.head, *object)) {
    return {.status = 304, .headers = {{"Etag", object->etag}, {"Date", date}}};
  }
  Response response{.status = 200};
  FileBody body{.file = std::move(object->file), .offset = 0, .size = object->size};
  response.headers = {{"Accept-Ranges", "bytes"}, {"Content-Length", ""}};
  if (const std::string* text = exchange.head.header("Range")) {
    const auto range = parseRange(*text, object->size);
    if (!range) return textResponse(400, "invalid range");
    response.status = 206;
    response.headers.emplace_back("Content-Range", "bytes " + std::to_string(range->offset) + "-" +
                                                       std::to_string(range->offset + range->length - 1) + "/" +
                                                       std::to_string(object->size));
    body.offset = range->offset;
    body.size = range->length;
  }
  response.headers.emplace_back("Content-Type", object->metadata.contentType);
  response.headers.emplace_back("Etag", object->etag);
  response.headers.emplace_back("Last-Modified", formatHTTPDate(object->lastModified));
  response.headers.insert(response.headers.end(), object->metadata.userMetadata.begin(),
                          object->metadata.userMetadata.end());
  response.headers.emplace_back("Date", date);
  response.body = std::move(body);
  return response;
}

Response Routes::putObject(Exchange& exchange, std::string_view bucket) {
  if (!store_.hasBucket(bucket)) return textResponse(404, "bucket not found");
  auto upload = store_.beginUpload();
  if (!upload) return textResponse(500, upload.error().localizedDescription());
  bool written = true;
  exchange.bodyRead = exchange.connection.readBody(exchange.head, [&](std::string_view piece) {
    written = upload->write(piece);
    return written;
  });
  if (!exchange.bodyRead)
    return written ? textResponse(400, "unexpected EOF") : textResponse(500, "couldn't store object");

  ObjectMetadata metadata{.contentType = exchange.head.query("mimetype").value_or(""), .userMetadata = {}};
  for (const auto& [name, value] : exchange.head.headers) {
    if (sameHeaderName(std::string_view(name).substr(0, kUserMetadata.size()), kUserMetadata)) {
      metadata.userMetadata.emplace_back(name, value);
    }
  }
  const auto etag = store_.commit(std::move(*upload), bucket, exchange.key, std::move(metadata));
  return etag ? emptyResponse({{"Etag", *etag}}) : textResponse(500, etag.error().localizedDescription());
}

Response Routes::accounts(const Exchange& exchange, const RequestFaults& requestFaults) {
  if (exchange.head.method != "GET") return methodNotAllowed("GET");
  const bool strangers = requestFaults.find(Fault::Kind::unknownFields);
  return dataResponse("application/json", accounts_.nextBody(strangers ? UnknownFields::yes : UnknownFields::no));
}

Response Routes::buckets(Exchange& exchange) {
  if (exchange.head.method != "POST") return methodNotAllowed("POST");
  const auto text = readText(exchange);
  rapidjson::Document document;
  if (text) document.Parse(text->data(), text->size());
  if (!text || document.HasParseError() || !document.IsObject()) return textResponse(400, "couldn't decode request");
  const auto name = document.FindMember("name");
  if (name == document.MemberEnd() || !name->value.IsString()) return textResponse(400, "no bucket name");
  switch (store_.createBucket({name->value.GetString(), name->value.GetStringLength()})) {
    case ObjectStore::BucketOutcome::created:
      return emptyResponse();
    case ObjectStore::BucketOutcome::exists:
      return textResponse(409, "bucket already exists");
    case ObjectStore::BucketOutcome::badName:
      return textResponse(400, "invalid bucket name");
    case ObjectStore::BucketOutcome::failed:
      break;
  }
  return textResponse(500, "couldn't create bucket");
}

Response Routes::control(Exchange& exchange) {
  if (exchange.path == "/control/faults") return controlFaults(exchange);
  if (exchange.path != "/control/accounts") return textResponse(404, "404 page not found");
  if (exchange.head.method != "POST") return methodNotAllowed("POST");
  std::string text = readText(exchange).value_or("");
  while (text.ends_with('\n')) text.pop_back();
  auto steps = parseAccountsSteps(text);
  if (!steps) return textResponse(400, steps.error().localizedDescription());
  accounts_.replace(std::move(*steps));
  return emptyResponse();
}

Response Routes::controlFaults(Exchange& exchange) {
  const std::string& method = exchange.head.method;
  if (method == "GET") {
    std::string text;
    for (const std::string& line : faults_.lines()) text += line + "\n";
    return dataResponse("text/plain; charset=utf-8", std::move(text));
  }
  if (method == "DELETE") {
    faults_.clear();
    return emptyResponse();
  }
  if (method != "POST") return methodNotAllowed("DELETE, GET, POST");

  const auto text = readText(exchange);
  if (!text) return textResponse(400, "unexpected EOF");
  std::vector<Fault> parsed;
  for (std::string_view rest = *text; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    if (line.empty()) continue;
    auto fault = parseFault(line);
    if (!fault) return textResponse(400, fault.error().localizedDescription());
    parsed.push_back(std::move(*fault));
  }
  for (Fault& fault : parsed) faults_.add(std::move(fault));
  return emptyResponse();
}

}  // namespace tovrin::worker
