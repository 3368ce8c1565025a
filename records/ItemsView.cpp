// SPDX-License-Identifier: Apache-2.0
#include "records/ItemsView.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "records/layout.h"

namespace database_provider {

using database_client::ArrayScope;
using database_client::EnteredScope;
using database_client::GroupScope;

namespace {

/// After so many items passed over in search of names, an index pays.
constexpr int searchesBeforeIndex = 1024;
constexpr std::size_t usualCount = 32;

std::string_view textOf(ElementReader item, std::string_view key) {
  for (ElementReader field = item.children(); field.next();) {
    if (field.key() == key) return field.asString();
  }
  return {};
}

/// Stands outside the array for a scope.
class OutsideArray {
 public:
  OutsideArray(const ObjectProperties& items, const std::string& array) : items_(items), array_(array) {
    items_.endArray();
  }
  OutsideArray(const OutsideArray&) = delete;
  OutsideArray& operator=(const OutsideArray&) = delete;
  ~OutsideArray() { items_.beginArray(array_); }

 private:
  const ObjectProperties& items_;
  const std::string& array_;
};

}  // namespace

ItemsView::ItemsView(Layout layout) : layout_(std::move(layout)) {}

std::list<std::string> ItemsView::names() const {
  extract();
  normalize();
  std::list<std::string> names;
  if (!isOpen_) return names;
  for (ElementReader item(items_); item.next();) names.emplace_back(textOf(item, layout_.nameKey));
  return names;
}

bool ItemsView::contains(const std::string& name) const {
  extract();
  normalize();
  return !keyOf(name).empty();
}

void ItemsView::removeItem(const std::string& name) {
  extract();
  normalize();
  const std::string key = keyOf(name);
  if (!key.empty()) {
    items_.removeKey(key);
    index_.erase(name);
    --count_;
  }
  setModified();
}

/// Reads one item, in the loaded form where the normal one would say the same of it.
///
/// Normalizing adds the valid items in their order, each in the place of an earlier one of its name. So the last item
/// of a name is the one that counts, as long as it is valid, and it can be read as it lies if nothing of it would be
/// left out or converted; both is what `isCanonical` says. Of any other the normal form has to tell. The empty name is
/// among these, since an item without a name, which the search does not find, may be kept under it; and so is every
/// name once so much has been searched that the index of the normal form pays.
void ItemsView::visit(const std::string& name, const std::function<void(const ObjectProperties&)>& read) const {
  extract();
  if (!isNormal_ && !name.empty() && searched_ < searchesBeforeIndex) {
    const int last = items_.findLastItem(layout_.nameKey, name);
    searched_ += items_.size();
    if (last < 0) return;
    const bool isGroup = items_.typeAt(last) == PropertyType::group;
    const EnteredScope item = EnteredScope::at(items_, last);
    if (isGroup && isCanonical(ElementReader(items_))) return read(items_);
  }
  normalize();
  const std::string key = keyOf(name);
  if (key.empty()) return;
  const EnteredScope item = EnteredScope::group(items_, key);
  read(items_);
}

/// The key of the item of this name in the normalized copy, empty when there is none.
std::string ItemsView::keyOf(const std::string& name) const {
  if (!isOpen_) return {};
  if (index_.empty() && searched_ < searchesBeforeIndex) {
    searched_ += count_;
    return items_.nameAt(items_.findLastItem(layout_.nameKey, name));
  }
  if (index_.empty()) buildIndex();
  const auto found = index_.find(name);
  return found == index_.end() ? std::string() : found->second;
}

void ItemsView::buildIndex() const {
  for (ElementReader item(items_); item.next();) index_.emplace(textOf(item, layout_.nameKey), item.key());
}

void ItemsView::setItem(const std::string& name, const std::function<void(ObjectProperties&)>& write) const {
  normalize();
  const std::string old = keyOf(name);
  if (!old.empty()) {
    const GroupScope item(items_, old);
    return write(items_);
  }
  open();
  const std::string key = std::to_string(nextKey_);
  try {
    {
      const GroupScope item(items_, key);
      items_.setValueString(layout_.nameKey, name);
      write(items_);
    }
    if (!index_.empty()) index_.emplace(name, key);
  } catch (...) {
    items_.removeKey(key);
    if (nextKey_ == 0) empty();
    throw;
  }
  ++nextKey_;
  ++count_;
}

void ItemsView::open() const {
  if (isOpen_) return;
  beginAround();
  items_.beginArray(layout_.array);
  isOpen_ = true;
}

/// Opens what the array stands in.
void ItemsView::beginAround() const {
  items_.beginGroup(layout::key::recordInfo);
  if (!layout_.group.empty()) items_.beginGroup(layout_.group);
}

bool ItemsView::enterArray(const ObjectProperties& document) const {
  return document.enterGroup(layout::key::recordInfo) &&
         (layout_.group.empty() || document.enterGroup(layout_.group)) && document.enterArray(layout_.array);
}

void ItemsView::load(const ObjectProperties& record) const {
  empty();
  items_ = record;
  isOpen_ = enterArray(items_);
  isNormal_ = !isOpen_;
  if (!isOpen_) items_ = ObjectProperties();
}

/// Makes the normal form of the loaded one. Should that fail, for want of memory, the copy is again as it was loaded: a
/// half of the items would be written back as all of them.
void ItemsView::normalize() const {
  if (isNormal_) return;
  const bool isAlready = areAllCanonical();
  const int searched = searched_;
  const ObjectProperties stored = items_;
  empty();
  try {
    isAlready ? adopt(stored) : rebuild(stored);
  } catch (...) {
    load(stored);
    throw;
  }
  searched_ = searched;  // What was spent on searches counts in either form.
}

/// Whether the array is normal already, as what this library wrote is. Two names of one hash count as repeated, which
/// costs no more than adding the items one by one.
bool ItemsView::areAllCanonical() const {
  std::vector<std::size_t> names;
  names.reserve(usualCount);
  for (ElementReader item(items_); item.next();) {
    if (item.type() != PropertyType::group || item.key() != std::to_string(names.size())) return false;
    if (!isCanonical(item.children())) return false;
    names.push_back(std::hash<std::string_view>()(textOf(item, layout_.nameKey)));
  }
  std::sort(names.begin(), names.end());
  return std::adjacent_find(names.begin(), names.end()) == names.end();
}

/// Takes the array over as one run of bytes.
void ItemsView::adopt(const ObjectProperties& stored) const {
  enterArray(stored);
  stored.endArray();
  beginAround();
  items_.copyValue(layout_.array, stored, layout_.array);
  isOpen_ = items_.enterArray(layout_.array);
  count_ = nextKey_ = items_.size();
}

/// Adds the items one by one, as if each were set anew.
void ItemsView::rebuild(const ObjectProperties& stored) const {
  enterArray(stored);
  const int count = stored.size();
  for (int i = 0; i < count; ++i) {
    if (stored.typeAt(i) != PropertyType::group) {
      // Whatever else it is reads as an item that holds nothing.
      loadItem(ObjectProperties());
      continue;
    }
    const EnteredScope item = EnteredScope::at(stored, i);
    loadItem(stored);
  }
}

void ItemsView::updateRecord_helper(ObjectProperties& target) const {
  normalize();
  if (count_ != nextKey_) renumber();
  const GroupScope info(target, layout::key::recordInfo);
  if (layout_.group.empty()) return writeArray(target);
  const GroupScope group(target, layout_.group);
  writeArray(target);
}

void ItemsView::writeArray(ObjectProperties& level) const {
  level.removeKey(layout_.array);
  if (isOpen_) {
    const OutsideArray array(items_, layout_.array);
    level.copyValue(layout_.array, items_, layout_.array);
  } else {
    const ArrayScope none(level, layout_.array);
  }
}

/// Closes the gaps between the keys.
void ItemsView::renumber() const {
  ObjectProperties numbered;
  int count = 0;
  numbered.beginArray(layout_.array);
  for (ElementReader item(items_); item.next();) {
    numbered.copyValue(std::to_string(count++), items_, std::string(item.key()));
  }
  numbered.endArray();
  const OutsideArray array(items_, layout_.array);
  items_.copyValue(layout_.array, numbered, layout_.array);
  index_.clear();
  nextKey_ = count_;
}

void ItemsView::empty() const {
  items_ = ObjectProperties();
  isOpen_ = false;
  isNormal_ = true;
  count_ = nextKey_ = searched_ = 0;
  index_.clear();
}

}  // namespace database_provider
