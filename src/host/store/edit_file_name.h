#pragma once

#include <string>
#include <string_view>

namespace tovrin::host {

/// A fresh name for the file of an item's edit, by which a person finds it again: that of the item with some digits
/// before the extension.
std::string editFileName(std::string_view identifier);

}  // namespace tovrin::host
