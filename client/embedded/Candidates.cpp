#include "client/embedded/Candidates.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "client/embedded/index/Planner.h"

namespace database_client::embedded {

using bson::Element;
using bson::Type;
using bson::Value;
using bson::View;

namespace {

class Scan : public Candidates {
 public:
  Scan(Collection& collection, bool everything) : rows_(collection), recheck_(!everything) {}
  bool next() override { return rows_.next(); }
  std::int64_t rid() const override { return rows_.rid(); }
  bool recheck() const override { return recheck_; }
  View body() override { return rows_.body(); }

 private:
  RowScan rows_;
  bool recheck_;
};

/// The document with one id.
class ById : public Candidates {
 public:
  ById(Collection& collection, const Value& id, bool recheck) : row_(collection, id), recheck_(recheck) {
    index_ = "_id";
  }
  bool next() override { return !std::exchange(asked_, true) && row_.find(); }
  std::int64_t rid() const override { return row_.rid(); }
  bool recheck() const override { return recheck_; }
  View body() override { return row_.body(); }

 private:
  RowById row_;
  bool asked_ = false;
  bool recheck_;
};

/// The documents with certain ids.
class ByIds : public Candidates {
 public:
  ByIds(Collection& collection, const std::vector<Value>& ids, bool recheck) : reader_(collection), recheck_(recheck) {
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

 private:
  RowReader reader_;
  std::vector<std::int64_t> rids_{};
  std::size_t at_ = 0;
  bool recheck_;
};

class ByItems : public Candidates {
 public:
  ByItems(Collection& collection, Plan plan) : reader_(collection), plan_(std::move(plan)) {
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

 private:
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

}  // namespace

bool namesOneId(View query) {
  if (query.empty()) return false;
  const auto first = query.begin();
  const bool isAlone = first->start + first->size() == query.data + query.size - 1;
  return isAlone && first->key == "_id" && isKey(first->value) && !isOperators(first->value);
}

std::unique_ptr<Candidates> planCandidates(Collection& collection, View query, const Wanted& wanted) {
  if (wanted.everything) return std::make_unique<Scan>(collection, true);
  if (namesOneId(query)) return std::make_unique<ById>(collection, query.begin()->value, false);
  if (const auto ids = idsOf(query)) {
    if (ids->size() == 1) return std::make_unique<ById>(collection, ids->front(), true);
    return std::make_unique<ByIds>(collection, *ids, true);
  }
  if (wanted.usesIndex && collection.index() != nullptr) {
    PlanRequest request;
    request.documents = collection.estimate();
    request.wanted = wanted.matches;
    request.documentsAreRead = wanted.documentsAreRead;
    Plan found = plan(*collection.index(), query, request);
    if (found.usesIndex) return std::make_unique<ByItems>(collection, std::move(found));
  }
  return std::make_unique<Scan>(collection, false);
}

}  // namespace database_client::embedded
