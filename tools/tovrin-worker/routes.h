#pragma once

#include <string>
#include <string_view>

#include "tovrin-worker/accounts.h"
#include "tovrin-worker/connection.h"
#include "tovrin-worker/fault.h"
#include "tovrin-worker/object_store.h"
#include "tovrin-worker/responder.h"

namespace tovrin::worker {

/// One request on its way to its answer.
struct Exchange {
  const RequestHead& head;
  Connection& connection;
  std::string path;  ///< decoded once
  Route route = Route::other;
  std::string key;        ///< of an object route
  bool bodyRead = false;  ///< the request's body, if it has one, was read to its end
};

/// Sets `path`, `route` and `key`; false when the path holds an invalid escape.
bool classify(Exchange& exchange);

/// The worker's answers when nothing goes wrong on purpose. Thread-safe.
class Routes {
 public:
  Routes(ObjectStore& store, AccountsScript& accounts, FaultList& faults, std::string password)
      : store_(store), accounts_(accounts), faults_(faults), password_(std::move(password)) {}

  Response answer(Exchange& exchange, const RequestFaults& requestFaults);

 private:
  Response object(Exchange& exchange);
  Response getObject(const Exchange& exchange, std::string_view bucket);
  Response putObject(Exchange& exchange, std::string_view bucket);
  Response accounts(const Exchange& exchange, const RequestFaults& requestFaults);
  Response buckets(Exchange& exchange);
  Response control(Exchange& exchange);
  Response controlFaults(Exchange& exchange);

  ObjectStore& store_;
  AccountsScript& accounts_;
  FaultList& faults_;
  std::string password_;
};

}  // namespace tovrin::worker
