// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "database_client/Error.h"
#include "database_client/ObjectProperties.h"
#include "database_client/export.h"

namespace database_client {

/// The two numbers that `DataBaseClient::update` takes.
struct UpdateFlags {
  static constexpr int none = 0;
  static constexpr int upsert = 1;  ///< insert when nothing matches
};
struct UpdateOperation {
  static constexpr int replace = 1;  ///< the first match becomes the document
  static constexpr int set = 3;      ///< the keys of the document are set in every match
  static constexpr int append =
      9;  ///< the group of the document is appended to the array of the same name in every match
};

/// What an update did. Zeros where writes are not acknowledged (w=0 in the address).
struct UpdateResult {
  long long matched = 0;   ///< what the selector met; of a replacement one at most
  long long modified = 0;  ///< how many of these are others now; one that already was as it was to become is not
  long long inserted = 0;  ///< 1 for what `UpdateFlags::upsert` made, which is no match
};

/// What a find gives of the matches, and in which order.
struct FindOptions {
  ObjectProperties projection{};  ///< as `DataBaseClient::find` takes it
  /// Paths with 1 (ascending) or -1 (descending), the most significant first, as the stage "$sort" takes them; empty
  /// for the store's own order.
  ObjectProperties sort{};
  /// The "_id" of the record behind which the results begin (24 hex digits are an object id, else a text); empty for
  /// all of them.
  std::string after{};
  int limit = 0;  ///< 0: all
  int skip = 0;   ///< of what comes behind `after`
};

/// One document of a bulk insert that did not go in.
struct BulkFailure {
  std::size_t index;  ///< its place in the list that was passed
  Error error;
};

/// An index that a caller's queries need; the embedded store keeps its own and passes over such requests.
struct IndexRequest {
  std::string database;
  std::string collection;
  std::vector<std::string> keys;  ///< field paths, ascending
  bool unique = false;
};

/// What `setUpDeployment` is to bring about.
struct DeploymentPlan {
  bool dryRun = false;                  ///< only tell what would be done
  std::string administratorPassword{};  ///< for "admin" where there is none yet; empty leaves that alone
  std::vector<IndexRequest> indexes{};
};

/// One step of setting up a deployment.
struct DeploymentStep {
  enum class State { done, alreadyThere, planned };
  std::string what;
  State state;
};

/// Told of a document that cannot be read, since its bytes are not those that were written: its "_id" ({} where damage
/// keeps that from being known, too) and what is wrong. True goes on with the others; false lets the read fail.
using UnreadableHandler = std::function<bool(const ObjectProperties& id, const Error& error)>;

/// Whether a store asks who somebody is before it lets them read or write.
enum class AccessControl {
  off,      ///< whoever can connect may do everything, whatever the roles of users say
  on,       ///< an operation takes the role for it
  unknown,  ///< the store does not tell
};

/// A store as a whole.
struct StoreDescription {
  std::string format{};                  ///< "file, format 1", or the name and the version of a server
  std::optional<long long> bytes{};      ///< of the file, its log not among them; absent on a server
  std::optional<long long> freeBytes{};  ///< how many of these hold nothing
};

/// What a collection takes in its store.
struct CollectionSize {
  long long documents = 0;
  std::optional<long long> documentBytes{};  ///< absent where a server does not tell; so for the other
  std::optional<long long> indexBytes{};
};

/// What `check` found in a store.
struct CheckReport {
  long long documents = 0;
  std::list<std::string> problems{};
};

/// A connection to a document store: a MongoDB deployment, or one file where no server runs.
///
/// The engine is chosen by the host given to `connect`: a name or address (with the port), a `mongodb://` or
/// `mongodb+srv://` address, or `file:PATH` / `file::memory:` for the embedded store. One client is used by one thread
/// at a time; it starts none of its own. Documents appended to a list are newly allocated and belong to the caller.
///
/// Every operation but `connect`, `disconnect`, `isConnected` and `createId` throws `Error`: of kind connection (or
/// authentication) with the reason of the last failed `connect` while not connected; of kind query, before anything is
/// sent, for a database, collection or user name that no store accepts; of kind document for a document above 16 MiB or
/// 100 levels. A list passed in is filled with all results or left as it was. No message holds a password.
///
/// What a query costs: in the embedded store, time grows with the matches alone for conditions on "_id", and for
/// equality and ranges on the items of any array of {name, value} documents, by themselves or inside "$elemMatch"; most
/// other queries read the collection. On a server its indexes decide (see `DeploymentPlan`). `explain` tells.
///
/// After a lost connection the next operation connects again. A read is retried once, a write only where the store
/// makes that safe; a write whose outcome is not known says so with `Error::outcomeUnknown`.
class DATABASE_CLIENT_EXPORT DataBaseClient {
 public:
  DataBaseClient();
  DataBaseClient(const DataBaseClient&) = delete;
  DataBaseClient& operator=(const DataBaseClient&) = delete;
  /// Closes the connection.
  virtual ~DataBaseClient();

