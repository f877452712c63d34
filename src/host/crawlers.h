#pragma once

#include <sys/types.h>

#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
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

  struct Opener {
    std::string program;  ///< as `programName`
    bool isCrawler = false;
  };
  /// Who opens a file with these flags: a crawler, or what its program started, is one. O_NOATIME counts as a crawler's
  /// mark. A process that is gone or out of sight (0) is none. Remembers who was asked about last, until they end or
  /// run another program.
  Opener opener(pid_t process, int openFlags);

 private:
  /// What tells a process from others of its number, and from itself before it ran another program.
  struct Mark {
    std::string status;
    std::string executable;
    friend bool operator==(const Mark&, const Mark&) = default;
  };
  struct Remembered {
    Mark mark;
    Opener opener;
  };

  static std::optional<Mark> markOf(pid_t process);
  Opener lookAt(pid_t process) const;

  const std::vector<std::string> more_;
  std::mutex lock_;
  std::unordered_map<pid_t, Remembered> remembered_;
};

/// The name of the program that a process runs, without its folder; of a script the script's. Empty when it is gone or
/// out of sight.
std::string programName(pid_t process);

}  // namespace tovrin::host
