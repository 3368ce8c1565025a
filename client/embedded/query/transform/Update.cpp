// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/transform/Update.h"

#include <algorithm>
#include <functional>
#include <string>
#include <utility>

#include "client/bson/Writer.h"
#include "client/embedded/query/match/Query.h"
#include "client/embedded/query/values/PathTree.h"
#include "client/embedded/query/values/compare.h"
#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Element;
using bson::IndexKey;
using bson::Type;
using bson::Value;
using bson::View;
using bson::viewOf;
using bson::Writer;

/// The paths that an update changes, in the order in which a server creates those that are absent.
class UpdateTree : public PathTree<Value> {};

namespace {

using Tree = PathTree<Value>;

constexpr std::size_t maximumPadding = 1'500'000;

bool sameBytes(View left, View right) {
  return left.size == right.size && std::equal(left.data, left.data + left.size, right.data);
}

/// Indices by number, before all other names.
bool comesFirst(const std::string& left, const std::string& right) {
  const auto leftIndex = arrayIndex(left);
  const auto rightIndex = arrayIndex(right);
  if (leftIndex && rightIndex) return *leftIndex < *rightIndex;
  return leftIndex.has_value() != rightIndex.has_value() ? leftIndex.has_value() : left < right;
}

void checkPart(const std::string& part, std::string_view dotted) {
  if (part.empty()) {
    refuseQuery(code::emptyFieldName, "the path " + quoted(dotted) + " has an empty part", dotted);
  }
  if (part == "$" || part.substr(0, 2) == "$[") refuseUnsupported(part, "positional path");
  if (part.front() == '$') {
    refuseQuery(code::dollarPrefixedFieldName, "the path " + quoted(dotted) + " has a part with $", dotted);
  }
}

void addPath(Tree& tree, const Element& element) {
  const Path path(element.key);
  for (std::size_t at = 0; at < path.size(); ++at) checkPart(path[at].name, element.key);
  if (tree.add(path, element.value) != Tree::Collision::none) {
    refuseQuery(code::conflictingUpdateOperators, "the path " + quoted(element.key) + " collides with another one",
                element.key);
  }
}

void checkPushed(const Element& element) {
  if (!element.value.isDocument()) return;
  const Value each = element.value.asDocument().find("$each");
  if (isMissing(each)) return;
  if (!each.isArray()) {
    refuseQuery(code::badValue, std::string("$each takes an array, not ") + kindOf(each), element.key);
  }
  for (const Element& modifier : element.value.asDocument()) {
    if (modifier.key == "$each") continue;
    const bool known = modifier.key == "$slice" || modifier.key == "$sort" || modifier.key == "$position";
    if (known) refuseUnsupported(modifier.key, "modifier of $push");
    refuseQuery(code::badValue, "$push does not know " + quoted(modifier.key), element.key);
  }
}

void checkReplacement(View document) {
  for (const Element& element : document) {
    if (!element.key.empty() && element.key.front() == '$') {
      refuseQuery(code::invalidBson, "a replacement holds the key " + quoted(element.key), element.key);
    }
  }
}

/// Writes a changed copy of a document.
class UpdateApplier {
 public:
  UpdateApplier(UpdateKind kind, Writer& out) : kind_(kind), out_(out) {}

  void document(const Tree& tree, View level) {
    std::vector<bool> seen(tree.size());
    for (const Element& element : level) {
      const auto [child, place] = tree.find(element.key);
      const bool changed = child != nullptr && !seen[place];
      if (changed) seen[place] = true;
      changed ? change(*child, element.key, element.value) : out_.append(element.key, element.value);
    }
    for (std::size_t place = 0; place < seen.size(); ++place) {
      if (!seen[place]) create(tree[place], tree[place].name());
    }
  }

 private:
  void change(const Tree& tree, std::string_view key, const Value& old) {
    if (tree.isLeaf()) return kind_ == UpdateKind::setInAll ? out_.append(key, tree.leaf()) : push(tree, key, old);
    if (old.isDocument()) {
      out_.beginDocument(key);
      document(tree, old.asDocument());
    } else if (old.isArray()) {
      out_.beginArray(key);
      array(tree, old.asDocument());
    } else {
      refuseQuery(code::pathNotViable,
                  "cannot create " + quoted(tree[0].name()) + " in " + quoted(key) + ", which is " + kindOf(old), key);
    }
    out_.end();
  }

