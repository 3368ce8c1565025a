// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/buildIndexConditions.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "client/embedded/index/plan/ValueRanges.h"
#include "client/embedded/query/match/Matcher.h"

namespace database_client::embedded::index {

namespace {

using bson::Type;

constexpr std::size_t mostNames = 1000;      // that are looked up one by one
constexpr std::size_t mostRanges = 100'000;  // of values under all names together

/// The values that meet a condition on the value of one item.
struct AcceptedValues {
  ValueRanges ranges = ValueRanges::everything(true);
  bool hasPatterns = false;  ///< the ranges hold all texts, of which those count that the condition accepts
};

AcceptedValues acceptedBy(const Condition& condition);

struct AcceptedByTest {
  AcceptedValues operator()(const CompareTest& test) const {
    return {ValueRanges::ofComparison(test.comparison, test.operand.value()), false};
  }
  AcceptedValues operator()(const InTest& test) const {
    std::vector<ValueRanges> choices;
    for (const OwnedValue& value : test.values) {
      choices.push_back(ValueRanges::ofComparison(Comparison::equal, value.value()));
    }
    if (!test.patterns.empty()) choices.push_back(ValueRanges::texts());
    return {ValueRanges::unionOf(choices), !test.patterns.empty()};
  }
  AcceptedValues operator()(const PatternTest& /*test*/) const { return {ValueRanges::texts(), true}; }
  AcceptedValues operator()(const ExistsTest& /*test*/) const { return {ValueRanges::existing(), false}; }
  // Of these the ranges of values say nothing: types share a class, and arrays are looked up in the document.
  AcceptedValues operator()(const TypeTest& /*test*/) const { return unknown(); }
  AcceptedValues operator()(const SizeTest& /*test*/) const { return unknown(); }
  AcceptedValues operator()(const ModuloTest& /*test*/) const { return unknown(); }
  AcceptedValues operator()(const ElementQueryTest& /*test*/) const { return unknown(); }
  AcceptedValues operator()(const ElementValueTest& /*test*/) const { return unknown(); }

  static AcceptedValues unknown() { return {ValueRanges::everything(false), false}; }
};

AcceptedValues acceptedBy(const Condition& condition) {
  if (condition.kind == Condition::Kind::test) return std::visit(AcceptedByTest(), condition.test);
  if (condition.kind == Condition::Kind::negation) {
    const AcceptedValues refused = acceptedBy(condition.parts.front());
    // Which texts a pattern leaves over the ranges do not tell.
    return refused.hasPatterns ? AcceptedByTest::unknown() : AcceptedValues{refused.ranges.complement(), false};
  }
  if (condition.parts.empty()) return {ValueRanges::nothing(), false};
  AcceptedValues accepted;
  std::vector<ValueRanges> all;
  for (const Condition& part : condition.parts) {
    AcceptedValues one = acceptedBy(part);
    accepted.hasPatterns = accepted.hasPatterns || one.hasPatterns;
    all.push_back(std::move(one.ranges));
  }
  accepted.ranges = ValueRanges::intersectionOf(all);
  return accepted;
}

/// Whether only texts can meet the condition.
bool acceptsOnlyTexts(const Condition& condition) {
  if (condition.kind == Condition::Kind::negation) return false;
  if (condition.kind != Condition::Kind::test) {
    return std::all_of(condition.parts.begin(), condition.parts.end(), acceptsOnlyTexts);
  }
  if (std::holds_alternative<PatternTest>(condition.test)) return true;
  const auto isString = [](const OwnedValue& operand) { return operand.value().type == Type::string; };
  if (const auto* compare = std::get_if<CompareTest>(&condition.test)) return isString(compare->operand);
  const auto* in = std::get_if<InTest>(&condition.test);
  return in != nullptr && std::all_of(in->values.begin(), in->values.end(), isString);
}

/// The one text that a condition accepts; null for any other condition.
const OwnedValue* onlyTextOf(const Condition& condition) {
  if (condition.kind != Condition::Kind::test) return nullptr;
  const auto* compare = std::get_if<CompareTest>(&condition.test);
  const bool isOne = compare != nullptr && compare->comparison == Comparison::equal;
  return isOne && compare->operand.value().type == Type::string ? &compare->operand : nullptr;
}

void addNonIndexable(ItemCondition& condition, PathId path) {
  const KeyRange nonIndexable = allOf(path, TermKind::nonIndexable);
  condition.addTerms(nonIndexable.low, nonIndexable.high, false);
}

void addNames(ItemCondition& condition, PathId path, std::string_view name, bool sure) {
  KeyRange range = allNamed(path, TermKind::name, name);
  condition.addTerms(std::move(range.low), std::move(range.high), sure);
}

void addNamedValues(ItemCondition& condition, PathId path, std::string_view name, const ValueRanges& values) {
  // The terms of names are fewer than those of values, and say as much.
  if (values.mayBeAnything()) return addNames(condition, path, name, false);
  const std::string prefix = KeyBuilder().start(path, TermKind::value).name(name).key();
  for (const ValueRanges::Range& range : values.ranges()) {
    condition.addNamedTerms(path, name, prefix + range.low, prefix + range.high, range.sure);
  }
}

/// Makes index conditions of a query's conjunction; a branch of an $or is one of its own.
///
/// What it passes over, or uses only in part, leaves the conjunction incomplete, so that the matcher looks at every
/// record that the index gives (`leaveToMatcher`). So a condition that is not understood here costs time and never a
/// right answer.
class ConjunctionBuilder {
 public:
  ConjunctionBuilder(const ItemPaths& paths, const TermScan& scan) : paths_(paths), scan_(scan) {}

