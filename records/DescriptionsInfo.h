// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <string>

#include "records/ItemsView.h"

namespace database_provider {

/// The descriptions of a record: a value of one of six kinds under each name.
///
/// Adding a double or a 64-bit integer does not mark the section as edited and returns false; only the attempt with an
/// empty name, which stores nothing, marks it and returns true. Callers rely on it.
class DATABASE_PROVIDER_EXPORT DescriptionsInfo : public ItemsView {
 public:
  DescriptionsInfo();

  /// An empty value removes the description.
  bool addDescriptionString(const std::string& name, const std::string& value);
  bool addDescriptionBool(const std::string& name, const bool& value);
  bool addDescriptionInt(const std::string& name, const int& value);
  bool addDescriptionDouble(const std::string& name, const double& value);
  bool addDescriptionLongLong(const std::string& name, const long long& value);
  bool addDescriptionTime(const std::string& name, const long long& value);

  // These write into the copy alone; false for an empty name, and for an empty text.
  bool addDescriptionString_helper(const std::string& name, const std::string& value) const;
  bool addDescriptionBool_helper(const std::string& name, const bool& value) const;
  bool addDescriptionInt_helper(const std::string& name, const int& value) const;
  bool addDescriptionDouble_helper(const std::string& name, const double& value) const;
  bool addDescriptionLongLong_helper(const std::string& name, const long long& value) const;
  bool addDescriptionTime_helper(const std::string& name, const long long& value) const;

  std::string descriptionAsString(const std::string& name, const std::string& defaultValue) const;
  int descriptionAsInt(const std::string& name, int defaultValue) const;
  double descriptionAsDouble(const std::string& name, double defaultValue) const;
  bool descriptionAsBool(const std::string& name, bool defaultValue) const;
  long long descriptionAsLongLong(const std::string& name, long long defaultValue) const;
  long long descriptionAsTime(const std::string& name, long long defaultValue) const;
  void descriptionType(const std::string& name, PropertyType& type) const;

  void removeDescription(const std::string& name);
  void removeAllDescriptions();
  void enumDescriptionsNames(std::list<std::string>& names) const;

 private:
  bool modifiedWhen(bool condition);
  void loadItem(const ObjectProperties& item) const override;
  bool isCanonical(ElementReader fields) const override;
  /// Stores a value by `setValue`; false for an empty name.
  template <class SetValue>
  bool addDescription(const std::string& name, PropertyType type, SetValue setValue) const;
};

}  // namespace database_provider
