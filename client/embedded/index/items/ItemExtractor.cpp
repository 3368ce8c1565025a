// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/items/ItemExtractor.h"

#include <algorithm>
#include <cstring>

namespace database_client::embedded {

namespace {

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

bool isNothing(const bson::Value& value) {
  return value.type == bson::Type::null;
}

}  // namespace

void ItemExtractor::extract(bson::View document) {
  places_.clear();
  items_.clear();
  walk(document, ItemPaths::root, Reach::direct);
  mergeDuplicates();
}

void ItemExtractor::extractUnknown() {
  places_.clear();
  items_.clear();
  for (std::size_t path = 0; path < paths_.size(); ++path) {
    const auto id = static_cast<ItemPaths::Id>(path);
    if (paths_.isTracked(id)) addNonIndexable(id);
  }
}

/// Whether the level itself looks like an item.
bool ItemExtractor::walk(bson::View level, ItemPaths::Id path, Reach reach) {
  bool isItem = false;
  for (const bson::Element& element : level) {
    isItem = isItem || is(element.key, "name") || is(element.key, "value");
    if (hasPlainKey(element)) visit(level, element, path, reach);
  }
  return isItem;
}

void ItemExtractor::visit(bson::View level, const bson::Element& element, ItemPaths::Id path, Reach reach) {
  if (isNothing(element.value)) return;
  const bool nested = isNested(element.value);
  if (!nested && reach == Reach::throughArray) return;
  const auto child = paths_.child(path, element.key, !nested);
  if (!child) return;
  if (!nested) return visitNonItem(*child, reach);
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
    paths_.track(path);
    addNonIndexable(path);
  } else if (reach == Reach::direct) {
    visitNonItem(path, reach);
  }
}

void ItemExtractor::visitArray(bson::View array, ItemPaths::Id path, Reach reach) {
  const std::size_t firstItem = items_.size();
  bool regular = reach == Reach::direct;
  bool anyItem = false;
  bool anyNested = false;
  for (const bson::Element& element : array) {
    items_.emplace_back();
    if (element.value.isArray()) regular = false;
    if (element.value.isArray()) anyNested = true;
    if (!element.value.isDocument()) continue;
    regular = readItem(element.value.asDocument(), items_.back(), anyItem, anyNested) && regular;
  }
  const std::size_t count = items_.size() - firstItem;
  if (anyItem) paths_.track(path);
  const bool told = anyItem || (count > 0 && reach == Reach::direct && paths_.markNonItem(path));
  if (told && regular) {
    places_.push_back({path, false, firstItem, count});
  } else {
    items_.resize(firstItem);
    if (told) addNonIndexable(path);
  }
  if (anyNested) walkElements(array, path);
}

/// What lies below an array is not reached as an aggregation reaches things, but by queries.
void ItemExtractor::walkElements(bson::View array, ItemPaths::Id path) {
  for (const bson::Element& element : array) {
    if (element.value.isDocument()) walk(element.value.asDocument(), path, Reach::throughArray);
  }
}

/// False when the item makes the document non-indexable.
bool ItemExtractor::readItem(bson::View document, Item& item, bool& isItem, bool& nested) {
  int names = 0;
  int values = 0;
  int types = 0;
  bool plain = true;
  for (const bson::Element& field : document) {
    nested = nested || isNested(field.value);
    if (is(field.key, "name")) {
      ++names;
      item.named = true;
      plain = plain && field.value.type == bson::Type::string;
      if (plain) item.name = field.value.asString();
    } else if (is(field.key, "value")) {
      ++values;
      item.value = field.value;
    } else if (is(field.key, "type")) {
      ++types;
      item.typed = true;
      plain = plain && field.value.type == bson::Type::int32;
      if (plain) item.type = field.value.asInt32();
    }
  }
  isItem = isItem || names > 0 || values > 0;
  return plain && names < 2 && values < 2 && types < 2 && item.name.size() <= index::longestName;
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
