// SPDX-License-Identifier: Apache-2.0
#include "records/CategoriesInfo.h"

#include "records/layout.h"

namespace database_provider {

CategoriesInfo::CategoriesInfo() : ItemsView({layout::key::category, "name"}) {}

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
  setItem(name, [&](ObjectProperties& item) { item.setValueString("value", value); });
  return true;
}

std::string CategoriesInfo::categoryValue(const std::string& name, const std::string& defaultValue) const {
  return read(name, defaultValue,
              [&](const ObjectProperties& item) { return item.valueAsString("value", defaultValue); });
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

bool CategoriesInfo::isCanonical(ElementReader fields) const {
  return fields.next() && fields.key() == "name" && !fields.asString().empty() &&   //
         fields.next() && fields.key() == "value" && !fields.asString().empty() &&  //
         !fields.next();
}

}  // namespace database_provider