  void array(const Tree& tree, View elements) {
    std::size_t position = 0;
    std::size_t next = 0;
    checkIndices(tree);
    for (const Element& element : elements) {
      const IndexKey key(position);
      if (next < tree.size() && indexOf(tree[next]) == position) {
        change(tree[next++], key, element.value);
      } else {
        out_.append(key, element.value);
      }
      ++position;
    }
    for (; next < tree.size(); ++next) extend(tree[next], position);
  }

  /// Names that are indices come first, by number, so the last one tells.
  static void checkIndices(const Tree& tree) {
    const Tree& last = tree[tree.size() - 1];
    if (arrayIndex(last.name())) return;
    refuseQuery(code::pathNotViable, "cannot create " + quoted(last.name()) + " in an array", last.name());
  }
  static std::size_t indexOf(const Tree& tree) { return arrayIndex(tree.name()).value_or(0); }

  void extend(const Tree& tree, std::size_t& position) {
    const std::size_t index = indexOf(tree);
    if (index - position > maximumPadding) {
      refuseQuery(code::cannotBackfillArray, "an array cannot be padded by more than 1500000 elements", tree.name());
    }
    for (; position < index; ++position) out_.appendNull(IndexKey(position));
    create(tree, IndexKey(position++));
  }

  void create(const Tree& tree, std::string_view key) {
    if (!tree.isLeaf()) {
      out_.beginDocument(key);
      document(tree, bson::emptyDocument());
      out_.end();
    } else if (kind_ == UpdateKind::setInAll) {
      out_.append(key, tree.leaf());
    } else {
      pushAll(key, bson::emptyDocument(), tree.leaf());
    }
  }

  void push(const Tree& tree, std::string_view key, const Value& old) {
    if (!old.isArray()) {
      refuseQuery(code::badValue, "cannot append to " + quoted(key) + ", which is " + kindOf(old), key);
    }
    pushAll(key, old.asDocument(), tree.leaf());
  }

  void pushAll(std::string_view key, View elements, const Value& value) {
    out_.beginArray(key);
    std::size_t count = 0;
    for (const Element& element : elements) out_.append(IndexKey(count++), element.value);
    const Value each = value.isDocument() ? value.asDocument().find("$each") : Value{};
    if (isMissing(each)) {
      out_.append(IndexKey(count), value);
    } else {
      for (const Element& element : each.asDocument()) out_.append(IndexKey(count++), element.value);
    }
    out_.end();
  }

  UpdateKind kind_;
  Writer& out_;
};

void checkSameId(const Value& stored, const Value& given) {
  if (isMissing(stored) || (!isMissing(given) && equal(stored, given))) return;
  refuseQuery(code::immutableField, "\"_id\" of a stored document cannot be changed", "_id");
}

bool sameBytes(const Value& left, const Value& right) {
  return left.type == right.type && left.size == right.size && std::equal(left.data, left.data + left.size, right.data);
}

/// An equal "_id" of another kind, such as 1.0 for 1, changes nothing.
std::vector<Byte> withStoredId(std::vector<Byte>&& changed, const Value& stored) {
  const Value given = viewOf(changed).find("_id");
  checkSameId(stored, given);
  if (isMissing(stored) || sameBytes(stored, given)) return std::move(changed);
  Writer out;
  for (const Element& element : viewOf(changed)) out.append(element.key, element.key == "_id" ? stored : element.value);
  return out.take();
}

void checkIdKind(const Value& id) {
  if (!id.isArray() && id.type != Type::regex && id.type != Type::undefined) return;
  refuseQuery(code::invalidIdField, std::string("\"_id\" cannot be ") + kindOf(id), "_id");
}

/// The values that a query demands by equality, by path; all other conditions say nothing.
class Equalities {
 public:
  explicit Equalities(bool onlyId) : onlyId_(onlyId) {}

  void collect(const Query& query) {
    if (query.kind == Query::Kind::field) return collectFrom(query.path, query.condition);
    if (query.kind != Query::Kind::all) return;
    for (const Query& part : query.parts) collect(part);
  }

