#include "cli/error_output.h"

#include <fmt/core.h>
#include <fmt/ranges.h>

#include <cstdio>

#include "cli/json_output.h"
#include "cli/output.h"

namespace tovrin::cli {

namespace {

std::string failureJSON(const NSError& error) {
  return jsonText([&](JSONWriter& writer) {
    const JSONObject whole(writer);
    writer.Key("error");
    const JSONObject object(writer);
    object.member("domain", error.domain());
    object.member("code", error.code());
    object.member("localizedDescription", repairedUTF8(error.localizedDescription()));
    if (const DecodingFailure* decoding = error.decodingFailure()) {
      object.member("codingPath", decoding->codingPath);
      object.member("debugDescription", decoding->debugDescription);
    }
  });
}

}  // namespace

std::string sentence(const NSError& error) {
  const DecodingFailure* decoding = error.decodingFailure();
  if (decoding == nullptr) return error.localizedDescription();
  if (decoding->codingPath.empty()) return decoding->debugDescription;
  return fmt::format("{}: {}", fmt::join(decoding->codingPath, "."), decoding->debugDescription);
}

void reportFailure(const Failure& failure, ErrorFormat format) {
  if (format == ErrorFormat::json) {
    fmt::print(stderr, "{}\n", failureJSON(failure.error));
    return;
  }
  const std::string subject = failure.subject.empty() ? "" : printable(failure.subject) + ": ";
  const std::string cause = failure.cause.empty() ? "" : " (" + failure.cause + ")";
  fmt::print(stderr, "tovrin: {}{}{}\n", subject, printable(sentence(failure.error)), cause);
}

}  // namespace tovrin::cli
