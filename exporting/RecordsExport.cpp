// SPDX-License-Identifier: Apache-2.0
#include <list>
#include <set>
#include <utility>

#include "database_provider/records.h"
#include "exporting/RecordColumns.h"
#include "exporting/csv.h"
#include "exporting/recordJson.h"
#include "records/layout.h"
#include "repository/kinds.h"
#include "repository/valueText.h"

namespace database_provider {

using database_client::Error;
using exporting::Field;
using exporting::RecordColumns;

namespace {

using NameOfItem = std::pair<Field, std::string>;

std::vector<std::string> configuredCategories(DataBaseClient& store, RecordKind kind) {
  std::list<std::string> names;
  repository::providerOf(kind, store)->enumCategoriesNames(names);
  return {names.begin(), names.end()};
}

/// Takes the names that a record has out of `awaited`; a category without a value has no cell.
void takeNamesOf(const Record& record, std::set<NameOfItem>& awaited) {
  for (const std::string& name : record.categoryNames()) {
    if (!record.category(name).value_or("").empty()) awaited.erase({Field::category, name});
  }
  for (const std::string& name : record.descriptionNames()) awaited.erase({Field::description, name});
}

/// The header must be there before the first record, so names are looked for first: in records, until each that the
/// store has was met. Of a selection that may be the last record; of all records the first ones give the order, and
/// what is rarer stands behind, by name.
RecordColumns columnsOf(const Records& records, const Selection& selection, const FindOptions& options) {
  constexpr std::size_t firstRecords = 1000;
  RecordColumns columns(configuredCategories(records.store(), records.kind()));
  std::set<NameOfItem> awaited;
  for (const NameInUse& name : records.names())
    awaited.emplace(name.kind == NameInUse::Kind::category ? Field::category : Field::description, name.name);
  const bool isWhole = selection.selectsAll() && options.limit == 0 && options.skip == 0;
  ObjectProperties projection;
  projection.setValueBool(layout::path::category, true);
  projection.setValueBool(layout::path::description, true);
  std::size_t count = 0;
  records.forEachDocument(selection, options, projection, [&](ObjectProperties& document) {
    const Record record(records.kind(), std::move(document));
    columns.addNamesOf(record);
    takeNamesOf(record, awaited);
    return !awaited.empty() && !(isWhole && ++count == firstRecords);
  });
  if (isWhole) {
    for (const auto& [field, name] : awaited) columns.addUsed(field, name);
  }
  columns.dropUnused();
  return columns;
}

}  // namespace

long long Records::exportTo(const std::function<void(const std::string& line)>& write, RowFormat format,
                            const Selection& selection, const FindOptions& options,
                            const std::vector<std::string>& columns) const {
  long long count = 0;
  if (format == RowFormat::records) {
    if (!columns.empty()) throw Error(Error::Kind::query, "complete records have no columns", {"columns"});
    forEachDocument(selection, options, {}, [&](const ObjectProperties& document) {
      ++count;
      write(document.toJson(database_client::JsonMode::canonical) + "\n");
      return true;
    });
    return count;
  }
  std::optional<RecordColumns> given;
  if (!columns.empty()) given = RecordColumns::ofTexts(columns);
  if (format == RowFormat::csv) {
    const RecordColumns all = given ? *given : columnsOf(*this, selection, options);
    write(exporting::csvLine(all.headings()));
    std::vector<std::string> cells;
    forEach(selection, options, [&](const Record& record) {
      ++count;
      cells.clear();
      for (const auto& value : all.valuesOf(record)) cells.push_back(repository::valueText(value));
      write(exporting::csvLine(cells));
      return true;
    });
    return count;
  }
  const bool isArray = format == RowFormat::json;
  std::string line;  // held back for one record, since a comma stands behind each but the last
  if (isArray) write("[\n");
  forEach(selection, options, [&](const Record& record) {
    if (count++ > 0) write(line + (isArray ? ",\n" : "\n"));
    line = exporting::recordJson(record, given ? &*given : nullptr).toJson();
    return true;
  });
  if (count > 0) write(line + "\n");
  if (isArray) write("]\n");
  return count;
}

}  // namespace database_provider