  /// Opens a connection and proves it with a ping; an open one is closed first. `authDatabase` is where the user is
  /// kept; an empty `user` means no credentials. False when the store cannot be reached or refuses the user: `failure`
  /// tells why. Arguments that make no sense (a malformed address, a port out of range) throw Error{query}.
  ///
  /// A file may have options behind a "?", joined by "&": `file:runs.db?synchronous=normal&timeout=500`. The first
  /// value of each is the default; others, and other options, throw Error{query}.
  ///
  ///     synchronous=full|normal    normal: a write is not waited for until it is on disk, a loss of power may undo the
  ///                                last ones
  ///     exclusive=false|true       true: nobody else can open the file meanwhile, and no lock is taken for each call
  ///     create=true|false          false: the file must be there, and hold a store
  ///     timeout=30000              milliseconds to wait for what another client locks, up to a day
  virtual bool connect(const std::string& authDatabase, const std::string& host, const int& port,
                       const std::string& user, const std::string& password);
  /// Closes the connection; true, also when there was none.
  virtual bool disconnect();
  /// Whether a connection is open, as far as the last answer proved.
  virtual bool isConnected() const;

  /// Inserts one document and writes its "_id" to `id` (empty when that is neither an object id nor a string). A
  /// document without "_id" is given a new object id, in the store only; `document` stays as it is.
  virtual bool insert(const std::string& database, const std::string& collection, const ObjectProperties* document,
                      std::string& id);
  /// Changes what `selector` matches, as `operation` (see `UpdateOperation`) says; with `UpdateFlags::upsert` a
  /// document is made of selector and document when nothing matches. Replacing keeps the "_id".
  virtual void update(const std::string& database, const std::string& collection, const ObjectProperties& selector,
                      const ObjectProperties& document, const int& flags, const int& operation);
  /// Appends the matches to `documents`, at most `limit` (0: all) after passing over `skip`. With keys set to true only
  /// those and "_id" come back; keys set to false are left out. The embedded store gives insertion order.
  virtual void find(const std::string& database, const std::string& collection, const ObjectProperties& query,
                    const ObjectProperties& projection, std::list<ObjectProperties*>& documents, int limit, int skip);
  /// Runs the stages that stand in the array "pipeline" of `pipeline` and appends what comes out.
  virtual void aggregate(const std::string& database, const std::string& collection, const ObjectProperties& pipeline,
                         std::list<ObjectProperties*>& documents);
  /// Removes every match; none is no error.
  virtual void remove(const std::string& database, const std::string& collection, const ObjectProperties& query);
  /// A new object id as 24 hex digits; needs no connection.
  virtual std::string createId();

