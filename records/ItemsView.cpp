#include "records/ItemsView.h"

namespace database_provider {

using database_client::Array;
using database_client::Entered;
using database_client::Group;

std::list<std::string> ItemsView::names() const {
  extract();
  return cache_.childKeys();
}

void ItemsView::removeItem(const std::string& name) {
  extract();
  cache_.removeKey(name);
  setModified();
}

void ItemsView::load(const ObjectProperties& record) const {
  empty();
  const Entered info = Entered::group(record, "recordInfo");
  if (!info) return;
  if (group_ == nullptr) return loadArray(record);
  const Entered group = Entered::group(record, group_);
  if (group) loadArray(record);
}

void ItemsView::loadArray(const ObjectProperties& level) const {
  const Entered array = Entered::array(level, array_);
  if (!array) return;
  const int count = level.size();
  for (int i = 0; i < count; ++i) {
    const Entered item = Entered::at(level, i);
    if (item) loadItem(level);
  }
}

void ItemsView::updateRecord_helper(ObjectProperties& target) const {
  const Group info(target, "recordInfo");
  if (group_ == nullptr) return writeArray(target);
  const Group group(target, group_);
  writeArray(target);
}

void ItemsView::writeArray(ObjectProperties& level) const {
  level.removeKey(array_);
  const Array array(level, array_);
  int index = 0;
  for (const std::string& name : cache_.childKeys()) {
    const Group item(level, std::to_string(index++));
    writeItem(level, name);
  }
}

void ItemsView::empty() const {
  cache_ = ObjectProperties();
}

}  // namespace database_provider
