#pragma once

#include <functional>
#include <list>
#include <string>
#include <unordered_map>

#include "records/SectionView.h"

namespace database_provider {

/// A section that is an array of items, each with a name of its own.
///
/// What is loaded is the document as it stands, which costs no more than its bytes; it is taken apart into items when
/// they are listed, edited, or read again and again. The items are kept in the form in which they are written, so that
/// writing them back is one copy of their bytes.
class DATABASE_PROVIDER_EXPORT ItemsView : public SectionView {
 protected:
  /// Where the array stands: in "recordInfo", or in `group` there. Items have their name under `nameKey`.
  struct Layout {
    const char* array;
    const char* nameKey;
    const char* group = nullptr;
  };

  explicit ItemsView(const Layout& layout) : layout_(layout) {}

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
  /// Whether the item at the current level reads as it would after `loadItem`.
  virtual bool isAsLoaded(const ObjectProperties& item) const = 0;

  void load(const ObjectProperties& record) const override;
  void takeApart() const;
  /// The position of the last item of this name in `whole_`, -1 when there is none: of repeated names the last counts.
  int lastInWhole(const std::string& name) const;
  void visit(const std::string& name, const std::function<void(const ObjectProperties&)>& read) const;
  void updateRecord_helper(ObjectProperties& target) const override;
  void writeArray(ObjectProperties& level) const;
  void renumber() const;
  void empty() const override;
  void emptyItems() const;

  Layout layout_;
  /// The document as it was loaded, with the array entered, while it has not been taken apart.
  mutable ObjectProperties whole_;
  mutable bool isWhole_ = false;
  mutable int reads_ = 0;
  /// The array under its key, entered as soon as there is an item. After a removal its keys have gaps, until it is
  /// written.
  mutable ObjectProperties items_;
  mutable std::unordered_map<std::string, int> keys_;
  mutable int nextKey_ = 0;
};

}  // namespace database_provider
