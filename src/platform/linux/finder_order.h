#pragma once

#include <unicode/coll.h>

#include <memory>
#include <string>
#include <string_view>

namespace tovrin {

/// Finder's order of names in one locale. An object belongs to one thread: collators are not safe to share.
class FinderOrder {
 public:
  /// `locale`: an ICU or POSIX locale name such as "en_US" or "sv_SE.UTF-8".
  explicit FinderOrder(const std::string& locale);

  /// A key whose byte order is the order of the texts: the collation key, the lengths of the digit runs, the UTF-16
  /// code units. Without collation data only the code units count.
  std::string sortKey(std::string_view text) const;

 private:
  std::unique_ptr<icu::Collator> collator_;
};

/// The locale that the environment names for collation; en_US when it names none, or one without a language.
std::string userCollationLocale();

}  // namespace tovrin
