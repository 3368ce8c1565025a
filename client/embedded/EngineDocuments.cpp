// SPDX-License-Identifier: Apache-2.0

// The operations on documents.

#include <optional>
#include <utility>

#include "client/DamageError.h"
#include "client/DocumentAccess.h"
#include "client/ObjectId.h"
#include "client/embedded/AccessPath.h"
#include "client/embedded/Cursor.h"
#include "client/embedded/EmbeddedEngine.h"
#include "client/embedded/query/transform/Projection.h"
#include "client/embedded/query/transform/Update.h"
#include "client/embedded/query/values/numbers.h"
#include "client/embedded/storage/duplicateKey.h"
#include "database_client/Error.h"
#include "database_client/codes.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Element;
using bson::Type;
using bson::Value;
using bson::View;
using bson::viewOf;

namespace {

void requireId(View document) {
  std::size_t ids = 0;
  for (const Element& element : document) ids += element.key == "_id" ? 1 : 0;
  const bson::Value id = document.find("_id");
  const bool isAllowed = ids == 1 && id.type != Type::array && id.type != Type::regex && id.type != Type::undefined;
  if (!isAllowed) {
    throw Error(Error::Kind::document, "_id: one value that is no array, pattern or undefined is expected",
                {"_id", code::badValue});
  }
}

Page pageOf(int limit, int skip) {
  if (limit < 0) throw Error(Error::Kind::query, "limit: a negative number", {"limit", code::negativeNumber});
  if (skip < 0) throw Error(Error::Kind::query, "skip: a negative number", {"skip", code::negativeNumber});
  return {static_cast<std::uint64_t>(skip), static_cast<std::uint64_t>(limit)};
}

Value afterOf(const FindRequest& request) {
  return request.after == nullptr ? Value{} : DocumentAccess::view(*request.after).find("_id");
}

/// Where a find is sorted by "_id". What else it is sorted by makes no difference behind that, since ids are unique.
std::optional<IdOrder> idOrderOf(const FindRequest& request) {
  const Element first = *DocumentAccess::view(*request.sort).begin();
  if (first.key != "_id") return std::nullopt;
  return IdOrder{exactInteger(first.value) == -1, afterOf(request)};
}

bool asksForIdAlone(const ObjectProperties& projection) {
  const View fields = DocumentAccess::view(projection);
  if (fields.count() != 1) return false;
  const Element only = *fields.begin();
  return only.key == "_id" && (only.value.type == Type::boolean || only.value.isNumber()) && isTrue(only.value);
}

RecordNumber requirePlace(Collection& collection, const FindRequest& request) {
  const auto place = collection.placeOf(afterOf(request));
  if (place) return *place;
  throw Error(Error::Kind::query,
              "after: no record of " + collection.label() + R"( has the "_id" ")" +
                  request.after->valueAsId("_id", "") + "\", and where it stood is not known",
              {"after"});
}

/// A write of the document with one "_id" asks no index.
Store::WriteScope scopeOf(const Filter& filter) {
  return filter.namesOneId() ? Store::WriteScope::one : Store::WriteScope::many;
}

std::vector<RecordNumber> matchingRids(Collection* collection, const Filter& filter, const CursorUse& use = {}) {
  Cursor cursor(collection, filter, {}, use);
  std::vector<RecordNumber> rids;
  while (cursor.next()) rids.push_back(cursor.rid());
  return rids;
}

/// The stored document in bytes of our own, since writing it moves what was read.
std::vector<Byte> copyOf(RowReader& reader, RecordNumber rid) {
  const View stored = reader.require(rid);
  return {stored.data, stored.data + stored.size};
}

/// Whether the document is another now. One that stays as it is is not written.
bool apply(Collection& collection, RecordNumber rid, View stored, const Update& change) {
  const std::vector<Byte> changed = change.apply(stored);
  if (changed.empty()) return false;
  collection.replace(rid, stored, viewOf(changed));
  return true;
}

