// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "client/bson/Writer.h"
#include "client/embedded/index/plan/IndexCondition.h"
#include "client/embedded/index/plan/ValueRanges.h"

namespace database_client::embedded::index {

namespace {

using bson::Type;
using bson::Value;
using Comparison = ValueRanges::Comparison;

constexpr std::size_t mostNames = 1000;      // that are looked up one by one
constexpr std::size_t mostRanges = 100'000;  // of values under all names together

bool isOperators(const Value& value) {
  if (!value.isDocument() || value.asDocument().empty()) return false;
  return value.asDocument().begin()->key.substr(0, 1) == "$";
}

std::optional<Comparison> comparisonOf(std::string_view name) {
  if (name == "$eq") return Comparison::equal;
  if (name == "$lt") return Comparison::less;
  if (name == "$lte") return Comparison::lessOrEqual;
  if (name == "$gt") return Comparison::greater;
  if (name == "$gte") return Comparison::greaterOrEqual;
  return std::nullopt;
}

bool isPattern(const bson::Element& element) {
  return element.key == "$regex" || element.key == "$options";
}

std::shared_ptr<const Matcher> matcherOf(std::string_view key, const Value& condition) {
  bson::Writer writer;
  writer.append(key, condition);
  const std::vector<bson::Byte> bytes = writer.take();
  return std::make_shared<const Matcher>(bson::View{bytes.data(), bytes.size()});
}

/// Whether only texts can meet the condition.
bool isTextCondition(const Value& condition) {
  if (condition.type == Type::string || condition.type == Type::regex) return true;
  if (!isOperators(condition)) return false;
  for (const bson::Element& element : condition.asDocument()) {
    const Value& operand = element.value;
    if (element.key == "$in" && operand.isArray()) {
      for (const bson::Element& one : operand.asDocument()) {
        if (one.value.type != Type::string && one.value.type != Type::regex) return false;
      }
    } else if (!isPattern(element) && (!comparisonOf(element.key) || operand.type != Type::string)) {
      return false;
    }
  }
  return true;
}

/// The values that meet one operator, or a whole condition without one.
ValueRanges rangesOfIn(const Value& operand, bool& patterns) {
  std::vector<ValueRanges> choices;
  for (const bson::Element& one : operand.asDocument()) {
    const bool isPattern = one.value.type == Type::regex;
    patterns = patterns || isPattern;
    choices.push_back(isPattern ? ValueRanges::texts() : ValueRanges::ofComparison(Comparison::equal, one.value));
  }
  return ValueRanges::unionOf(choices);
}

ValueRanges rangesOf(const bson::Element& element, bool& patterns) {
  const Value& operand = element.value;
  if (const auto comparison = comparisonOf(element.key)) return ValueRanges::ofComparison(*comparison, operand);
  if (element.key == "$in" && operand.isArray()) return rangesOfIn(operand, patterns);
  if (element.key == "$ne") return ValueRanges::ofComparison(Comparison::equal, operand).complement();
  if (element.key == "$exists" && operand.type == Type::boolean) return ValueRanges::existing(operand.asBool());
  if (element.key == "$nin" && operand.isArray()) {
    bool some = false;
    const ValueRanges in = rangesOfIn(operand, some);
    return some ? ValueRanges::everything(false) : in.complement();
  }
  if (isPattern(element)) {
    patterns = true;
    return ValueRanges::texts();
  }
  return ValueRanges::everything(false);
}

/// A condition on the value of one item.
struct ValueTest {
  ValueRanges ranges = ValueRanges::everything(true);
  bool patterns = false;
};

ValueTest readValueTest(const Value& condition) {
  ValueTest test;
  if (condition.type == Type::regex) {
    test.patterns = true;
    test.ranges = ValueRanges::texts();
  } else if (isOperators(condition)) {
    std::vector<ValueRanges> all;
    for (const bson::Element& element : condition.asDocument()) all.push_back(rangesOf(element, test.patterns));
    test.ranges = ValueRanges::intersectionOf(all);
  } else {
    test.ranges = ValueRanges::ofComparison(Comparison::equal, condition);
  }
  return test;
}

/// The conditions that have to hold together, as far as they are read.
struct Level {
  /// The items of one name under a path.
  using Items = std::pair<PathId, std::string>;
  /// What their values have to be, a condition each.
  struct Values {
    std::string path{};
    std::vector<ValueRanges> conditions{};
  };