  IndexConditionPtr build(const Query& query) {
    addQuery(query);
    addNamedItems();
    return conjunction_->empty() ? nullptr : std::move(conjunction_);
  }

 private:
  void leaveToMatcher() { conjunction_->setIncomplete(); }

  void addQuery(const Query& query) {
    switch (query.kind) {
      case Query::Kind::all:
        for (const Query& part : query.parts) addQuery(part);
        return;
      case Query::Kind::any:
        return addDisjunction(query.parts);
      case Query::Kind::none:
        return leaveToMatcher();
      case Query::Kind::field:
        return addField(query.path.text(), query.condition);
    }
  }

  /// One branch that the index is of no use for could match any record, and so makes the others useless.
  void addDisjunction(const std::vector<Query>& branches) {
    auto any = std::make_unique<Disjunction>();
    for (const Query& branch : branches) {
      IndexConditionPtr one = ConjunctionBuilder(paths_, scan_).build(branch);
      if (!one) return leaveToMatcher();
      any->add(std::move(one));
    }
    conjunction_->add(std::move(any));
  }

  /// Different items may meet each part of a condition on a path, so each is an index condition of its own.
  void addField(const std::string& path, const Condition& condition) {
    // Of a negation the index would have to know that no item meets it; it knows that some item does not.
    if (condition.kind == Condition::Kind::negation) return leaveToMatcher();
    if (condition.kind != Condition::Kind::test) {
      if (condition.parts.empty()) leaveToMatcher();
      for (const Condition& part : condition.parts) addField(path, part);
      return;
    }
    if (const auto* test = std::get_if<ElementQueryTest>(&condition.test)) return addElementMatch(path, *test->query);
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || dot == 0) return leaveToMatcher();
    const std::string key = path.substr(dot + 1);
    if (key == "value") return addItems(path.substr(0, dot), nullptr, &condition);
    if (key == "name" && acceptsOnlyTexts(condition)) return addItems(path.substr(0, dot), &condition, nullptr);
    leaveToMatcher();
  }

  /// One item has to meet all that `element` asks. Used are a condition on its name and one on its value; anything
  /// else is left to the matcher, and without either the whole is.
  void addElementMatch(const std::string& path, const Query& element) {
    const Condition* name = nullptr;
    const Condition* value = nullptr;
    const auto use = [&](const Query& part) {
      if (part.kind != Query::Kind::field) return leaveToMatcher();
      const std::string key = part.path.text();
      if (key == "name" && name == nullptr && acceptsOnlyTexts(part.condition)) {
        name = &part.condition;
      } else if (key == "value" && value == nullptr) {
        value = &part.condition;
      } else {
        leaveToMatcher();
      }
    };
    if (element.kind == Query::Kind::all) {
      for (const Query& part : element.parts) use(part);
    } else {
      use(element);
    }
    if (name == nullptr && value == nullptr) return leaveToMatcher();
    addItems(path, name, value);
  }

