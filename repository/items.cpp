// SPDX-License-Identifier: Apache-2.0
#include "repository/items.h"

#include <algorithm>
#include <vector>

#include "database_client/Error.h"
#include "records/layout.h"

namespace database_provider::repository {

using database_client::ArrayScope;
using database_client::EnteredScope;
using database_client::Error;
using database_client::GroupScope;

namespace {

/// The positions of the items of a name.
std::vector<int> placesOf(const ObjectProperties& document, const std::string& section, const std::string& name) {
  std::vector<int> result;
  int place = 0;
  for (ElementReader item = itemsOf(document, section.c_str()); item.next(); ++place) {
    if (item.type() == PropertyType::group && itemAt(item).name == name) result.push_back(place);
  }
  return result;
}

void requireSection(const ObjectProperties& document, const std::string& section) {
  requireKind(document, layout::key::recordInfo, PropertyType::group);
  const EnteredScope info = EnteredScope::group(document, layout::key::recordInfo);
  if (info) requireKind(document, section, PropertyType::array);
}

/// Takes the items at some positions away, and numbers the others anew.
void dropItems(ObjectProperties& document, const std::string& section, const std::vector<int>& places) {
  if (places.empty()) return;
  const GroupScope info(document, layout::key::recordInfo);
  ObjectProperties kept;
  {
    const ArrayScope keptItems(kept, section);
    const ArrayScope items(document, section);
    int count = 0;
    for (int i = 0; i < document.size(); ++i) {
      if (std::find(places.begin(), places.end(), i) == places.end())
        kept.copyValue(std::to_string(count++), document, document.nameAt(i));
    }
  }
  document.copyValue(section, kept, section);
}

void writeItemAt(ObjectProperties& document, const std::string& section, int place,
                 const std::function<void(ObjectProperties&)>& writeFields) {
  const GroupScope info(document, layout::key::recordInfo);
  const ArrayScope items(document, section);
  const EnteredScope item = EnteredScope::at(document, place);
  writeFields(document);
}

}  // namespace

ElementReader levelAt(const ObjectProperties& document, std::initializer_list<std::string_view> path) {
  static const ObjectProperties nothing;
  ElementReader level(document);
  for (const std::string_view key : path) {
    do {
      if (!level.next()) return ElementReader(nothing);
    } while (level.key() != key);
    level = level.children();
  }
  return level;
}

ElementReader itemsOf(const ObjectProperties& document, const char* section) {
  return levelAt(document, {layout::key::recordInfo, section});
}

Item itemAt(const ElementReader& element) {
  Item result;
  for (ElementReader field = element.children(); field.next();) {
    if (field.key() == "name") result.name = field.asString();
    if (field.key() == "value") result.value = field;
  }
  return result;
}

std::optional<ElementReader> findItem(ElementReader items, const std::string& name) {
  std::optional<ElementReader> result;
  while (items.next()) {
    const Item item = itemAt(items);
    if (item.name == name) result = item.value;
  }
  return result;
}

void requireKind(const ObjectProperties& level, const std::string& key, PropertyType type) {
  if (!level.contains(key) || level.type(key) == type) return;
  throw Error(Error::Kind::document,
              "\"" + key + "\" of the record is no " + (type == PropertyType::group ? "group" : "array"), {key});
}

void writeItem(ObjectProperties& document, const std::string& section, const std::string& name,
               const std::function<void(ObjectProperties&)>& writeFields) {
  requireSection(document, section);
  std::vector<int> places = placesOf(document, section, name);
  if (!places.empty()) {
    writeItemAt(document, section, places.front(), writeFields);
    places.erase(places.begin());
    return dropItems(document, section, places);
  }
  const GroupScope info(document, layout::key::recordInfo);
  const ArrayScope items(document, section);
  const GroupScope item(document, std::to_string(document.size()));
  document.setValueString("name", name);
  writeFields(document);
}

void writeItems(ObjectProperties& document, const std::string& section, const std::string& name,
                const std::function<void(ObjectProperties&)>& writeFields) {
  for (const int place : placesOf(document, section, name)) writeItemAt(document, section, place, writeFields);
}

void removeItems(ObjectProperties& document, const std::string& section, const std::string& name) {
  dropItems(document, section, placesOf(document, section, name));
}

}  // namespace database_provider::repository
