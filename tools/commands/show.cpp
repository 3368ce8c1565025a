// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/descriptionText.h"
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

void writeCategories(const DatabaseRecordInterface& record) {
  std::vector<Table::Row> rows;
  for (const std::string& name : categoryNames(record)) rows.push_back({{name}, {record.categoryValue(name, "")}});
  writeSection("Categories", {{"name"}, {"value"}}, rows);
}

void writeDescriptions(const DatabaseRecordInterface& record) {
  std::vector<Table::Row> rows;
  for (const std::string& name : descriptionNames(record)) {
    auto type = PropertyType::undefined;
    record.descriptionType(name, type);
    rows.push_back({{name}, {typeName(type)}, {descriptionCell(record, name).text}});
  }
  writeSection("Descriptions", {{"name"}, {"type"}, {"value"}}, rows);
}

void writeFiles(const DatabaseRecordInterface& record) {
  std::list<std::string> ids;
  record.enumFilesIds(ids);
  std::vector<Table::Row> rows;
  for (const std::string& id : ids) {
    auto type = ObjectType();
    std::string host;
    std::string path;
    record.getFileInfo(id, type, host, path);
    rows.push_back({{objectTypeName(type)}, {host}, {path}});
  }
  writeSection("Files", {{"kind"}, {"host"}, {"path"}}, rows);
}

void writeSource(const DatabaseRecordInterface& record) {
  const auto* experiment = dynamic_cast<const ExperimentDatabaseRecordInterface*>(&record);
  if (experiment == nullptr) return;
  if (const auto* source = experiment->getDatabaseSourceInfo())
    writeSection(
        "Data source", {{"host"}, {"port"}, {"database"}, {"source"}},
        {{{source->host()}, {std::to_string(source->port())}, {source->databaseName()}, {source->sourceId()}}});
  if (const auto* source = experiment->getDataServerSourceInfo())
    writeSection("Data source", {{"host"}, {"section"}, {"record"}, {"path"}, {"volume"}},
                 {{{source->host()},
                   {source->section()},
                   {source->record()},
                   {source->path()},
                   {std::to_string(source->volume())}}});
}

void writeUserBlock(const DatabaseRecordInterface& record) {
  const ObjectProperties block = record.getUserRecord();
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
  DatabaseFilter byId;
  byId.setId(OperationType::equal, options.id);
  bool isFound = false;
  forEachDocument(options.kind.kind(), session.store(Access::existing), {byId, 1, 0}, ObjectProperties(),
                  [&](ObjectProperties& document) {
                    isFound = true;
                    if (session.json()) {
                      writeJson(document);
                      return;
                    }
                    const StoredRecord stored = recordOf(options.kind.kind(), std::move(document));
                    std::cout << "Record " << stored.id << '\n';
                    writeCategories(*stored.record);
                    writeDescriptions(*stored.record);
                    writeFiles(*stored.record);
                    writeSource(*stored.record);
                    writeUserBlock(*stored.record);
                  });
  if (isFound || session.passedOver().count() > 0) return;
  std::cerr << "recordctl: no record has the id " << inQuotes(options.id) << '\n';
  session.noteFailure();
}

}  // namespace

void addShow(const Command& commands, Session& session) {
  auto options = std::make_shared<ShowOptions>();
  const Command command = commands.add("show", "One record in full");
  command.argument("ID", options->id, "the record's id");
  options->kind.addTo(command);
  command.run([&session, options] { show(session, *options); });
}

}  // namespace database_provider::recordctl
