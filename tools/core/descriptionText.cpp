// SPDX-License-Identifier: Apache-2.0
#include "tools/core/descriptionText.h"

#include "values/Number.h"
#include "values/Time.h"

namespace database_provider::recordctl {

namespace {

using values::formatReal;
using values::formatTime;

PropertyType typeOf(const DatabaseRecordInterface& record, const std::string& name) {
  auto type = PropertyType::undefined;
  record.descriptionType(name, type);
  return type;
}

}  // namespace

Table::Cell descriptionCell(const DatabaseRecordInterface& record, const std::string& name) {
  switch (typeOf(record, name)) {
    case PropertyType::string:
      return {record.descriptionAsString(name, "")};
    case PropertyType::boolean:
      return {record.descriptionAsBool(name, false) ? "true" : "false"};
    case PropertyType::int32:
    case PropertyType::int64:
      return {std::to_string(record.descriptionAsLongLong(name, 0)), true};
    case PropertyType::real:
      return {formatReal(record.descriptionAsDouble(name, 0)), true};
    case PropertyType::time:
      return {formatTime(record.descriptionAsTime(name, 0))};
    default:
      return {};
  }
}

void putDescription(ObjectProperties& document, const DatabaseRecordInterface& record, const std::string& name) {
  switch (typeOf(record, name)) {
    case PropertyType::string:
      return document.setValueString(name, record.descriptionAsString(name, ""));
    case PropertyType::boolean:
      return document.setValueBool(name, record.descriptionAsBool(name, false));
    case PropertyType::int32:
      return document.setValueInt32(name, record.descriptionAsInt(name, 0));
    case PropertyType::int64:
      return document.setValueInt64(name, record.descriptionAsLongLong(name, 0));
    case PropertyType::real:
      return document.setValueDouble(name, record.descriptionAsDouble(name, 0));
    case PropertyType::time:
      return document.setValueTime(name, record.descriptionAsTime(name, 0));
    default:
      return;
  }
}

std::string typeName(PropertyType type) {
  switch (type) {
    case PropertyType::string:
      return "string";
    case PropertyType::boolean:
      return "bool";
    case PropertyType::int32:
      return "int";
    case PropertyType::int64:
      return "long";
    case PropertyType::real:
      return "double";
    case PropertyType::time:
      return "time";
    default:
      return "type " + std::to_string(static_cast<int>(type));
  }
}

std::vector<std::string> categoryNames(const DatabaseRecordInterface& record) {
  std::list<std::string> names;
  record.enumCategoriesNames(names);
  return {names.begin(), names.end()};
}

std::vector<std::string> descriptionNames(const DatabaseRecordInterface& record) {
  std::list<std::string> names;
  record.enumDescriptionsNames(names);
  return {names.begin(), names.end()};
}

}  // namespace database_provider::recordctl
