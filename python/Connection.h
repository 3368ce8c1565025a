// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/records.h>
#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include <chrono>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>

/// The Python module: what Python sees of the record library, over its public headers alone.
///
/// The module has two floors. The one here, `database_provider._core`, converts values, holds the client and lets go of
/// the interpreter's lock while the store works. The other one, the package's Python sources, is what people use: it
/// has the names, the types for checkers and editors, the documentation, and what needs pandas. The line between them
/// is drawn by speed: whatever is done once for each record or value stands here.
///
/// Invariants:
///
/// - A client is reached through `Connection::run` alone, which admits one thread at a time and no other process, and
///   which turns what would be undefined there into an exception. Iterators and Arrow streams share the connection, so
///   that objects can die in any order; a connection that is closed stays as an empty shell for them.
/// - While a client is at work the interpreter's lock is free. No Python object is touched then, but for the question
///   whether Ctrl-C was typed, which takes the lock for a moment, on the main thread alone.
/// - After a fork the child never touches what the parent had open, not even to close it: SQLite would take the
/// parent's
///   locks for its own. The child leaks it.
///
/// Why not a lock that lets threads wait for each other: a transaction and an iterator last longer than a call, so that
/// two threads with one store would still see each other's half-done work. A store for each thread costs one line.
namespace database_provider::python {

namespace nb = nanobind;

/// A failure that the module itself finds, with the name of the Python exception that it becomes.
struct Failure : std::runtime_error {
  Failure(const char* exception, const std::string& message) : std::runtime_error(message), name(exception) {}
  const char* name;
};

class Connection {
 public:
  Connection(const std::string& address, OpenOptions options);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// A second call does nothing.
  void close();
  bool isClosed() const { return client_ == nullptr || isForked(); }
  void begin();
  void commit();
  void rollback();
  /// Whether `begin` was called, and neither of the others since.
  bool isInTransaction() const { return isInTransaction_; }
  const std::string& address() const { return address_; }
  const OpenOptions& login() const { return options_; }

  /// Gives what `step` gives of the client, while other Python threads may run.
  template <class Step>
  auto run(const Step& step);

  /// Calls back into Python, which may use the store meanwhile, on this thread. The lock is held.
  template <class Step>
  auto lend(const Step& step) {
    const Lending lending(*this);
    return step();
  }

  /// For as long as it lives, the store belongs to this thread.
  class Use {
   public:
    explicit Use(Connection& connection);
    ~Use();
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

   private:
    Connection& connection_;
    std::optional<std::thread::id> outerOwner_{};
    bool wasLent_ = false;
  };

 private:
  class Lending {
   public:
    explicit Lending(Connection& connection) : connection_(connection) { connection_.isLent_ = true; }
    ~Lending() { connection_.isLent_ = false; }
    Lending(const Lending&) = delete;
    Lending& operator=(const Lending&) = delete;

   private:
    Connection& connection_;
  };

  bool isForked() const;
  bool isWanted();
  /// What was given up because of Ctrl-C ends with the exception that its handler raised.
  void rethrowInterrupt();

  std::string address_;
  OpenOptions options_;
  int process_;
  std::unique_ptr<DataBaseClient> client_{};
  bool isInTransaction_ = false;
  std::mutex mutex_{};  ///< guards the three below
  std::optional<std::thread::id> owner_{};
  bool isLent_ = false;
  std::chrono::steady_clock::time_point askedAt_{};
  std::exception_ptr interrupt_{};
};

using ConnectionPtr = std::shared_ptr<Connection>;

template <class Step>
auto Connection::run(const Step& step) {
  const Use use(*this);
  try {
    const nb::gil_scoped_release unlocked;
    return step(*client_);
  } catch (const database_client::Error& error) {
    if (error.kind() == database_client::Error::Kind::cancelled) rethrowInterrupt();
    throw;
  }
}

}  // namespace database_provider::python
