// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <memory>
#include <optional>
#include <string>

#include "tools/core/PassedOver.h"
#include "tools/core/Records.h"
#include "tools/values/Errors.h"

namespace database_provider::recordctl {

/// Who asks, as it was given on the command line.
struct Login {
  std::string user{};
  std::string passwordFile{};
};

/// What stands before every command.
struct GlobalOptions {
  std::string store{};
  Login login{};
  bool json = false;
};

/// Whether a store in a file that is not there is made.
enum class Access { existing, create };

/// An address as `--store` takes it: "file:PATH", a host, a host and its port, or a "mongodb://" address.
struct StoreAddress {
  std::string host;
  int port = 27017;

  /// Throws `UsageError`; also for a "mongodb://" address with a password in it that was an argument, since arguments
  /// can be read by everybody on the machine.
  static StoreAddress parse(const std::string& text, Access access);
};

/// The password from a file, from RECORDCTL_PASSWORD, or from a prompt; empty without a user.
std::string passwordOf(const Login& login);

/// The first line of a file.
std::string readPasswordFile(const std::string& path);

/// A store that cannot be reached, or that refuses.
class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Connects, or throws `StoreError` with the reason. Somebody who logs in to a store that does not control access is
/// told so. What the client does ends with Error{cancelled} once there was a request to stop.
std::unique_ptr<DataBaseClient> connectTo(const std::string& store, const std::string& user,
                                          const std::string& password, Access access);

/// Tells on standard error, once for a store, that it lets everybody do everything.
void tellUncontrolled(const std::string& store);
/// The sentence for it.
std::string howUncontrolled(const std::string& store);

/// The path in the address of a store in a file; empty for any other, also for one in memory.
std::string filePathOf(const std::string& store);

/// Whether several calls can be made one; a server does not.
bool hasTransactions(DataBaseClient& client);

/// The users of the store of a connection, which goes to them.
std::unique_ptr<UsersDatabaseInterface> usersThrough(std::unique_ptr<DataBaseClient> client);

/// One run of the command: the options, the connection that they ask for, and how the run ends.
class Session {
 public:
  GlobalOptions options{};

  bool json() const { return options.json; }
  /// Whether the store is a file that is not there yet.
  bool isNewFile() const;
  /// The connection, made by the first call. Reads through it pass over documents that cannot be read, and say so.
  DataBaseClient& store(Access access);
  /// Closes it, so that the next call of `store` makes one anew.
  void disconnect() { client_.reset(); }
  /// A connection of its own, be it to another store, for the same person.
  std::unique_ptr<DataBaseClient> connect(const std::string& store, Access access);
  std::unique_ptr<DatabaseProviderInterface> provider(RecordKind kind, Access access);
  /// Who asks, for what opens stores by itself; given up as `store` is.
  OpenOptions login();
  Records records(RecordKind kind) { return {store(Access::existing), kind}; }
  /// The users of the store; the connection is one of its own.
  std::unique_ptr<UsersDatabaseInterface> users(Access access);

  /// Some rows or records failed; the rest went on.
  void noteFailure() {
    if (status_ == ExitStatus::done) status_ = ExitStatus::someFailed;
  }
  /// What was asked for makes no sense in this store.
  void noteWrongUse() { status_ = ExitStatus::wrongUse; }
  /// The documents that reads have passed over.
  PassedOver& passedOver() { return passedOver_; }
  ExitStatus status() const { return status_; }

 private:
  const std::string& password();

  std::optional<std::string> password_{};
  std::unique_ptr<DataBaseClient> client_{};
  PassedOver passedOver_{};
  ExitStatus status_ = ExitStatus::done;
};

/// Writes one JSON object as a line to standard output.
void writeJson(const ObjectProperties& document);

}  // namespace database_provider::recordctl
