#pragma once

#include <string>
#include <string_view>

/// Paths as texts: nothing here looks at the disk. Paths are UTF-8 with "/" between components.
namespace tovrin {

/// Starts with "/", holds no NUL, and has no empty, "." or ".." component; "/" alone is canonical.
bool isCanonicalAbsolutePath(std::string_view path);

/// Non-empty, does not start with "/", holds no NUL, and no piece between "/"s is empty, "." or "..".
bool isSafeRelativeObjectKey(std::string_view key);

/// Collapses "//", drops "." and a trailing "/", and lets ".." remove the component before it ("/.." is "/"; at the
/// start of a relative path ".." stays).
std::string standardizedPath(std::string_view path);

/// The last component, trailing slashes ignored; "/" gives "/", an empty path gives an empty text. A view into `path`.
std::string_view lastPathComponent(std::string_view path);

/// The path without its last component: "/a/b" gives "/a", "/a" gives "/", "/" gives "/", "a" gives "". A view.
std::string_view deletingLastPathComponent(std::string_view path);

/// The text after the last "." of the last component; empty where the platform sees no extension (a leading or final
/// ".", nothing but "." or ".." before it, a space or a bidirectional control inside). Case is kept. A view into
/// `path`.
std::string_view pathExtension(std::string_view path);

}  // namespace tovrin
