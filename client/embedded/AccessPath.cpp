// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/AccessPath.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "client/DamageError.h"
#include "client/embedded/index/plan/Planner.h"
#include "client/embedded/storage/salvage.h"

namespace database_client::embedded {

using bson::Element;
using bson::Type;
using bson::Value;
using bson::View;

namespace {

class Scan : public AccessPath {
 public:
  Scan(Collection& collection, bool everything) : collection_(collection), rows_(collection), recheck_(!everything) {}
  bool next() override { return rows_.next(); }
  std::int64_t rid() const override { return rows_.rid(); }
  bool recheck() const override { return recheck_; }
  View body() override { return rows_.body(); }
  std::string idKey() override { return collection_.idKeyOf(rid()); }

 private:
  Collection& collection_;
  RowScan rows_;
  bool recheck_;
};

class ScanBeyondDamage : public AccessPath {
 public:
  ScanBeyondDamage(Collection& collection, bool everything) : rows_(collection), recheck_(!everything) {}
  bool next() override { return rows_.next(); }
  std::int64_t rid() const override { return rows_.rid(); }
  bool recheck() const override { return recheck_; }
  View body() override { return rows_.body(); }
  std::string idKey() override { return rows_.idKey(); }

 private:
  SalvageScan rows_;
  bool recheck_;
};

std::unique_ptr<AccessPath> scan(Collection& collection, const PathHints& wanted) {
  if (wanted.goesOn) return std::make_unique<ScanBeyondDamage>(collection, wanted.everything);
  return std::make_unique<Scan>(collection, wanted.everything);
}

/// The document with one id.
class ById : public AccessPath {
 public:
  ById(Collection& collection, const Value& id, bool recheck) : row_(collection, id), recheck_(recheck) {
    index_ = "_id";
  }
  bool next() override { return !std::exchange(asked_, true) && row_.find(); }
  std::int64_t rid() const override { return row_.rid(); }
  bool recheck() const override { return recheck_; }
  View body() override { return row_.body(); }
  std::string idKey() override { return row_.key(); }

 private:
  RowById row_;
  bool asked_ = false;
  bool recheck_;
};

/// The documents with certain ids.
class ByIds : public AccessPath {
 public:
  ByIds(Collection& collection, const std::vector<Value>& ids, bool recheck)
      : collection_(collection), reader_(collection), recheck_(recheck) {
    index_ = "_id";
    for (const Value& id : ids) {
      if (const auto rid = collection.ridOf(id)) rids_.push_back(*rid);
    }
    std::sort(rids_.begin(), rids_.end());
    rids_.erase(std::unique(rids_.begin(), rids_.end()), rids_.end());
  }
  bool next() override { return ++at_ < rids_.size() + 1; }
  std::int64_t rid() const override { return rids_[at_ - 1]; }
  bool recheck() const override { return recheck_; }
  View body() override { return reader_.require(rid()); }
  std::string idKey() override { return collection_.idKeyOf(rid()); }

 private:
  Collection& collection_;
  RowReader reader_;
  std::vector<std::int64_t> rids_{};
  std::size_t at_ = 0;
  bool recheck_;
};

class ByItems : public AccessPath {
 public:
  ByItems(Collection& collection, Plan plan) : collection_(collection), reader_(collection), plan_(std::move(plan)) {
    index_ = plan_.description;
  }
  bool next() override {
    const auto found = plan_.next(candidate_.rid);
    if (found) candidate_ = *found;
    return found.has_value();
  }
  std::int64_t rid() const override { return candidate_.rid; }
  bool recheck() const override { return candidate_.recheck; }
  View body() override { return reader_.require(candidate_.rid); }
  std::string idKey() override { return collection_.idKeyOf(candidate_.rid); }

 private:
  Collection& collection_;
  RowReader reader_;
  Plan plan_;
  Plan::Candidate candidate_{0, false};
};

bool isOperators(const Value& value) {
  if (!value.isDocument() || value.asDocument().empty()) return false;
  const std::string_view key = value.asDocument().begin()->key;
  return !key.empty() && key.front() == '$';
}

/// Whether equality with the value means the same key: patterns match texts, undefined matches nothing.
bool isKey(const Value& value) {
  return value.type != Type::regex && value.type != Type::undefined && !value.isArray();
}

/// The ids that `{_id: condition}` admits, where it names them.
std::optional<std::vector<Value>> idsOf(const Value& condition) {
  if (!isOperators(condition)) return isKey(condition) ? std::optional(std::vector{condition}) : std::nullopt;
  for (const Element& element : condition.asDocument()) {
    if (element.key == "$eq" && isKey(element.value)) return std::vector{element.value};
    if (element.key != "$in" || !element.value.isArray()) continue;
    std::vector<Value> ids;
    for (const Element& choice : element.value.asDocument()) ids.push_back(choice.value);
    if (std::all_of(ids.begin(), ids.end(), isKey)) return ids;
  }
  return std::nullopt;
}

/// As above for a whole query: a condition on "_id", on its own or in an $and.
std::optional<std::vector<Value>> idsOf(View query) {
  for (const Element& element : query) {
    if (element.key == "_id") {
      if (auto ids = idsOf(element.value)) return ids;
    }
    if (element.key != "$and" || !element.value.isArray()) continue;
    for (const Element& part : element.value.asDocument()) {
      if (!part.value.isDocument()) continue;
      if (auto ids = idsOf(part.value.asDocument())) return ids;
    }
  }
  return std::nullopt;
}

/// Whether the query is {_id: {$in: […]}} or {_id: {$eq: …}}, which a look-up answers as well.
bool namesOnlyIds(View query) {
  if (query.count() != 1 || query.begin()->key != "_id" || !query.begin()->value.isDocument()) return false;
  const View condition = query.begin()->value.asDocument();
  if (condition.count() != 1) return false;
  return condition.begin()->key == "$in" || condition.begin()->key == "$eq";
}

std::unique_ptr<AccessPath> planUnlessDamaged(Collection& collection, View query, const PathHints& wanted) {
  if (namesOneId(query)) return std::make_unique<ById>(collection, query.begin()->value, false);
  if (const auto ids = idsOf(query)) {
    if (ids->size() == 1) return std::make_unique<ById>(collection, ids->front(), !namesOnlyIds(query));
    return std::make_unique<ByIds>(collection, *ids, !namesOnlyIds(query));
  }
  if (wanted.usesIndex && collection.index() != nullptr) {
    PlannerHints request;
    request.documents = collection.estimate();
    request.wanted = wanted.matches;
    request.documentsAreRead = wanted.documentsAreRead;
    Plan found = plan(*collection.index(), query, request);
    if (found.usesIndex) return std::make_unique<ByItems>(collection, std::move(found));
  }
  return scan(collection, wanted);
}

}  // namespace

bool namesOneId(View query) {
  if (query.empty()) return false;
  const auto first = query.begin();
  const bool isAlone = first->start + first->size() == query.data + query.size - 1;
  return isAlone && first->key == "_id" && isKey(first->value) && !isOperators(first->value);
}

std::unique_ptr<AccessPath> chooseAccessPath(Collection& collection, View query, const PathHints& wanted) {
  if (wanted.everything) return scan(collection, wanted);
  try {
    return planUnlessDamaged(collection, query, wanted);
  } catch (const DamageError&) {
    // Of an index, which a scan does without.
    if (!wanted.goesOn) throw;
    return scan(collection, wanted);
  }
}

}  // namespace database_client::embedded
