// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/transform/Fields.h"

#include <optional>
#include <string>

#include "client/bson/Writer.h"
#include "client/embedded/query/values/errors.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Element;
using bson::IndexKey;
using bson::Type;
using bson::Value;
using bson::View;
using bson::Writer;

namespace {

void includeLevel(const FieldSet& fields, View level, Writer& out);

/// A document or array is reduced; anything else in the place of a parent is dropped.
void includeReduced(const FieldSet& fields, std::string_view key, const Value& value, Writer& out) {
  if (value.isDocument()) {
    out.beginDocument(key);
    includeLevel(fields, value.asDocument(), out);
    out.end();
  } else if (value.isArray()) {
    out.beginArray(key);
    std::size_t count = 0;
    for (const Element& element : value.asDocument()) {
      const bool kept = element.value.isDocument() || element.value.isArray();
      if (kept) includeReduced(fields, IndexKey(count++), element.value, out);
    }
    out.end();
  }
}

void includeLevel(const FieldSet& fields, View level, Writer& out) {
  for (const Element& element : level) {
    const FieldSet* field = fields.find(element.key).first;
    if (field == nullptr) continue;
    if (!field->isLeaf()) {
      includeReduced(*field, element.key, element.value, out);
    } else if (field->leaf()) {
      out.append(element.key, element.value);
    }
  }
}

void excludeLevel(const FieldSet& fields, View level, Writer& out);

void excludeReduced(const FieldSet& fields, std::string_view key, const Value& value, Writer& out) {
  if (value.isDocument()) {
    out.beginDocument(key);
    excludeLevel(fields, value.asDocument(), out);
    out.end();
  } else if (value.isArray()) {
    out.beginArray(key);
    for (const Element& element : value.asDocument()) excludeReduced(fields, element.key, element.value, out);
    out.end();
  } else {
    out.append(key, value);
  }
}

void excludeLevel(const FieldSet& fields, View level, Writer& out) {
  for (const Element& element : level) {
    const FieldSet* field = fields.find(element.key).first;
    if (field == nullptr) {
      out.append(element.key, element.value);
    } else if (!field->isLeaf()) {
      excludeReduced(*field, element.key, element.value, out);
    }
  }
}

/// Writes computed fields into copies of levels.
class FieldSetter {
 public:
  FieldSetter(View root, Writer& out) : root_(root), out_(out) {}

  void level(const ComputedFields& fields, View level) {
    std::vector<bool> seen(fields.size());
    for (const Element& element : level) {
      const auto [field, place] = fields.find(element.key);
      if (field == nullptr) {
        out_.append(element.key, element.value);
      } else if (!seen[place]) {
        seen[place] = true;
        set(*field, element.key, element.value);
      }
    }
    for (std::size_t place = 0; place < seen.size(); ++place) {
      if (!seen[place]) set(fields[place], fields[place].name(), {});
    }
  }

 private:
  void set(const ComputedFields& field, std::string_view key, const Value& old) {
    if (!field.isLeaf()) return branch(field, key, old);
    const Value value = field.leaf()->evaluate(root_, scratch_);
    if (!isMissing(value)) out_.append(key, value);
    scratch_.clear();
  }

  void branch(const ComputedFields& fields, std::string_view key, const Value& old) {
    if (!isMissing(old) && old.isArray()) {
      out_.beginArray(key);
      for (const Element& element : old.asDocument()) branch(fields, element.key, element.value);
    } else {
      out_.beginDocument(key);
      level(fields, !isMissing(old) && old.isDocument() ? old.asDocument() : bson::emptyDocument());
    }
    out_.end();
  }

  View root_;
  Writer& out_;
  Scratch scratch_;
};

template <class Leaf>
void addPath(PathTree<Leaf>& fields, const Path& path, Leaf leaf) {
  using Collision = typename PathTree<Leaf>::Collision;
  const Collision collision = fields.add(path, std::move(leaf));
  if (collision == Collision::none) return;
  refuseQuery(collision == Collision::beyondLeaf ? code::projectPathBeyondAnother : code::projectPathTaken,
              "the path " + quoted(path.text()) + " collides with another one", path.text());
}

bool isFlag(const Value& value) {
  return value.isNumber() || value.type == Type::boolean;
}

/// Whether a document spells paths below the one that it stands under.
bool isSubSpecification(const Value& value) {
  return value.isDocument() && !isOperatorExpression(value);
}

/// Reads $addFields, where every value is an expression and documents spell paths.
class ComputedParser {
 public:
  explicit ComputedParser(View specification) { read("", specification); }

  ComputedFields result() { return std::move(result_); }

 private:
  void read(const std::string& prefix, View level) {
    for (const Element& element : level) {
      const std::string path = prefix + std::string(element.key);
      if (!isSubSpecification(element.value)) {
        add(path, element.value);
      } else if (element.value.asDocument().empty()) {
        refuseQuery(code::addFieldsEmptyDocument, "an empty document under " + quoted(path), path);
      } else {
        read(path + '.', element.value.asDocument());
      }
    }
  }