  void add(std::string_view path, PathId id, const std::string& name, ValueRanges value) {
    Values& values = named[{id, name}];
    values.path = path;
    values.conditions.push_back(std::move(value));
  }

  Conjunction& all;
  std::map<Items, Values> named{};
};

class Reader {
 public:
  Reader(const ItemPaths& paths, const TermScan& scan) : paths_(paths), scan_(scan) {}

  IndexConditionPtr read(bson::View query) const {
    auto all = std::make_unique<Conjunction>();
    Level level{*all};
    readInto(level, query);
    for (auto& [items, values] : level.named) addParts(*all, items, values);
    if (all->empty()) return nullptr;
    return all;
  }

 private:
  void readInto(Level& level, bson::View query) const {
    for (const bson::Element& condition : query) {
      if (!readCondition(level, condition)) level.all.setIncomplete();
    }
  }

  /// False when the condition is not answered whole.
  bool readCondition(Level& level, const bson::Element& condition) const {
    if (condition.key == "$comment") return true;
    if (condition.key == "$and") return readAnd(level, condition.value);
    if (condition.key == "$or") return add(level.all, readOr(condition.value));
    if (condition.key.substr(0, 1) == "$") return false;
    if (isOfItems(condition.value)) return readItems(level, condition.key, condition.value.asDocument());
    return readField(level.all, condition.key, condition.value);
  }

  /// Whether the condition speaks of whole items.
  static bool isOfItems(const Value& condition) {
    if (!isOperators(condition)) return false;
    const bson::Element first = *condition.asDocument().begin();
    return first.key == "$elemMatch" || (first.key == "$all" && isOfElementMatches(first.value));
  }
  static bool isOfElementMatches(const Value& operands) {
    if (!operands.isArray() || operands.asDocument().empty()) return false;
    const Value first = operands.asDocument().begin()->value;
    return isOperators(first) && first.asDocument().begin()->key == "$elemMatch";
  }

  bool readItems(Level& level, std::string_view path, bson::View operators) const {
    bool whole = true;
    for (const bson::Element& element : operators) {
      if (element.key == "$elemMatch") {
        whole = readElementMatch(level, path, element.value) && whole;
      } else if (element.key == "$all" && isOfElementMatches(element.value)) {
        whole = readAllElementMatches(level, path, element.value.asDocument()) && whole;
      } else {
        whole = false;
      }
    }
    return whole;
  }

  bool readAllElementMatches(Level& level, std::string_view path, bson::View operands) const {
    bool whole = true;
    for (const bson::Element& operand : operands) {
      const bool isAlone = operand.value.isDocument() && operand.value.asDocument().count() == 1;
      whole = isAlone && readElementMatch(level, path, operand.value.asDocument().find("$elemMatch")) && whole;
    }
    return whole;
  }

  static bool add(Conjunction& all, IndexConditionPtr part) {
    if (!part) return false;
    all.add(std::move(part));
    return true;
  }

  bool readAnd(Level& level, const Value& branches) const {
    if (!branches.isArray()) return false;
    for (const bson::Element& branch : branches.asDocument()) {
      if (!branch.value.isDocument()) return false;
      readInto(level, branch.value.asDocument());
    }
    return true;
  }

  IndexConditionPtr readOr(const Value& branches) const {
    if (!branches.isArray()) return nullptr;
    auto any = std::make_unique<Disjunction>();
    for (const bson::Element& branch : branches.asDocument()) {
      if (!branch.value.isDocument()) return nullptr;
      IndexConditionPtr part = read(branch.value.asDocument());
      if (!part) return nullptr;
      any->add(std::move(part));
    }
    return any;
  }

