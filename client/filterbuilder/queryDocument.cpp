// SPDX-License-Identifier: Apache-2.0
#include "client/filterbuilder/queryDocument.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "client/bson/Writer.h"
#include "database_client/Error.h"

namespace database_client::filter {

using bson::Element;
using bson::Value;
using bson::View;
using Kind = FilterNode::Kind;

namespace {

/// A filter as a tree, in prefix order: a group stands before its content. No group is empty but the root, no and-group
/// or or-group stands for one condition alone, and none stands in a group of its own kind.
struct Term {
  const FilterNode* node;
  std::size_t size = 1;  ///< the number of terms from this one to the end of what is in it

  Kind kind() const { return node->kind; }
};
using Terms = std::vector<Term>;
using Nodes = std::vector<FilterNode>::const_iterator;

/// Leaves out the group at the end of the terms, or its own term alone, when the tree means the same without.
void simplify(Terms& terms, std::size_t parent, std::size_t group) {
  const auto erase = [&] { terms.erase(terms.begin() + static_cast<std::ptrdiff_t>(group)); };
  if (terms[group].size == 1) return erase();
  const bool hasOne = terms[group + 1].size == terms[group].size - 1;
  if (hasOne && terms[group].kind() != Kind::field) erase();
  const Kind outside = terms[parent].kind();
  const Kind inside = terms[group].kind();
  // The conditions of a field all hold, as those of an and-group.
  const bool joins =
      (inside == Kind::andGroup && outside != Kind::orGroup) || (inside == Kind::orGroup && outside == Kind::orGroup);
  if (joins) erase();
}

/// Reads the nodes up to the end of the group whose term was added last.
void readGroup(Terms& terms, Nodes& at, Nodes end, int depth) {
  if (depth > bson::maximumDepth) {
    throw Error(Error::Kind::document, "a filter with groups nested deeper than 100 levels");
  }
  const std::size_t parent = terms.size() - 1;
  while (at != end) {
    const FilterNode& node = *at++;
    if (node.kind == Kind::end) break;
    const std::size_t group = terms.size();
    terms.push_back({&node});
    if (node.kind == Kind::condition) continue;
    readGroup(terms, at, end, depth + 1);
    simplify(terms, parent, group);
  }
  terms[parent].size = terms.size() - parent;
}

/// The terms refer to the nodes of the filter.
Terms termsOf(const FilterBuilder& filter) {
  static const FilterNode root{Kind::andGroup};
  Terms terms;
  terms.reserve(filter.nodes().size() + 1);
  terms.push_back({&root});
  auto at = filter.nodes().begin();
  readGroup(terms, at, filter.nodes().end(), 0);
  return terms;
}

/// The key under which a term stands in a query document; an and-group stands under none.
std::string_view keyOf(const FilterBuilder& filter, const Term& term) {
  return term.kind() == Kind::orGroup ? "$or" : filter.key(*term.node);
}

template <class Visit>
void forEachChild(const Terms& terms, std::size_t group, const Visit& visit) {
  const std::size_t end = group + terms[group].size;
  for (std::size_t child = group + 1; child != end; child += terms[child].size) visit(child);
}

class QueryWriter {
 public:
  explicit QueryWriter(const FilterBuilder& filter) : filter_(filter), terms_(termsOf(filter)) { writeConjunction(0); }

  std::vector<bson::Byte> take() { return writer_.take(); }

 private:
  /// Writes what all holds in a group into the document that is open. A key can stand in it once, so a condition on one
  /// that is taken goes to "$and"; so does a given "$and", which would else be taken for that one.
  void writeConjunction(std::size_t group) {
    const std::vector<std::size_t> further = furtherConditions(group);
    forEachChild(terms_, group, [&](std::size_t child) {
      if (!std::binary_search(further.begin(), further.end(), child)) write(child);
    });
    if (further.empty()) return;
    writer_.beginArray("$and");
    for (std::size_t i = 0; i < further.size(); ++i) writeElement(i, further[i]);
    writer_.end();
  }

