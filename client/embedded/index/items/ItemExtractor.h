// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/index/items/ItemPaths.h"

namespace database_client::embedded {

/// One element of an array of items. An element that is no document is an item without anything.
struct Item {
  std::string_view name{};
  bson::Value value{};  ///< null `data` when missing
  std::int32_t type = 0;
  bool named = false;
  bool typed = false;
};

/// Finds the items of a document, path by path.
///
/// Under a path a document is either indexable, with its items, or not: it has something there whose meaning for a
/// query or an aggregation takes the document itself to tell (no array, or one in another array, a repeated key, a name
/// that is no text, a type that is no int32, …).
class ItemExtractor {
 public:
  struct Place {
    ItemPaths::Id path = 0;
    bool nonIndexable = false;
    std::size_t firstItem = 0;
    std::size_t items = 0;
  };

  explicit ItemExtractor(ItemPaths& paths) : paths_(paths) {}

  /// Replaces what the extraction before found; the items point into `document`. Each path stands there once.
  void extract(bson::View document);
  /// As for a document that cannot be read: it may have anything under every path that is tracked.
  void extractUnknown();
  const std::vector<Place>& places() const { return places_; }
  const Item* items(const Place& place) const { return items_.data() + place.firstItem; }

 private:
  /// How a level is reached: through documents alone, or also through an array or a repeated key.
  enum class Reach { direct, throughArray };

  bool walk(bson::View level, ItemPaths::Id path, Reach reach);
  void visit(bson::View level, const bson::Element& element, ItemPaths::Id path, Reach reach);
  void visitDocument(bson::View document, ItemPaths::Id path, Reach reach);
  void visitArray(bson::View array, ItemPaths::Id path, Reach reach);
  void visitNonItem(ItemPaths::Id path, Reach reach);
  void walkElements(bson::View array, ItemPaths::Id path);
  static bool readItem(bson::View document, Item& item, bool& isItem, bool& nested);
  void addNonIndexable(ItemPaths::Id path);
  void mergeDuplicates();

  ItemPaths& paths_;
  std::vector<Place> places_;
  std::vector<Item> items_;
};

}  // namespace database_client::embedded
