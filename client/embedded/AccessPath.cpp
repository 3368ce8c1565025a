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

using bson::Type;
using bson::Value;
using bson::View;

namespace {

class Scan : public AccessPath {
 public:
  Scan(Collection& collection, RecordNumber after, bool recheck)
      : collection_(collection), rows_(collection, after), recheck_(recheck) {}
  bool next() override { return rows_.next(); }
  RecordNumber rid() const override { return rows_.rid(); }
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
  ScanBeyondDamage(Collection& collection, RecordNumber after, bool recheck)
      : rows_(collection, after), recheck_(recheck) {}
  bool next() override { return rows_.next(); }
  RecordNumber rid() const override { return rows_.rid(); }
  bool recheck() const override { return recheck_; }
  View body() override { return rows_.body(); }
  std::string idKey() override { return rows_.idKey(); }

 private:
  SalvageScan rows_;
  bool recheck_;
};

/// All documents, in the order of their ids.
class InIdOrder : public AccessPath {
 public:
  InIdOrder(Collection& collection, const IdOrder& order) : ids_(collection, order) { index_ = "_id"; }
  bool next() override { return ids_.next(); }
  RecordNumber rid() const override { return ids_.rid(); }
  bool recheck() const override { return false; }
  View body() override { return ids_.body(); }
  std::string idKey() override { return ids_.key(); }
  std::string_view coveredId() override { return ids_.key(); }

 private:
  IdScan ids_;
};

/// The document with one id.
class ById : public AccessPath {
 public:
  ById(Collection& collection, const Value& id, RecordNumber after, bool recheck)
      : row_(collection, id), after_(after), recheck_(recheck) {
    index_ = "_id";
  }
  bool next() override { return !std::exchange(asked_, true) && row_.find() && row_.rid() > after_; }
  RecordNumber rid() const override { return row_.rid(); }
  bool recheck() const override { return recheck_; }
  View body() override { return row_.body(); }
  std::string idKey() override { return row_.key(); }

 private:
  RowById row_;
  RecordNumber after_;
  bool asked_ = false;
  bool recheck_;
};

/// The documents with certain ids.
class ByIds : public AccessPath {
 public:
  ByIds(Collection& collection, const std::vector<Value>& ids, RecordNumber after, bool recheck)
      : collection_(collection), reader_(collection), recheck_(recheck) {
    index_ = "_id";
    for (const Value& id : ids) {
      const auto rid = collection.ridOf(id);
      if (rid && *rid > after) rids_.push_back(*rid);
    }
    std::sort(rids_.begin(), rids_.end());
    rids_.erase(std::unique(rids_.begin(), rids_.end()), rids_.end());
  }
  bool next() override { return ++at_ < rids_.size() + 1; }
  RecordNumber rid() const override { return rids_[at_ - 1]; }
  bool recheck() const override { return recheck_; }
  View body() override { return reader_.require(rid()); }
  std::string idKey() override { return collection_.idKeyOf(rid()); }

 private:
  Collection& collection_;
  RowReader reader_;
  std::vector<RecordNumber> rids_{};
  std::size_t at_ = 0;
  bool recheck_;
};

class ByItems : public AccessPath {
 public:
  ByItems(Collection& collection, Plan plan, RecordNumber after)
      : collection_(collection),
        reader_(collection),
        ids_(collection),
        plan_(std::move(plan)),
        candidate_{after, false} {
    index_ = plan_.description;
  }
  bool next() override {
    const auto found = plan_.next(candidate_.rid);
    if (found) candidate_ = *found;
    return found.has_value();
  }
  RecordNumber rid() const override { return candidate_.rid; }
  bool recheck() const override { return candidate_.recheck; }
  View body() override { return reader_.require(rid()); }
  std::string idKey() override { return collection_.idKeyOf(rid()); }
  std::string_view coveredId() override { return ids_.require(rid()); }

