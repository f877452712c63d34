#pragma once

#include <gtest/gtest.h>

#include <filesystem>

namespace tovrin {

/// Whether everything below the two folders has the same names, kinds, sizes, modification times to the nanosecond,
/// permissions, link targets and bytes. A mount takes the write permissions off folders, so these do not count there; a
/// folder's own time counts from the second level on. The marker of a Warp is left out.
::testing::AssertionResult isSameTree(const std::filesystem::path& expected, const std::filesystem::path& actual);

}  // namespace tovrin
