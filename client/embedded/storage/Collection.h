// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "client/bson/View.h"
#include "client/embedded/index/items/ItemIndex.h"
#include "client/embedded/index/segments/recordNumber.h"  // IWYU pragma: export
#include "client/embedded/sqlite/Connection.h"
#include "client/embedded/storage/Checksum.h"

namespace database_client::embedded {

class Store;

/// The documents of one collection, in insertion order under record numbers that grow. All calls belong inside a
/// transaction of the store. What is read is compared with the sum kept beside it, so that damage is found and bytes
/// need no second validation: Error{storage} naming the collection.
class Collection {
 public:
  Collection(Store& store, std::int64_t number, const std::string& database, const std::string& name);
  Collection(const Collection&) = delete;
  Collection& operator=(const Collection&) = delete;
  ~Collection();

  const std::string& database() const { return database_; }
  const std::string& name() const { return name_; }
  /// "database.name".
  std::string label() const { return database_ + "." + name_; }
  std::int64_t number() const { return number_; }
  /// Whether this is the collection of users, whose credentials nobody reads.
  bool holdsCredentials() const { return holdsCredentials_; }
  /// Null for the collections of the store's own administration.
  ItemIndex* index() { return index_.get(); }

  /// False, and nothing done, when the "_id" is taken.
  bool insert(bson::View document);
  /// Puts `after` in the place of `before`, which has the same "_id".
  void replace(RecordNumber rid, bson::View before, bson::View after);
  void remove(RecordNumber rid, bson::View body);
  /// Removes a document that cannot be read. What the index has of it is not known, so it is built anew, in time
  /// proportional to the collection, before the transaction ends.
  void removeUnreadable(RecordNumber rid);

  long long count();
  /// About as many as there are documents, at once.
  std::uint64_t estimate();
  std::optional<RecordNumber> ridOf(const bson::Value& id);
  /// The record number behind which those stand that follow the record with this "_id", also where it was removed;
  /// nothing where that is not known.
  ///
  /// Nothing is kept of what was removed. But an object id has neighbours in the order of ids, and where these follow
  /// each other in insertion order too, the record stood between them: ids are made in the order of inserts, and one
  /// that was not has, but for chance, neighbours that are apart.
  std::optional<RecordNumber> placeOf(const bson::Value& id);
  /// The key of the "_id" of a record, for when the document itself cannot be read; empty where it is not known.
  std::string idKeyOf(RecordNumber rid);
  /// The bytes of the id as they stand beside a document, whether or not it is found by them.
  std::string storedIdKey(RecordNumber rid);
  sqlite::Connection& connection() const;

  /// Writes what the index gathered.
  void flush();
  /// Forgets what the index gathered.
  void rollback();
  /// Builds the index anew of the documents.
  void rebuildIndex();

  /// Throws Error{cancelled} when the caller wants no result any more. To be called for each of many documents.
  void checkWanted() const;

 private:
  friend class IdReader;
  friend class IdScan;
  friend class RowById;
  friend class RowReader;
  friend class RowScan;

  void markDirty();
  [[noreturn]] void refuse(const std::string& what) const;
  [[noreturn]] void refuseMissing(RecordNumber rid) const;
  /// The bytes, where they and their place are those that were written; else a null `data`.
  bson::View whole(RecordNumber rid, std::int64_t sum, sqlite::Blob body) const;
  bson::View trusted(RecordNumber rid, std::int64_t sum, sqlite::Blob body) const;
  RecordNumber lastRid();
  std::optional<RecordNumber> ridOfKey(const std::string& key);

  Store& store_;
  std::int64_t number_;
  std::string database_;
  std::string name_;
  bool holdsCredentials_;
  Checksum checksum_;
  RecordNumber lastRid_ = 0;  ///< no record has a greater number, as long as the store has `ridVersion_`
  std::uint64_t ridVersion_ = 0;
  std::unique_ptr<ItemIndex> index_;
  struct Statements {
    Statements(sqlite::Connection& connection, const std::string& table);
    sqlite::Prepared &insert, &update, &remove, &count, &estimate, &ridOfId, &idOf, &readById, &read, &scan;
  } sql_;
};

/// Reads single documents.
class RowReader {
 public:
  explicit RowReader(Collection& collection);
  /// Null `data` when there is no such document; valid until the next call.
  bson::View read(RecordNumber rid);
  /// The same where an index says that there is one: Error{storage} when there is none.
  bson::View require(RecordNumber rid);

 private:
  Collection& collection_;
  sqlite::Statement statement_;
};

/// Reads the keys of single ids, and of their documents nothing. They have no sum: damage to one is found by `check`.
class IdReader {
 public:
  explicit IdReader(Collection& collection);
  /// Of a record that is there; else Error{storage}. Valid until the next call.
  std::string_view require(RecordNumber rid);

 private:
  Collection& collection_;
  sqlite::Statement statement_;
};

/// Looks for one document by its "_id".
class RowById {
 public:
  RowById(Collection& collection, const bson::Value& id);
  /// False when there is none; Error{storage} where damage led to a document of another "_id".
  bool find();
  RecordNumber rid() const { return recordNumber(statement_.integer(0)); }
  const std::string& key() const { return key_; }
  /// Valid as long as this object.
  bson::View body() const;

 private:
  const Collection& collection_;
  std::string key_;
  sqlite::Statement statement_;
};

/// Passes over all documents above a record number, in insertion order.
class RowScan {
 public:
  explicit RowScan(Collection& collection, RecordNumber after = 0);
  bool next();
  /// Whether `next` threw since records were not in their order: then some may be where nobody looks for them.
  bool isOutOfOrder() const { return isOutOfOrder_; }
  RecordNumber rid() const { return recordNumber(statement_.integer(0)); }
  /// Valid until `next`.
  bson::View body() const;

 private:
  const Collection& collection_;
  sqlite::Statement statement_;
  RecordNumber last_;
  bool isOutOfOrder_ = false;
};

}  // namespace database_client::embedded
