// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/pipeline/Group.h"

#include <deque>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "client/bson/Writer.h"
#include "client/embedded/query/pipeline/Accumulator.h"
#include "client/embedded/query/pipeline/SortStage.h"
#include "client/embedded/query/transform/Expression.h"
#include "client/embedded/query/values/OwnedValue.h"
#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Element;
using bson::Type;
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
    scratch_.clear();
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
    return AccumulatedField{std::string(element.key), accumulatorNamed(at->key), parseExpression(at->value)};
  });
}

/// $group and then $sort, as one stage.
class SortByCountStage : public Stage {
 public:
  SortByCountStage(StagePtr group, StagePtr sort) : group_(std::move(group)), sort_(std::move(sort)) {}
  std::unique_ptr<StageRun> start(StageRun& next, const RunLimits& limits) const override {
    auto sort = sort_->start(next, limits);
    auto group = group_->start(*sort, limits);
    return std::make_unique<PairRun>(std::move(group), std::move(sort));
  }

 private:
  class PairRun : public StageRun {
   public:
    PairRun(std::unique_ptr<StageRun> first, std::unique_ptr<StageRun> second)
        : second_(std::move(second)), first_(std::move(first)) {}
    bool take(View document) override { return first_->take(document); }
    void end() override { first_->end(); }

   private:
    std::unique_ptr<StageRun> second_;
    std::unique_ptr<StageRun> first_;
  };

  StagePtr group_;
  StagePtr sort_;
};

void checkSortByCount(const Value& operand) {
  if (operand.isDocument()) {
    if (isOperatorExpression(operand)) return;
    refuseQuery(code::sortByCountOfDocument, "$sortByCount takes an expression, not a document", "$sortByCount");
  }
  if (operand.type != Type::string) {
    refuseQuery(code::sortByCountNotAPath,
                std::string("$sortByCount takes a path or an expression, not ") + kindOf(operand), "$sortByCount");
  }
  const bool path = operand.asString().substr(0, 1) == "$";
  if (!path)
    refuseQuery(code::sortByCountPathWithoutDollar, "$sortByCount takes a path that begins with $", "$sortByCount");
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

StagePtr parseSortByCount(const Value& operand) {
  checkSortByCount(operand);
  Writer group;
  group.append("_id", operand);
  group.beginDocument("count");
  group.appendInt32("$sum", 1);
  group.end();
  Writer sort;
  sort.appendInt32("count", -1);
  const std::vector<Byte> groupBytes = group.take();
  const std::vector<Byte> sortBytes = sort.take();
  return std::make_unique<SortByCountStage>(
      parseGroup({Type::document, groupBytes.data(), groupBytes.size()}),
      parseSort({Type::document, sortBytes.data(), sortBytes.size()}, std::nullopt));
}

}  // namespace database_client::embedded
