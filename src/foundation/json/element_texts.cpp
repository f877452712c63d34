#include "foundation/json/element_texts.h"

#include <cstring>
#include <iterator>

namespace tovrin {

std::size_t JSONElementTexts::endOf(std::size_t position) const {
  return position + 1 < begins_.size() ? begins_[position + 1] - 1 : joined_.size();
}

void JSONElementTexts::move(std::size_t position, std::size_t oldEnd, std::size_t newEnd) {
  for (; position < begins_.size(); ++position) begins_[position] = begins_[position] - oldEnd + newEnd;
}

std::string_view JSONElementTexts::element(std::size_t position) const {
  const std::size_t begin = begins_[position];
  return std::string_view(joined_).substr(begin, endOf(position) - begin);
}

void JSONElementTexts::insert(std::size_t position, std::string_view element) {
  const bool isLast = position == begins_.size();
  if (isLast && !begins_.empty()) joined_ += ',';
  const std::size_t begin = isLast ? joined_.size() : begins_[position];
  begins_.insert(std::next(begins_.begin(), static_cast<std::ptrdiff_t>(position)), begin);
  joined_.insert(begin, element);
  if (isLast) return;
  joined_.insert(begin + element.size(), 1, ',');
  move(position + 1, begin, begin + element.size() + 1);
}

void JSONElementTexts::erase(const std::set<std::size_t>& positions) {
  if (positions.empty()) return;
  // Each element with the comma behind it, until the last one loses its own.
  joined_ += ',';
  begins_.push_back(joined_.size());
  std::size_t kept = *positions.begin();
  std::size_t end = begins_[kept];
  for (auto position = positions.begin(); position != positions.end(); ++position) {
    const auto next = std::next(position);
    const std::size_t last = next == positions.end() ? begins_.size() - 1 : *next;
    const std::size_t begin = begins_[*position + 1];
    const std::size_t length = begins_[last] - begin;
    std::memmove(joined_.data() + end, joined_.data() + begin, length);
    for (std::size_t moved = *position + 1; moved < last; ++moved) begins_[kept++] = begins_[moved] - begin + end;
    end += length;
  }
  begins_.resize(kept);
  joined_.resize(begins_.empty() ? 0 : end - 1);
}

void JSONElementTexts::replace(std::size_t position, std::string_view element) {
  const std::size_t begin = begins_[position];
  const std::size_t end = endOf(position);
  joined_.replace(begin, end - begin, element);
  move(position + 1, end, begin + element.size());
}

}  // namespace tovrin
