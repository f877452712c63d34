#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/result.h"

namespace tovrin::host {

/// A socket of this machine: one that listens, or one end of a connection over which lines go. Closed with the object.
/// One thread at a time.
class [[nodiscard]] ControlSocket {
 public:
  /// How long to wait for the other end, and what ends the waiting.
  struct Waiting {
    std::optional<std::chrono::milliseconds> patience = std::nullopt;  ///< of each line; for ever without
    int wake = -1;  ///< a descriptor; when it is readable, NSCocoaErrorDomain 3072
  };

  /// NSPOSIXErrorDomain ECONNREFUSED or ENOENT when nobody listens.
  static Result<ControlSocket> connect(const std::filesystem::path& path);
  /// At a name that is free; only this user may connect.
  static Result<ControlSocket> listen(const std::filesystem::path& path);
  /// Nothing when there is none, after all.
  std::optional<ControlSocket> accept() const;

  ControlSocket(ControlSocket&& other) noexcept;
  ControlSocket& operator=(ControlSocket&& other) noexcept;
  ~ControlSocket();

  int descriptor() const { return descriptor_; }
  /// The other end is a process of this user, or of the administrator.
  bool isTrusted() const;

  /// A line end is added. NSPOSIXErrorDomain EPIPE when the other end is closed, ETIMEDOUT.
  Result<void> sendLine(std::string line, const Waiting& waiting) const;
  /// The one line that the other end sends, without its end: nothing is read behind it. NSPOSIXErrorDomain ECONNRESET
  /// when there is none, EMSGSIZE when it is longer than `limit`, ETIMEDOUT.
  Result<std::string> receiveLine(std::size_t limit, const Waiting& waiting) const;

 private:
  explicit ControlSocket(int descriptor) : descriptor_(descriptor) {}
  int descriptor_;
};

}  // namespace tovrin::host
