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
///
/// What comes out depends on the document and the paths alone, and a path that is tracked stays what it is: removing
/// a document finds what adding it found, which is what makes the two cancel.
///
/// A path is found by walking all of the document, not by looking for paths that are known: items may stand anywhere,
/// and nobody declares where.
class ItemExtractor {
 public:
  /// What the document has under one path that is to be indexed.
  struct Place {
    ItemPaths::Id path = 0;
    bool nonIndexable = false;
    std::size_t firstItem = 0;
    std::size_t items = 0;
  };

  /// Adds to `paths` what documents have.
  explicit ItemExtractor(ItemPaths& paths) : paths_(paths) {}

  /// Replaces what the extraction before found; the items point into `document`. Each path stands there once.
  void extract(bson::View document);
  /// As for a document that cannot be read: it may have anything under every path that is tracked.
  void extractUnreadable();
  const std::vector<Place>& places() const { return places_; }
  const Item* items(const Place& place) const { return items_.data() + place.firstItem; }

 private:
  /// How a level is reached: through documents alone, or also through an array or a repeated key.
  enum class Reach { direct, throughArray };
  /// What an element of an array is to the index, besides the item that it holds.
  struct ElementTraits {
    bool looksLikeItem = false;  ///< it has a "name" or a "value"
    bool isIndexable = true;     ///< the item tells all that there is to know of it
    bool hasNested = false;      ///< it has arrays or documents, in which items may stand, too
  };

  bool walk(bson::View level, ItemPaths::Id path, Reach reach);
  void visit(bson::View level, const bson::Element& element, ItemPaths::Id path, Reach reach);
  void visitDocument(bson::View document, ItemPaths::Id path, Reach reach);
  void visitArray(bson::View array, ItemPaths::Id path, Reach reach);
  void visitNonItem(ItemPaths::Id path, Reach reach);
  void walkElements(bson::View array, ItemPaths::Id path);
  static ElementTraits readElement(const bson::Value& element, Item& item);
  static ElementTraits readItem(bson::View document, Item& item);
  void addNonIndexable(ItemPaths::Id path);
  void mergeDuplicates();

  ItemPaths& paths_;
  std::vector<Place> places_;
  std::vector<Item> items_;
};

}  // namespace database_client::embedded
