// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/pipeline/GroupThenSort.h"

#include <string>
#include <utility>
#include <vector>

#include "client/bson/Writer.h"
#include "client/embedded/query/expression/Expression.h"
#include "client/embedded/query/expression/options.h"
#include "client/embedded/query/pipeline/Group.h"
#include "client/embedded/query/pipeline/SortStage.h"
#include "client/embedded/query/values/OwnedValue.h"
#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Element;
using bson::IndexKey;
using bson::Type;
using bson::Value;
using bson::View;
using bson::Writer;

namespace {

class GroupThenSort : public Stage {
 public:
  GroupThenSort(StagePtr group, StagePtr sort) : group_(std::move(group)), sort_(std::move(sort)) {}
  std::unique_ptr<StageRun> start(StageRun& next, const RunLimits& limits) const override {
    auto sort = sort_->start(next, limits);
    auto group = group_->start(*sort, limits);
    return std::make_unique<PairRun>(std::move(group), std::move(sort));
  }

 private:
  // The group refers to the sort, so it has to be gone first: members are destroyed from the last to the first.
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

StagePtr groupThenSort(const std::vector<Byte>& group, const std::vector<Byte>& sort) {
  return std::make_unique<GroupThenSort>(parseGroup({Type::document, group.data(), group.size()}),
                                         parseSort({Type::document, sort.data(), sort.size()}, std::nullopt));
}

void appendCount(Writer& group) {
  group.beginDocument("count");
  group.appendInt32("$sum", 1);
  group.end();
}

std::vector<Byte> sortBy(std::string_view field, int direction) {
  Writer sort;
  sort.appendInt32(field, direction);
  return sort.take();
}

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

/// The value of an expression that is the same for all documents.
OwnedValue constantOf(const Value& expression, int code, const char* what) {
  const ExpressionPtr parsed = parseExpression(expression);
  if (!parsed->isConstant()) refuseQuery(code, std::string(what) + " of $bucket has to be constant", what);
  Scratch scratch;
  return OwnedValue(parsed->evaluate(bson::emptyDocument(), scratch));
}

std::vector<OwnedValue> parseBoundaries(const Value& listed) {
  const auto refuse = [](int code, const char* reason) {
    refuseQuery(code, std::string("the boundaries of $bucket ") + reason, "boundaries");
  };
  if (!listed.isArray()) refuse(code::bucketBoundariesNotAnArray, "have to be an array");
  std::vector<OwnedValue> boundaries;
  for (const Element& element : listed.asDocument()) {
    boundaries.push_back(constantOf(element.value, code::bucketBoundariesNotConstant, "boundaries"));
  }
  if (boundaries.size() < 2) refuse(code::bucketBoundariesTooFew, "have to be two at least");
  for (std::size_t at = 1; at < boundaries.size(); ++at) {
    const Value before = boundaries[at - 1].value();
    const Value value = boundaries[at].value();
    if (typeClass(before) != typeClass(value)) refuse(code::bucketBoundariesOfSeveralKinds, "have to be of one kind");
    if (compare(before, value) >= 0) refuse(code::bucketBoundariesNotAscending, "have to ascend");
  }
  return boundaries;
}

void checkDefault(const Value& value, const std::vector<OwnedValue>& boundaries) {
  const Value lowest = boundaries.front().value();
  const bool isInside = typeClass(value) == typeClass(lowest) && compare(value, lowest) >= 0 &&
                        compare(value, boundaries.back().value()) < 0;
  if (isInside) refuseQuery(code::bucketDefaultInside, "the default of $bucket lies among the boundaries", "default");
}

void appendLiteral(std::string_view key, const Value& value, Writer& out) {
  out.beginDocument(key);
  isMissing(value) ? out.appendNull("$literal") : out.append("$literal", value);
  out.end();
}

/// {name: ["$$value", {$literal: boundary}]}
void appendComparison(std::string_view key, std::string_view name, const Value& boundary, Writer& out) {
  out.beginDocument(key);
  out.beginArray(name);
  out.appendString("0", "$$value");
  appendLiteral("1", boundary, out);
  out.end();
  out.end();
}

void appendBranches(const std::vector<OwnedValue>& boundaries, Writer& out) {
  out.beginArray("branches");
  for (std::size_t at = 0; at + 1 < boundaries.size(); ++at) {
    out.beginDocument(IndexKey(at));
    out.beginDocument("case");
    out.beginArray("$and");
    appendComparison("0", "$gte", boundaries[at].value(), out);
    appendComparison("1", "$lt", boundaries[at + 1].value(), out);
    out.end();
    out.end();
    appendLiteral("then", boundaries[at].value(), out);
    out.end();
  }
  out.end();
}

}  // namespace

StagePtr parseSortByCount(const Value& operand) {
  checkSortByCount(operand);
  Writer group;
  group.append("_id", operand);
  appendCount(group);
  return groupThenSort(group.take(), sortBy("count", -1));
}

/// $bucket is written as the $group that it stands for, whose id is
///
///     {$let: {vars: {value: GROUP_BY}, in: {$switch: {branches: […], default: …}}}}
///
/// so that expressions, accumulators and their errors are those of $group, and the value is computed once for all
/// boundaries. A value outside of them without a default is an error of $switch, as it is on a server. Branches are
/// tried one after the other: boundaries are few.
StagePtr parseBucket(const Value& operand) {
  Value groupBy;
  Value listed;
  Value otherwise;
  Value output;
  readOptions("$bucket", operand, {code::bucketNotADocument, code::bucketUnknownOption},
              {{"groupBy", groupBy, code::bucketIncomplete},
               {"boundaries", listed, code::bucketIncomplete},
               {"default", otherwise, 0},
               {"output", output, 0}});
  const bool isExpression =
      groupBy.isDocument() || (groupBy.type == Type::string && groupBy.asString().substr(0, 1) == "$");
  if (!isExpression) {
    refuseQuery(code::bucketGroupByNotAnExpression, "$bucket groups by a path or an expression", "groupBy");
  }
  const std::vector<OwnedValue> boundaries = parseBoundaries(listed);
  Writer group;
  group.beginDocument("_id");
  group.beginDocument("$let");
  group.beginDocument("vars");
  group.append("value", groupBy);
  group.end();
  group.beginDocument("in");
  group.beginDocument("$switch");
  appendBranches(boundaries, group);
  if (!isMissing(otherwise)) {
    const OwnedValue value = constantOf(otherwise, code::bucketDefaultNotConstant, "default");
    checkDefault(value.value(), boundaries);
    appendLiteral("default", value.value(), group);
  }
  for (int open = 0; open < 4; ++open) group.end();  // $switch, in, $let, _id
  if (isMissing(output)) {
    appendCount(group);
  } else if (output.isDocument()) {
    for (const Element& element : output.asDocument()) group.append(element.key, element.value);
  } else {
    refuseQuery(code::bucketOutputNotADocument, std::string("the output of $bucket is ") + kindOf(output), "output");
  }
  return groupThenSort(group.take(), sortBy("_id", 1));
}

}  // namespace database_client::embedded