  /// `roles` holds groups "0", "1", … of "role" and "db". Error{server} with code 51003 when the user is there already,
  /// 31 for a role that the store does not know.
  virtual void createUser(const std::string& database, const std::string& user, const std::string& password,
                          const ObjectProperties& roles, const ObjectProperties& customData);
  /// Replaces a user's roles and custom data; Error{server} with code 11 for an unknown user. Roles that stay as they
  /// are take no right to change them, so that users may change their own custom data.
  virtual void modifyUser(const std::string& database, const std::string& user, const ObjectProperties& roles,
                          const ObjectProperties& customData);
  /// Of an unknown user, this and `dropUser` are Error{server} with code 11.
  virtual void changePassword(const std::string& database, const std::string& user, const std::string& password);
  virtual void dropUser(const std::string& database, const std::string& user);

  // Beyond the operations that providers use.

  /// Why the last `connect` returned false, with host and port; empty after a success.
  virtual std::string failure() const;

  /// Inserts many documents in one go (one transaction on the embedded store) and appends an id for each to `ids`,
  /// empty for those that failed. Documents that the store refuses are returned, and the others go in; a failure of the
  /// whole throws.
  virtual std::list<BulkFailure> insertMany(const std::string& database, const std::string& collection,
                                            const std::vector<const ObjectProperties*>& documents,
                                            std::vector<std::string>& ids);
  /// As `find`, handing over one document at a time until `receive` returns false; memory does not grow with the
  /// result.
  virtual void findEach(const std::string& database, const std::string& collection, const ObjectProperties& query,
                        const ObjectProperties& projection, int limit, int skip,
                        const std::function<bool(ObjectProperties&)>& receive);
  /// The number of documents that match.
  virtual long long count(const std::string& database, const std::string& collection, const ObjectProperties& query);
  /// How a `find` of this query would be answered: "index" (a name, or empty for none), "examined" and "returned".
  virtual ObjectProperties explain(const std::string& database, const std::string& collection,
                                   const ObjectProperties& query);

  virtual std::list<std::string> databaseNames();
  virtual std::list<std::string> collectionNames(const std::string& database);

  /// Prepares a deployment for the library: the role "changeOwnPasswordCustomDataRole" on "databaseManager", which
  /// every user gets, the administrator, and indexes. May be repeated; what is there already stays.
  virtual std::list<DeploymentStep> setUpDeployment(const DeploymentPlan& plan);

  /// Opens a transaction over all that follows until `commitTransaction` or `rollbackTransaction`; only the embedded
  /// store has one, others throw Error{unsupported}. Meanwhile nobody else can write, so a store that controls access
  /// asks for the right to write in some database, or to administer users (Error{authorization}, 13). See
  /// `Transaction`.
  virtual void beginTransaction();
  virtual void commitTransaction();
  virtual void rollbackTransaction();

  // Care for an embedded store; Error{unsupported} elsewhere.

  /// Reads the whole store: structure, every document, agreement of the index with the documents.
  virtual CheckReport check();
  /// Merges the index and gives free space back to the file system.
  virtual void compact();
  /// Writes a consistent copy of the open store to a new file; others may go on writing meanwhile.
  virtual void backup(const std::string& path);
  /// Writes everything of a damaged store that can still be read, users with their credentials too, to a new store at
  /// `path`; the damaged one stays as it is. Gives the documents written and, as problems, all that is lost.
  virtual CheckReport repair(const std::string& path);

  // Reading beyond damage. On a server no document is unreadable.

  /// As `findEach` above, passing over documents that cannot be read.
  virtual void findEach(const std::string& database, const std::string& collection, const ObjectProperties& query,
                        const ObjectProperties& projection, int limit, int skip,
                        const std::function<bool(ObjectProperties&)>& receive, const UnreadableHandler& unreadable);
  /// Lets all reads from now on, `aggregate`, `count` and `explain` too, pass over documents that cannot be read. An
  /// empty handler, which is the default, lets them fail.
  virtual void setUnreadableHandler(const UnreadableHandler& unreadable);

  // Giving up, and results one by one.