  /// The keys are ordered by name, as a server seeds a document.
  std::vector<Byte> document() {
    tree_.sort(std::less<>());
    Writer out;
    writeLevel(tree_, out, true);
    return out.take();
  }

 private:
  void collectFrom(const Path& path, const Condition& condition) {
    if (condition.kind == Condition::Kind::conjunction) {
      for (const Condition& part : condition.parts) collectFrom(path, part);
    }
    if (condition.kind != Condition::Kind::test) return;
    const auto* compare = std::get_if<CompareTest>(&condition.test);
    if (compare == nullptr || compare->comparison != Comparison::equal) return;
    const std::string dotted = path.text();
    if (onlyId_ && dotted != "_id") return;
    if (tree_.add(path, compare->operand.value()) != Tree::Collision::none) {
      refuseQuery(code::notSingleValueField, "the query demands a value for " + quoted(dotted) + " twice", dotted);
    }
  }

  static void writeLevel(const Tree& tree, Writer& out, bool root) {
    const Tree* id = root ? tree.find("_id").first : nullptr;
    if (id != nullptr) write(*id, out);
    for (std::size_t at = 0; at < tree.size(); ++at) {
      if (&tree[at] != id) write(tree[at], out);
    }
  }

  static void write(const Tree& tree, Writer& out) {
    if (tree.isLeaf()) return out.append(tree.name(), tree.leaf());
    out.beginDocument(tree.name());
    writeLevel(tree, out, false);
    out.end();
  }

  bool onlyId_;
  Tree tree_;
};

/// The same document with "_id" in front; `newId` where it has none.
std::vector<Byte> withIdFirst(std::vector<Byte>&& document, const Byte* newId) {
  const View view = viewOf(document);
  const Value id = view.find("_id");
  if (!isMissing(id) && view.begin()->value.data == id.data) return std::move(document);
  Writer out;
  isMissing(id) ? out.appendObjectId("_id", newId) : out.append("_id", id);
  for (const Element& element : view) {
    if (element.key != "_id") out.append(element.key, element.value);
  }
  return out.take();
}

}  // namespace

Update::Update(UpdateKind kind, View document) : kind_(kind), document_(document), tree_(nullptr) {
  if (kind == UpdateKind::replaceFirst) {
    checkReplacement(document);
    return;
  }
  auto tree = std::make_unique<UpdateTree>();
  for (const Element& element : document) {
    if (kind == UpdateKind::appendToArrayInAll) checkPushed(element);
    addPath(*tree, element);
  }
  tree->sort(comesFirst);
  tree_ = std::move(tree);
}
Update::Update(Update&& other) noexcept = default;
Update& Update::operator=(Update&& other) noexcept = default;
Update::~Update() = default;

std::vector<Byte> Update::replace(View stored) const {
  const Value id = stored.find("_id");
  const Value given = document_.find("_id");
  if (!isMissing(given)) checkSameId(id, given);
  Writer out;
  if (!isMissing(id)) out.append("_id", id);
  for (const Element& element : document_) {
    if (isMissing(id) || element.key != "_id") out.append(element.key, element.value);
  }
  return out.take();
}

std::vector<Byte> Update::change(View stored) const {
  if (kind_ == UpdateKind::replaceFirst) return replace(stored);
  Writer out;
  UpdateApplier(kind_, out).document(*tree_, stored);
  return withStoredId(out.take(), stored.find("_id"));
}

std::vector<Byte> Update::apply(View stored) const {
  std::vector<Byte> changed = change(stored);
  checkLimits(viewOf(changed));
  if (sameBytes(viewOf(changed), stored)) changed.clear();
  return changed;
}

std::vector<Byte> Update::upsertDocument(const Query& selector, const Byte* newId) const {
  Equalities equalities(kind_ == UpdateKind::replaceFirst);
  equalities.collect(selector);
  const std::vector<Byte> base = equalities.document();
  std::vector<Byte> made = withIdFirst(change(viewOf(base)), newId);
  checkIdKind(viewOf(made).find("_id"));
  checkLimits(viewOf(made));
  return made;
}

}  // namespace database_client::embedded