  /// One item has to meet all of `operand`'s conditions.
  bool readElementMatch(Level& level, std::string_view path, const Value& operand) const {
    if (!operand.isDocument()) return false;
    const bson::View conditions = operand.asDocument();
    const Value name = conditions.find("name");
    const Value value = conditions.find("value");
    const bool named = name.data != nullptr && isTextCondition(name);
    const std::size_t answered = (named ? 1U : 0U) + (value.data != nullptr ? 1U : 0U);
    if (answered == 0) return false;
    std::optional<std::vector<std::string>> names;
    ItemPaths::Id id = ItemPaths::root;
    const ItemPaths::State state = paths_.state(path, id);
    if (named && state == ItemPaths::State::tracked) names = namesMeeting(id, name);
    const ValueTest test = value.data != nullptr ? readValueTest(value) : ValueTest();
    if (!named && test.ranges.includeMissing()) return false;
    if (names && names->size() == 1 && answered == 2 && !test.patterns) {
      level.add(path, id, names->front(), test.ranges);
    } else if (!add(level.all, makePart(path, names, named, value, test))) {
      return false;
    }
    return answered == conditions.count();
  }

  /// Whether no document has two items of this name, documents that are not indexable apart.
  bool isUnique(PathId path, std::string_view name) const {
    const KeyRange range = allNamed(path, TermKind::name, name);
    std::int64_t items = 0;
    scan_.eachPart(range.low, range.high, [&](const TermIterator& part) { items += part.term().counts.items(); });
    RecordSet records;
    scan_.collect(range.low, range.high, records);
    return records.count() == static_cast<std::uint64_t>(items);
  }

  bool readField(Conjunction& all, std::string_view field, const Value& condition) const {
    const std::size_t dot = field.rfind('.');
    if (dot == std::string_view::npos || dot == 0) return false;
    const std::string_view path = field.substr(0, dot);
    const std::string_view key = field.substr(dot + 1);
    if (key != "name" && key != "value") return false;
    if (!isOperators(condition)) return readDotted(all, path, key, condition);
    return readDottedOperators(all, path, key, condition.asDocument());
  }

  /// Different items may meet each operator, so each is a condition of its own; a pattern and its options are one.
  bool readDottedOperators(Conjunction& all, std::string_view path, std::string_view key, bson::View operators) const {
    bool whole = true;
    bson::Writer pattern;
    bool patterns = false;
    for (const bson::Element& element : operators) {
      if (isPattern(element)) {
        pattern.append(element.key, element.value);
        patterns = true;
        continue;
      }
      if (element.key == "$all") {
        whole = readDottedAll(all, path, key, element.value) && whole;
        continue;
      }
      bson::Writer single;
      single.append(element.key, element.value);
      whole = readDottedOperator(all, path, key, element, single) && whole;
    }
    if (!patterns) return whole;
    const std::vector<bson::Byte> bytes = pattern.take();
    return readDotted(all, path, key, {Type::document, bytes.data(), bytes.size()}) && whole;
  }

  /// Some item each has to be equal to each operand.
  bool readDottedAll(Conjunction& all, std::string_view path, std::string_view key, const Value& operands) const {
    if (!operands.isArray() || operands.asDocument().empty()) return false;
    bool whole = true;
    for (const bson::Element& operand : operands.asDocument()) {
      const bool isPlain = !operand.value.isArray() && !operand.value.isDocument();
      whole = isPlain && readDotted(all, path, key, operand.value) && whole;
    }
    return whole;
  }

  bool readDottedOperator(Conjunction& all, std::string_view path, std::string_view key, const bson::Element& element,
                          bson::Writer& single) const {
    const bool positive = comparisonOf(element.key) || element.key == "$in" || element.key == "$exists";
    if (!positive) return false;
    const std::vector<bson::Byte> bytes = single.take();
    return readDotted(all, path, key, {Type::document, bytes.data(), bytes.size()});
  }