  /// Lets the caller give up an operation that is under way. `isWanted` is asked from within every operation, on its
  /// thread, a few hundred times a second at most; when it returns false (or throws), the operation ends with
  /// Error{cancelled}, in most cases within a tenth of a second. It must not use the client. A write in the embedded
  /// store is undone then; one that was sent to a server has an outcome that is not known (`Error::outcomeUnknown`).
  /// `connect` returns false, and tells why with `failure`. It stays set over `connect` and `disconnect`; an empty
  /// function, as at the start, wants every result.
  virtual void setCancellation(std::function<bool()> isWanted);
  /// As `aggregate`, handing over one document at a time until `receive` returns false; what comes out is not held in
  /// memory as a whole, as far as the stages allow.
  virtual void aggregateEach(const std::string& database, const std::string& collection,
                             const ObjectProperties& pipeline, const std::function<bool(ObjectProperties&)>& receive);

  /// Whether access is controlled; takes no right. In a file it is from the moment the administrator has a password. On
  /// a server, what a client without a user is answered tells it, for which this client, where it has a user, opens one
  /// more connection for a moment.
  virtual AccessControl accessControl();
  /// The format and the size of the store; takes no right.
  virtual StoreDescription describe();
  /// What a collection takes; zeros where there is none. Takes the right to read it. In a file every row is passed
  /// over, without reading large documents; a server has the figures at hand.
  virtual CollectionSize collectionSize(const std::string& database, const std::string& collection);

  // How many a write met, and pages.

  /// As `update`, telling how many documents it met and changed.
  virtual UpdateResult updateCounted(const std::string& database, const std::string& collection,
                                     const ObjectProperties& selector, const ObjectProperties& document,
                                     const int& flags, const int& operation);
  /// As `remove`, giving the number of documents removed; 0 where writes are not acknowledged. A removal whose answer
  /// was lost is not repeated, as `remove` does where that is safe, since what the first try removed would be missing
  /// from the number: it ends with `Error::outcomeUnknown`.
  virtual long long removeCounted(const std::string& database, const std::string& collection,
                                  const ObjectProperties& query);
  /// As `findEach` above, in an order and from a place of the caller's choice.
  ///
  /// With `FindOptions::after` each page costs what the first one does, however many come before it, and leaves nothing
  /// out and repeats nothing when others insert and remove meanwhile. Without a sort, pages are in the store's own
  /// order: that of insertion in a file, that of "_id" on a server (see `keepsInsertionOrder`). With a sort the only
  /// one is {"_id": 1 or -1}, else Error{query}. The record that is named need not match the query. It may be gone,
  /// too, where "_id" is the order. In a file's own order the place of an object id that is gone is told from its
  /// neighbours, if the object ids before and behind it follow each other in the file, as they do where ids grow with
  /// each insert; else it is Error{query}, and the record before is to be named.
  ///
  /// Other sorts read all matches, and hold what `limit` and `skip` leave of them; in a file above 100 MB that is
  /// Error{query} with code 292. There {"_id": ±1} of all records needs no sorting where ids are object ids; of other
  /// kinds of ids, all ids of the kind are read. Equals come in insertion order in a file, in none on a server. A sort
  /// that makes no sense is Error{query} naming its key.
  virtual void findEach(const std::string& database, const std::string& collection, const ObjectProperties& query,
                        const FindOptions& options, const std::function<bool(ObjectProperties&)>& receive);
  /// Whether a find without a sort gives the order of insertion: true in a file, false on a server.
  virtual bool keepsInsertionOrder() const;

 private:
  struct Connection;
  std::unique_ptr<Connection> connection_;
};

/// A transaction for a scope, undone unless committed. Its destructor never throws.
class DATABASE_CLIENT_EXPORT Transaction {
 public:
  explicit Transaction(DataBaseClient& client);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /// Makes everything since the start permanent; a second call does nothing.
  void commit();

 private:
  DataBaseClient& client_;
  bool open_ = true;
};

}  // namespace database_client
