// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/pipeline/Unwind.h"

#include <string>
#include <utility>
#include <vector>

#include "client/bson/Writer.h"
#include "client/embedded/query/transform/Fields.h"
#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Element;
using bson::Type;
using bson::Value;
using bson::View;

namespace {

/// A document with one field cut out, into which values can be put instead: the bytes before it and behind it are
/// copied as they are, and only the lengths of the levels around it are mended, since an array of n elements makes n
/// documents that differ in nothing else.
class Splice {
 public:
  /// The field is absent when a level on the way is no document.
  Splice(View document, const Path& path) : document_(document) {
    View level = document;
    for (std::size_t at = 0;; ++at) {
      levels_.push_back(static_cast<std::size_t>(level.data - document.data));
      element_ = find(level, path[at].name);
      if (element_.start == nullptr || at + 1 == path.size()) return;
      if (!element_.value.isDocument()) {
        element_ = {};
        return;
      }
      level = element_.value.asDocument();
    }
  }

  Value value() const { return element_.value; }

  View with(const Value& value) {
    bytes_.assign(document_.data, element_.start);
    bytes_.push_back(static_cast<Byte>(value.type));
    bytes_.insert(bytes_.end(), element_.key.begin(), element_.key.end());
    bytes_.push_back(0);
    bytes_.insert(bytes_.end(), value.data, value.data + value.size);
    return finish();
  }

  View without() {
    bytes_.assign(document_.data, element_.start);
    return finish();
  }

 private:
  static Element find(View level, std::string_view key) {
    for (const Element& element : level) {
      if (element.key == key) return element;
    }
    return {};
  }

  View finish() {
    bytes_.insert(bytes_.end(), element_.value.data + element_.value.size, document_.data + document_.size);
    for (const std::size_t level : levels_) {
      const auto size = static_cast<std::size_t>(bson::load<std::int32_t>(document_.data + level));
      bson::store(bytes_.data() + level, static_cast<std::int32_t>(size + bytes_.size() - document_.size));
    }
    return {bytes_.data(), bytes_.size()};
  }

  View document_;
  Element element_;
  std::vector<std::size_t> levels_;  ///< where the documents begin whose lengths change
  std::vector<Byte> bytes_;
};

/// The position that the next document is to hold.
class PositionExpression : public Expression {
 public:
  explicit PositionExpression(const std::optional<std::int64_t>& position) : position_(position) {}
  Value evaluate(View /*root*/, Scratch& scratch) const override {
    bson::Writer out;
    position_ ? out.appendInt64("", *position_) : out.appendNull("");
    const Value kept = scratch.keep(Type::document, out.take());
    return kept.asDocument().begin()->value;
  }

 private:
  const std::optional<std::int64_t>& position_;
};

struct UnwindSpecification {
  Path path{""};
  bool preserve = false;
  std::optional<Path> index;
};

class UnwindRun : public StageRun {
 public:
  UnwindRun(const UnwindSpecification& specification, StageRun& next) : specification_(specification), next_(next) {
    // Written as a computed field, which knows how a path with dots makes its levels.
    if (specification.index) position_.add(*specification.index, std::make_unique<PositionExpression>(current_));
  }

  bool take(View document) override {
    Splice splice(document, specification_.path);
    const Value value = splice.value();
    if (isNullish(value)) return specification_.preserve ? pass(document, std::nullopt) : true;
    if (!value.isArray()) return pass(document, std::nullopt);
    if (value.asDocument().empty()) return specification_.preserve ? pass(splice.without(), std::nullopt) : true;
    std::int64_t position = 0;
    for (const Element& element : value.asDocument()) {
      if (!pass(splice.with(element.value), position++)) return false;
    }
    return true;
  }

  void end() override { next_.end(); }

 private:
  bool pass(View document, std::optional<std::int64_t> position) {
    if (!specification_.index) return next_.take(document);
    current_ = position;
    const std::vector<Byte> bytes = withFields(position_, document, document);
    checkLimits({bytes.data(), bytes.size()});
    return next_.take({bytes.data(), bytes.size()});
  }

  const UnwindSpecification& specification_;
  StageRun& next_;
  std::optional<std::int64_t> current_;
  ComputedFields position_;
};

class UnwindStage : public Stage {
 public:
  explicit UnwindStage(UnwindSpecification specification) : specification_(std::move(specification)) {}
  std::unique_ptr<StageRun> start(StageRun& next, const RunLimits& /*limits*/) const override {
    return std::make_unique<UnwindRun>(specification_, next);
  }

 private:
  UnwindSpecification specification_;
};

Path parsePath(const Value& path) {
  if (path.type != Type::string) {
    refuseQuery(code::unwindPathNotAString, std::string("the path of $unwind is ") + kindOf(path) + ", not a string",
                "path");
  }
  if (path.asString().substr(0, 1) != "$") {
    refuseQuery(code::unwindPathWithoutDollar, "the path of $unwind has to begin with $", "path");
  }
  return fieldPath(path.asString().substr(1));
}

Path parseIndex(const Value& index) {
  if (index.type != Type::string || index.asString().empty()) {
    refuseQuery(code::unwindIndexNotAString, "includeArrayIndex of $unwind takes the name of a field",
                "includeArrayIndex");
  }
  if (index.asString().front() == '$') {
    refuseQuery(code::unwindIndexWithDollar, "includeArrayIndex of $unwind begins with $", "includeArrayIndex");
  }
  return fieldPath(index.asString());
}

UnwindSpecification parseOptions(View options) {
  UnwindSpecification specification;
  bool hasPath = false;
  for (const Element& element : options) {
    if (element.key == "path") {
      specification.path = parsePath(element.value);
      hasPath = true;
    } else if (element.key == "preserveNullAndEmptyArrays") {
      if (element.value.type != Type::boolean) {
        refuseQuery(code::unwindPreserveNotABoolean, "preserveNullAndEmptyArrays of $unwind takes a boolean",
                    element.key);
      }
      specification.preserve = element.value.asBool();
    } else if (element.key == "includeArrayIndex") {
      specification.index = parseIndex(element.value);
    } else {
      refuseQuery(code::unwindUnknownOption, "$unwind does not know " + quoted(element.key), element.key);
    }
  }
  if (!hasPath) refuseQuery(code::unwindWithoutPath, "$unwind needs a path", "path");
  return specification;
}

}  // namespace

StagePtr parseUnwind(const Value& operand) {
  if (operand.isDocument()) return std::make_unique<UnwindStage>(parseOptions(operand.asDocument()));
  if (operand.type != Type::string) {
    refuseQuery(code::unwindNotAPath, std::string("$unwind takes a path or a document, not ") + kindOf(operand),
                "$unwind");
  }
  UnwindSpecification specification;
  specification.path = parsePath(operand);
  return std::make_unique<UnwindStage>(std::move(specification));
}

}  // namespace database_client::embedded
