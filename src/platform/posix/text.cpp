#include "platform/text.h"

#include "foundation/encoding.h"
#include "platform/posix/character_boundary.h"

namespace tovrin {

bool canonicallyEqual(std::string_view a, std::string_view b) {
  if (a == b) return true;
  if (isASCII(a) && isASCII(b)) return false;
  return canonicalForm(a) == canonicalForm(b);
}

bool hasCanonicalPrefix(std::string_view text, std::string_view prefix) {
  if (text.starts_with(prefix)) return isCharacterBoundary(text, prefix.size());
  if (isASCII(text) && isASCII(prefix)) return false;
  const std::string textForm = canonicalForm(text);
  const std::string prefixForm = canonicalForm(prefix);
  return textForm.starts_with(prefixForm) && isCharacterBoundary(textForm, prefixForm.size());
}

}  // namespace tovrin
