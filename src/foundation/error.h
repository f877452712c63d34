#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tovrin {

inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::string_view NSURLErrorDomain = "NSURLErrorDomain";
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

/// Codes of NSCocoaErrorDomain that this system makes or recognises.
enum class CocoaErrorCode : std::int64_t {
  fileNoSuchFile = 4,
  fileReadUnknown = 256,
  fileReadNoPermission = 257,
  fileReadInvalidFileName = 258,
  fileReadCorruptFile = 259,
  fileReadNoSuchFile = 260,
  fileReadUnsupportedScheme = 262,
  fileWriteUnknown = 512,
  fileWriteNoPermission = 513,
  fileWriteFileExists = 516,
  fileWriteOutOfSpace = 640,
  fileWriteVolumeReadOnly = 642,
  userCancelled = 3072,
  featureUnsupported = 3328,
  propertyListReadCorrupt = 3840,
  coderReadCorrupt = 4864,
  coderValueNotFound = 4865,
  coderInvalidValue = 4866,
};

/// Codes of NSURLErrorDomain that a transfer can end with.
enum class URLErrorCode : std::int64_t {
  unknown = -1,
  cancelled = -999,
  badURL = -1000,
  timedOut = -1001,
  cannotFindHost = -1003,
  cannotConnectToHost = -1004,
  networkConnectionLost = -1005,
  httpTooManyRedirects = -1007,
  resourceUnavailable = -1008,
  badServerResponse = -1011,
  cannotWriteToFile = -3003,
};

/// What a decoder adds to its error: which rule of which key failed.
struct DecodingFailure {
  enum class Kind { dataCorrupted, keyNotFound, valueNotFound, typeMismatch };

  Kind kind = Kind::dataCorrupted;
  std::vector<std::string> codingPath;  ///< outermost key first; an array element is its index in decimal
  std::string debugDescription;         ///< the rule's message
};

/// A failure: domain, code and one English sentence for the user. An immutable handle, cheap to copy; two handles
/// made by copying are the same instance (`isSameInstance`). Errors are passed up unchanged and never wrapped.
class [[nodiscard]] NSError {
 public:
  /// An empty description selects the usual English one of the domain and code.
  NSError(std::string_view domain, std::int64_t code, std::string localizedDescription = {});

  static NSError cocoa(CocoaErrorCode code);
  static NSError url(URLErrorCode code);
  /// The system's own errno; `localizedDescription` empty selects the usual sentence for it.
  static NSError posix(int errnoValue, std::string localizedDescription = {});
  static NSError decoding(DecodingFailure failure);

  const std::string& domain() const;
  std::int64_t code() const;
  const std::string& localizedDescription() const;
  /// Set on errors of the decoders only.
  const DecodingFailure* decodingFailure() const;

  bool is(CocoaErrorCode code) const;
  bool is(URLErrorCode code) const;
  bool isSameInstance(const NSError& other) const { return payload_ == other.payload_; }

  /// Equal domain, code, description and decoding failure.
  friend bool operator==(const NSError& a, const NSError& b);

 private:
  struct Payload;
  explicit NSError(std::shared_ptr<const Payload> payload) : payload_(std::move(payload)) {}

  std::shared_ptr<const Payload> payload_;
};

}  // namespace tovrin
