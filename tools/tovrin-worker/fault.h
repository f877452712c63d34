#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/result.h"

/// What goes wrong on purpose. A fault is written as one line: a kind, then NAME=VALUE words; a value with spaces
/// stands in double quotes.
///
///     cut after=0 key=photos/ times=2
///     status code=502 type=text/html body="<h1>Bad Gateway</h1>" route=accounts
namespace tovrin::worker {

enum class Route : std::uint8_t { object, accounts, buckets, control, other };

struct Fault {
  enum class Kind : std::uint8_t {
    delay,          ///< `seconds`: silence before the header
    silent,         ///< no answer; the connection ends after `seconds`, or when the client leaves
    stall,          ///< `after`, `seconds`: silence in the body
    cut,            ///< `after`: the full length is declared, the connection ends after so many bytes of the body
    status,         ///< `code`, `body`, `type`: this answer instead
    redirect,       ///< `to`, `code`
    resize,         ///< `bytes`: the body is cut or filled up with zeros to this length, and the length says so
    declare,        ///< `bytes`: only the declared length differs
    endless,        ///< a chunked body that never ends
    flip,           ///< `at`: the lowest bit of this byte is wrong
    close,          ///< a whole answer, then the connection ends unannounced
    contentType,    ///< `value`, which may be empty
    header,         ///< `name`, `value`: one more header
    chunked,        ///< chunked framing instead of a declared length
    unknownFields,  ///< accounts with fields that nobody knows
  };

  Kind kind = Kind::delay;
  std::string line;  ///< as it was written
  std::map<std::string, std::string, std::less<>> arguments;
  std::optional<Route> route;
  std::string keyPrefix;
  std::optional<std::int64_t> times;  ///< how many requests it still hits; absent means every one

  bool has(std::string_view name) const { return arguments.find(name) != arguments.end(); }
  std::string text(std::string_view name, std::string_view otherwise = {}) const;
  std::int64_t integer(std::string_view name, std::int64_t otherwise = 0) const;
  std::optional<double> seconds() const;
};

/// NSPOSIXErrorDomain EINVAL with a sentence that says what is wrong with the line.
Result<Fault> parseFault(std::string_view line);

/// The kinds with what each takes, one a line, for `--help`.
std::string faultSummary();

/// The faults that hit one request.
class RequestFaults {
 public:
  explicit RequestFaults(std::vector<Fault> faults) : faults_(std::move(faults)) {}

  const Fault* find(Fault::Kind kind) const;
  const std::vector<Fault>& all() const { return faults_; }

 private:
  std::vector<Fault> faults_;
};

/// The faults of a running worker. Thread-safe.
class FaultList {
 public:
  void add(Fault fault);
  /// Also lets go of the requests that a fault holds at the moment.
  void clear();
  std::vector<std::string> lines() const;

  /// Counts the request against every fault that it meets.
  RequestFaults take(Route route, std::string_view key);

  /// Changes with every `clear`.
  std::uint64_t generation() const { return generation_.load(); }

 private:
  mutable std::mutex lock_;
  std::vector<Fault> faults_;
  std::atomic<std::uint64_t> generation_{0};
};

}  // namespace tovrin::worker
