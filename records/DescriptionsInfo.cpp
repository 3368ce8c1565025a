// SPDX-License-Identifier: Apache-2.0
#include "records/DescriptionsInfo.h"

#include "records/layout.h"

namespace database_provider {

DescriptionsInfo::DescriptionsInfo() : ItemsView({layout::key::description, "name"}) {}

template <class SetValue>
bool DescriptionsInfo::addDescription(const std::string& name, PropertyType type, SetValue setValue) const {
  if (name.empty()) return false;
  setItem(name, [&](ObjectProperties& item) {
    setValue(item);
    item.setValueInt32("type", static_cast<int>(type));
  });
  return true;
}

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
  if (value.empty()) return false;
  return addDescription(name, PropertyType::string,
                        [&](ObjectProperties& item) { item.setValueString("value", value); });
}

bool DescriptionsInfo::addDescriptionBool_helper(const std::string& name, const bool& value) const {
  return addDescription(name, PropertyType::boolean,
                        [&](ObjectProperties& item) { item.setValueBool("value", value); });
}

bool DescriptionsInfo::addDescriptionInt_helper(const std::string& name, const int& value) const {
  return addDescription(name, PropertyType::int32, [&](ObjectProperties& item) { item.setValueInt32("value", value); });
}

bool DescriptionsInfo::addDescriptionDouble_helper(const std::string& name, const double& value) const {
  return addDescription(name, PropertyType::real, [&](ObjectProperties& item) { item.setValueDouble("value", value); });
}

bool DescriptionsInfo::addDescriptionLongLong_helper(const std::string& name, const long long& value) const {
  return addDescription(name, PropertyType::int64, [&](ObjectProperties& item) { item.setValueInt64("value", value); });
}

bool DescriptionsInfo::addDescriptionTime_helper(const std::string& name, const long long& value) const {
  return addDescription(name, PropertyType::time, [&](ObjectProperties& item) { item.setValueTime("value", value); });
}

std::string DescriptionsInfo::descriptionAsString(const std::string& name, const std::string& defaultValue) const {
  return read(name, defaultValue,
              [&](const ObjectProperties& item) { return item.valueAsString("value", defaultValue); });
}

int DescriptionsInfo::descriptionAsInt(const std::string& name, int defaultValue) const {
  return read(name, defaultValue,
              [&](const ObjectProperties& item) { return item.valueAsInt32("value", defaultValue); });
}

double DescriptionsInfo::descriptionAsDouble(const std::string& name, double defaultValue) const {
  return read(name, defaultValue,
              [&](const ObjectProperties& item) { return item.valueAsDouble("value", defaultValue); });
}

bool DescriptionsInfo::descriptionAsBool(const std::string& name, bool defaultValue) const {
  return read(name, defaultValue,
              [&](const ObjectProperties& item) { return item.valueAsBool("value", defaultValue); });
}

long long DescriptionsInfo::descriptionAsLongLong(const std::string& name, long long defaultValue) const {
  return read(name, defaultValue,
              [&](const ObjectProperties& item) { return item.valueAsInt64("value", defaultValue); });
}

long long DescriptionsInfo::descriptionAsTime(const std::string& name, long long defaultValue) const {
  return read(name, defaultValue,
              [&](const ObjectProperties& item) { return item.valueAsTime("value", defaultValue); });
}

void DescriptionsInfo::descriptionType(const std::string& name, PropertyType& type) const {
  type = read(name, PropertyType::undefined, [](const ObjectProperties& item) { return item.type("value"); });
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

bool DescriptionsInfo::isCanonical(ElementReader fields) const {
  if (!fields.next() || fields.key() != "name" || fields.asString().empty()) return false;
  if (!fields.next() || fields.key() != "value") return false;
  const PropertyType kind = fields.type();
  const bool isKnown = kind == PropertyType::string ? !fields.asString().empty()
                                                    : kind > PropertyType::string && kind <= PropertyType::time;
  return isKnown && fields.next() && fields.key() == "type" && fields.asInt32(0) == static_cast<int>(kind) &&
         !fields.next();
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

}  // namespace database_provider
