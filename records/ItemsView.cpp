#include "records/ItemsView.h"

#include <utility>

namespace database_provider {

using database_client::Array;
using database_client::Entered;
using database_client::Group;

namespace {

/// After so many single reads the items are taken apart, so that reading all of many stays fast.
constexpr int readsOfWhole = 16;

/// Stands at the root of the copy for a scope.
class AtRoot {
 public:
  AtRoot(const ObjectProperties& items, const std::string& array) : items_(items), array_(array) { items_.endArray(); }
  AtRoot(const AtRoot&) = delete;
  AtRoot& operator=(const AtRoot&) = delete;
  ~AtRoot() { items_.beginArray(array_); }

 private:
  const ObjectProperties& items_;
  const std::string& array_;
};

}  // namespace

std::list<std::string> ItemsView::names() const {
  extract();
  takeApart();
  std::list<std::string> names;
  const int count = items_.size();
  for (int i = 0; i < count; ++i) {
    const Entered item = Entered::at(items_, i);
    names.push_back(items_.valueAsString(layout_.nameKey, ""));
  }
  return names;
}

bool ItemsView::contains(const std::string& name) const {
  extract();
  takeApart();
  return keys_.count(name) != 0;
}

void ItemsView::removeItem(const std::string& name) {
  extract();
  takeApart();
  const auto found = keys_.find(name);
  if (found != keys_.end()) {
    items_.removeKey(std::to_string(found->second));
    keys_.erase(found);
  }
  setModified();
}

void ItemsView::visit(const std::string& name, const std::function<void(const ObjectProperties&)>& read) const {
  extract();
  if (isWhole_ && !name.empty() && ++reads_ <= readsOfWhole) {
    const Entered item = Entered::at(whole_, lastInWhole(name));
    if (!item) return;
    if (isAsLoaded(whole_)) return read(whole_);
  }
  takeApart();
  const auto found = keys_.find(name);
  if (found == keys_.end()) return;
  const Group item(items_, std::to_string(found->second));
  read(items_);
}

int ItemsView::lastInWhole(const std::string& name) const {
  const std::string nameKey = layout_.nameKey;
  int last = -1;
  const int count = whole_.size();
  for (int i = 0; i < count; ++i) {
    const Entered item = Entered::at(whole_, i);
    if (item && whole_.valueAsString(nameKey, "") == name) last = i;
  }
  return last;
}

void ItemsView::setItem(const std::string& name, const std::function<void(ObjectProperties&)>& write) const {
  takeApart();
  const auto found = keys_.find(name);
  if (found != keys_.end()) {
    const Group item(items_, std::to_string(found->second));
    return write(items_);
  }
  if (nextKey_ == 0) items_.beginArray(layout_.array);
  const std::string key = std::to_string(nextKey_);
  try {
    {
      const Group item(items_, key);
      items_.setValueString(layout_.nameKey, name);
      write(items_);
    }
    keys_.emplace(name, nextKey_);
  } catch (...) {
    items_.removeKey(key);
    if (nextKey_ == 0) emptyItems();
    throw;
  }
  ++nextKey_;
}

void ItemsView::load(const ObjectProperties& record) const {
  empty();
  whole_ = record;
  isWhole_ = whole_.enterGroup("recordInfo") && (layout_.group == nullptr || whole_.enterGroup(layout_.group)) &&
             whole_.enterArray(layout_.array);
  if (!isWhole_) whole_ = ObjectProperties();
}

void ItemsView::takeApart() const {
  if (!isWhole_) return;
  isWhole_ = false;
  try {
    const int count = whole_.size();
    for (int i = 0; i < count; ++i) {
      const Entered item = Entered::at(whole_, i);
      if (item) loadItem(whole_);
    }
  } catch (...) {
    emptyItems();
    isWhole_ = true;
    throw;
  }
  whole_ = ObjectProperties();
}

void ItemsView::updateRecord_helper(ObjectProperties& target) const {
  takeApart();
  if (nextKey_ != static_cast<int>(keys_.size())) renumber();
  const Group info(target, "recordInfo");
  if (layout_.group == nullptr) return writeArray(target);
  const Group group(target, layout_.group);
  writeArray(target);
}

void ItemsView::writeArray(ObjectProperties& level) const {
  const std::string array = layout_.array;
  level.removeKey(array);
  if (nextKey_ == 0) {
    const Array none(level, array);
  } else {
    const AtRoot root(items_, array);
    level.copyValue(array, items_, array);
  }
}

void ItemsView::renumber() const {
  if (keys_.empty()) return emptyItems();
  ObjectProperties numbered;
  numbered.beginArray(layout_.array);
  std::unordered_map<std::string, int> keys;
  for (const std::string& name : names()) {
    const int key = static_cast<int>(keys.size());
    numbered.copyValue(std::to_string(key), items_, std::to_string(keys_.at(name)));
    keys.emplace(name, key);
  }
  items_ = std::move(numbered);
  items_.beginArray(layout_.array);
  keys_ = std::move(keys);
  nextKey_ = static_cast<int>(keys_.size());
}

void ItemsView::empty() const {
  whole_ = ObjectProperties();
  isWhole_ = false;
  reads_ = 0;
  emptyItems();
}

void ItemsView::emptyItems() const {
  items_ = ObjectProperties();
  keys_.clear();
  nextKey_ = 0;
}

}  // namespace database_provider
