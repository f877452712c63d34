#include "foundation/error.h"

#include <system_error>
#include <utility>

namespace tovrin {

struct NSError::Payload {
  std::string domain;
  std::int64_t code;
  std::string localizedDescription;
  std::unique_ptr<const DecodingFailure> decodingFailure;
};

namespace {

std::string cocoaDescription(std::int64_t code) {
  switch (static_cast<CocoaErrorCode>(code)) {
    case CocoaErrorCode::fileNoSuchFile:
      return "The file doesn’t exist.";
    case CocoaErrorCode::fileReadUnknown:
      return "The file couldn’t be opened.";
    case CocoaErrorCode::fileReadNoPermission:
      return "The file couldn’t be opened because you don’t have permission to view it.";
    case CocoaErrorCode::fileReadInvalidFileName:
      return "The file couldn’t be opened because the specified name is invalid.";
    case CocoaErrorCode::fileReadCorruptFile:
      return "The file couldn’t be opened because it isn’t in the correct format.";
    case CocoaErrorCode::fileReadNoSuchFile:
      return "The file couldn’t be opened because there is no such file.";
    case CocoaErrorCode::fileReadUnsupportedScheme:
      return "The file couldn’t be opened because the specified URL type isn’t supported.";
    case CocoaErrorCode::fileWriteUnknown:
      return "The file couldn’t be saved.";
    case CocoaErrorCode::fileWriteNoPermission:
      return "You don’t have permission to save the file.";
    case CocoaErrorCode::fileWriteFileExists:
      return "The file couldn’t be saved because a file with the same name already exists.";
    case CocoaErrorCode::fileWriteOutOfSpace:
      return "The file couldn’t be saved because there isn’t enough space.";
    case CocoaErrorCode::fileWriteVolumeReadOnly:
      return "The file couldn’t be saved because the volume is read only.";
    case CocoaErrorCode::userCancelled:
      return "The operation was cancelled.";
    case CocoaErrorCode::featureUnsupported:
      return "The requested operation couldn’t be completed because the feature is not supported.";
    case CocoaErrorCode::propertyListReadCorrupt:
    case CocoaErrorCode::coderReadCorrupt:
      return "The data couldn’t be read because it isn’t in the correct format.";
    case CocoaErrorCode::coderValueNotFound:
      return "The data couldn’t be read because it is missing.";
    case CocoaErrorCode::coderInvalidValue:
      return "The data couldn’t be written because it isn’t in the correct format.";
  }
  return {};
}

std::string urlDescription(std::int64_t code) {
  switch (static_cast<URLErrorCode>(code)) {
    case URLErrorCode::unknown:
      return "unknown error";
    case URLErrorCode::cancelled:
      return "cancelled";
    case URLErrorCode::badURL:
      return "bad URL";
    case URLErrorCode::timedOut:
      return "The request timed out.";
    case URLErrorCode::cannotFindHost:
      return "A server with the specified hostname could not be found.";
    case URLErrorCode::cannotConnectToHost:
      return "Could not connect to the server.";
    case URLErrorCode::networkConnectionLost:
      return "The network connection was lost.";
    case URLErrorCode::httpTooManyRedirects:
      return "too many HTTP redirects";
    case URLErrorCode::resourceUnavailable:
      return "resource unavailable";
    case URLErrorCode::badServerResponse:
      return "There was a bad response from the server.";
    case URLErrorCode::cannotWriteToFile:
      return "cannot write to file";
  }
  return {};
}

std::string posixDescription(std::int64_t code) {
  return "The operation couldn’t be completed. " + std::generic_category().message(static_cast<int>(code));
}

std::string usualDescription(std::string_view domain, std::int64_t code) {
  std::string text;
  if (domain == NSCocoaErrorDomain) text = cocoaDescription(code);
  if (domain == NSURLErrorDomain) text = urlDescription(code);
  if (domain == NSPOSIXErrorDomain) text = posixDescription(code);
  if (!text.empty()) return text;
  return "The operation couldn’t be completed. (" + std::string(domain) + " error " + std::to_string(code) + ".)";
}

bool sameFailure(const DecodingFailure* a, const DecodingFailure* b) {
  if (a == nullptr || b == nullptr) return a == b;
  return a->kind == b->kind && a->codingPath == b->codingPath && a->debugDescription == b->debugDescription;
}

}  // namespace

NSError::NSError(std::string_view domain, std::int64_t code, std::string localizedDescription)
    : payload_(std::make_shared<const Payload>(
          std::string(domain), code,
          localizedDescription.empty() ? usualDescription(domain, code) : std::move(localizedDescription), nullptr)) {}

NSError NSError::cocoa(CocoaErrorCode code) { return {NSCocoaErrorDomain, static_cast<std::int64_t>(code)}; }

NSError NSError::url(URLErrorCode code) { return {NSURLErrorDomain, static_cast<std::int64_t>(code)}; }

NSError NSError::posix(int errnoValue, std::string localizedDescription) {
  return {NSPOSIXErrorDomain, errnoValue, std::move(localizedDescription)};
}

NSError NSError::decoding(DecodingFailure failure) {
  const bool missing =
      failure.kind == DecodingFailure::Kind::keyNotFound || failure.kind == DecodingFailure::Kind::valueNotFound;
  const auto code =
      static_cast<std::int64_t>(missing ? CocoaErrorCode::coderValueNotFound : CocoaErrorCode::coderReadCorrupt);
  return NSError(std::make_shared<const Payload>(std::string(NSCocoaErrorDomain), code, cocoaDescription(code),
                                                 std::make_unique<const DecodingFailure>(std::move(failure))));
}

const std::string& NSError::domain() const { return payload_->domain; }
std::int64_t NSError::code() const { return payload_->code; }
const std::string& NSError::localizedDescription() const { return payload_->localizedDescription; }
const DecodingFailure* NSError::decodingFailure() const { return payload_->decodingFailure.get(); }

bool NSError::is(CocoaErrorCode code) const {
  return payload_->domain == NSCocoaErrorDomain && payload_->code == static_cast<std::int64_t>(code);
}

bool NSError::is(URLErrorCode code) const {
  return payload_->domain == NSURLErrorDomain && payload_->code == static_cast<std::int64_t>(code);
}

bool operator==(const NSError& a, const NSError& b) {
  return a.domain() == b.domain() && a.code() == b.code() && a.localizedDescription() == b.localizedDescription() &&
         sameFailure(a.decodingFailure(), b.decodingFailure());
}

}  // namespace tovrin
