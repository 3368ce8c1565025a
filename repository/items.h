// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_client/ElementReader.h>

#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "database_provider/types.h"

// The arrays of {name, value} that a record's categories and descriptions are: read where they lie, and changed in
// place.
//
// The views that the interfaces give of a record (records/ItemsView.h) bring an array into their normal form when they
// write it, and with it what nobody named. A change of many records must not, so that it has its own, smaller way.
namespace database_provider::repository {

/// The level at the end of a path, before its first entry; an empty level when there is none.
ElementReader levelAt(const ObjectProperties& document, std::initializer_list<std::string_view> path);

/// The categories or the descriptions of a record.
ElementReader itemsOf(const ObjectProperties& document, const char* section);

struct Item {
  std::string_view name{};
  std::optional<ElementReader> value{};
};

Item itemAt(const ElementReader& element);

/// The value of the last item of a name, as the interfaces read it.
std::optional<ElementReader> findItem(ElementReader items, const std::string& name);

// Changes of a section, "category" or "description", of a record whose document stands at its root. Error{document}
// where something else stands in the place of the section or of "recordInfo", which nobody asked to be overwritten.

/// Throws where the current level has something else than a group or an array under a key.
void requireKind(const ObjectProperties& level, const std::string& key, PropertyType type);
/// Writes the fields of the item of a name, behind all others where there is none. Of several the first is written and
/// the others go: a name has one value.
void writeItem(ObjectProperties& document, const std::string& section, const std::string& name,
               const std::function<void(ObjectProperties&)>& writeFields);
/// Writes fields of every item of a name.
void writeItems(ObjectProperties& document, const std::string& section, const std::string& name,
                const std::function<void(ObjectProperties&)>& writeFields);
void removeItems(ObjectProperties& document, const std::string& section, const std::string& name);

}  // namespace database_provider::repository
