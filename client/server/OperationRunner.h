// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "client/Cancellation.h"
#include "client/server/Address.h"
#include "client/server/Answer.h"
#include "client/server/ErrorMapping.h"
#include "client/server/Handles.h"
#include "database_client/ObjectProperties.h"

/// Runs the operations of one client on a deployment, and repeats what may be repeated.
///
/// An operation is what one call asks for. An attempt is one run of it over a connection; there are two at most. While
/// an attempt runs, the driver tells of every command that it makes of the operation (CommandEvents): to whom it went,
/// whether it was answered, refused, or answered with nonsense. What an attempt knows in the end decides what the
/// caller is told, whether the connection is used again, and whether there is a second attempt.
///
/// - After an error of the stream or the protocol the driver's client is replaced, and not only its socket: what
/// arrives
///   next may belong to a question asked before, and for five seconds after a failed connection a client would answer
///   "No servers yet eligible for rescan" instead of the cause.
/// - A read is repeated once, on a new connection, unless a document of it was handed over, which cannot be taken back,
///   or time ran out, which would double the wait.
/// - A write is repeated once when nothing of it was done, or when it is one that changes nothing more when it takes
///   place again and another server may take over. All other repetitions are the driver's, which numbers its writes so
///   that a server tells them; it numbers no removal and no user command.
/// - Of a write the outcome is unknown unless something excludes that it took place. A refusal of the second attempt
///   says nothing of the first.
/// - `isOpen` claims no more than the last answer has proved.
///
/// The driver's repetition of reads is switched off unless the address asks for it: it repeats after a timeout, too,
/// and so makes ten minutes of silence of a time limit of five.
namespace database_client::server {

/// What an operation is called in messages, and how it may be treated when it fails.
struct Operation {
  std::string action;  ///< "insert into db.collection"
  bool write = false;
  bool manyDocuments = false;  ///< a write that takes place document by document
  bool appends = false;        ///< to lists, of which a server finds out only at the document whether they are some
  bool insertion = false;
  bool ofUsers = false;
  bool repeatable = false;  ///< a write that changes nothing more when it takes place once more
  std::string secret{};     ///< what no message may repeat
};

struct DriverConnection;

/// What the driver tells about one attempt while it runs.
struct CommandEvents {
  bool unanswered = false;
  bool timedOut = false;
  std::optional<Flaw> flaw{};  ///< of the first answer that has one
  bson_error_t refusal{};      ///< of the first command that the server refused; its domain is 0 where there is none
  std::string host{};
};

/// One attempt at an operation: the client to use, and the ways in which it can end badly.
class Attempt {
 public:
  /// `maybeDone`: an attempt before this one may have done it.
  Attempt(std::shared_ptr<DriverConnection> connection, const Operation& operation, const Address& address,
          bool maybeDone);
  ~Attempt();
  Attempt(const Attempt&) = delete;
  Attempt& operator=(const Attempt&) = delete;

  mongoc_client_t* client() const;
  /// Valid until another collection is asked for, be it by an attempt within this one.
  mongoc_collection_t* collection(const Namespace& where) const;
  Owned<mongoc_database_t> database(const std::string& name) const;

  /// Throws what the driver's error amounts to.
  [[noreturn]] void fail(const bson_error_t& error, const bson_t* reply = nullptr);
  /// Throws for an answer that cannot be believed; the connection is not used again.
  [[noreturn]] void fail(const Flaw& flaw);
  /// The error that stands for one refused document among many.
  Error refusal(int code, const std::string& reason) const;
  /// Throws when an answer so far cannot be believed.
  void check();
  /// Hands a document over; false when no more are wanted.
  bool deliver(bson::View document, const Engine::Receiver& receive);
  /// Runs a cursor to its end, or until `receive` wants no more. Batches may be empty; when nothing else came for as
  /// long as the server may be silent, that is a timeout.
  void drain(mongoc_cursor_t* cursor, const Engine::Receiver& receive);

  bool mayRepeat() const;
  bool isConnectionUsable() const { return usable_; }
  /// Whether the server refused a command, whatever became of the others that the driver made of the operation.
  bool wasRefused() const { return events_.refusal.domain != 0; }
  [[noreturn]] void failAsRefused(const bson_t* reply) { fail(events_.refusal, reply); }
  /// Whether something was sent that the driver got no answer to; it may have sent it again.
  bool lostAnAnswer() const { return events_.unanswered; }
  bool wasAnswered() const { return !events_.host.empty() && !events_.unanswered; }

 private:
  ErrorContext context() const;
  [[noreturn]] void failSilent();
  [[noreturn]] void failCancelled();
  [[noreturn]] void failWithoutReason(const bson_t* reply);

  std::shared_ptr<DriverConnection> connection_;
  const Operation& operation_;
  const Address& address_;
  bool maybeDone_;
  CommandEvents events_{};
  CommandEvents* outer_;
  bool knownConnection_;
  bool usable_ = true;
  bool delivered_ = false;
  bool unreachable_ = false;
  bool lost_ = false;
  bool passing_ = false;    ///< the server cannot do it now
  bool untouched_ = false;  ///< and has not begun
};

/// The connection of one client, made when an operation needs it and made anew when it was lost.
class OperationRunner {
 public:
  /// While it waits, and before each document, it asks `cancellation` whether to go on.
  explicit OperationRunner(Address address,
                           std::shared_ptr<Cancellation> cancellation = std::make_shared<Cancellation>());
  ~OperationRunner();
  OperationRunner(const OperationRunner&) = delete;
  OperationRunner& operator=(const OperationRunner&) = delete;

  bool isOpen() const noexcept { return proved_; }
  const Address& address() const { return address_; }
  const std::shared_ptr<Cancellation>& cancellation() const { return cancellation_; }
  void run(const Operation& operation, const std::function<void(Attempt&)>& action);
  /// Runs a command and gives its reply to `receive`; a write gets the write concern of the address.
  void command(const Operation& operation, const std::string& database, const bson_t* command,
               const std::function<void(bson::View)>& receive);
  /// Proves the connection, and with it the user.
  void ping();
  /// Uses another password from the next operation on.
  void setPassword(const std::string& password);

 private:
  std::optional<Error> attempt(const Operation& operation, const std::function<void(Attempt&)>& action,
                               const std::optional<Error>& before);
  void updateConnectionState(const std::shared_ptr<DriverConnection>& connection, const Attempt& attempt);
  const std::shared_ptr<DriverConnection>& connection(const Operation& operation);

  Address address_;
  std::shared_ptr<Cancellation> cancellation_;
  std::shared_ptr<DriverConnection> connection_{};
  bool proved_ = false;
};

}  // namespace database_client::server
