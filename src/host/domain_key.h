#pragma once

#include <filesystem>
#include <string>

namespace tovrin::host {

/// Names a domain in the files that a host keeps for it (its store, its control socket): 16 lower-case hexadecimal
/// digits that depend on where the Warp directory is, links resolved, whether it is there yet or not.
std::string domainKey(const std::filesystem::path& warpDirectory);

}  // namespace tovrin::host
