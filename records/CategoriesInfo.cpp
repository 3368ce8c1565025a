#include "records/CategoriesInfo.h"

namespace database_provider {

CategoriesInfo::CategoriesInfo() : ItemsView("category") {}

bool CategoriesInfo::setCategory(const std::string& name, const std::string& value) {
  if (name.empty()) return false;
  extract();
  if (value.empty()) {
    removeCategory(name);
  } else {
    setCategory_helper(name, value);
  }
  setModified();
  return true;
}

bool CategoriesInfo::setCategory_helper(const std::string& name, const std::string& value) const {
  if (name.empty() || value.empty()) return false;
  cache().setValueString(name, value);
  return true;
}

std::string CategoriesInfo::categoryValue(const std::string& name, const std::string& defaultValue) const {
  extract();
  return cache().valueAsString(name, defaultValue);
}

void CategoriesInfo::removeCategory(const std::string& name) {
  if (!name.empty()) removeItem(name);
}

void CategoriesInfo::removeAllCategories() {
  removeAll();
}

void CategoriesInfo::enumCategoriesNames(std::list<std::string>& names) const {
  names = ItemsView::names();
}

void CategoriesInfo::loadItem(const ObjectProperties& item) const {
  setCategory_helper(item.valueAsString("name", ""), item.valueAsString("value", ""));
}

void CategoriesInfo::writeItem(ObjectProperties& target, const std::string& name) const {
  target.setValueString("name", name);
  target.setValueString("value", cache().valueAsString(name, ""));
}

}  // namespace database_provider
