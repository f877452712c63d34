#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/result.h"
#include "host/control/mount_control.h"

/// What goes over a control socket: one line of JSON with a request, then one with its answer, which is
/// `{"answer":…}` or `{"error":{"domain":…,"code":…,"localizedDescription":…}}`. Paths are in base64, for they need not
/// be UTF-8.
namespace tovrin::host {

struct ControlRequest {
  enum class Kind { status, evict, evictAll, fetch, handOverEdits };

  Kind kind = Kind::status;
  std::vector<NSFileProviderItemIdentifier> items;  ///< to evict; the one to fetch
};

/// The longest request that a host reads.
inline constexpr std::size_t kLongestRequestBytes = std::size_t{8} << 20;
/// The longest answer that a client reads.
inline constexpr std::size_t kLongestAnswerBytes = std::size_t{256} << 20;

std::string encodeRequest(const ControlRequest& request);
Result<ControlRequest> decodeRequest(std::string_view line);

std::string encodeAnswer(const MountStatus& status);
std::string encodeAnswer(const std::vector<EvictOutcome>& outcomes);
std::string encodeAnswer(const std::vector<MountStatus::KeptEdit>& edits);
/// Of a fetch, which answers nothing but that it is done.
std::string encodeAnswer();
std::string encodeAnswer(const NSError& error);

/// Defined for what the functions above encode.
template <class Value>
Result<Value> decodeAnswer(std::string_view line);
template <>
Result<MountStatus> decodeAnswer(std::string_view line);
template <>
Result<std::vector<EvictOutcome>> decodeAnswer(std::string_view line);
template <>
Result<std::vector<MountStatus::KeptEdit>> decodeAnswer(std::string_view line);
template <>
Result<void> decodeAnswer(std::string_view line);

/// As they stand in requests, answers and what commands print: "dropped", "notHere", …
std::string_view nameOf(Evicted result);
std::string_view nameOf(EditState state);

}  // namespace tovrin::host
