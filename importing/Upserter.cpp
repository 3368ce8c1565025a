// SPDX-License-Identifier: Apache-2.0
#include "importing/Upserter.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "importing/mergeRecord.h"
#include "repository/kinds.h"
#include "values/Text.h"

namespace database_provider::importing {

namespace {

using database_client::Error;
using repository::DocumentRewriter;

constexpr std::size_t largestBatch = 16'000;
constexpr std::size_t mostNotes = 1000;
constexpr std::size_t mostBytes = 8U << 20U;

std::string shown(const RowOrigin& origin) {
  const std::string place = origin.file + (origin.line > 0 ? ":" + std::to_string(origin.line) : "");
  return "row " + std::to_string(origin.row) + (place.empty() ? "" : " (" + place + ")");
}

bool isSame(const RowOrigin& left, const RowOrigin& right) {
  return left.row == right.row && left.line == right.line && left.file == right.file;
}

}  // namespace

Upserter::Upserter(Target target, RecordKey key, OnMatch onMatch, std::function<void(const BadRow&)> bad)
    : target_(std::move(target)),
      key_(std::move(key)),
      onMatch_(onMatch),
      bad_(std::move(bad)),
      rewriter_(target_.records.store(), repository::placeOf(target_.records.kind()),
                DocumentRewriter::Part::document) {}

void Upserter::noteKey(const Record& record, const std::string& id, const RowOrigin& origin) {
  areKeysNoted_ = true;
  const RecordKey::Values values = key_.valuesOf(record, id);
  if (key_.missing(values) != nullptr) return;
  notes_.emplace_back(RecordKey::textOf(values), origin);
  if (notes_.size() == mostNotes) takeNotes();
}

void Upserter::takeNotes() {
  std::set<std::string> keys;
  for (const auto& note : notes_) keys.insert(note.first);
  auto known = seen_.find(keys);
  for (const auto& [key, origin] : notes_) {
    const auto [first, isNew] = known.emplace(key, KeyRegister::Places{origin, {}});
    if (isNew)
      seen_.add(key, first->second);
    else
      twice_.add(key, {first->second.first, origin});
  }
  notes_.clear();
}

void Upserter::refuse(Item& item, const std::string& reason, const std::string& column) {
  item.isBad = true;
  bad_({item.origin, column, reason});
}

void Upserter::add(std::unique_ptr<ObjectProperties> document, const std::string& id, RowOrigin origin,
                   std::size_t size) {
  Item item{Record(target_.records.kind(), std::move(*document)), id, std::move(origin)};
  item.key = key_.valuesOf(item.record, id);
  const RecordKey::Field* missing = key_.missing(item.key);
  // A row without an id is a record that nobody has seen yet.
  const bool isNew = missing != nullptr && missing->kind == StoreColumn::Kind::id;
  if (missing != nullptr && !isNew) return refuse(item, "has no value, and belongs to the key", missing->name);
  if (!isNew) item.keyText = RecordKey::textOf(item.key);
  items_.push_back(std::move(item));
  size_ += size;
  if (items_.size() >= mostItems_ || size_ >= mostBytes) flush();
}

/// Rows whose key another row has, in this batch or elsewhere.
void Upserter::refuseKnownKeys() {
  takeNotes();
  std::map<std::string, std::vector<Item*>> byKey;
  std::set<std::string> keys;
  for (Item& item : items_) {
    if (item.keyText.empty()) continue;
    byKey[item.keyText].push_back(&item);
    keys.insert(item.keyText);
  }
  const auto earlier = areKeysNoted_ ? twice_.find(keys) : seen_.find(keys);
  for (auto& [text, items] : byKey) {
    const auto known = earlier.find(text);
    for (Item* item : items) {
      std::optional<RowOrigin> other;
      if (known != earlier.end())
        other = isSame(known->second.first, item->origin) ? known->second.second : known->second.first;
      else if (items.size() > 1)
        other = items.front() == item ? items[1]->origin : items.front()->origin;
      if (other) refuse(*item, "the key " + key_.shown(item->key) + " stands in " + shown(*other) + ", too");
    }
    if (!areKeysNoted_ && known == earlier.end()) seen_.add(text, {items.front()->origin, {}});
  }
}

std::map<std::string, Upserter::Match> Upserter::findMatches() {
  constexpr std::size_t manyPerItem = 4;
  std::map<std::string, Match> result;
  std::vector<const RecordKey::Values*> keys;
  for (const Item& item : items_) {
    if (item.isBad || item.keyText.empty()) continue;
    keys.push_back(&item.key);
    result.emplace(item.keyText, Match());
  }
  if (keys.empty()) return result;
  const RecordKind kind = target_.records.kind();
  std::size_t found = 0;
  target_.records.forEachDocument(key_.selectAny(keys), {}, rewriter_.projection(), [&](ObjectProperties& document) {
    ++found;
    const Record record(kind, document);
    const auto match = result.find(RecordKey::textOf(key_.valuesOf(record, record.id())));
    if (match == result.end()) return true;
    match->second.ids.push_back(record.id());
    match->second.stored = std::move(document);
    return true;
  });
  if (found > manyPerItem * keys.size()) mostItems_ = std::min(largestBatch, manyPerItem * mostItems_);
  return result;
}

void Upserter::flush() {
  if (items_.empty()) return;
  refuseKnownKeys();
  std::optional<database_client::Transaction> transaction;
  DataBaseClient& store = target_.records.store();
  if (store.keepsInsertionOrder() && !target_.isInTransaction && !target_.isDryRun) transaction.emplace(store);
  const ImportResult before = result_;
  try {
    settle();
    if (transaction) transaction->commit();
  } catch (...) {
    if (transaction) result_ = before;
    throw;
  }
  items_.clear();
  size_ = 0;
}

void Upserter::settle() {
  const auto matches = findMatches();
  BatchWriter inserted(target_.records.store(), repository::placeOf(target_.records.kind()), bad_);
  for (Item& item : items_) {
    if (!item.isBad) settleItem(item, matches, inserted);
  }
  inserted.flush();
  result_.imported += static_cast<long long>(inserted.written());
}

void Upserter::settleItem(Item& item, const std::map<std::string, Match>& matches, BatchWriter& inserted) {
  const auto match = matches.find(item.keyText);
  if (match == matches.end() || match->second.ids.empty()) {
    if (target_.isDryRun) return;
    auto document = std::make_unique<ObjectProperties>();
    if (!item.id.empty()) document->setValueId("_id", item.id);
    document->include("/", item.record.document());
    return inserted.add(std::move(document), item.origin, 0);
  }
  const std::vector<std::string>& ids = match->second.ids;
  if (ids.size() > 1)
    return refuse(item, "the key " + key_.shown(item.key) + " is that of " + std::to_string(ids.size()) + " records, " +
                            ids[0] + " and " + ids[1] + (ids.size() > 2 ? " among them" : ""));
  if (onMatch_ == OnMatch::fail)
    return refuse(item, "the key " + key_.shown(item.key) + " is that of the record " + ids[0]);
  if (onMatch_ == OnMatch::skip) {
    ++result_.unchanged;
    return;
  }
  change(item, match->second.stored);
}

void Upserter::change(Item& item, const ObjectProperties& stored) {
  const RecordKind kind = target_.records.kind();
  const auto merge = [&](ObjectProperties& document) {
    if (onMatch_ == OnMatch::update)
      mergeRecord(kind, document, item.record, target_.hasKind);
    else
      replaceRecord(document, item.record);
  };
  try {
    if (target_.isDryRun) {
      ObjectProperties changed(stored);
      return merge(changed);
    }
    switch (rewriter_.rewrite(stored, merge)) {
      case DocumentRewriter::Outcome::changed:
        ++result_.updated;
        return;
      case DocumentRewriter::Outcome::unchanged:
        ++result_.unchanged;
        return;
      case DocumentRewriter::Outcome::gone:
        return refuse(item, "somebody else removed the record meanwhile");
    }
  } catch (const Error& error) {
    const bool isOfTheRow =
        error.kind() == Error::Kind::document || (error.kind() == Error::Kind::server && error.retryable());
    if (!isOfTheRow) throw;
    refuse(item, error.what(), error.where());
  }
}

}  // namespace database_provider::importing
