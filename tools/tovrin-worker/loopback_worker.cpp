#include "tovrin-worker/loopback_worker.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <list>
#include <optional>
#include <system_error>
#include <thread>

#include "tovrin-worker/accounts.h"
#include "tovrin-worker/connection.h"
#include "tovrin-worker/descriptor.h"
#include "tovrin-worker/fault.h"
#include "tovrin-worker/object_store.h"
#include "tovrin-worker/responder.h"
#include "tovrin-worker/routes.h"

namespace tovrin {
namespace {

using namespace worker;

NSError socketError(std::string_view what) {
  return NSError::posix(errno, fmt::format("The worker could not {}: {}.", what,
                                           std::error_code(errno, std::generic_category()).message()));
}

Result<Descriptor> listenOnLoopback(std::uint16_t& port) {
  Descriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!listener) return failure(socketError("make a socket"));
  const int on = 1;
  ::setsockopt(listener.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (::bind(listener.number(), reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
      ::listen(listener.number(), SOMAXCONN) != 0 ||
      ::getsockname(listener.number(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    return failure(socketError(fmt::format("listen on 127.0.0.1:{}", port)));
  }
  port = ntohs(address.sin_port);
  return listener;
}

/// Counts the object requests that are being answered.
class InFlight {
 public:
  InFlight(std::atomic<std::size_t>& current, std::atomic<std::size_t>& most) : current_(current) {
    const std::size_t now = ++current_;
    for (std::size_t seen = most.load(); seen < now && !most.compare_exchange_weak(seen, now);) {
    }
  }
  ~InFlight() { --current_; }
  InFlight(const InFlight&) = delete;
  InFlight& operator=(const InFlight&) = delete;

 private:
  std::atomic<std::size_t>& current_;
};

}  // namespace

struct LoopbackWorker::State {
  struct Client {
    std::thread thread;
    std::atomic<bool> done{false};
  };

  explicit State(LoopbackWorkerOptions chosen)
      : options(std::move(chosen)),
        store(options.root),
        accounts({}),
        port(options.port),
        routes(store, accounts, faults, options.password) {}

  void acceptClients();
  void serve(Descriptor socket, std::uint64_t number);
  /// False when the connection must end.
  bool serveRequest(Connection& connection, const RequestHead& head, std::uint64_t number);
  Response chooseResponse(Exchange& exchange, const RequestFaults& requestFaults);

  LoopbackWorkerOptions options;
  ObjectStore store;
  AccountsScript accounts;
  FaultList faults;
  RequestLog log;
  std::uint16_t port;
  Routes routes;
  std::atomic<std::size_t> objectsInFlight{0};
  std::atomic<std::size_t> mostObjectsInFlight{0};

  Descriptor stopEvent;  // readable from the stop on
  Descriptor listener;
  std::thread acceptor;
  std::list<Client> clients;  // touched by the acceptor alone while it runs
};

void LoopbackWorker::State::acceptClients() {
  constexpr int kRetryMilliseconds = 50;
  std::uint64_t number = 0;
  while (true) {
    std::array<pollfd, 2> waits{{{listener.number(), POLLIN, 0}, {stopEvent.number(), POLLIN, 0}}};
    if (::poll(waits.data(), waits.size(), -1) < 0 && errno != EINTR) return;
    if (waits[1].revents != 0) return;
    Descriptor socket(::accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket) {
      // Out of descriptors: wait for a connection to end instead of spinning.
      if (errno == EMFILE || errno == ENFILE) ::poll(&waits[1], 1, kRetryMilliseconds);
      continue;
    }
    const int on = 1;
    ::setsockopt(socket.number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    clients.remove_if([](Client& client) {
      if (!client.done.load()) return false;
      client.thread.join();
      return true;
    });
    Client& client = clients.emplace_back();
    try {
      client.thread = std::thread([this, &client, accepted = std::move(socket), connection = ++number]() mutable {
        serve(std::move(accepted), connection);
        client.done = true;
      });
    } catch (const std::system_error&) {
      clients.pop_back();  // no thread to be had: the connection is dropped
    }
  }
}

void LoopbackWorker::State::serve(Descriptor socket, std::uint64_t number) {
  // sendfile to a client that left raises SIGPIPE in this thread; the return value says the same.
  sigset_t brokenPipe;
  sigemptyset(&brokenPipe);
  sigaddset(&brokenPipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);

  Connection connection(std::move(socket), stopEvent.number());
  RequestHead head;
  while (true) {
    switch (connection.readHead(head)) {
      case Connection::HeadOutcome::request:
        if (!serveRequest(connection, head, number)) return;
        continue;
      case Connection::HeadOutcome::malformed:
        connection.send(
            "HTTP/1.1 400 Bad Request\r\nContent-Type: text/plain; charset=utf-8\r\nConnection: close\r\n\r\n"
            "400 Bad Request");
        break;
      case Connection::HeadOutcome::tooLarge:
        connection.send("HTTP/1.1 431 Request Header Fields Too Large\r\nConnection: close\r\n\r\n");
        break;
      case Connection::HeadOutcome::closed:
        return;
    }
    connection.lingerAndClose();
    return;
  }
}

bool LoopbackWorker::State::serveRequest(Connection& connection, const RequestHead& head, std::uint64_t number) {
  Exchange exchange{.head = head, .connection = connection, .path = {}, .route = Route::other, .key = {}};
  exchange.bodyRead = !head.header("Content-Length") && !head.header("Transfer-Encoding");
  const bool isUnderstood = classify(exchange);
  // The generation first: a clear after the faults are taken must let go of this request.
  const auto released = [this, generation = faults.generation()] { return faults.generation() != generation; };
  const bool mayFail = isUnderstood && exchange.route != Route::control;
  const RequestFaults requestFaults = mayFail ? faults.take(exchange.route, exchange.key) : RequestFaults({});
  // Not earlier: whoever waits for the request's arrival may clear the faults then.
  const std::size_t entry = log.begin(head, number);
  if (!isUnderstood) {
    log.headerSent(entry, 400);
    connection.send("HTTP/1.1 400 Bad Request\r\nConnection: close\r\n\r\n400 Bad Request");
    connection.lingerAndClose();
    log.finish(entry, 0);
    return false;
  }
  std::optional<InFlight> inFlight;
  if (exchange.route == Route::object) inFlight.emplace(objectsInFlight, mostObjectsInFlight);

  if (const Fault* silent = requestFaults.find(Fault::Kind::silent)) {
    connection.hold(silent->seconds(), released);
    log.finish(entry, 0);
    return false;
  }
  if (const Fault* delay = requestFaults.find(Fault::Kind::delay);
      delay && !connection.hold(delay->seconds(), released)) {
    log.finish(entry, 0);
    return false;
  }
  Response response = chooseResponse(exchange, requestFaults);
  response.withoutBody = head.method == "HEAD";
  const std::string* wish = head.header("Connection");
  const bool announceClose = head.http10 || !exchange.bodyRead || (wish && sameHeaderName(*wish, "close"));
  if (announceClose) response.headers.emplace_back("Connection", "close");

  Responder responder(connection, requestFaults, released);
  log.headerSent(entry, response.status);
  const bool usable = responder.send(response);
  log.finish(entry, responder.bodyBytes());
  if (!exchange.bodyRead) connection.lingerAndClose();
  return usable && !announceClose;
}

Response LoopbackWorker::State::chooseResponse(Exchange& exchange, const RequestFaults& requestFaults) {
  if (const Fault* status = requestFaults.find(Fault::Kind::status)) {
    const auto code = static_cast<int>(status->integer("code"));
    return textResponse(code, status->text("body", reasonPhrase(code)),
                        status->text("type", "text/plain; charset=utf-8"));
  }
  if (const Fault* redirect = requestFaults.find(Fault::Kind::redirect)) {
    Response response = textResponse(static_cast<int>(redirect->integer("code", 302)), "moved");
    response.headers.insert(response.headers.begin(), {"Location", redirect->text("to")});
    return response;
  }
  return routes.answer(exchange, requestFaults);
}

LoopbackWorker::LoopbackWorker(LoopbackWorkerOptions options) : state_(std::make_unique<State>(std::move(options))) {}

LoopbackWorker::~LoopbackWorker() { stop(); }

Result<void> LoopbackWorker::start() {
  std::error_code error;
  std::filesystem::create_directories(state_->options.root, error);
  if (error) {
    return failure(NSError::posix(error.value(), fmt::format("The folder \"{}\" could not be made: {}.",
                                                             state_->options.root.native(), error.message())));
  }
  TOVRIN_CHECK(setAccounts(state_->options.accounts));
  if (!state_->options.log.empty()) TOVRIN_CHECK(state_->log.openFile(state_->options.log, state_->options.password));
  TOVRIN_TRY(state_->listener, listenOnLoopback(state_->port));
  state_->stopEvent = Descriptor(::eventfd(0, EFD_CLOEXEC));
  if (!state_->stopEvent) return failure(socketError("make an event"));
  state_->acceptor = std::thread([state = state_.get()] { state->acceptClients(); });
  return {};
}

void LoopbackWorker::stop() {
  if (!state_->acceptor.joinable()) return;
  ::eventfd_write(state_->stopEvent.number(), 1);
  state_->acceptor.join();
  for (State::Client& client : state_->clients) client.thread.join();
  state_->clients.clear();
  state_->listener = Descriptor();
}

std::string LoopbackWorker::address() const { return fmt::format("127.0.0.1:{}", state_->port); }

const std::string& LoopbackWorker::password() const { return state_->options.password; }

Result<void> LoopbackWorker::createBucket(std::string_view bucket) {
  switch (state_->store.createBucket(bucket)) {
    case ObjectStore::BucketOutcome::created:
    case ObjectStore::BucketOutcome::exists:
      return {};
    case ObjectStore::BucketOutcome::badName:
      return failure(NSError::posix(EINVAL, fmt::format("\"{}\" is no name for a bucket.", bucket)));
    case ObjectStore::BucketOutcome::failed:
      break;
  }
  return failure(NSError::posix(EIO, fmt::format("The bucket \"{}\" could not be made.", bucket)));
}

Result<void> LoopbackWorker::putObject(std::string_view bucket, std::string_view key, std::string_view bytes) {
  TOVRIN_CHECK(createBucket(bucket));
  TOVRIN_TRY(ObjectStore::Upload upload, state_->store.beginUpload());
  if (!upload.write(bytes)) return failure(NSError::posix(errno));
  TOVRIN_TRY([[maybe_unused]] const std::string etag, state_->store.commit(std::move(upload), bucket, key, {}));
  return {};
}

std::filesystem::path LoopbackWorker::objectPath(std::string_view bucket, std::string_view key) const {
  return state_->store.objectPath(bucket, key);
}

Result<void> LoopbackWorker::addFault(std::string_view line) {
  TOVRIN_TRY(Fault fault, parseFault(line));
  state_->faults.add(std::move(fault));
  return {};
}

void LoopbackWorker::clearFaults() { state_->faults.clear(); }

Result<void> LoopbackWorker::setAccounts(std::string_view steps) {
  TOVRIN_TRY(std::vector<AccountsStep> parsed, parseAccountsSteps(steps));
  state_->accounts.replace(std::move(parsed));
  return {};
}

std::vector<WorkerRequest> LoopbackWorker::requests() const { return state_->log.requests(); }

void LoopbackWorker::clearRequests() { state_->log.clear(); }

bool LoopbackWorker::waitForArrivals(std::size_t count, std::chrono::milliseconds patience) const {
  return state_->log.waitForArrivals(count, patience);
}

bool LoopbackWorker::waitForFinished(std::size_t count, std::chrono::milliseconds patience) const {
  return state_->log.waitForFinished(count, patience);
}

std::size_t LoopbackWorker::mostObjectRequestsAtOnce() const { return state_->mostObjectsInFlight.load(); }

}  // namespace tovrin
