// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/pipeline/simpleStages.h"

#include <string>
#include <utility>
#include <vector>

#include "client/bson/Writer.h"
#include "client/embedded/query/match/Matcher.h"
#include "client/embedded/query/transform/Fields.h"
#include "client/embedded/query/values/errors.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Element;
using bson::Type;
using bson::Value;
using bson::View;
using bson::viewOf;

namespace {

void requireDocument(const Value& operand, int code, const char* stage) {
  if (operand.isDocument()) return;
  refuseQuery(code, std::string(stage) + " takes a document, not " + kindOf(operand), stage);
}

/// A stage whose run keeps nothing but the next one.
template <class Derived>
class StatelessStage : public Stage {
 public:
  std::unique_ptr<StageRun> start(StageRun& next, const RunLimits& /*limits*/) const override {
    return std::make_unique<StatelessRun>(static_cast<const Derived&>(*this), next);
  }

 private:
  class StatelessRun : public StageRun {
   public:
    StatelessRun(const Derived& stage, StageRun& next) : stage_(stage), next_(next) {}
    bool take(View document) override { return stage_.pass(document, next_); }
    void end() override { next_.end(); }

   private:
    const Derived& stage_;
    StageRun& next_;
  };
};

class MatchStage : public StatelessStage<MatchStage> {
 public:
  explicit MatchStage(View query) : matcher_(query) {}
  bool pass(View document, StageRun& next) const { return matcher_.matches(document) ? next.take(document) : true; }
  const Matcher* matcher() const override { return &matcher_; }

 private:
  Matcher matcher_;
};

class ProjectStage : public StatelessStage<ProjectStage> {
 public:
  explicit ProjectStage(FieldSpecification fields) : fields_(std::move(fields)) {}
  bool pass(View document, StageRun& next) const {
    const std::vector<Byte> result = fields_.apply(document);
    // Leaving out and keeping makes nothing larger or deeper.
    if (!fields_.computed.empty()) checkLimits(viewOf(result));
    return next.take(viewOf(result));
  }

 private:
  FieldSpecification fields_;
};

class AddFieldsStage : public StatelessStage<AddFieldsStage> {
 public:
  explicit AddFieldsStage(ComputedFields fields) : fields_(std::move(fields)) {}
  bool pass(View document, StageRun& next) const {
    const std::vector<Byte> result = withFields(fields_, document, document);
    checkLimits(viewOf(result));
    return next.take(viewOf(result));
  }

 private:
  ComputedFields fields_;
};

class ReplaceRootStage : public StatelessStage<ReplaceRootStage> {
 public:
  explicit ReplaceRootStage(ExpressionPtr newRoot) : newRoot_(std::move(newRoot)) {}
  bool pass(View document, StageRun& next) const {
    Scratch scratch;
    const Value root = newRoot_->evaluate(document, scratch);
    if (isMissing(root) || !root.isDocument()) {
      refuseQuery(code::replaceRootToNoDocument,
                  std::string("the new root of a document is ") + (isMissing(root) ? "missing" : kindOf(root)),
                  "$replaceRoot");
    }
    checkLimits(root.asDocument());
    return next.take(root.asDocument());
  }

 private:
  ExpressionPtr newRoot_;
};

class LimitStage : public Stage {
 public:
  explicit LimitStage(std::int64_t limit) : limit_(limit) {}
  std::unique_ptr<StageRun> start(StageRun& next, const RunLimits& /*limits*/) const override {
    return std::make_unique<LimitRun>(limit_, next);
  }

 private:
  class LimitRun : public StageRun {
   public:
    LimitRun(std::int64_t left, StageRun& next) : left_(left), next_(next) {}
    bool take(View document) override {
      if (left_ == 0) return false;
      --left_;
      return next_.take(document) && left_ > 0;  // The last one ends the scan, not the one behind it.
    }
    void end() override { next_.end(); }

   private:
    std::int64_t left_;
    StageRun& next_;
  };

  std::int64_t limit_;
};

class SkipStage : public Stage {
 public:
  explicit SkipStage(std::int64_t skip) : skip_(skip) {}
  std::unique_ptr<StageRun> start(StageRun& next, const RunLimits& /*limits*/) const override {
    return std::make_unique<SkipRun>(skip_, next);
  }

 private:
  class SkipRun : public StageRun {
   public:
    SkipRun(std::int64_t left, StageRun& next) : left_(left), next_(next) {}
    bool take(View document) override {
      if (left_ == 0) return next_.take(document);
      --left_;
      return true;
    }
    void end() override { next_.end(); }

   private:
    std::int64_t left_;
    StageRun& next_;
  };

  std::int64_t skip_;
};

class CountStage : public Stage {
 public:
  explicit CountStage(std::string_view name) : name_(name) {}
  std::unique_ptr<StageRun> start(StageRun& next, const RunLimits& /*limits*/) const override {
    return std::make_unique<CountRun>(name_, next);
  }

 private:
  class CountRun : public StageRun {
   public:
    CountRun(const std::string& name, StageRun& next) : name_(name), next_(next) {}
    bool take(View /*document*/) override {
      ++count_;
      return true;
    }
    void end() override {
      if (count_ > 0) emit();  // Of no documents there is no result, as on a server.
      next_.end();
    }

