// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/pipeline/Group.h"

#include <deque>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "client/bson/Writer.h"
#include "client/embedded/query/expression/Expression.h"
#include "client/embedded/query/pipeline/Accumulator.h"
#include "client/embedded/query/values/OwnedValue.h"
#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Element;
using bson::Value;
using bson::View;
using bson::Writer;

namespace {

/// What a group costs besides its values: the objects that keep it.
constexpr std::size_t groupOverhead = 200;
constexpr std::size_t accumulatorOverhead = 150;

struct AccumulatedField {
  std::string name;
  AccumulatorMaker maker;
  ExpressionPtr expression;
};

struct GroupSpecification {
  ExpressionPtr id;
  std::vector<AccumulatedField> fields;
};

/// Holds all groups until the end. A group is found by the canonical key of its id, which is the same for values that
/// are equal (1 and 1.0); its "_id" is the value that came first. The groups come out in the order in which they were
/// first seen.
class GroupRun : public StageRun {
 public:
  GroupRun(const GroupSpecification& specification, StageRun& next, const RunLimits& limits)
      : specification_(specification), next_(next), limits_(limits) {}

  bool take(View document) override {
    Group& group = groupOf(specification_.id->evaluate(document, scratch_));
    for (std::size_t i = 0; i < specification_.fields.size(); ++i) {
      const Value value = specification_.fields[i].expression->evaluate(document, scratch_);
      memory_ += group.accumulators[i]->add(value);
    }
    scratch_.clear();  // What the expressions made is in the accumulators by now.
    if (memory_ > limits_.memory) refuseMemory("$group", limits_);
    return true;
  }

  void end() override {
    for (Group& group : groups_) {
      if (!emit(group)) break;
    }
    next_.end();
  }

 private:
  struct Group {
    OwnedValue id;
    std::vector<std::unique_ptr<Accumulator>> accumulators;
  };

  Group& groupOf(const Value& id) {
    key_.clear();
    appendCanonicalKey(key_, id);
    const auto found = places_.find(key_);
    return found != places_.end() ? groups_[found->second] : addGroup(id);
  }

  Group& addGroup(const Value& id) {
    places_.emplace(key_, groups_.size());
    memory_ += key_.size() + id.size + groupOverhead + accumulatorOverhead * specification_.fields.size();
    Group& group = groups_.emplace_back();
    group.id = OwnedValue(id);
    for (const AccumulatedField& field : specification_.fields) group.accumulators.push_back(field.maker());
    return group;
  }

  bool emit(Group& group) {
    Writer out;
    isMissing(group.id.value()) ? out.appendNull("_id") : out.append("_id", group.id.value());
    for (std::size_t i = 0; i < specification_.fields.size(); ++i) {
      group.accumulators[i]->write(specification_.fields[i].name, out);
    }
    const std::vector<Byte> bytes = out.take();
    const View document{bytes.data(), bytes.size()};
    checkLimits(document);
    return next_.take(document);
  }

  const GroupSpecification& specification_;
  StageRun& next_;
  RunLimits limits_;
  Scratch scratch_;
  std::string key_;
  std::unordered_map<std::string, std::size_t> places_;
  std::deque<Group> groups_;
  std::size_t memory_ = 0;
};

class GroupStage : public Stage {
 public:
  explicit GroupStage(GroupSpecification specification) : specification_(std::move(specification)) {}
  std::unique_ptr<StageRun> start(StageRun& next, const RunLimits& limits) const override {
    return std::make_unique<GroupRun>(specification_, next, limits);
  }

 private:
  GroupSpecification specification_;
};

void checkFieldName(std::string_view name) {
  if (name.find('.') != std::string_view::npos) {
    refuseQuery(code::groupFieldWithDot, "the field " + quoted(name) + " of $group has a dot", name);
  }
  if (name.substr(0, 1) == "$")
    refuseQuery(code::groupFieldWithDollar, "the field " + quoted(name) + " of $group has a $", name);
}

/// {$count: {}} means {$sum: 1}.
AccumulatedField parseCounted(std::string_view name, const Value& operand) {
  if (!operand.isDocument() || !operand.asDocument().empty()) {
    refuseQuery(code::failedToParse, "$count takes an empty document in $group", "$count");
  }
  Writer one;
  one.appendInt32("", 1);
  const std::vector<Byte> bytes = one.take();
  return {std::string(name), accumulatorNamed("$sum"), parseExpression(View{bytes.data(), bytes.size()}.find(""))};
}

AccumulatedField parseAccumulated(const Element& element) {
  checkFieldName(element.key);
  if (!isOperatorExpression(element.value)) {
    refuseQuery(code::groupFieldNotAnAccumulator,
                "the field " + quoted(element.key) + " of $group takes an accumulator", element.key);
  }
  if (element.value.asDocument().count() != 1) {
    refuseQuery(code::groupFieldOfSeveralAccumulators,
                "the field " + quoted(element.key) + " of $group takes one accumulator", element.key);
  }
  const auto at = element.value.asDocument().begin();
  return parseUnder(element.key, [&] {
    if (at->key == "$count") return parseCounted(element.key, at->value);
    return AccumulatedField{std::string(element.key), accumulatorNamed(at->key), parseExpression(at->value)};
  });
}

}  // namespace

StagePtr parseGroup(const Value& operand) {
  if (!operand.isDocument()) {
    refuseQuery(code::groupNotADocument, std::string("$group takes a document, not ") + kindOf(operand), "$group");
  }
  GroupSpecification specification;
  for (const Element& element : operand.asDocument()) {
    if (element.key != "_id") {
      specification.fields.push_back(parseAccumulated(element));
    } else if (specification.id == nullptr) {
      specification.id = parseExpression(element.value);
    } else {
      refuseQuery(code::groupIdTwice, "$group has \"_id\" twice", "_id");
    }
  }
  if (specification.id == nullptr) refuseQuery(code::groupWithoutId, "$group needs \"_id\"", "_id");
  return std::make_unique<GroupStage>(std::move(specification));
}

}  // namespace database_client::embedded
