#pragma once

#include <sys/types.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tovrin::host {

/// Tells programs that open files nobody asked for, such as indexers and makers of thumbnails, from those that a user
/// works with, by their names. A hint and no protection: any program can take any name. Thread-safe.
class Crawlers {
 public:
  /// A program that is known as a crawler: a pattern for its name as a shell has them.
  struct Known {
    std::string_view program;
    std::string_view argument = {};  ///< when not empty, one of its arguments ends in this, too
  };
  /// The list that is built in; docs/crawlers.md explains it.
  static std::span<const Known> builtIn();

  /// `more`: patterns for names of programs besides the built-in ones.
  explicit Crawlers(std::vector<std::string> more) : more_(std::move(more)) {}

  /// Whether an open with these flags is a crawler's, or one that its program started. O_NOATIME counts as a crawler's
  /// mark. A process that is gone or out of sight (0) is none.
  bool isCrawler(pid_t process, int openFlags) const;

 private:
  const std::vector<std::string> more_;
};

/// The name of the program that a process runs, without its folder; of a script the script's. Empty when it is gone or
/// out of sight.
std::string programName(pid_t process);

}  // namespace tovrin::host
