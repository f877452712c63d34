#include "host/mounting/mount_options.h"

#include <fmt/core.h>
#include <grp.h>
#include <pwd.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <optional>

#include "host/size_text.h"

namespace tovrin::host {

namespace {

using std::filesystem::path;

/// What is wrong with a value; nothing when it was noted.
using ValueComplaint = std::optional<std::string>;

struct Target {
  MountRequest& request;
  const path& cacheFolder;
};

template <class Number, class... Notation>
std::optional<Number> parseNumber(std::string_view text, Notation... notation) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number, notation...);
  if (parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
  return number;
}

/// The size of the disk that holds the folder, or will hold it.
std::optional<double> diskBytes(path folder) {
  struct statvfs disk{};
  while (statvfs(folder.c_str(), &disk) != 0) {
    if (!folder.has_relative_path()) return std::nullopt;
    folder = folder.parent_path();
  }
  return static_cast<double>(disk.f_blocks) * static_cast<double>(disk.f_frsize);
}

ValueComplaint setCacheSize(std::string_view value, const Target& target) {
  const auto size = parseSize(value);
  if (!size) return fmt::format("“{}” is no size; write 500M or 10G", value);
  target.request.limits.cacheBytes = *size;
  return std::nullopt;
}

ValueComplaint setCacheFree(std::string_view value, const Target& target) {
  std::optional<double> share;
  if (value.ends_with('%')) {
    share = parseNumber<double>(value.substr(0, value.size() - 1));
    if (share) *share /= 100;
  } else if (const auto size = parseSize(value); size && std::isdigit(static_cast<unsigned char>(value.back())) == 0) {
    // A number alone is as likely to be meant as per cent.
    const auto disk = diskBytes(target.cacheFolder);
    if (disk && *disk > 0) share = static_cast<double>(*size) / *disk;
  }
  if (!share || !(*share >= 0)) return fmt::format("“{}” is no part of a disk; write 10% or 20G", value);
  if (*share >= 1) return fmt::format("“{}” is the whole disk", value);
  target.request.limits.keepFree = *share;
  return std::nullopt;
}

ValueComplaint setCrawlers(std::string_view value, const Target& target) {
  if (value != "deny" && value != "allow") return fmt::format("“{}” is neither deny nor allow", value);
  target.request.crawlers = value == "allow" ? CrawlerMode::allow : CrawlerMode::deny;
  return std::nullopt;
}

ValueComplaint addCrawler(std::string_view value, const Target& target) {
  target.request.moreCrawlers.emplace_back(value);
  return std::nullopt;
}

ValueComplaint setMaxFetches(std::string_view value, const Target& target) {
  constexpr unsigned kMost = 64;
  const auto number = parseNumber<unsigned>(value);
  if (!number || *number < 1 || *number > kMost) return fmt::format("“{}” is no number from 1 to {}", value, kMost);
  target.request.maxFetches = *number;
  return std::nullopt;
}

ValueComplaint setNotify(std::string_view value, const Target& target) {
  if (value != "errors" && value != "none") return fmt::format("“{}” is neither errors nor none", value);
  target.request.notifyErrors = value == "errors";
  return std::nullopt;
}

ValueComplaint setOwner(std::string_view value, const Target& target) {
  if (value != "user" && value != "manifest") return fmt::format("“{}” is neither user nor manifest", value);
  target.request.owner = value == "manifest" ? OwnerMode::manifest : OwnerMode::mountingUser;
  return std::nullopt;
}

ValueComplaint setUser(std::string_view value, const Target& target) {
  target.request.userID = parseNumber<std::uint32_t>(value);
  if (target.request.userID) return std::nullopt;
  const passwd* user = getpwnam(std::string(value).c_str());
  if (user == nullptr) return fmt::format("there is no user “{}”", value);
  target.request.userID = user->pw_uid;
  return std::nullopt;
}

ValueComplaint setGroup(std::string_view value, const Target& target) {
  target.request.groupID = parseNumber<std::uint32_t>(value);
  if (target.request.groupID) return std::nullopt;
  const group* known = getgrnam(std::string(value).c_str());
  if (known == nullptr) return fmt::format("there is no group “{}”", value);
  target.request.groupID = known->gr_gid;
  return std::nullopt;
}

ValueComplaint setUmask(std::string_view value, const Target& target) {
  const auto bits = parseNumber<std::uint32_t>(value, 8);
  if (!bits || *bits > 0777) return fmt::format("“{}” is no octal number from 0 to 777", value);
  target.request.umask = *bits;
  return std::nullopt;
}

ValueComplaint setContainer(std::string_view value, const Target& target) {
  target.request.container = path(value);
  return std::nullopt;
}

void setReadOnly(bool isReadOnly, MountRequest& request) {
  request.isReadOnly = isReadOnly;
  std::erase(request.fuseOptions, "ro");
  if (isReadOnly) request.fuseOptions.emplace_back("ro");
}

struct OwnOption {
  std::string_view name;
  ValueComplaint (*set)(std::string_view value, const Target& target);
};

constexpr std::array<OwnOption, 11> kOwnOptions{{{"cache_size", setCacheSize},
                                                 {"cache_free", setCacheFree},
                                                 {"container", setContainer},
                                                 {"crawler", addCrawler},
                                                 {"crawlers", setCrawlers},
                                                 {"gid", setGroup},
                                                 {"max_fetches", setMaxFetches},
                                                 {"notify", setNotify},
                                                 {"owner", setOwner},
                                                 {"uid", setUser},
                                                 {"umask", setUmask}}};

/// For the kernel and libfuse, as they stand.
constexpr std::array<std::string_view, 12> kPassedOn{"allow_other", "allow_root", "auto_unmount", "debug",
                                                     "dev",         "dirsync",    "noatime",      "nodev",
                                                     "noexec",      "nosuid",     "suid",         "sync"};
constexpr std::array<std::string_view, 6> kPassedOnWithValue{"context", "defcontext",  "fscontext",
                                                             "fsname",  "rootcontext", "subtype"};

/// What fstab and mount(8) keep for themselves, and what holds for every mount of this system anyway.
constexpr std::array<std::string_view, 24> kSwallowed{
    "_netdev",    "async",         "atime",  "auto",    "default_permissions",
    "defaults",   "diratime",      "exec",   "group",   "loud",
    "noauto",     "nodiratime",    "nofail", "nogroup", "noowner",
    "norelatime", "nostrictatime", "nouser", "nousers", "owner",
    "relatime",   "silent",        "user",   "users"};
constexpr std::array<std::string_view, 4> kSwallowedBeginnings{"x-", "X-", "comment=", "user="};

bool contains(const auto& names, std::string_view name) { return std::ranges::find(names, name) != names.end(); }

bool isSwallowed(std::string_view option) {
  return contains(kSwallowed, option) ||
         std::ranges::any_of(kSwallowedBeginnings, [&](auto beginning) { return option.starts_with(beginning); });
}

std::unexpected<OptionComplaint> complaint(std::string_view name, std::string message) {
  return std::unexpected(OptionComplaint{std::string(name), std::move(message)});
}

std::expected<void, OptionComplaint> passOn(std::string_view option, MountRequest& request) {
  if (contains(request.fuseOptions, option)) return {};
  request.fuseOptions.emplace_back(option);
  if (contains(request.fuseOptions, "allow_other") && contains(request.fuseOptions, "allow_root"))
    return complaint(option, "allow_other and allow_root exclude each other");
  return {};
}

std::expected<void, OptionComplaint> applyWithValue(std::string_view name, std::string_view value,
                                                    const Target& target) {
  if (contains(kPassedOnWithValue, name)) {
    if (value.empty()) return complaint(name, "a value is missing");
    // libfuse splits it once more.
    target.request.fuseOptions.push_back(fmt::format("{}={}", name, escapedMountOption(value)));
    return {};
  }
  const auto* own = std::ranges::find(kOwnOptions, name, &OwnOption::name);
  if (own == kOwnOptions.end()) return complaint(name, {});
  if (value.empty()) return complaint(name, "a value is missing");
  if (auto wrong = own->set(value, target)) return complaint(name, *std::move(wrong));
  return {};
}

}  // namespace