void removeOne(Collection& collection, RecordNumber rid) {
  std::vector<Byte> stored;
  try {
    RowReader reader(collection);
    stored = copyOf(reader, rid);
  } catch (const DamageError&) {
    return collection.removeUnreadable(rid);
  }
  collection.remove(rid, viewOf(stored));
}

void insertNew(Collection& collection, View document) {
  if (!collection.insert(document)) throw duplicateKey(collection.label(), document.find("_id"));
}

UpdateResult updateFirst(Collection* collection, const Filter& selector, const Update& change) {
  RecordNumber rid = 0;
  std::vector<Byte> stored;
  {
    Cursor cursor(collection, selector, {0, 1});
    if (!cursor.next()) return {};
    rid = cursor.rid();
    const View found = cursor.body();
    stored.assign(found.data, found.data + found.size);
  }
  return {1, apply(*collection, rid, viewOf(stored), change) ? 1 : 0, 0};
}

UpdateResult updateAll(Collection* collection, const Filter& selector, const Update& change) {
  // All matches are known before the first changes, so that none is met twice.
  const std::vector<RecordNumber> rids = matchingRids(collection, selector);
  if (rids.empty()) return {};
  UpdateResult result;
  RowReader reader(*collection);
  for (const RecordNumber rid : rids) {
    collection->checkWanted();
    const std::vector<Byte> stored = copyOf(reader, rid);
    ++result.matched;
    if (apply(*collection, rid, viewOf(stored), change)) ++result.modified;
  }
  return result;
}

}  // namespace

void EmbeddedEngine::requireWrite(const Namespace& where, const char* operation) {
  const std::string label = where.database + "." + where.collection;
  login_.require(Action::write, where.database, operation, label);
  if (label != "admin.system.users" && label != "admin.system.roles") return;
  throw Error(Error::Kind::authorization, label + " is written by the operations on users alone",
              {label, code::unauthorized});
}

void EmbeddedEngine::insert(const Namespace& where, const ObjectProperties& document) {
  const View view = DocumentAccess::view(document);
  requireId(view);
  Store::Writing writing(store_, Store::WriteScope::one);
  requireWrite(where, "insert");
  insertNew(store_.obtain(where.database, where.collection), view);
  writing.commit();
}

std::list<BulkFailure> EmbeddedEngine::insertMany(const Namespace& where,
                                                  const std::vector<ObjectProperties>& documents) {
  std::list<BulkFailure> failures;
  if (documents.empty()) return failures;
  Store::Writing writing(store_, Store::WriteScope::many);
  requireWrite(where, "insert");
  Collection& collection = store_.obtain(where.database, where.collection);
  for (std::size_t i = 0; i < documents.size(); ++i) {
    collection.checkWanted();
    const View document = DocumentAccess::view(documents[i]);
    requireId(document);
    if (!collection.insert(document)) failures.push_back({i, duplicateKey(collection.label(), document.find("_id"))});
  }
  writing.commit();
  return failures;
}

UpdateResult EmbeddedEngine::update(const Namespace& where, const ObjectProperties& selector,
                                    const ObjectProperties& document, UpdateKind kind, bool upsert) {
  const Filter filter(DocumentAccess::view(selector));
  const Update change(kind, DocumentAccess::view(document));
  const bool onlyFirst = kind == UpdateKind::replaceFirst;
  Store::Writing writing(store_, scopeOf(filter));
  requireWrite(where, "update");
  Collection* collection = store_.find(where.database, where.collection);
  UpdateResult result = onlyFirst ? updateFirst(collection, filter, change) : updateAll(collection, filter, change);
  if (result.matched == 0 && upsert) {
    const std::vector<Byte> made = change.upsertDocument(filter.matcher().query(), ObjectId::make().bytes.data());
    requireId(viewOf(made));
    insertNew(store_.obtain(where.database, where.collection), viewOf(made));
    result.inserted = 1;
  }
  writing.commit();
  return result;
}

