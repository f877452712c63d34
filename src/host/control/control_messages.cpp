#include "host/control/control_messages.h"

#include <cmath>
#include <optional>
#include <tuple>
#include <utility>

#include "foundation/encoding.h"
#include "foundation/json/coding.h"
#include "foundation/json/decoder.h"
#include "foundation/json/encoder.h"
#include "foundation/utf8.h"

namespace tovrin {

namespace host {
namespace {

/// A path, in base64.
struct CodedEdit {
  NSFileProviderItemIdentifier identifier;
  std::string filename;
  EditState state = EditState::unsaved;
  std::string file;
  std::string error;
};

struct CodedStatus {
  std::string mountpoint;
  std::int64_t processID = 0;
  StoreUsage usage;
  StoreLimits limits;
  std::vector<MountStatus::Opening> openings;
  std::vector<CodedEdit> edits;
  std::vector<MountStatus::Problem> problems;
  std::int64_t refusedCrawlers = 0;
};

struct CodedError {
  std::string domain;
  std::int64_t code = 0;
  std::string localizedDescription;
};

struct Done {
  bool isDone = true;
};

template <class Value>
struct Answer {
  std::optional<Value> answer;
  std::optional<CodedError> error;
};

}  // namespace
}  // namespace host

template <>
struct JSONEnumeration<host::ControlRequest::Kind> {
  static constexpr std::string_view name = "Request";
  static constexpr std::array<std::string_view, 5> cases{"status", "evict", "evictAll", "fetch", "handOverEdits"};
};

template <>
struct JSONEnumeration<host::EditState> {
  static constexpr std::string_view name = "EditState";
  static constexpr std::array<std::string_view, 4> cases{"writing", "unsaved", "saved", "interrupted"};
};

template <>
struct JSONEnumeration<host::Evicted> {
  static constexpr std::string_view name = "Evicted";
  static constexpr std::array<std::string_view, 4> cases{"dropped", "notHere", "open", "edited"};
};

template <>
struct RecordCoding<host::ControlRequest> {
  using Request = host::ControlRequest;
  static constexpr std::tuple fields{
      field("request", &Request::kind),
      defaulted("items", &Request::items, [](const Request&) { return std::vector<std::string>(); }),
      rule(
          "items",
          [](const Request& request) { return request.kind != Request::Kind::fetch || request.items.size() == 1; },
          "A fetch needs one item."),
  };
};

template <>
struct RecordCoding<host::StoreUsage> {
  static constexpr std::tuple fields{
      field("cachedBytes", &host::StoreUsage::cachedBytes),
      field("cachedItems", &host::StoreUsage::cachedItems),
  };
};

template <>
struct RecordCoding<host::StoreLimits> {
  static constexpr std::tuple fields{
      field("cacheBytes", &host::StoreLimits::cacheBytes),
      field("keepFree", &host::StoreLimits::keepFree),
  };
};

template <>
struct RecordCoding<host::MountStatus::Opening> {
  using Opening = host::MountStatus::Opening;
  static constexpr std::tuple fields{
      field("identifier", &Opening::identifier), field("filename", &Opening::filename), field("bytes", &Opening::bytes),
      field("fraction", &Opening::fraction),     field("isQueued", &Opening::isQueued),
  };
};

template <>
struct RecordCoding<host::CodedEdit> {
  using Edit = host::CodedEdit;
  static constexpr std::tuple fields{
      field("identifier", &Edit::identifier), field("filename", &Edit::filename),
      field("state", &Edit::state),           field("file", &Edit::file),
      field("error", &Edit::error),
  };
};

template <>
struct RecordCoding<host::MountStatus::Problem> {
  using Problem = host::MountStatus::Problem;
  static constexpr std::tuple fields{
      field("identifier", &Problem::identifier),
      field("filename", &Problem::filename),
      field("error", &Problem::error),
  };
};

template <>
struct RecordCoding<host::CodedStatus> {
  using Status = host::CodedStatus;
  static constexpr std::tuple fields{
      field("mountpoint", &Status::mountpoint), field("processID", &Status::processID),
      field("usage", &Status::usage),           field("limits", &Status::limits),
      field("openings", &Status::openings),     field("edits", &Status::edits),
      field("problems", &Status::problems),     field("refusedCrawlers", &Status::refusedCrawlers),
  };
};

template <>
struct RecordCoding<host::EvictOutcome> {
  using Outcome = host::EvictOutcome;
  static constexpr std::tuple fields{
      field("identifier", &Outcome::identifier),
      field("filename", &Outcome::filename),
      field("result", &Outcome::result),
  };
};

template <>
struct RecordCoding<host::CodedError> {
  using Error = host::CodedError;
  static constexpr std::tuple fields{
      field("domain", &Error::domain),
      field("code", &Error::code),
      field("localizedDescription", &Error::localizedDescription),
  };
};

template <>
struct RecordCoding<host::Done> {
  static constexpr std::tuple fields{field("done", &host::Done::isDone)};
};

template <class Value>
struct RecordCoding<host::Answer<Value>> {
  using Answer = host::Answer<Value>;
  static constexpr std::tuple fields{
      field("answer", &Answer::answer),
      field("error", &Answer::error),
      rule(
          "answer", [](const Answer& answer) { return answer.answer.has_value() != answer.error.has_value(); },
          "There is an answer or an error."),
  };
};

namespace host {
namespace {

CodedEdit coded(const MountStatus::KeptEdit& edit) {
  return {edit.identifier, edit.filename, edit.state, base64Encode(edit.file.native()), repairedUTF8(edit.error)};
}

MountStatus::KeptEdit decoded(CodedEdit edit) {
  return {std::move(edit.identifier), std::move(edit.filename), edit.state,
          base64Decode(edit.file).value_or(std::string()), std::move(edit.error)};
}

template <class To, class From, class Convert>
std::vector<To> converted(const std::vector<From>& from, Convert&& convert) {
  std::vector<To> to;
  to.reserve(from.size());
  for (const From& element : from) to.push_back(convert(element));
  return to;
}

std::vector<CodedEdit> codedEdits(const std::vector<MountStatus::KeptEdit>& edits) {
  return converted<CodedEdit>(edits, coded);
}

std::vector<MountStatus::KeptEdit> decodedEdits(const std::vector<CodedEdit>& edits) {
  return converted<MountStatus::KeptEdit>(edits, decoded);
}

/// The sentences of errors may name files, whose names need not be UTF-8.
MountStatus::Problem repaired(const MountStatus::Problem& problem) {
  return {problem.identifier, problem.filename, repairedUTF8(problem.error)};
}

/// JSON has no number for what a division by an empty file's size gives.
MountStatus::Opening finite(MountStatus::Opening opening) {
  if (!std::isfinite(opening.fraction)) opening.fraction = 0;
  return opening;
}

template <class Value>
std::string encoded(Value value) {
  return encodeJSON(Answer<Value>{std::move(value), std::nullopt});
}

template <class Value>
Result<Value> decodedValue(std::string_view line) {
  TOVRIN_TRY(Answer<Value> answer, decodeJSON<Answer<Value>>(line));
  if (answer.error)
    return failure({answer.error->domain, answer.error->code, std::move(answer.error->localizedDescription)});
  return *std::move(answer.answer);
}

}  // namespace

std::string encodeRequest(const ControlRequest& request) { return encodeJSON(request); }

Result<ControlRequest> decodeRequest(std::string_view line) { return decodeJSON<ControlRequest>(line); }

std::string encodeAnswer(const MountStatus& status) {
  return encoded(CodedStatus{base64Encode(status.mountpoint.native()), status.processID, status.usage, status.limits,
                             converted<MountStatus::Opening>(status.openings, finite), codedEdits(status.edits),
                             converted<MountStatus::Problem>(status.problems, repaired), status.refusedCrawlers});
}

std::string encodeAnswer(const std::vector<EvictOutcome>& outcomes) { return encoded(outcomes); }

std::string encodeAnswer(const std::vector<MountStatus::KeptEdit>& edits) { return encoded(codedEdits(edits)); }

std::string encodeAnswer() { return encoded(Done{}); }

std::string encodeAnswer(const NSError& error) {
  return encodeJSON(
      Answer<Done>{std::nullopt, CodedError{error.domain(), error.code(), repairedUTF8(error.localizedDescription())}});
}

template <>
Result<MountStatus> decodeAnswer(std::string_view line) {
  TOVRIN_TRY(CodedStatus status, decodedValue<CodedStatus>(line));
  return MountStatus{base64Decode(status.mountpoint).value_or(std::string()),
                     status.processID,
                     status.usage,
                     status.limits,
                     std::move(status.openings),
                     decodedEdits(status.edits),
                     std::move(status.problems),
                     status.refusedCrawlers};
}

template <>
Result<std::vector<EvictOutcome>> decodeAnswer(std::string_view line) {
  return decodedValue<std::vector<EvictOutcome>>(line);
}

template <>
Result<std::vector<MountStatus::KeptEdit>> decodeAnswer(std::string_view line) {
  TOVRIN_TRY(const std::vector<CodedEdit> edits, decodedValue<std::vector<CodedEdit>>(line));
  return decodedEdits(edits);
}

template <>
Result<void> decodeAnswer(std::string_view line) {
  TOVRIN_TRY(std::ignore, decodedValue<Done>(line));
  return {};
}

std::string_view nameOf(Evicted result) { return jsonCase(result); }
std::string_view nameOf(EditState state) { return jsonCase(state); }

}  // namespace host

}  // namespace tovrin
