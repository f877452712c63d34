#pragma once

#include <string>
#include <string_view>

namespace tovrin {

/// A uniform type, known by its identifier. Values are handles to static identifiers, cheap to copy.
class UTType {
 public:
  static UTType folder() { return UTType("public.folder"); }
  static UTType symbolicLink() { return UTType("public.symlink"); }
  static UTType data() { return UTType("public.data"); }
  /// The declared type of a file-name extension that conforms to data, whatever the extension's case; `data()` when it
  /// is empty or unknown.
  static UTType forFilenameExtension(std::string_view extension);

  std::string_view identifier() const { return identifier_; }

  friend bool operator==(const UTType& a, const UTType& b) { return a.identifier_ == b.identifier_; }

 private:
  constexpr explicit UTType(std::string_view identifier) : identifier_(identifier) {}
  std::string_view identifier_;
};

}  // namespace tovrin
