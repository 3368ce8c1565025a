// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/answers.h"
#include "tools/core/valueText.h"
#include "tools/input/Columns.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;
using values::printable;

struct ShowOptions {
  std::string id{};
  KindOption kind{};
};

/// Rows of names and values under a title; nothing without rows.
void writeSection(const std::string& title, const std::vector<Table::Column>& columns,
                  const std::vector<Table::Row>& rows) {
  if (rows.empty()) return;
  std::cout << '\n' << title << '\n';
  Table table(std::cout, outputLayout(), columns);
  for (const Table::Row& row : rows) table.add(row);
  table.finish();
}

void writeCategories(const Record& record) {
  std::vector<Table::Row> rows;
  for (const std::string& name : record.categoryNames()) rows.push_back({{name}, {record.category(name).value_or("")}});
  writeSection("Categories", {{"name"}, {"value"}}, rows);
}

void writeDescriptions(const Record& record) {
  std::vector<Table::Row> rows;
  for (const std::string& name : record.descriptionNames()) {
    const std::optional<Value> value = record.description(name);
    rows.push_back({{name}, {value ? typeName(*value) : ""}, valueCell(value)});
  }
  writeSection("Descriptions", {{"name"}, {"type"}, {"value"}}, rows);
}

void writeFiles(const Record& record) {
  std::vector<Table::Row> rows;
  for (const FileReference& file : record.files())
    rows.push_back({{objectTypeName(file.type)}, {file.host}, {file.path}});
  writeSection("Files", {{"kind"}, {"host"}, {"path"}}, rows);
}

void writeSource(const DatabaseRecordInterface& record) {
  for (const auto& source : sourcesOf(record)) {
    std::vector<Table::Column> columns;
    Table::Row row;
    for (const auto& [name, value] : source) {
      columns.push_back({name});
      row.push_back({value});
    }
    writeSection("Data source", columns, {row});
  }
}

void writeUserBlock(const Record& record) {
  const ObjectProperties block = record.data();
  if (block.isEmpty()) return;
  std::cout << "\nUser block\n";
  for (const std::string& key : block.childKeys()) {
    ObjectProperties one;
    one.copyValue(key, block, key);
    const std::string json = one.toJson();
    std::cout << printable(json.substr(1, json.size() - 2)) << '\n';
  }
}

void show(Session& session, const ShowOptions& options) {
  const Records records = session.records(options.kind.kind());
  FindOptions one;
  one.limit = 1;
  bool isFound = false;
  records.forEachDocument(Selection::ofIds({wholeId(records, options.id)}), one, {}, [&](ObjectProperties& document) {
    isFound = true;
    if (session.json()) {
      writeJson(document);
      return true;
    }
    const Record record(options.kind.kind(), std::move(document));
    std::cout << "Record " << record.id() << '\n';
    writeCategories(record);
    writeDescriptions(record);
    writeFiles(record);
    writeSource(*record.toInterface());
    writeUserBlock(record);
    return true;
  });
  if (isFound || session.passedOver().count() > 0) return;
  std::cerr << "recordctl: no record has the id " << inQuotes(options.id) << '\n';
  session.noteFailure();
}

}  // namespace

void addShow(const Command& commands, Session& session) {
  auto options = std::make_shared<ShowOptions>();
  const Command command = commands.add("show", "One record in full");
  command.argument("ID", options->id, "the record's id, or a beginning of it that no other has");
  options->kind.addTo(command);
  command.run([&session, options] { show(session, *options); });
}

}  // namespace database_provider::recordctl
