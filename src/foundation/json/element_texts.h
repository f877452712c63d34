#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tovrin {

/// The elements of a JSON list, or the members of an object, as the text between its brackets. Elements come and go
/// without the others being formatted again.
class JSONElementTexts {
 public:
  /// Before the element that is there now, or at the end.
  void insert(std::size_t position, std::string_view element);
  void append(std::string_view element) { insert(begins_.size(), element); }
  void erase(const std::set<std::size_t>& positions);
  void replace(std::size_t position, std::string_view element);

  std::string_view element(std::size_t position) const;
  /// All of them, with commas between them.
  const std::string& joined() const { return joined_; }

 private:
  std::size_t endOf(std::size_t position) const;
  /// The elements from `position` on lie elsewhere now.
  void move(std::size_t position, std::size_t oldEnd, std::size_t newEnd);

  std::string joined_;
  std::vector<std::size_t> begins_;
};

}  // namespace tovrin
