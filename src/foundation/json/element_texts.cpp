#include "foundation/json/element_texts.h"

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

void JSONElementTexts::erase(std::size_t position) {
  const bool isLast = position + 1 == begins_.size();
  // The comma behind it goes too, or the one before the last.
  const std::size_t begin = isLast && position > 0 ? begins_[position] - 1 : begins_[position];
  const std::size_t end = isLast ? joined_.size() : begins_[position + 1];
  joined_.erase(begin, end - begin);
  begins_.erase(std::next(begins_.begin(), static_cast<std::ptrdiff_t>(position)));
  move(position, end, begin);
}

void JSONElementTexts::replace(std::size_t position, std::string_view element) {
  const std::size_t begin = begins_[position];
  const std::size_t end = endOf(position);
  joined_.replace(begin, end - begin, element);
  move(position + 1, end, begin + element.size());
}

}  // namespace tovrin
