#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "shared/manifest.h"

/// URLs of the worker's HTTP API. The address is put behind "http://" as it stands: whether the result parses is for
/// the URL session to say.
namespace tovrin {

/// Without a host in front of the path, an HTTP library may take "api" for the host and send the password there.
bool beginsWithHost(std::string_view httpAddress);

/// Everything but `A–Z a–z 0–9 ! $ & ' ( ) * + , - . / : = @ _ ~` as "%" and two upper-case hexadecimal digits per
/// UTF-8 byte; a "%" too. A ":" before the first "/" is encoded as well, since it would read as the end of a scheme.
std::string percentEncodedForURLPath(std::string_view text);

/// The bucket that holds a namespace's objects.
std::string_view bucketOf(std::optional<TovrinPayloadNamespace> payloadNamespace);

std::string objectURL(std::string_view httpAddress, std::string_view key,
                      std::optional<TovrinPayloadNamespace> payloadNamespace);
std::string accountsURL(std::string_view httpAddress);

}  // namespace tovrin