  void add(const std::string& path, const Value& value) {
    if (result_.add(fieldPath(path), parseExpression(value)) == ComputedFields::Collision::none) return;
    refuseQuery(code::addFieldsConflictingPaths, "the path " + quoted(path) + " collides with another one", path);
  }

  ComputedFields result_;
};

/// Reads a specification in two passes, since only the whole tells whether fields are included or excluded.
class FieldParser {
 public:
  FieldParser(View specification, Expressions expressions) : expressions_(expressions) { read("", specification); }

  FieldSpecification result() {
    result_.inclusion = inclusion_.value_or(id_.value_or(false));
    for (const auto& [path, value] : items_) add(path, value);
    addId();
    return std::move(result_);
  }

 private:
  struct Item {
    std::string path;
    Value value;
  };

  void read(const std::string& prefix, View level) {
    for (const Element& element : level) {
      const std::string path = prefix + std::string(element.key);
      if (isSubSpecification(element.value)) {
        if (element.value.asDocument().empty()) {
          refuseQuery(code::projectEmptyDocument, "an empty document under " + quoted(path), path);
        }
        read(path + '.', element.value.asDocument());
      } else {
        readLeaf(path, element.value);
      }
    }
  }

  void readLeaf(const std::string& path, const Value& value) {
    const bool flag = isFlag(value);
    if (!flag && expressions_ == Expressions::refused) refuseExpression(path, value);
    if (path == "_id" && flag) {
      id_ = isTrue(value);
      return;
    }
    if (!inclusion_) inclusion_ = !flag || isTrue(value);
    items_.push_back({path, value});
  }

  [[noreturn]] static void refuseExpression(const std::string& path, const Value& value) {
    const bool named = value.isDocument();
    refuseUnsupported(named ? std::string(value.asDocument().begin()->key) : quoted(path), "projection expression");
  }

  Path checkedPath(const std::string& dotted) const {
    const bool positional = dotted.size() > 2 && dotted.compare(dotted.size() - 2, 2, ".$") == 0;
    if (positional && expressions_ == Expressions::refused) refuseUnsupported(dotted, "positional projection");
    return fieldPath(dotted);
  }

  void add(const std::string& dotted, const Value& value) {
    const Path path = checkedPath(dotted);
    if (!isFlag(value)) {
      if (!result_.inclusion) refuseQuery(code::projectExpressionInExclusion, "an expression among exclusions", dotted);
      addPath(result_.fields, path, false);
      addPath(result_.computed, path, parseExpression(value));
      return;
    }
    if (isTrue(value) != result_.inclusion) {
      refuseQuery(result_.inclusion ? code::projectExclusionInInclusion : code::projectInclusionInExclusion,
                  quoted(dotted) + " cannot be " +
                      (result_.inclusion ? "excluded among inclusions" : "included among exclusions"),
                  dotted);
    }
    addPath(result_.fields, path, true);
  }

  void addId() {
    const bool kept = id_.value_or(true);
    const bool mentioned = result_.fields.find("_id").first != nullptr;
    if (kept == result_.inclusion && !(mentioned && !id_)) addPath(result_.fields, Path("_id"), true);
  }

  Expressions expressions_;
  std::optional<bool> inclusion_;
  std::optional<bool> id_;
  std::vector<Item> items_;
  FieldSpecification result_;
};

}  // namespace

std::vector<Byte> included(const FieldSet& fields, View document) {
  Writer out;
  const Value id = document.find("_id");
  const bool moved = !isMissing(id) && document.begin()->value.data != id.data;
  if (!moved) {
    includeLevel(fields, document, out);
    return out.take();
  }
  Writer reordered;
  reordered.append("_id", id);
  for (const Element& element : document) {
    if (element.key != "_id") reordered.append(element.key, element.value);
  }
  const std::vector<Byte> bytes = reordered.take();
  includeLevel(fields, {bytes.data(), bytes.size()}, out);
  return out.take();
}

std::vector<Byte> excluded(const FieldSet& fields, View document) {
  Writer out;
  excludeLevel(fields, document, out);
  return out.take();
}

std::vector<Byte> withFields(const ComputedFields& fields, View document, View root) {
  Writer out;
  FieldSetter(root, out).level(fields, document);
  return out.take();
}

void addField(FieldSet& fields, const Path& path) {
  addPath(fields, path, true);
}

ComputedFields parseComputedFields(View specification) {
  return ComputedParser(specification).result();
}

FieldSpecification parseFields(View specification, Expressions expressions) {
  return FieldParser(specification, expressions).result();
}

std::vector<Byte> FieldSpecification::apply(View document) const {
  if (!inclusion) return excluded(fields, document);
  std::vector<Byte> bytes = included(fields, document);
  return computed.empty() ? bytes : withFields(computed, {bytes.data(), bytes.size()}, document);
}

}  // namespace database_client::embedded