std::vector<std::string> splitMountOptions(std::string_view list) {
  std::vector<std::string> options(1);
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i] == ',') {
      options.emplace_back();
    } else {
      if (list[i] == '\\' && i + 1 < list.size()) ++i;
      options.back() += list[i];
    }
  }
  std::erase(options, "");
  return options;
}

std::string escapedMountOption(std::string_view text) {
  std::string result;
  for (const char character : text) {
    if (character == ',' || character == '\\') result += '\\';
    result += character;
  }
  return result;
}

std::expected<void, OptionComplaint> applyMountOption(std::string_view option, const path& cacheFolder,
                                                      MountRequest& request) {
  if (isSwallowed(option)) return {};
  if (option == "ro" || option == "rw") {
    setReadOnly(option == "ro", request);
    return {};
  }
  if (option == "offline") {
    request.offline = true;
    return {};
  }
  if (contains(kPassedOn, option)) return passOn(option, request);
  const std::size_t sign = std::min(option.find('='), option.size());
  const std::string_view value = sign == option.size() ? "" : option.substr(sign + 1);
  return applyWithValue(option.substr(0, sign), value, {request, cacheFolder});
}

MountRequest usualMountRequest() {
  MountRequest request;
  request.fuseOptions = {"fsname=tovrin", "subtype=tovrin"};
  return request;
}

bool isShared(const MountRequest& request) {
  return contains(request.fuseOptions, "allow_other") || contains(request.fuseOptions, "allow_root");
}

bool isDebugging(const MountRequest& request) { return contains(request.fuseOptions, "debug"); }

}  // namespace tovrin::host
