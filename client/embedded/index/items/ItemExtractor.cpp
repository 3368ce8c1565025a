// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/items/ItemExtractor.h"

#include <algorithm>
#include <cstring>

namespace database_client::embedded {

namespace {

/// Whether a path with dots can lead through this key, and to nothing else: "a.0" may mean a position, and a key with a
/// dot cannot be named.
bool hasPlainKey(const bson::Element& element) {
  return element.key.find('.') == std::string_view::npos && !isArrayPosition(element.key) && !element.key.empty();
}

bool isNested(const bson::Value& value) {
  return value.isDocument() || value.isArray();
}

/// Compares with a key of known length, which takes no call.
template <std::size_t size>
bool is(std::string_view key, const char (&name)[size]) {
  return key.size() == size - 1 && std::memcmp(key.data(), name, size - 1) == 0;
}

}  // namespace

void ItemExtractor::extract(bson::View document) {
  places_.clear();
  items_.clear();
  walk(document, ItemPaths::root, Reach::direct);
  mergeDuplicates();
}

void ItemExtractor::extractUnreadable() {
  places_.clear();
  items_.clear();
  for (std::size_t path = 0; path < paths_.size(); ++path) {
    const auto id = static_cast<ItemPaths::Id>(path);
    if (paths_.isTracked(id)) addNonIndexable(id);
  }
}

/// Visits everything below; whether the level itself looks like an item.
bool ItemExtractor::walk(bson::View level, ItemPaths::Id path, Reach reach) {
  bool isItem = false;
  for (const bson::Element& element : level) {
    isItem = isItem || is(element.key, "name") || is(element.key, "value");
    if (hasPlainKey(element)) visit(level, element, path, reach);
  }
  return isItem;
}

void ItemExtractor::visit(bson::View level, const bson::Element& element, ItemPaths::Id path, Reach reach) {
  if (element.value.type == bson::Type::null) return;  // Like an empty array it holds no item, and unwinds to nothing.
  const bool nested = isNested(element.value);
  // Numbers and texts matter under a clean path alone, and only where an aggregation reaches them.
  if (!nested && reach == Reach::throughArray) return;
  const auto child = paths_.child(path, element.key, !nested);
  if (!child) return;
  if (!nested) return visitNonItem(*child, reach);
  // A key that stands there a second time: the first one is what a look-up finds.
  if (level.find(element.key).data != element.value.data) reach = Reach::throughArray;
  if (element.value.isDocument()) {
    visitDocument(element.value.asDocument(), *child, reach);
  } else {
    visitArray(element.value.asDocument(), *child, reach);
  }
}

void ItemExtractor::visitNonItem(ItemPaths::Id path, Reach reach) {
  if (paths_.markNonItem(path) && reach == Reach::direct) addNonIndexable(path);
}

void ItemExtractor::visitDocument(bson::View document, ItemPaths::Id path, Reach reach) {
  if (walk(document, path, reach)) {
    // {name, value} without an array: a query matches it as it does an element.
    paths_.track(path);
    addNonIndexable(path);
  } else if (reach == Reach::direct) {
    visitNonItem(path, reach);
  }
}

void ItemExtractor::visitArray(bson::View array, ItemPaths::Id path, Reach reach) {
  const std::size_t firstItem = items_.size();
  ElementTraits whole{false, reach == Reach::direct, false};  // what the elements are taken together
  for (const bson::Element& element : array) {
    const ElementTraits traits = readElement(element.value, items_.emplace_back());
    whole.looksLikeItem = whole.looksLikeItem || traits.looksLikeItem;
    whole.isIndexable = whole.isIndexable && traits.isIndexable;
    whole.hasNested = whole.hasNested || traits.hasNested;
  }
  const std::size_t count = items_.size() - firstItem;
  bool isIndexed = whole.looksLikeItem;
  if (isIndexed) {
    paths_.track(path);
  } else if (count > 0 && reach == Reach::direct) {
    // Elements without name and value: they are told of only where that keeps the path clean, and may have come too
    // early for that, before the path had items. An empty array is nothing.
    isIndexed = paths_.markNonItem(path);
  }
  if (isIndexed && whole.isIndexable) {
    places_.push_back({path, false, firstItem, count});
  } else {
    items_.resize(firstItem);
    if (isIndexed) addNonIndexable(path);
  }
  if (whole.hasNested) walkElements(array, path);
}

/// An element that is no document is an item without anything: it counts among those of its array, as an aggregation
/// that unwinds the array counts it. What stands in an array within the array it reaches otherwise than queries do.
ItemExtractor::ElementTraits ItemExtractor::readElement(const bson::Value& element, Item& item) {
  if (element.isDocument()) return readItem(element.asDocument(), item);
  return {false, !element.isArray(), false};
}

/// What lies below an array is not reached as an aggregation reaches things, but by queries.
void ItemExtractor::walkElements(bson::View array, ItemPaths::Id path) {
  for (const bson::Element& element : array) {
    if (element.value.isDocument()) walk(element.value.asDocument(), path, Reach::throughArray);
  }
}

ItemExtractor::ElementTraits ItemExtractor::readItem(bson::View document, Item& item) {
  int names = 0;
  int values = 0;
  int types = 0;
  bool areKindsRight = true;
  bool hasNested = false;
  for (const bson::Element& field : document) {
    hasNested = hasNested || isNested(field.value);
    if (is(field.key, "name")) {
      ++names;
      item.named = true;
      areKindsRight = areKindsRight && field.value.type == bson::Type::string;
      if (areKindsRight) item.name = field.value.asString();
    } else if (is(field.key, "value")) {
      ++values;
      item.value = field.value;
    } else if (is(field.key, "type")) {
      ++types;
      item.typed = true;
      areKindsRight = areKindsRight && field.value.type == bson::Type::int32;
      if (areKindsRight) item.type = field.value.asInt32();
    }
  }
  // Of a repeated key queries take one, aggregations another.
  const bool isUnambiguous = names < 2 && values < 2 && types < 2;
  const bool isIndexable = areKindsRight && isUnambiguous && item.name.size() <= index::longestName;
  return {names > 0 || values > 0, isIndexable, hasNested};
}

void ItemExtractor::addNonIndexable(ItemPaths::Id path) {
  places_.push_back({path, true, 0, 0});
}

/// Leaves each path once: what occurs twice is not indexable.
void ItemExtractor::mergeDuplicates() {
  if (places_.size() < 2) return;
  std::stable_sort(places_.begin(), places_.end(), [](const Place& a, const Place& b) { return a.path < b.path; });
  std::size_t kept = 0;
  for (std::size_t i = 1; i < places_.size(); ++i) {
    if (places_[i].path == places_[kept].path) {
      places_[kept] = {places_[i].path, true, 0, 0};
    } else {
      places_[++kept] = places_[i];
    }
  }
  places_.resize(kept + 1);
}

}  // namespace database_client::embedded