  /// Some item has to meet the condition.
  bool readDotted(Conjunction& all, std::string_view path, std::string_view key, const Value& condition) const {
    if (key == "name") {
      if (!isTextCondition(condition)) return false;
      ItemPaths::Id id = ItemPaths::root;
      std::optional<std::vector<std::string>> names;
      if (paths_.state(path, id) == ItemPaths::State::tracked) names = namesMeeting(id, condition);
      return add(all, makePart(path, names, true, {}, ValueTest()));
    }
    const ValueTest test = readValueTest(condition);
    if (test.ranges.includeMissing()) return false;
    return add(all, makePart(path, std::nullopt, false, condition, test));
  }

  /// The names of regular items that meet a condition.
  std::vector<std::string> namesMeeting(PathId path, const Value& condition) const {
    if (condition.type == Type::string) {
      if (condition.asString().size() > longestName) return {};
      return {std::string(condition.asString())};
    }
    const auto matcher = matcherOf("n", condition);
    std::vector<std::string> names;
    TextProbe probe;
    for (std::string& name : namesUnder(scan_, path)) {
      scan_.checkWanted();
      if (probe.accepts(*matcher, "n", name)) names.push_back(std::move(name));
    }
    return names;
  }

  /// Where no document has two items of the name, one item has to meet all conditions.
  void addParts(Conjunction& all, const Level::Items& items, Level::Values& values) const {
    const auto& [id, name] = items;
    if (values.conditions.size() > 1 && isUnique(id, name))
      values.conditions = {ValueRanges::intersectionOf(values.conditions)};
    for (const ValueRanges& condition : values.conditions) {
      auto part = std::make_unique<ItemCondition>(scan_, values.path);
      addItems(*part, id, name, condition);
      addNonIndexable(*part, id);
      all.add(std::move(part));
    }
  }

  /// Null when the index does not know the path, or would have to look up too much.
  IndexConditionPtr makePart(std::string_view path, const std::optional<std::vector<std::string>>& names, bool named,
                             const Value& value, const ValueTest& test) const {
    ItemPaths::Id id = ItemPaths::root;
    const ItemPaths::State state = paths_.state(path, id);
    if (state == ItemPaths::State::unknown) return nullptr;
    auto part = std::make_unique<ItemCondition>(scan_, std::string(path));
    if (state == ItemPaths::State::absent) return part;
    if (test.patterns) part->setTextFilter(matcherOf("v", value));
    const std::vector<std::string> looked = names ? *names : namesUnder(scan_, id);
    if (looked.size() > mostNames || looked.size() * test.ranges.ranges().size() > mostRanges) return nullptr;
    for (const std::string& name : looked) {
      if (named && value.data == nullptr) {
        addNames(*part, id, name, true);
      } else {
        addItems(*part, id, name, test.ranges);
      }
    }
    if (!named) addValues(*part, KeyBuilder().start(id, TermKind::value).noName().key(), test.ranges);
    addNonIndexable(*part, id);
    return part;
  }

  static void addNonIndexable(ItemCondition& part, PathId path) {
    const KeyRange nonIndexable = allOf(path, TermKind::nonIndexable);
    part.addTerms(nonIndexable.low, nonIndexable.high, false);
  }

  static void addItems(ItemCondition& part, PathId path, std::string_view name, const ValueRanges& values) {
    if (values.mayBeAnything()) return addNames(part, path, name, false);
    addValues(part, KeyBuilder().start(path, TermKind::value).name(name).key(), values);
  }

  static void addNames(ItemCondition& part, PathId path, std::string_view name, bool sure) {
    KeyRange range = allNamed(path, TermKind::name, name);
    part.addTerms(std::move(range.low), std::move(range.high), sure);
  }

  static void addValues(ItemCondition& part, const std::string& prefix, const ValueRanges& values) {
    for (const ValueRanges::Range& range : values.ranges()) {
      part.addTerms(prefix + range.low, prefix + range.high, range.sure);
    }
  }

  const ItemPaths& paths_;
  const TermScan& scan_;
};

}  // namespace

IndexConditionPtr buildIndexConditions(bson::View query, const ItemPaths& paths, const TermScan& scan) {
  return Reader(paths, scan).read(query);
}

}  // namespace database_client::embedded::index
