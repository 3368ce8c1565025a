// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <list>
#include <string>
#include <unordered_map>

#include "records/SectionView.h"

namespace database_provider {

/// A section that is an array of items, each with a name of its own.
///
/// What is loaded is the document as it stands, which costs no more than its bytes, and single items are read from it.
/// Once items are listed or edited, the copy is the array alone, in the form in which it is written, so that writing it
/// back is one copy of its bytes.
class DATABASE_PROVIDER_EXPORT ItemsView : public SectionView {
 protected:
  /// Where the array stands: in "recordInfo", or in `group` there. Items have their name under `nameKey`.
  struct Layout {
    std::string array;
    std::string nameKey;
    std::string group{};
  };

  explicit ItemsView(Layout layout);

  std::list<std::string> names() const;
  bool contains(const std::string& name) const;
  void removeItem(const std::string& name);

  /// What `get` reads at the level of the item of this name; `value` when there is none.
  template <class Value, class Get>
  Value read(const std::string& name, Value value, Get get) const {
    visit(name, [&](const ObjectProperties& item) { value = get(item); });
    return value;
  }
  /// Adds an item to the copy, or changes the one of this name: `write` sets what it holds besides the name, at the
  /// current level. Only the first value it sets may be refused; then nothing has changed.
  void setItem(const std::string& name, const std::function<void(ObjectProperties&)>& write) const;

 private:
  /// Adds the item at the current level of `item` to the copy; items that are not valid are left out.
  virtual void loadItem(const ObjectProperties& item) const = 0;
  /// Whether an item of these fields is valid, and would be written back just so.
  virtual bool isCanonical(ElementReader fields) const = 0;

  void load(const ObjectProperties& record) const override;
  void normalize() const;
  bool areAllCanonical() const;
  void adopt(const ObjectProperties& stored) const;
  void rebuild(const ObjectProperties& stored) const;

  bool enterArray(const ObjectProperties& document) const;
  void beginAround() const;
  void open() const;
  void visit(const std::string& name, const std::function<void(const ObjectProperties&)>& read) const;
  std::string keyOf(const std::string& name) const;
  void buildIndex() const;

  void updateRecord_helper(ObjectProperties& target) const override;
  void writeArray(ObjectProperties& level) const;
  void renumber() const;
  void empty() const override;

  Layout layout_;
  /// The array at its place in a document, entered; an empty document while there is none.
  mutable ObjectProperties items_;
  mutable bool isOpen_ = false;
  /// Whether the array is as it will be written, but for gaps between the keys, which removals leave.
  mutable bool isNormal_ = true;
  mutable int count_ = 0;
  mutable int nextKey_ = 0;
  /// The keys by name, built once much has been searched for.
  mutable std::unordered_map<std::string, std::string> index_;
  mutable int searched_ = 0;
};

}  // namespace database_provider