  /// Some item under the path has to meet both conditions, each of which may be absent. Only texts meet `name`.
  void addItems(const std::string& path, const Condition* name, const Condition* value) {
    const AcceptedValues accepted = value != nullptr ? acceptedBy(*value) : AcceptedValues();
    // A document with neither name nor value is no item and has no term, but would meet a condition that a missing
    // value meets.
    if (name == nullptr && accepted.ranges.includeMissing()) return leaveToMatcher();
    ItemPaths::Id id = ItemPaths::root;
    const ItemPaths::State state = paths_.state(path, id);
    if (state == ItemPaths::State::unknown) return leaveToMatcher();
    auto condition = std::make_unique<ItemCondition>(scan_, path);
    // No document has items under an absent path, so nothing meets the condition.
    if (state == ItemPaths::State::absent) return conjunction_->add(std::move(condition));
    const std::vector<std::string> names = name != nullptr ? namesMeeting(id, *name) : namesUnder(scan_, id);
    if (name != nullptr && value != nullptr && names.size() == 1 && !accepted.hasPatterns) {
      NamedItems& items = named_[std::pair(id, names.front())];
      items.path = path;
      items.values.push_back(accepted.ranges);
      return;
    }
    if (names.size() > mostNames || names.size() * accepted.ranges.ranges().size() > mostRanges) {
      return leaveToMatcher();
    }
    if (accepted.hasPatterns) condition->setTextFilter(*value);
    for (const std::string& one : names) {
      value == nullptr ? addNames(*condition, id, one, true) : addNamedValues(*condition, id, one, accepted.ranges);
    }
    if (name == nullptr) {
      const std::string prefix = KeyBuilder().start(id, TermKind::value).noName().key();
      for (const ValueRanges::Range& range : accepted.ranges.ranges()) {
        condition->addTerms(prefix + range.low, prefix + range.high, range.sure);
      }
    }
    addNonIndexable(*condition, id);
    conjunction_->add(std::move(condition));
  }

  /// The names of indexable items that meet a condition.
  std::vector<std::string> namesMeeting(PathId path, const Condition& condition) const {
    if (const OwnedValue* only = onlyTextOf(condition)) {
      // An item of a longer name is not indexable.
      if (only->value().asString().size() > longestName) return {};
      return {std::string(only->value().asString())};
    }
    std::vector<std::string> names;
    TextProbe probe;
    for (std::string& name : namesUnder(scan_, path)) {
      scan_.checkWanted();
      if (probe.accepts(condition, name)) names.push_back(std::move(name));
    }
    return names;
  }

  /// A lower and an upper bound in two conditions on one name select far more terms each than both together. They may
  /// be intersected where no document has two items of the name, so that the one item has to meet both.
  void addNamedItems() {
    for (auto& [key, items] : named_) {
      const auto& [id, name] = key;
      if (items.values.size() > 1 && isUnique(scan_, id, name))
        items.values = {ValueRanges::intersectionOf(items.values)};
      for (const ValueRanges& values : items.values) {
        auto condition = std::make_unique<ItemCondition>(scan_, items.path);
        addNamedValues(*condition, id, name, values);
        addNonIndexable(*condition, id);
        conjunction_->add(std::move(condition));
      }
    }
  }

  /// What the values of the items of one name under a path have to be, a condition each.
  struct NamedItems {
    std::string path{};
    std::vector<ValueRanges> values{};
  };

  const ItemPaths& paths_;
  const TermScan& scan_;
  std::unique_ptr<Conjunction> conjunction_ = std::make_unique<Conjunction>();
  std::map<std::pair<PathId, std::string>, NamedItems> named_;
};

}  // namespace

IndexConditionPtr buildIndexConditions(const Query& query, const ItemPaths& paths, const TermScan& scan) {
  return ConjunctionBuilder(paths, scan).build(query);
}

}  // namespace database_client::embedded::index
