#include "tovrin-worker/fault.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <span>

namespace tovrin::worker {
namespace {

enum class ArgumentType : std::uint8_t { integer, seconds, text };

struct Argument {
  std::string_view name;
  ArgumentType type;
  bool required;
};

struct KindRow {
  std::string_view word;
  Fault::Kind kind;
  std::array<Argument, 3> arguments;
  std::string_view summary;

  std::span<const Argument> used() const {
    return std::span(arguments).first(std::ranges::count_if(arguments, [](auto& a) { return !a.name.empty(); }));
  }
};

using enum ArgumentType;
constexpr Argument kNone{};
constexpr std::array<KindRow, 15> kKinds{{
    {"delay", Fault::Kind::delay, {{{"seconds", seconds, true}, kNone, kNone}}, "silence before the header"},
    {"silent", Fault::Kind::silent, {{{"seconds", seconds, false}, kNone, kNone}}, "no answer at all"},
    {"stall",
     Fault::Kind::stall,
     {{{"after", integer, true}, {"seconds", seconds, false}, kNone}},
     "silence in the body"},
    {"cut", Fault::Kind::cut, {{{"after", integer, true}, kNone, kNone}}, "the connection ends in the body"},
    {"status",
     Fault::Kind::status,
     {{{"code", integer, true}, {"body", text, false}, {"type", text, false}}},
     "this answer instead"},
    {"redirect", Fault::Kind::redirect, {{{"to", text, true}, {"code", integer, false}, kNone}}, "to another URL"},
    {"resize",
     Fault::Kind::resize,
     {{{"bytes", integer, true}, kNone, kNone}},
     "a shorter or a zero-filled longer body"},
    {"declare", Fault::Kind::declare, {{{"bytes", integer, true}, kNone, kNone}}, "only the declared length is wrong"},
    {"endless", Fault::Kind::endless, {}, "a chunked body that never ends"},
    {"flip", Fault::Kind::flip, {{{"at", integer, true}, kNone, kNone}}, "one bit of this byte is wrong"},
    {"close", Fault::Kind::close, {}, "the connection ends after a whole answer"},
    {"content-type",
     Fault::Kind::contentType,
     {{{"value", text, true}, kNone, kNone}},
     "another type; \"\" is an empty one"},
    {"header", Fault::Kind::header, {{{"name", text, true}, {"value", text, true}, kNone}}, "one more header"},
    {"chunked", Fault::Kind::chunked, {}, "chunked framing"},
    {"unknown-fields", Fault::Kind::unknownFields, {}, "accounts with fields that nobody knows"},
}};

constexpr std::array<std::pair<std::string_view, Route>, 3> kRoutes{
    {{"object", Route::object}, {"accounts", Route::accounts}, {"buckets", Route::buckets}}};

std::unexpected<NSError> invalid(std::string_view line, std::string_view reason) {
  return failure(NSError::posix(EINVAL, fmt::format("The fault \"{}\" is not understood: {}.", line, reason)));
}

/// Words separated by spaces; double quotes keep a space inside a word and are dropped.
std::optional<std::vector<std::string>> splitWords(std::string_view line) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false, started = false;
  for (const char character : line) {
    if (character == '"') {
      quoted = !quoted;
      started = true;
    } else if (!quoted && (character == ' ' || character == '\t')) {
      if (started) words.push_back(std::move(word));
      word.clear();
      started = false;
    } else {
      word += character;
      started = true;
    }
  }
  if (quoted) return std::nullopt;
  if (started) words.push_back(std::move(word));
  return words;
}

template <class Number>
std::optional<Number> parseNumber(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 0) return std::nullopt;
  return number;
}

bool isValid(const Argument& argument, std::string_view value) {
  switch (argument.type) {
    case integer:
      return parseNumber<std::int64_t>(value).has_value();
    case seconds:
      return parseNumber<double>(value).has_value();
    case text:
      return value.find_first_of("\r\n") == std::string_view::npos;
  }
  return false;
}

