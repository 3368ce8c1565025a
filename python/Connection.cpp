// SPDX-License-Identifier: Apache-2.0
#include "Connection.h"

#include <pthread.h>
#include <unistd.h>

#include <utility>

namespace database_provider::python {

using database_client::Error;

namespace {

bool isMainThread() {
  static const auto mainThread = [] {
    return nb::cast<unsigned long>(nb::module_::import_("threading").attr("main_thread")().attr("ident"));
  }();
  return static_cast<unsigned long>(pthread_self()) == mainThread;
}

}  // namespace

Connection::Connection(const std::string& address, OpenOptions options)
    : address_(address), options_(std::move(options)), process_(getpid()) {
  isMainThread();  // which learns who that is while the lock is held
  OpenOptions withInterrupt = options_;
  withInterrupt.wanted = [this] { return isWanted(); };
  try {
    const nb::gil_scoped_release unlocked;
    client_ = open(address, withInterrupt);
  } catch (const Error&) {
    rethrowInterrupt();
    throw;
  }
}

Connection::~Connection() {
  if (isForked()) {
    static_cast<void>(client_.release());
  } else if (client_) {
    client_->setCancellation({});  // the interpreter may be gone
  }
}

void Connection::close() {
  if (isClosed()) return;
  if (isLent_) throw Failure("InUseError", "the store is at work still, and cannot be closed now");
  const Use use(*this);
  const nb::gil_scoped_release unlocked;
  client_->setCancellation({});
  client_.reset();
}

void Connection::begin() {
  run([](DataBaseClient& client) { client.beginTransaction(); });
  isInTransaction_ = true;
}

void Connection::commit() {
  run([](DataBaseClient& client) { client.commitTransaction(); });
  isInTransaction_ = false;
}

void Connection::rollback() {
  isInTransaction_ = false;
  run([](DataBaseClient& client) { client.rollbackTransaction(); });
}

bool Connection::isForked() const {
  return getpid() != process_;
}

bool Connection::isWanted() {
  constexpr std::chrono::milliseconds pause(50);
  if (!isMainThread()) return true;  // handlers of signals run on no other
  const auto now = std::chrono::steady_clock::now();
  if (now - askedAt_ < pause) return true;
  askedAt_ = now;
  const nb::gil_scoped_acquire locked;
  if (PyErr_CheckSignals() == 0) return true;
  interrupt_ = std::make_exception_ptr(nb::python_error());
  return false;
}

void Connection::rethrowInterrupt() {
  if (interrupt_) std::rethrow_exception(std::exchange(interrupt_, nullptr));
}

Connection::Use::Use(Connection& connection) : connection_(connection) {
  if (connection.isForked())
    throw Failure("ForkedError", "this store was opened before the process was forked; open it anew in the child");
  const std::lock_guard<std::mutex> guard(connection.mutex_);
  const std::thread::id self = std::this_thread::get_id();
  if (connection.owner_ && *connection.owner_ != self)
    throw Failure("InUseError",
                  "another thread is using this store; a store is used by one thread at a time, so open one for each");
  if (connection.owner_ && !connection.isLent_)
    throw Failure("InUseError", "this store is at work already, and called what now calls it");
  if (!connection.client_) throw Failure("ClosedError", "the store is closed");
  outerOwner_ = std::exchange(connection.owner_, self);
  wasLent_ = std::exchange(connection.isLent_, false);
}

Connection::Use::~Use() {
  const std::lock_guard<std::mutex> guard(connection_.mutex_);
  connection_.owner_ = outerOwner_;
  connection_.isLent_ = wasLent_;
}

}  // namespace database_provider::python
