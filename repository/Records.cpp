// SPDX-License-Identifier: Apache-2.0
#include "database_provider/records.h"

#include <algorithm>
#include <utility>

#include "repository/FoundRecords.h"
#include "repository/Node.h"
#include "repository/documentValue.h"
#include "repository/kinds.h"
#include "repository/pipelines.h"

namespace database_provider {

using database_client::Error;
using repository::placeOf;

namespace {

ObjectProperties idAlone() {
  ObjectProperties result;
  result.setValueBool("_id", true);
  return result;
}

void requireLimits(const FindOptions& options) {
  if (options.limit < 0 || options.skip < 0)
    throw Error(Error::Kind::query, "a limit or a skip is below zero", {options.limit < 0 ? "limit" : "skip"});
  if (!options.after.empty() && !options.sort.empty())
    throw Error(Error::Kind::query, "\"after\" goes on in the store's order, not in that of a sort", {"after"});
}

}  // namespace

std::string Records::insert(const NewRecord& record) const {
  const layout::Place& place = placeOf(kind_);
  const ObjectProperties document = record.toDocument(kind_);
  std::string id;
  store_->insert(place.database, place.collection, &document, id);
  return id;
}

std::vector<std::string> Records::insertMany(const std::vector<NewRecord>& records) const {
  std::optional<database_client::Transaction> transaction;
  if (store_->keepsInsertionOrder()) transaction.emplace(*store_);
  std::vector<std::string> ids = insertWithin(records);
  if (transaction) transaction->commit();
  return ids;
}

std::vector<std::string> Records::insertWithin(const std::vector<NewRecord>& records) const {
  const layout::Place& place = placeOf(kind_);
  std::vector<ObjectProperties> documents;
  documents.reserve(records.size());
  for (const NewRecord& record : records) documents.push_back(record.toDocument(kind_));
  std::vector<const ObjectProperties*> pointers;
  pointers.reserve(documents.size());
  for (const ObjectProperties& document : documents) pointers.push_back(&document);

  std::vector<std::string> ids;
  const auto failures = store_->insertMany(place.database, place.collection, pointers, ids);
  if (!failures.empty()) {
    const Error& first = failures.front().error;
    const std::size_t written = store_->keepsInsertionOrder() ? 0 : records.size() - failures.size();
    throw Error(first.kind(),
                "record " + std::to_string(failures.front().index) + ": " + first.what() + "; of " +
                    std::to_string(records.size()) + " records " + std::to_string(written) + " were written",
                {first.where(), first.code(), false, first.outcomeUnknown()});
  }
  return ids;
}

std::optional<Record> Records::read(const std::string& id) const {
  std::optional<Record> result;
  forEach(Selection::ofIds({id}), {{}, 1}, [&](Record&& record) {
    result = std::move(record);
    return false;
  });
  return result;
}

FoundRecords Records::find(const Selection& selection, const FindOptions& options) const {
  requireLimits(options);
  return FoundRecords(std::make_unique<FoundRecords::State>(*this, selection, options));
}

void Records::forEach(const Selection& selection, const FindOptions& options,
                      const std::function<bool(Record&&)>& receive) const {
  forEachDocument(selection, options, {},
                  [&](ObjectProperties& document) { return receive(Record(kind_, std::move(document))); });
}

std::vector<std::string> Records::ids(const Selection& selection, const FindOptions& options) const {
  std::vector<std::string> result;
  forEachDocument(selection, options, idAlone(), [&](ObjectProperties& document) {
    result.push_back(document.valueAsId("_id", ""));
    return true;
  });
  return result;
}

std::vector<std::string> Records::idsBeginningWith(const std::string& text, int limit) const {
  constexpr std::size_t digits = 24;
  FindOptions options;
  options.limit = limit;
  std::vector<std::string> result;
  const bool isHex = text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
  if (isHex && text.size() <= digits) {
    DatabaseFilter range;
    range.filter_init();
    range.setId(OperationType::greaterOrEqual, text + std::string(digits - text.size(), '0'));
    range.setId(OperationType::lessOrEqual, text + std::string(digits - text.size(), 'f'));
    range.filter_finish();
    result = ids(range, options);
  }
  if (limit > 0) options.limit = limit - static_cast<int>(result.size());
  if (limit > 0 && options.limit == 0) return result;
  const std::string afterAll = text + "\xF4\x8F\xBF\xBF";  // the largest character
  const ObjectProperties range =
      repository::toDocument(repository::object({{"_id", repository::object({{"$gte", text}, {"$lte", afterAll}})}}));
  for (std::string& id : ids(Selection::ofQuery(range), options)) result.push_back(std::move(id));
  return result;
}

void Records::forEachDocument(const Selection& selection, const FindOptions& options,
                              const ObjectProperties& projection,
                              const std::function<bool(ObjectProperties&)>& receive) const {
  requireLimits(options);
  const layout::Place& place = placeOf(kind_);
  // Stores keep an order of ids, so that the first of a million records by id are found without looking at the others.
  const bool isById = options.sort.size() == 1 && options.sort.front().field == SortKey::Field::id;
  if (options.sort.empty() || isById) {
    // A server goes on from a record in the order of ids, and so has to begin in it.
    const bool isPageOnServer = options.limit > 0 && !store_->keepsInsertionOrder();
    database_client::FindOptions find;
    find.projection = projection;
    if (isById || isPageOnServer) find.sort.setValueInt32("_id", isById && options.sort.front().isDescending ? -1 : 1);
    find.limit = options.limit;
    find.skip = options.skip;
    find.after = options.after;
    store_->findEach(place.database, place.collection, selection.query(), find, receive);
    return;
  }
  std::vector<SortKey> keys = options.sort;
  for (SortKey& key : keys) {
    if (key.field != SortKey::Field::any) continue;
    const bool isDescription = isInUse(layout::path::descriptionName, key.name);
    const bool isCategory = !isDescription && isInUse(layout::path::categoryName, key.name);
    key.field = isCategory ? SortKey::Field::category : SortKey::Field::description;
  }
  const ObjectProperties pipeline = repository::sortedRecords(selection, keys, !store_->keepsInsertionOrder(),
                                                              options.limit, options.skip, projection);
  store_->aggregateEach(place.database, place.collection, pipeline, receive);
}

bool Records::isInUse(const char* path, const std::string& name) const {
  const layout::Place& place = placeOf(kind_);
  ObjectProperties query;
  query.setValueString(path, name);
  bool result = false;
  store_->findEach(place.database, place.collection, query, idAlone(), 1, 0, [&](ObjectProperties& /*found*/) {
    result = true;
    return false;
  });
  return result;
}

std::optional<PropertyType> Records::typeInUse(const std::string& description) const {
  const layout::Place& place = placeOf(kind_);
  ObjectProperties query;
  query.setValueString(layout::path::descriptionName, description);
  ObjectProperties projection;
  projection.setValueBool(layout::path::description, true);
  std::optional<PropertyType> result;
  store_->findEach(place.database, place.collection, query, projection, 1, 0, [&](ObjectProperties& found) {
    const Record record(kind_, std::move(found));
    const std::optional<Value> value = record.description(description);
    if (value) result = repository::typeOf(*value);
    return false;
  });
  return result;
}

long long Records::remove(const Selection& selection) const {
  const layout::Place& place = placeOf(kind_);
  return store_->removeCounted(place.database, place.collection, selection.query());
}

long long Records::count(const Selection& selection) const {
  const layout::Place& place = placeOf(kind_);
  return store_->count(place.database, place.collection, selection.query());
}

}  // namespace database_provider