  /// The children of a group that go to "$and", in their order. Sorted, of those on one key the first leads.
  std::vector<std::size_t> furtherConditions(std::size_t group) const {
    std::vector<std::pair<std::string_view, std::size_t>> keys;
    keys.reserve(8);
    forEachChild(terms_, group, [&](std::size_t child) { keys.emplace_back(keyOf(filter_, terms_[child]), child); });
    std::sort(keys.begin(), keys.end());
    std::vector<std::size_t> further;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const bool isRepeated = i != 0 && keys[i].first == keys[i - 1].first;
      if (isRepeated || keys[i].first == "$and") further.push_back(keys[i].second);
    }
    std::sort(further.begin(), further.end());
    return further;
  }

  void writeDisjunction(std::size_t group) {
    writer_.beginArray("$or");
    std::size_t index = 0;
    forEachChild(terms_, group, [&](std::size_t child) { writeElement(index++, child); });
    writer_.end();
  }

  void writeElement(std::size_t index, std::size_t term) {
    writer_.beginDocument(bson::IndexKey(index));
    write(term);
    writer_.end();
  }

  void write(std::size_t term) {
    const FilterNode& node = *terms_[term].node;
    switch (node.kind) {
      case Kind::field:
        writer_.beginDocument(filter_.key(node));
        writeConjunction(term);
        return writer_.end();
      case Kind::andGroup:
        return writeConjunction(term);
      case Kind::orGroup:
        return writeDisjunction(term);
      default:
        return writeCondition(node);
    }
  }

  void writeCondition(const FilterNode& node) {
    const Value value = filter_.value(node);
    if (node.operation.empty()) return writer_.append(filter_.key(node), value);
    writer_.beginDocument(filter_.key(node));
    writer_.append(node.operation, value);
    writer_.end();
  }

  const FilterBuilder& filter_;
  const Terms terms_;
  bson::Writer writer_;
};

bool isListOfDocuments(const Value& value) {
  if (!value.isArray() || value.asDocument().empty()) return false;
  const View list = value.asDocument();
  return std::all_of(list.begin(), list.end(), [](const Element& element) { return element.value.isDocument(); });
}

void copyTerm(const FilterBuilder& from, const Terms& terms, std::size_t term, FilterBuilder& to) {
  const FilterNode& node = *terms[term].node;
  if (node.kind == Kind::condition) return to.addCondition(from.key(node), node.operation, from.value(node));
  to.beginGroup(node.kind, from.key(node));
  forEachChild(terms, term, [&](std::size_t child) { copyTerm(from, terms, child, to); });
  node.kind == Kind::field ? to.endField() : to.endGroup();
}

}  // namespace

std::vector<bson::Byte> toQuery(const FilterBuilder& filter) {
  std::vector<bson::Byte> query = QueryWriter(filter).take();
  if (query.size() > bson::maximumSize) throw Error(Error::Kind::document, "a filter beyond 16 MiB");
  if (bson::depth({query.data(), query.size()}) > static_cast<std::size_t>(bson::maximumDepth)) {
    throw Error(Error::Kind::document, "a filter nested deeper than 100 levels");
  }
  return query;
}

void addQuery(FilterBuilder& filter, View query) {
  for (const Element& element : query) {
    // Without conditions "$and" is an error of the store's to report, so it stays.
    if (element.key == "$and" && isListOfDocuments(element.value)) {
      for (const Element& part : element.value.asDocument()) {
        filter.beginGroup(Kind::andGroup);
        addQuery(filter, part.value.asDocument());
        filter.endGroup();
      }
    } else {
      filter.addCondition(element.key, {}, element.value);
    }
  }
}

void split(const FilterBuilder& filter, std::string_view key, FilterBuilder& kept, FilterBuilder& taken) {
  const Terms terms = termsOf(filter);
  forEachChild(terms, 0, [&](std::size_t child) {
    copyTerm(filter, terms, child, keyOf(filter, terms[child]) == key ? taken : kept);
  });
}

}  // namespace database_client::filter
