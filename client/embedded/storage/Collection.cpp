// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/Collection.h"

#include <algorithm>
#include <functional>
#include <limits>

#include "client/DamageError.h"
#include "client/embedded/query/values/compare.h"
#include "client/embedded/storage/Schema.h"
#include "client/embedded/storage/Store.h"

namespace database_client::embedded {

using bson::View;

namespace {

constexpr std::size_t smallestDocument = 5;  // the length of 4 bytes, and the end

/// Users and roles have no items, and are asked for by their "_id" alone.
bool isAdministration(const std::string& database, const std::string& name) {
  return database == "admin" && (name == "system.users" || name == "system.roles");
}

}  // namespace

Collection::Statements::Statements(sqlite::Connection& connection, const std::string& table)
    : insert(connection.prepared("INSERT INTO " + table +
                                 "(rid, id, sum, body) VALUES(?1, ?2, ?3, ?4) ON CONFLICT(id) DO NOTHING")),
      update(connection.prepared("UPDATE " + table + " SET sum = ?2, body = ?3 WHERE rid = ?1")),
      remove(connection.prepared("DELETE FROM " + table + " WHERE rid = ?1")),
      count(connection.prepared("SELECT count(*) FROM " + table)),
      estimate(connection.prepared("SELECT max(rid) FROM " + table)),
      ridOfId(connection.prepared("SELECT rid FROM " + table + " WHERE id = ?1")),
      idOf(connection.prepared("SELECT id FROM " + table + " WHERE rid = ?1")),
      readById(connection.prepared("SELECT rid, sum, body FROM " + table + " WHERE id = ?1")),
      read(connection.prepared("SELECT sum, body FROM " + table + " WHERE rid = ?1")),
      scan(connection.prepared("SELECT rid, sum, body FROM " + table + " WHERE rid > ?1 ORDER BY rid")) {}

Collection::Collection(Store& store, std::int64_t number, const std::string& database, const std::string& name)
    : store_(store),
      number_(number),
      database_(database),
      name_(name),
      holdsCredentials_(database == "admin" && name == "system.users"),
      checksum_(store.formatVersion(), database, name),
      sql_(store.connection(), schema::documentsTable(number)) {
  if (!isAdministration(database, name)) {
    index_ = std::make_unique<ItemIndex>(
        store.blobs(), number, ItemIndex::Options(),
        [this](RecordNumber after, const std::function<void(RecordNumber, View)>& receive) {
          RowScan rows(*this, after);
          while (rows.next()) {
            store_.checkIndexing();
            View body;
            try {
              body = rows.body();
            } catch (const DamageError&) {  // The index has it as one that may have anything.
            }
            receive(rows.rid(), body);
          }
        },
        store.blocks());
  }
}

Collection::~Collection() = default;

View Collection::whole(RecordNumber rid, std::int64_t sum, sqlite::Blob body) const {
  // The size that BSON begins with is covered by the sum, and compared all the same: bytes that fit their sum by chance
  // would be read past their end otherwise.
  const bool isSound = body.size >= smallestDocument && checksum_.of(rid, body.data, body.size) == sum;
  return isSound && bson::load<std::uint32_t>(body.data) == body.size ? View{body.data, body.size} : View{};
}

View Collection::trusted(RecordNumber rid, std::int64_t sum, sqlite::Blob body) const {
  const View found = whole(rid, sum, body);
  if (found.data == nullptr)
    refuse("a document of " + label() + " is damaged (record " + std::to_string(rowId(rid)) + ")");
  return found;
}

void Collection::refuse(const std::string& what) const {
  const std::string& file = store_.connection().file();
  throw DamageError("store " + file + ": " + what, file);
}

void Collection::refuseMissing(RecordNumber rid) const {
  refuse("an index of " + label() + " is damaged: it names record " + std::to_string(rid) + ", which is not there");
}

void Collection::markDirty() {
  store_.markDirty(*this);
}

/// The numbers of records are given out here, since the sums cover them.
RecordNumber Collection::lastRid() {
  if (ridVersion_ != store_.version()) {
    lastRid_ = recordNumber(std::max<std::int64_t>(0, store_.connection().integer(sql_.estimate)));
    ridVersion_ = store_.version();
  }
  if (rowId(lastRid_) == std::numeric_limits<std::int64_t>::max())
    refuse("the last record of " + label() + " is damaged");
  return lastRid_;
}

bool Collection::insert(View document) {
  // Whether the "_id" is taken the unique index tells, in the insert itself: asking before would be a second look-up.
  const std::string key = canonicalKey(document.find("_id"));
  const RecordNumber rid = lastRid() + 1;
  store_.connection()
      .statement(sql_.insert)
      .bind(1, rowId(rid))
      .bindBlob(2, key.data(), key.size())
      .bind(3, checksum_.of(rid, document.data, document.size))
      .bindBlob(4, document.data, document.size)
      .run();
  if (store_.connection().changes() == 0) return false;
  lastRid_ = rid;  // Not before: the number of an insert that was refused is given to the next.
  if (!index_) return true;
  // The row comes first: should the index read the documents that it has not seen yet, this is one of them.
  markDirty();
  index_->add(rid, document);
  return true;
}

void Collection::replace(RecordNumber rid, View before, View after) {
  store_.connection()
      .statement(sql_.update)
      .bind(1, rowId(rid))
      .bind(2, checksum_.of(rid, after.data, after.size))
      .bindBlob(3, after.data, after.size)
      .run();
  if (!index_) return;
  markDirty();
  index_->replace(rid, before, after);
}

void Collection::remove(RecordNumber rid, View body) {
  // The index comes first: `body` may point into the row.
  if (index_) {
    markDirty();
    index_->remove(rid, body);
  }
  store_.connection().statement(sql_.remove).bind(1, rowId(rid)).run();
}

void Collection::checkWanted() const {
  store_.connection().cancellation().check();
}

void Collection::removeUnreadable(RecordNumber rid) {
  if (index_) {
    markDirty();
    index_->removeUnreadable(rid);
  }
  store_.connection().statement(sql_.remove).bind(1, rowId(rid)).run();
}

long long Collection::count() {
  // One step that goes over all rows: nobody asks in between whether the result is still wanted.
  const sqlite::Connection::Interruptible interruptible(store_.connection());
  return store_.connection().integer(sql_.count);
}

std::uint64_t Collection::estimate() {
  return static_cast<std::uint64_t>(store_.connection().integer(sql_.estimate));
}

sqlite::Connection& Collection::connection() const {
  return store_.connection();
}

std::optional<RecordNumber> Collection::ridOf(const bson::Value& id) {
  return ridOfKey(canonicalKey(id));
}

std::optional<RecordNumber> Collection::ridOfKey(const std::string& key) {
  auto found = store_.connection().statement(sql_.ridOfId);
  found.bindBlob(1, key.data(), key.size());
  if (!found.step()) return std::nullopt;
  return recordNumber(found.integer(0));
}

std::optional<RecordNumber> Collection::placeOf(const bson::Value& id) {
  const std::string key = canonicalKey(id);
  if (const auto rid = ridOfKey(key)) return rid;
  if (id.type != bson::Type::objectId) return std::nullopt;
  const std::string table = schema::documentsTable(number_);
  const auto first = [this, &table](const std::string& condition, const std::string& low, const std::string& high) {
    auto row = connection().statement("SELECT rid FROM " + table + condition + " LIMIT 1");
    row.bindBlob(1, low.data(), low.size()).bindBlob(2, high.data(), high.size());
    return row.step() ? std::optional(recordNumber(row.integer(0))) : std::nullopt;
  };
  const std::string kind = key.substr(0, 1);  // Keys begin with the kind of the value; see `canonicalKey`.
  const std::string nextKind(1, static_cast<char>(kind.front() + 1));
  const auto below = first(" WHERE id > ?1 AND id < ?2 ORDER BY id DESC", kind, key);
  const auto above = first(" WHERE id > ?1 AND id < ?2 ORDER BY id", key, nextKind);
  auto row = connection().statement("SELECT rid FROM " + table + " WHERE rid > ?1 ORDER BY rid LIMIT 1");
  const RecordNumber before = below.value_or(0);
  row.bind(1, rowId(before));
  const auto following = row.step() ? std::optional(recordNumber(row.integer(0))) : std::nullopt;
  return following == above ? std::optional(before) : std::nullopt;
}

std::string Collection::storedIdKey(RecordNumber rid) {
  auto found = store_.connection().statement(sql_.idOf);
  if (!found.bind(1, rowId(rid)).step()) return {};
  return std::string(found.text(0));
}

std::string Collection::idKeyOf(RecordNumber rid) {
  // The key beside a document has no sum. That the index of ids leads from it to the record makes it likely to be
  // whole.
  try {
    std::string key = storedIdKey(rid);
    if (ridOfKey(key) == rid) return key;
  } catch (const DamageError&) {  // Then it is not known.
  }
  return {};
}

void Collection::flush() {
  if (index_) index_->flush();
}

void Collection::rollback() {
  if (index_) index_->rollback();
}

void Collection::rebuildIndex() {
  if (!index_) return;
  markDirty();
  index_->rebuild();
}

RowReader::RowReader(Collection& collection)
    : collection_(collection), statement_(collection.store_.connection().statement(collection.sql_.read)) {}

View RowReader::read(RecordNumber rid) {
  statement_.reset();
  if (!statement_.bind(1, rowId(rid)).step()) return {};
  return collection_.trusted(rid, statement_.integer(0), statement_.blob(1));
}

View RowReader::require(RecordNumber rid) {
  const View found = read(rid);
  if (found.data == nullptr) collection_.refuseMissing(rid);
  return found;
}

IdReader::IdReader(Collection& collection)
    : collection_(collection), statement_(collection.store_.connection().statement(collection.sql_.idOf)) {}

std::string_view IdReader::require(RecordNumber rid) {
  statement_.reset();
  if (!statement_.bind(1, rowId(rid)).step()) collection_.refuseMissing(rid);
  return statement_.text(0);
}

RowById::RowById(Collection& collection, const bson::Value& id)
    : collection_(collection),
      key_(canonicalKey(id)),
      statement_(collection.store_.connection().statement(collection.sql_.readById)) {
  statement_.bindBlob(1, key_.data(), key_.size());
}

bool RowById::find() {
  if (!statement_.step()) return false;
  // A document that is damaged itself may be the one asked for; `body` refuses it.
  const View found = collection_.whole(rid(), statement_.integer(1), statement_.blob(2));
  if (found.data != nullptr && canonicalKey(found.find("_id")) != key_) {
    collection_.refuse("the index of ids of " + collection_.label() + " is damaged");
  }
  return true;
}

View RowById::body() const {
  return collection_.trusted(rid(), statement_.integer(1), statement_.blob(2));
}

RowScan::RowScan(Collection& collection, RecordNumber after)
    : collection_(collection),
      statement_(collection.store_.connection().statement(collection.sql_.scan)),
      last_(after) {
  statement_.bind(1, rowId(after));
}

bool RowScan::next() {
  if (!statement_.step()) return false;
  // A damaged tree may lead back to where it came from; without this a scan would not end.
  isOutOfOrder_ = statement_.integer(0) <= rowId(last_);
  if (isOutOfOrder_)
    collection_.refuse("the records of " + collection_.label() + " are damaged: they are out of order");
  last_ = rid();
  return true;
}

View RowScan::body() const {
  return collection_.trusted(rid(), statement_.integer(1), statement_.blob(2));
}

}  // namespace database_client::embedded
