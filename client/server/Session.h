#pragma once

#include <functional>
#include <memory>
#include <string>

#include "client/server/Address.h"
#include "client/server/Failure.h"
#include "client/server/Owners.h"
#include "database_client/ObjectProperties.h"

namespace database_client::server {

/// What an operation is called in messages, and how it may be treated when it fails.
struct Call {
  std::string action;  ///< "insert into db.collection"
  bool write = false;
  bool manyDocuments = false;  ///< a write that takes place document by document
  bool insertion = false;
  bool ofUsers = false;
  std::string secret{};  ///< what no message may repeat
};

struct Link;

/// What the driver tells about one attempt while it runs.
struct Observation {
  bool unanswered = false;
  bool timedOut = false;
  bool malformed = false;  ///< an answer lacks what every such answer has, or is damaged
  std::string host{};
};

/// One attempt at an operation: the client to use, and the ways in which it can end badly.
class Attempt {
 public:
  Attempt(std::shared_ptr<Link> link, const Call& call, const Address& address);
  ~Attempt();
  Attempt(const Attempt&) = delete;
  Attempt& operator=(const Attempt&) = delete;

  mongoc_client_t* client() const;
  /// Valid until another collection is asked for, be it by an attempt within this one.
  mongoc_collection_t* collection(const Namespace& where) const;
  Owned<mongoc_database_t> database(const std::string& name) const;

  /// Throws what the driver's error amounts to.
  [[noreturn]] void fail(const bson_error_t& error, const bson_t* reply = nullptr);
  /// Throws for an answer that does not say what it has to say; the connection is not used again.
  [[noreturn]] void failMalformed(const std::string& reason);
  /// The error that stands for one refused document among many.
  Error refusal(int code, const std::string& reason) const;
  /// Throws when an answer so far was damaged.
  void check();
  /// The document, once it is known to be well-formed; else as `failMalformed`.
  bson::View validated(bson::View document);
  /// Hands a document over, once it is known to be well-formed; false when no more are wanted.
  bool deliver(bson::View document, const Engine::Receiver& receive);
  /// Runs a cursor to its end, or until `receive` wants no more.
  void drain(mongoc_cursor_t* cursor, const Engine::Receiver& receive);

  bool mayRepeat(bool retryReads) const;
  bool isLinkUsable() const { return usable_; }
  bool wasAnswered() const { return !observation_.host.empty() && !observation_.unanswered; }

 private:
  Circumstances circumstances() const;

  std::shared_ptr<Link> link_;
  const Call& call_;
  const Address& address_;
  Observation observation_{};
  Observation* outer_;
  bool knownLink_;
  bool usable_ = true;
  bool delivered_ = false;
  bool unreachable_ = false;
  bool lost_ = false;
};

/// A connection to a deployment that is made anew when it was lost. After an error of the stream or the protocol the
/// driver's client is replaced, since what arrives next on its sockets may belong to a question asked before.
///
/// A read is repeated once on a new connection. A write is repeated only when nothing of it was sent, beyond what the
/// driver does by itself where a server recognises a repeated write.
class Session {
 public:
  explicit Session(Address address);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  bool isOpen() const noexcept { return proved_; }
  const Address& address() const { return address_; }
  void run(const Call& call, const std::function<void(Attempt&)>& action);
  /// Runs a command and gives its reply to `receive`; a write gets the write concern of the address.
  void command(const Call& call, const std::string& database, const bson_t* command,
               const std::function<void(bson::View)>& receive);
  /// Uses another password from the next operation on.
  void setPassword(const std::string& password);

 private:
  bool attempt(const Call& call, const std::function<void(Attempt&)>& action, bool last);
  void settle(const std::shared_ptr<Link>& link, const Attempt& attempt);
  const std::shared_ptr<Link>& link(const Call& call);

  Address address_;
  std::shared_ptr<Link> link_{};
  bool proved_ = false;
};

}  // namespace database_client::server
