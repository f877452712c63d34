#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tovrin::cli {

/// Whether mount(8) calls: it looks for a program that is named after the type of the file system.
bool isMountHelper(std::string_view program);

/// What the words `SOURCE DIR [-sfnv] [-N NAMESPACE] [-t TYPE] [-o OPTIONS]`, which mount(8) uses, mean as a call of
/// this command. SOURCE is the container, or "tovrin" or "none" for the usual one.
std::vector<std::string> wordsOfMountHelper(const std::vector<std::string>& words);

}  // namespace tovrin::cli
