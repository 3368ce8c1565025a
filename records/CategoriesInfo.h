// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <string>

#include "records/ItemsView.h"

namespace database_provider {

/// The categories of a record: a text under each name, neither of them empty.
class DATABASE_PROVIDER_EXPORT CategoriesInfo : public ItemsView {
 public:
  CategoriesInfo();

  /// An empty value removes the category. False for an empty name only.
  bool setCategory(const std::string& name, const std::string& value);
  /// Writes into the copy alone; false when either is empty.
  bool setCategory_helper(const std::string& name, const std::string& value) const;
  std::string categoryValue(const std::string& name, const std::string& defaultValue) const;
  void removeCategory(const std::string& name);
  void removeAllCategories();
  void enumCategoriesNames(std::list<std::string>& names) const;

 private:
  void loadItem(const ObjectProperties& item) const override;
  bool isCanonical(ElementReader fields) const override;
};

}  // namespace database_provider
