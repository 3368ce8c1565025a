// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <memory>
#include <string>

#include "database_provider/DatabaseRecordInterface.h"

namespace database_provider {

inline std::unique_ptr<ObjectProperties> newDocument(const std::string& json) {
  return std::make_unique<ObjectProperties>(ObjectProperties::fromJson(json));
}

inline std::string joined(const std::list<std::string>& items) {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : " ") + item;
  return text;
}

/// "Color=red Shape=round"
template <class Categories>
std::string categories(const Categories& record) {
  std::list<std::string> names;
  record.enumCategoriesNames(names);
  for (std::string& name : names) name += "=" + record.categoryValue(name, "?");
  return joined(names);
}

/// One description in the form "string:text", "int32:5"; "none" when absent.
template <class Descriptions>
std::string description(const Descriptions& record, const std::string& name) {
  PropertyType type = PropertyType::undefined;
  record.descriptionType(name, type);
  switch (type) {
    case PropertyType::string:
      return "string:" + record.descriptionAsString(name, "?");
    case PropertyType::boolean:
      return record.descriptionAsBool(name, false) ? "bool:true" : "bool:false";
    case PropertyType::int32:
      return "int32:" + std::to_string(record.descriptionAsInt(name, -1));
    case PropertyType::int64:
      return "int64:" + std::to_string(record.descriptionAsLongLong(name, -1));
    case PropertyType::real:
      return "double:" + std::to_string(record.descriptionAsDouble(name, -1));
    case PropertyType::time:
      return "time:" + std::to_string(record.descriptionAsTime(name, -1));
    default:
      return "none";
  }
}

/// "count=int32:5 title=string:x"
template <class Descriptions>
std::string descriptions(const Descriptions& record) {
  std::list<std::string> names;
  record.enumDescriptionsNames(names);
  for (std::string& name : names) name += "=" + description(record, name);
  return joined(names);
}

/// "1 host /path"
template <class Files>
std::string file(const Files& record, const std::string& id) {
  ObjectType type{};
  std::string host;
  std::string path;
  record.getFileInfo(id, type, host, path);
  return std::to_string(static_cast<int>(type)) + " " + host + " " + path;
}

template <class Files>
std::list<std::string> filesIds(const Files& record) {
  std::list<std::string> ids;
  record.enumFilesIds(ids);
  return ids;
}

/// Categories, descriptions, files and user record, one after the other.
inline std::string content(const DatabaseRecordInterface& record) {
  std::string text = "categories " + categories(record) + "; descriptions " + descriptions(record) + "; files";
  for (const std::string& id : filesIds(record)) text += " " + id + "(" + file(record, id) + ")";
  return text + "; user " + record.getUserRecord().toJson();
}

}  // namespace database_provider
