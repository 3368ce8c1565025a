#include "records/DescriptionsInfo.h"

namespace database_provider {

DescriptionsInfo::DescriptionsInfo() : ItemsView("description") {}

bool DescriptionsInfo::modifiedWhen(bool condition) {
  if (condition) setModified();
  return condition;
}

bool DescriptionsInfo::addDescriptionString(const std::string& name, const std::string& value) {
  extract();
  if (!value.empty()) return modifiedWhen(addDescriptionString_helper(name, value));
  removeDescription(name);
  return true;
}

bool DescriptionsInfo::addDescriptionBool(const std::string& name, const bool& value) {
  extract();
  return modifiedWhen(addDescriptionBool_helper(name, value));
}

bool DescriptionsInfo::addDescriptionInt(const std::string& name, const int& value) {
  extract();
  return modifiedWhen(addDescriptionInt_helper(name, value));
}

bool DescriptionsInfo::addDescriptionDouble(const std::string& name, const double& value) {
  extract();
  return modifiedWhen(!addDescriptionDouble_helper(name, value));
}

bool DescriptionsInfo::addDescriptionLongLong(const std::string& name, const long long& value) {
  extract();
  return modifiedWhen(!addDescriptionLongLong_helper(name, value));
}

bool DescriptionsInfo::addDescriptionTime(const std::string& name, const long long& value) {
  extract();
  return modifiedWhen(addDescriptionTime_helper(name, value));
}

bool DescriptionsInfo::addDescriptionString_helper(const std::string& name, const std::string& value) const {
  if (name.empty() || value.empty()) return false;
  cache().setValueString(name, value);
  return true;
}

bool DescriptionsInfo::addDescriptionBool_helper(const std::string& name, const bool& value) const {
  if (name.empty()) return false;
  cache().setValueBool(name, value);
  return true;
}

bool DescriptionsInfo::addDescriptionInt_helper(const std::string& name, const int& value) const {
  if (name.empty()) return false;
  cache().setValueInt32(name, value);
  return true;
}

bool DescriptionsInfo::addDescriptionDouble_helper(const std::string& name, const double& value) const {
  if (name.empty()) return false;
  cache().setValueDouble(name, value);
  return true;
}

bool DescriptionsInfo::addDescriptionLongLong_helper(const std::string& name, const long long& value) const {
  if (name.empty()) return false;
  cache().setValueInt64(name, value);
  return true;
}

bool DescriptionsInfo::addDescriptionTime_helper(const std::string& name, const long long& value) const {
  if (name.empty()) return false;
  cache().setValueTime(name, value);
  return true;
}

std::string DescriptionsInfo::descriptionAsString(const std::string& name, const std::string& defaultValue) const {
  extract();
  return cache().valueAsString(name, defaultValue);
}

int DescriptionsInfo::descriptionAsInt(const std::string& name, int defaultValue) const {
  extract();
  return cache().valueAsInt32(name, defaultValue);
}

double DescriptionsInfo::descriptionAsDouble(const std::string& name, double defaultValue) const {
  extract();
  return cache().valueAsDouble(name, defaultValue);
}

bool DescriptionsInfo::descriptionAsBool(const std::string& name, bool defaultValue) const {
  extract();
  return cache().valueAsBool(name, defaultValue);
}

long long DescriptionsInfo::descriptionAsLongLong(const std::string& name, long long defaultValue) const {
  extract();
  return cache().valueAsInt64(name, defaultValue);
}

long long DescriptionsInfo::descriptionAsTime(const std::string& name, long long defaultValue) const {
  extract();
  return cache().valueAsTime(name, defaultValue);
}

void DescriptionsInfo::descriptionType(const std::string& name, PropertyType& type) const {
  extract();
  type = cache().type(name);
}

void DescriptionsInfo::removeDescription(const std::string& name) {
  removeItem(name);
}

void DescriptionsInfo::removeAllDescriptions() {
  removeAll();
}

void DescriptionsInfo::enumDescriptionsNames(std::list<std::string>& names) const {
  names = ItemsView::names();
}

void DescriptionsInfo::loadItem(const ObjectProperties& item) const {
  const std::string name = item.valueAsString("name", "");
  switch (static_cast<PropertyType>(item.valueAsInt32("type", 0))) {
    case PropertyType::string:
      addDescriptionString_helper(name, item.valueAsString("value", ""));
      break;
    case PropertyType::boolean:
      addDescriptionBool_helper(name, item.valueAsBool("value", false));
      break;
    case PropertyType::int32:
      addDescriptionInt_helper(name, item.valueAsInt32("value", 0));
      break;
    case PropertyType::int64:
      addDescriptionLongLong_helper(name, item.valueAsInt64("value", 0));
      break;
    case PropertyType::real:
      addDescriptionDouble_helper(name, item.valueAsDouble("value", 0.0));
      break;
    case PropertyType::time:
      addDescriptionTime_helper(name, item.valueAsTime("value", 0));
      break;
    default:
      break;
  }
}

void DescriptionsInfo::writeItem(ObjectProperties& target, const std::string& name) const {
  target.setValueString("name", name);
  target.copyValue("value", cache(), name);
  target.setValueInt32("type", static_cast<int>(cache().type(name)));
}

}  // namespace database_provider