Result<void> readWord(std::string_view line, const KindRow& row, std::string_view name, std::string_view value,
                      Fault& fault) {
  if (name == "key") {
    fault.keyPrefix = value;
    fault.route = Route::object;
    return {};
  }
  if (name == "route") {
    const auto known = std::ranges::find(kRoutes, value, [](auto& pair) { return pair.first; });
    if (known == kRoutes.end()) return invalid(line, "the routes are object, accounts and buckets");
    fault.route = known->second;
    return {};
  }
  if (name == "times") {
    fault.times = parseNumber<std::int64_t>(value);
    if (!fault.times) return invalid(line, "times needs a number");
    return {};
  }
  const auto argument = std::ranges::find(row.arguments, name, &Argument::name);
  if (name.empty() || argument == row.arguments.end()) {
    return invalid(line, fmt::format("{} does not take \"{}\"", row.word, name));
  }
  if (!isValid(*argument, value)) return invalid(line, fmt::format("\"{}\" is no value for {}", value, name));
  fault.arguments.insert_or_assign(std::string(name), std::string(value));
  return {};
}

}  // namespace

std::string Fault::text(std::string_view name, std::string_view otherwise) const {
  const auto found = arguments.find(name);
  return found == arguments.end() ? std::string(otherwise) : found->second;
}

std::int64_t Fault::integer(std::string_view name, std::int64_t otherwise) const {
  const auto found = arguments.find(name);
  return found == arguments.end() ? otherwise : parseNumber<std::int64_t>(found->second).value_or(otherwise);
}

std::optional<double> Fault::seconds() const {
  const auto found = arguments.find("seconds");
  return found == arguments.end() ? std::nullopt : parseNumber<double>(found->second);
}

Result<Fault> parseFault(std::string_view line) {
  const auto words = splitWords(line);
  if (!words) return invalid(line, "a double quote is not closed");
  if (words->empty()) return invalid(line, "there is no kind");

  const auto row = std::ranges::find(kKinds, words->front(), &KindRow::word);
  if (row == kKinds.end()) return invalid(line, fmt::format("there is no kind \"{}\"", words->front()));

  Fault fault{.kind = row->kind, .line = std::string(line), .arguments = {}, .route = {}, .keyPrefix = {}, .times = {}};
  for (const std::string_view word : std::span(*words).subspan(1)) {
    const auto equals = word.find('=');
    if (equals == std::string_view::npos) return invalid(line, fmt::format("\"{}\" has no value", word));
    TOVRIN_CHECK(readWord(line, *row, word.substr(0, equals), word.substr(equals + 1), fault));
  }
  for (const Argument& argument : row->used()) {
    if (argument.required && !fault.has(argument.name)) {
      return invalid(line, fmt::format("{} needs {}", row->word, argument.name));
    }
  }
  if (const std::int64_t code = fault.integer("code", 200); code < 200 || code > 599) {
    return invalid(line, "a status code lies between 200 and 599");
  }
  return fault;
}

std::string faultSummary() {
  std::string summary = "Faults (every kind also takes key=PREFIX, route=object|accounts|buckets, times=N):\n";
  for (const KindRow& row : kKinds) {
    std::string usage(row.word);
    for (const Argument& argument : row.used()) {
      usage += argument.required ? fmt::format(" {}=…", argument.name) : fmt::format(" [{}=…]", argument.name);
    }
    summary += fmt::format("  {:<38} {}\n", usage, row.summary);
  }
  return summary;
}

const Fault* RequestFaults::find(Fault::Kind kind) const {
  const auto found = std::ranges::find(faults_, kind, &Fault::kind);
  return found == faults_.end() ? nullptr : &*found;
}

void FaultList::add(Fault fault) {
  const std::lock_guard guard(lock_);
  faults_.push_back(std::move(fault));
}

void FaultList::clear() {
  const std::lock_guard guard(lock_);
  faults_.clear();
  ++generation_;
}

std::vector<std::string> FaultList::lines() const {
  const std::lock_guard guard(lock_);
  std::vector<std::string> lines;
  for (const Fault& fault : faults_) lines.push_back(fault.line);
  return lines;
}

RequestFaults FaultList::take(Route route, std::string_view key) {
  const std::lock_guard guard(lock_);
  std::vector<Fault> taken;
  for (Fault& fault : faults_) {
    if (fault.route && *fault.route != route) continue;
    if (!fault.keyPrefix.empty() && !key.starts_with(fault.keyPrefix)) continue;
    if (fault.times && (*fault.times)-- <= 0) continue;
    taken.push_back(fault);
  }
  std::erase_if(faults_, [](const Fault& fault) { return fault.times && *fault.times <= 0; });
  return RequestFaults(std::move(taken));
}

}  // namespace tovrin::worker
