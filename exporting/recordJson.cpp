// SPDX-License-Identifier: Apache-2.0
#include "exporting/recordJson.h"

#include "repository/documentValue.h"

namespace database_provider::exporting {

using repository::putValue;

ObjectProperties recordJson(const Record& record, const RecordColumns* columns) {
  const auto isWanted = [&](Field field, const std::string& name) {
    return columns == nullptr || columns->has(field, name);
  };
  ObjectProperties result;
  result.setValueString("id", record.id());
  putValue(result, "created", record.created() ? std::optional<Value>(*record.created()) : std::nullopt);
  {
    const database_client::GroupScope categories(result, "categories");
    for (const std::string& name : record.categoryNames()) {
      if (isWanted(Field::category, name)) result.setValueString(name, record.category(name).value_or(""));
    }
  }
  const database_client::GroupScope descriptions(result, "descriptions");
  for (const std::string& name : record.descriptionNames()) {
    const std::optional<Value> value = record.description(name);
    if (value && isWanted(Field::description, name)) putValue(result, name, value);
  }
  return result;
}

}  // namespace database_provider::exporting