   private:
    void emit() {
      bson::Writer out;
      const auto narrow = static_cast<std::int32_t>(count_);
      narrow == count_ ? out.appendInt32(name_, narrow) : out.appendInt64(name_, count_);
      next_.take(viewOf(out.take()));
    }

    const std::string& name_;
    StageRun& next_;
    std::int64_t count_ = 0;
  };

  std::string name_;
};

StagePtr parseMatch(const Value& operand) {
  requireDocument(operand, code::matchNotADocument, "$match");
  return std::make_unique<MatchStage>(operand.asDocument());
}

StagePtr parseProject(const Value& operand) {
  requireDocument(operand, code::projectNotADocument, "$project");
  if (operand.asDocument().empty()) refuseQuery(code::projectEmpty, "$project names no field", "$project");
  return std::make_unique<ProjectStage>(parseFields(operand.asDocument(), Expressions::allowed));
}

StagePtr parseAddFields(const Value& operand) {
  requireDocument(operand, code::addFieldsNotADocument, "$addFields");
  if (operand.asDocument().empty()) refuseQuery(code::addFieldsEmpty, "$addFields names no field", "$addFields");
  return std::make_unique<AddFieldsStage>(parseComputedFields(operand.asDocument()));
}

/// A projection that leaves fields out.
StagePtr parseUnset(const Value& operand) {
  FieldSpecification fields;
  if (operand.type == Type::string) {
    addField(fields.fields, fieldPath(operand.asString()));
    return std::make_unique<ProjectStage>(std::move(fields));
  }
  if (!operand.isArray()) {
    refuseQuery(code::unsetNotAString, std::string("$unset takes a string or an array, not ") + kindOf(operand),
                "$unset");
  }
  if (operand.asDocument().empty()) refuseQuery(code::unsetEmpty, "$unset names no field", "$unset");
  for (const Element& element : operand.asDocument()) {
    if (element.value.type != Type::string) {
      refuseQuery(code::unsetElementNotAString, std::string("$unset holds ") + kindOf(element.value) + ", not a string",
                  "$unset");
    }
    addField(fields.fields, fieldPath(element.value.asString()));
  }
  return std::make_unique<ProjectStage>(std::move(fields));
}

StagePtr parseReplaceRoot(const Value& operand) {
  requireDocument(operand, code::replaceRootNotADocument, "$replaceRoot");
  for (const Element& element : operand.asDocument()) {
    if (element.key == "newRoot") continue;
    refuseQuery(code::replaceRootUnknownOption, "$replaceRoot does not know " + quoted(element.key), element.key);
  }
  const Value newRoot = operand.asDocument().find("newRoot");
  if (isMissing(newRoot)) refuseQuery(code::replaceRootWithoutNewRoot, "$replaceRoot needs newRoot", "newRoot");
  return std::make_unique<ReplaceRootStage>(parseExpression(newRoot));
}

StagePtr parseCount(const Value& operand) {
  const auto refuse = [](int code, const char* reason) {
    refuseQuery(code, std::string("the field that $count names ") + reason, "$count");
  };
  if (operand.type != Type::string) refuse(code::countNotAString, "has to be a string");
  const std::string_view name = operand.asString();
  if (name.empty()) refuse(code::countEmpty, "is empty");
  if (name.front() == '$') refuse(code::countWithDollar, "begins with $");
  if (name.find('\0') != std::string_view::npos) refuse(code::countWithNul, "holds a NUL");
  if (name.find('.') != std::string_view::npos) refuse(code::countWithDot, "has a dot");
  return std::make_unique<CountStage>(name);
}

std::int64_t parseCountOperand(const Value& operand, int code, const char* stage) {
  const auto number = operand.isNumber() ? exactInteger(operand) : std::nullopt;
  if (!number || *number < 0) {
    refuseQuery(code, std::string(stage) + " takes an integer that is not negative", stage);
  }
  return *number;
}

}  // namespace

std::int64_t parseLimit(const Value& operand) {
  const std::int64_t limit = parseCountOperand(operand, code::limitNotANumber, "$limit");
  if (limit == 0) refuseQuery(code::limitNotPositive, "$limit has to be positive", "$limit");
  return limit;
}

std::int64_t parseSkip(const Value& operand) {
  return parseCountOperand(operand, code::skipNotANumber, "$skip");
}

StagePtr parseSimpleStage(std::string_view name, const Value& operand) {
  if (name == "$match") return parseMatch(operand);
  if (name == "$project") return parseProject(operand);
  if (name == "$addFields" || name == "$set") return parseAddFields(operand);
  if (name == "$unset") return parseUnset(operand);
  if (name == "$replaceRoot") return parseReplaceRoot(operand);
  if (name == "$replaceWith") return std::make_unique<ReplaceRootStage>(parseExpression(operand));
  if (name == "$limit") return std::make_unique<LimitStage>(parseLimit(operand));
  if (name == "$skip") return std::make_unique<SkipStage>(parseSkip(operand));
  if (name == "$count") return parseCount(operand);
  return nullptr;
}

}  // namespace database_client::embedded
