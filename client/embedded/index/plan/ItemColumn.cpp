// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/ItemColumn.h"

#include "client/bson/Writer.h"

namespace database_client::embedded::index {

using bson::Value;
using bson::View;

ItemColumn::ItemColumn(const ItemPaths& paths, const TermScan& scan, const ItemReference& item)
    : scan_(scan), path_(item.path), state_(paths.state(item.path, id_)) {
  bson::Writer writer;
  writer.appendString("", item.name);
  nameBytes_ = writer.take();
  nameValue_ = View{nameBytes_.data(), nameBytes_.size()}.begin()->value;
  names_ = KeyBuilder().start(id_, TermKind::name).name(item.name).key();
  values_ = KeyBuilder().start(id_, TermKind::value).name(item.name).key();
}

KeyRange ItemColumn::valuesOf(ValueClass first, ValueClass last) const {
  if (state_ != ItemPaths::State::tracked) return {};
  return {values_ + static_cast<char>(first), values_ + static_cast<char>(static_cast<int>(last) + 1)};
}

RecordSet ItemColumn::oddRecords() const {
  RecordSet odd;
  if (state_ != ItemPaths::State::tracked) return odd;
  const KeyRange nonIndexable = allOf(id_, TermKind::nonIndexable);
  scan_.collect(nonIndexable.low, nonIndexable.high, odd);
  for (const ValueClass kind : {ValueClass::longString, ValueClass::opaque}) {
    const KeyRange range = valuesOf(kind, kind);
    scan_.collect(range.low, range.high, odd);
  }
  if (isUnique(scan_, id_, nameValue_.asString())) return odd;
  // Of two items of a name the first one counts, and the terms do not tell which that is.
  RecordSet seen;
  scan_.eachTerm(values_, afterPrefix(values_), [&](std::string_view, auto&& eachRun) {
    scan_.checkWanted();
    eachRun([&](Run run) {
      for (RecordNumber record = run.first; record < run.first + run.length; ++record) {
        if (seen.contains(record)) odd.add(record);
        seen.add(record);
      }
    });
  });
  return odd;
}

std::optional<std::uint64_t> ItemColumn::countWithItem() const {
  if (state_ != ItemPaths::State::tracked) return 0;
  return countUnique(scan_, id_, nameValue_.asString());
}

RecordSet ItemColumn::recordsWithItem() const {
  RecordSet records;
  if (state_ == ItemPaths::State::tracked) scan_.collect(names_, afterPrefix(names_), records);
  return records;
}

RecordSet ItemColumn::recordsWithNull() const {
  RecordSet records;
  const KeyRange range = valuesOf(ValueClass::missing, ValueClass::null);
  scan_.collect(range.low, range.high, records);
  return records;
}

std::uint64_t ItemColumn::estimate() const {
  const KeyRange range = valuesOf(ValueClass::missing, ValueClass::opaque);
  return scan_.estimate(range.low, range.high);
}

/// Whether the name of an element is equal to ours, which a symbol can be, too.
bool ItemColumn::isNamed(const Value& element) const {
  return element.isDocument() && equal(element.asDocument().find("name"), nameValue_);
}

/// On the way through an array a path leads to an array of what it leads to in each element that is a document. What it
/// finds there counts as an element, so that {name, value} in place of an array is an item then.
Value ItemColumn::valueIn(View document) const {
  Value at{bson::Type::document, document.data, document.size};
  for (std::size_t part = 0; part < path_.size(); ++part) {
    if (at.isDocument()) {
      at = at.asDocument().find(path_[part].name);
      if (isMissing(at)) return {};
      continue;
    }
    if (!at.isArray()) return {};
    for (const bson::Element& element : at.asDocument()) {
      Value inside = element.value;
      for (std::size_t next = part; next < path_.size() && !isMissing(inside); ++next) {
        inside = inside.isDocument() ? inside.asDocument().find(path_[next].name) : Value{};
      }
      if (!isMissing(inside) && isNamed(inside)) return inside.asDocument().find("value");
    }
    return {};
  }
  if (!at.isArray()) return {};
  for (const bson::Element& element : at.asDocument()) {
    if (isNamed(element.value)) return element.value.asDocument().find("value");
  }
  return {};
}

}  // namespace database_client::embedded::index