 private:
  Collection& collection_;
  RowReader reader_;
  IdReader ids_;
  Plan plan_;
  Plan::Candidate candidate_;
};

/// Whether equality with the value means the same key: patterns match texts, undefined matches nothing, and an array
/// matches documents too whose "_id" holds it.
bool isKey(const Value& value) {
  return value.type != Type::regex && value.type != Type::undefined && !value.isArray();
}

/// The ids that a condition on "_id" admits, where it names them.
std::optional<std::vector<Value>> idsOf(const Condition& condition) {
  if (condition.kind == Condition::Kind::conjunction) {
    for (const Condition& part : condition.parts) {
      if (auto ids = idsOf(part)) return ids;
    }
  }
  if (condition.kind != Condition::Kind::test) return std::nullopt;
  std::vector<Value> ids;
  if (const auto* compare = std::get_if<CompareTest>(&condition.test)) {
    if (compare->comparison != Comparison::equal) return std::nullopt;
    ids.push_back(compare->operand.value());
  } else if (const auto* in = std::get_if<InTest>(&condition.test)) {
    if (!in->patterns.empty()) return std::nullopt;
    for (const OwnedValue& value : in->values) ids.push_back(value.value());
  } else {
    return std::nullopt;
  }
  return std::all_of(ids.begin(), ids.end(), isKey) ? std::optional(std::move(ids)) : std::nullopt;
}

/// As above for a whole query: a condition on "_id", on its own or beside others.
std::optional<std::vector<Value>> idsOf(const Query& query) {
  if (query.kind == Query::Kind::field && query.path.size() == 1 && query.path[0].name == "_id") {
    return idsOf(query.condition);
  }
  if (query.kind != Query::Kind::all) return std::nullopt;
  for (const Query& part : query.parts) {
    if (auto ids = idsOf(part)) return ids;
  }
  return std::nullopt;
}

/// The way by an index; null where a scan is as good.
std::unique_ptr<AccessPath> findIndex(Collection& collection, const Filter& filter, const PathHints& hints) {
  if (hints.order) return std::make_unique<InIdOrder>(collection, *hints.order);
  if (filter.namesOneId()) return std::make_unique<ById>(collection, filter.id(), hints.after, false);
  const Query& query = filter.matcher().query();
  if (const auto ids = idsOf(query)) {
    // One test on "_id", {$in: […]} or {$eq: …}, is answered whole by the look-up.
    const bool recheck = query.kind != Query::Kind::field || query.condition.kind != Condition::Kind::test;
    if (ids->size() == 1) return std::make_unique<ById>(collection, ids->front(), hints.after, recheck);
    return std::make_unique<ByIds>(collection, *ids, hints.after, recheck);
  }
  if (filter.matcher().matchesEverything() || collection.index() == nullptr) return nullptr;
  Plan found = plan(*collection.index(), query, {collection.estimate(), hints.matches, hints.documentsAreRead});
  return found.usesIndex ? std::make_unique<ByItems>(collection, std::move(found), hints.after) : nullptr;
}

/// {_id: value}, by its bytes alone: the query is one element, which ends where the document does.
bool isOneId(View query) {
  if (query.empty()) return false;
  const auto first = query.begin();
  const bool isAlone = first->start + first->size() == query.data + query.size - 1;
  return isAlone && first->key == "_id" && isKey(first->value) && !isOperatorDocument(first->value);
}

}  // namespace

Filter::Filter(View query, const Matcher* parsed) : query_(query), namesOneId_(isOneId(query)), matcher_(parsed) {}

const Matcher& Filter::matcher() const {
  if (matcher_ == nullptr) {
    own_ = std::make_unique<const Matcher>(query_);
    matcher_ = own_.get();
  }
  return *matcher_;
}

std::unique_ptr<AccessPath> chooseAccessPath(Collection& collection, const Filter& filter, const PathHints& hints) {
  try {
    if (auto path = findIndex(collection, filter, hints)) return path;
  } catch (const DamageError&) {
    // Of an index, which a scan does without.
    if (!hints.passesOverDamage) throw;
  }
  const bool recheck = !filter.matcher().matchesEverything();
  if (hints.passesOverDamage) return std::make_unique<ScanBeyondDamage>(collection, hints.after, recheck);
  return std::make_unique<Scan>(collection, hints.after, recheck);
}

}  // namespace database_client::embedded
