#include "host/fetches.h"

#include <algorithm>
#include <cerrno>
#include <tuple>
#include <utility>

#include "host/error_numbers.h"
#include "host/log.h"
#include "materialize/errors.h"
#include "platform/file_system.h"

namespace tovrin::host {

namespace {

/// After the worker could not be reached, an opening for which nothing else waits fails at once for this long: a file
/// manager that tries one file after the other is not held up for each. A failure that came sooner held nobody up, and
/// may be of one object alone.
constexpr double kUnreachableSeconds = 5;

bool isUnreachable(const NSError& error) { return error == notReachableError(); }

/// What the file will take, holes left out.
std::int64_t bytesOnDisk(const TovrinFileProviderItem& item) {
  const std::int64_t size = item.documentSize().value_or(0);
  const SharedEntry& entry = item.entry();
  if (!entry || entry->rare->sparseExtents.empty()) return size;
  std::int64_t bytes = 0;
  for (const TovrinWarpSharedSparseExtent& extent : entry->rare->sparseExtents) {
    if (extent.length >= size - bytes) return size;
    bytes += extent.length;
  }
  return bytes;
}

}  // namespace

struct Fetches::Job {
  SharedItem item;
  std::unique_ptr<Reservation> reservation;
  std::map<std::uint64_t, Waiter> waiters;
  std::shared_ptr<NSProgress> progress;
  double startedAt = 0;  ///< by the system's uptime
  bool isStarted = false;
  bool isCancelled = false;
  bool hasTriedAgain = false;
};

Fetches::~Fetches() {
  std::vector<SharedJob> jobs;
  {
    const std::scoped_lock hold(lock_);
    ends_ = true;
    for (const auto& [identifier, job] : jobs_) jobs.push_back(job);
  }
  for (const SharedJob& job : jobs) {
    std::vector<std::uint64_t> numbers;
    {
      const std::scoped_lock hold(lock_);
      for (const auto& [number, waiter] : job->waiters) numbers.push_back(number);
    }
    for (const std::uint64_t number : numbers) {
      leave({job->item->itemIdentifier(), number}, NSError::cocoa(CocoaErrorCode::userCancelled));
    }
  }
  std::unique_lock hold(lock_);
  ended_.wait(hold, [this] { return running_ == 0; });
}

std::optional<NSError> Fetches::reasonToRefuse() const {
  if (ends_) return NSError::cocoa(CocoaErrorCode::userCancelled);
  if (limits_.offline) return notReachableError();
  const double since = domain_.platform().clock.systemUptime() - unreachableAt_;
  if (jobs_.empty() && since < kUnreachableSeconds) return notReachableError();
  return {};
}

Fetches::Ticket Fetches::join(const SharedItem& item, Waiter waiter) {
  Ticket ticket{item->itemIdentifier(), 0};
  SharedJob started;
  std::optional<NSError> refused;
  {
    const std::scoped_lock hold(lock_);
    ticket.number = ++lastNumber_;
    const auto known = jobs_.find(ticket.identifier);
    if (known != jobs_.end()) {
      known->second->waiters.emplace(ticket.number, std::move(waiter));
      return ticket;
    }
    refused = reasonToRefuse();
    if (!refused) {
      auto job = std::make_shared<Job>();
      job->item = item;
      job->waiters.emplace(ticket.number, std::move(waiter));
      jobs_.emplace(ticket.identifier, job);
      if (running_ < limits_.atOnce) {
        ++running_;
        started = std::move(job);
        started->isStarted = true;
      } else {
        queue_.push_back(std::move(job));
      }
    }
  }
  if (refused) waiter(failure(*refused));
  if (started) start(started);
  return ticket;
}

void Fetches::leave(const Ticket& ticket, const NSError& why) {
  Waiter waiter;
  std::shared_ptr<NSProgress> unwanted;
  {
    const std::scoped_lock hold(lock_);
    const auto known = jobs_.find(ticket.identifier);
    if (known == jobs_.end()) return;
    const SharedJob job = known->second;
    const auto waiting = job->waiters.find(ticket.number);
    if (waiting == job->waiters.end()) return;
    waiter = std::move(waiting->second);
    job->waiters.erase(waiting);
    if (job->waiters.empty()) {
      job->isCancelled = true;
      unwanted = job->progress;
      jobs_.erase(known);
      if (!job->isStarted) std::erase(queue_, job);
    }
  }
  if (unwanted) unwanted->cancel();
  waiter(failure(why));
}

void Fetches::start(const SharedJob& job) {
  job->startedAt = domain_.platform().clock.systemUptime();
  Result<std::unique_ptr<Reservation>> room = store_.reserve(bytesOnDisk(*job->item));
  if (!room) return finish(job, failure(room.error()));
  job->reservation = std::move(*room);
  log::info("downloading “{}”", job->item->filename());
  const auto progress = domain_.extension().fetchContentsForItemWithIdentifier(
      job->item->itemIdentifier(), std::nullopt,
      [this, job](const std::optional<std::filesystem::path>& file, const SharedItem& item,
                  const std::optional<NSError>& error) {
        const auto result = error ? Result<FetchedCopy>(failure(*error)) : keep(job, *file, item);
        if (!triesAgain(job, result)) finish(job, result);
      });
  bool isCancelled = false;
  {
    const std::scoped_lock hold(lock_);
    job->progress = progress;
    isCancelled = job->isCancelled;
  }
  if (isCancelled) progress->cancel();
}

/// The disk has filled up since room was reserved: copies go now, and it is tried once more.
bool Fetches::triesAgain(const SharedJob& job, const Result<FetchedCopy>& result) {
  if (result || errorNumber(result.error(), Operation::open) != ENOSPC) return false;
  {
    const std::scoped_lock hold(lock_);
    if (job->isCancelled || std::exchange(job->hasTriedAgain, true)) return false;
  }
  job->reservation.reset();
  start(job);
  return true;
}

Result<FetchedCopy> Fetches::keep(const SharedJob& job, const std::filesystem::path& file, const SharedItem& item) {
  FetchedCopy fetched{nullptr, item->itemVersion().contentVersion};
  TOVRIN_TRY(fetched.file, store_.adopt(item->itemIdentifier(), fetched.version, file, std::move(job->reservation)));
  return fetched;
}

void Fetches::finish(const SharedJob& job, const Result<FetchedCopy>& result) {
  std::map<std::uint64_t, Waiter> waiters;
  SharedJob next;
  job->reservation.reset();
  {
    const std::scoped_lock hold(lock_);
    waiters.swap(job->waiters);
    const auto known = jobs_.find(job->item->itemIdentifier());
    if (known != jobs_.end() && known->second == job) jobs_.erase(known);
    const double now = domain_.platform().clock.systemUptime();
    if (!result && isUnreachable(result.error()) && now - job->startedAt > kUnreachableSeconds) unreachableAt_ = now;
    if (!queue_.empty()) {
      next = std::move(queue_.front());
      queue_.pop_front();
      next->isStarted = true;
    }
  }
  for (const auto& [number, waiter] : waiters) waiter(result);
  if (next) return start(next);  // takes over this one's place
  const std::scoped_lock hold(lock_);
  --running_;
  ended_.notify_all();
}

Fetches::Progress Fetches::progressOf(const Job& job) {
  const double total = job.progress ? static_cast<double>(job.progress->totalUnitCount()) : 0;
  return {job.item->itemIdentifier(), job.item->filename(), job.item->documentSize().value_or(0),
          total > 0 ? static_cast<double>(job.progress->completedUnitCount()) / total : 0, !job.isStarted};
}

std::optional<Fetches::Progress> Fetches::progress(std::string_view identifier) const {
  const std::scoped_lock hold(lock_);
  const auto known = jobs_.find(NSFileProviderItemIdentifier(identifier));
  return known == jobs_.end() ? std::nullopt : std::optional(progressOf(*known->second));
}

std::vector<Fetches::Progress> Fetches::all() const {
  std::vector<Progress> found;
  const std::scoped_lock hold(lock_);
  for (const auto& [identifier, job] : jobs_) found.push_back(progressOf(*job));
  return found;
}

}  // namespace tovrin::host