// The number is exact without further ado: a call takes place as a whole or not at all.
long long EmbeddedEngine::remove(const Namespace& where, const ObjectProperties& query, bool /*isCounted*/) {
  const Filter filter(DocumentAccess::view(query));
  Store::Writing writing(store_, scopeOf(filter));
  requireWrite(where, "remove");
  Collection* collection = store_.find(where.database, where.collection);
  const std::vector<RecordNumber> rids = matchingRids(collection, filter, {true, false, unreadable()});
  for (const RecordNumber rid : rids) {
    collection->checkWanted();
    removeOne(*collection, rid);
  }
  writing.commit();
  return static_cast<long long>(rids.size());
}

void EmbeddedEngine::find(const Namespace& where, const FindRequest& request, const Receiver& receive) {
  const Projection projection(DocumentAccess::view(request.projection));
  const Page page = pageOf(request.limit, request.skip);
  const Store::Reading reading(store_);
  const std::optional<ObjectProperties> self = lookUpOfSelf(where, request.query);
  Collection* collection = self ? store_.find(where.database, where.collection) : this->reading(where, "find");
  const UnreadableHandler* told = request.unreadable != nullptr ? request.unreadable : unreadable();
  const Filter filter(DocumentAccess::view(self ? *self : request.query));
  CursorUse use{true, true, told};
  const bool isSorted = request.sort != nullptr;
  const std::optional<IdOrder> order = isSorted ? idOrderOf(request) : std::nullopt;
  // Beyond damage the look-up table of ids is only one of the places where records may be.
  const bool isInIdOrder = order && told == nullptr && filter.matcher().matchesEverything();
  if (isInIdOrder) use.order = order;
  use.isIdEnough = told == nullptr && (!isSorted || isInIdOrder) && asksForIdAlone(request.projection);
  if (!isSorted && request.after != nullptr && collection != nullptr) use.after = requirePlace(*collection, request);
  const auto give = [&](View document) {
    return receive(projection.keepsEverything() ? DocumentAccess::adopt(document)
                                                : DocumentAccess::adopt(projection.apply(document)));
  };
  const bool isToBeSorted = isSorted && !isInIdOrder;
  Cursor cursor(collection, filter, isToBeSorted ? Page() : page, use);
  const Store::Registration registration(store_, cursor);
  if (isToBeSorted) return giveSorted(cursor, request, order, give);
  bool more = true;
  while (more && cursor.next()) {
    const View document = cursor.body();
    more = cursor.isCovered() ? receive(DocumentAccess::adopt(document)) : give(document);
  }
}

long long EmbeddedEngine::count(const Namespace& where, const ObjectProperties& query) {
  const Store::Reading reading(store_);
  Collection* collection = this->reading(where, "count");
  const View condition = DocumentAccess::view(query);
  if (condition.empty()) return collection == nullptr ? 0 : collection->count();
  const Filter filter(condition);
  Cursor cursor(collection, filter, {}, {false, false, unreadable()});
  long long matches = 0;
  while (cursor.next()) ++matches;
  return matches;
}

ObjectProperties EmbeddedEngine::explain(const Namespace& where, const ObjectProperties& query) {
  const Store::Reading reading(store_);
  const Filter filter(DocumentAccess::view(query));
  Cursor cursor(this->reading(where, "explain"), filter, {}, {true, true, unreadable()});
  long long returned = 0;
  for (; cursor.next(); ++returned) cursor.body();
  ObjectProperties result;
  result.setValueString("index", cursor.indexName());
  result.setValueInt64("examined", cursor.examined());
  result.setValueInt64("returned", returned);
  return result;
}

std::list<std::string> EmbeddedEngine::collectionNames(const std::string& database) {
  const Store::Reading reading(store_);
  login_.require(Action::list, database, "list the collections");
  std::list<std::string> names;
  for (const Collection* collection : store_.collections()) {
    if (collection->database() == database) names.push_back(collection->name());
  }
  return names;
}

std::list<std::string> EmbeddedEngine::databaseNames() {
  const Store::Reading reading(store_);
  login_.requireUser("list the databases");
  std::list<std::string> names;
  for (const Collection* collection : store_.collections()) {
    const std::string& database = collection->database();
    if ((names.empty() || names.back() != database) && login_.may(Action::list, database)) names.push_back(database);
  }
  return names;
}

}  // namespace database_client::embedded
