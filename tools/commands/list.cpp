// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <iostream>
#include <memory>
#include <optional>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/NameColumns.h"
#include "tools/core/descriptionText.h"

namespace database_provider::recordctl {

namespace {

struct ListOptions {
  SelectionOptions selection{};
  std::string columns{};
};

/// What the columns name, or everything where none are given.
ObjectProperties toJson(const StoredRecord& stored, const std::optional<NameColumns>& columns) {
  const auto isWanted = [&](Field field, const std::string& name) { return !columns || columns->has(field, name); };
  ObjectProperties result;
  result.setValueString("id", stored.id);
  {
    const database_client::GroupScope categories(result, "categories");
    for (const std::string& name : categoryNames(*stored.record)) {
      if (isWanted(Field::category, name)) result.setValueString(name, stored.record->categoryValue(name, ""));
    }
  }
  const database_client::GroupScope descriptions(result, "descriptions");
  for (const std::string& name : descriptionNames(*stored.record)) {
    if (isWanted(Field::description, name)) putDescription(result, *stored.record, name);
  }
  return result;
}

/// Takes the columns out of `columns` whose names no record has, and says so of each.
void dropUnknown(Session& session, const ListOptions& options, NameColumns& columns) {
  const RecordKind kind = options.selection.kind.kind();
  DataBaseClient& client = session.store(Access::existing);
  std::vector<std::string> sentences;
  std::optional<Catalogue> catalogue;
  for (const Name& name : columns.names()) {
    if (isNameInUse(kind, client, name)) continue;
    if (!catalogue) catalogue = Catalogue::of(kind, client);
    sentences.push_back("--columns: " + unknownName(name, *catalogue));
    columns.drop(name);
  }
  tellAside(session, sentences, options.selection.isStrict);
}

/// Writes records as a table. Its columns, unless they are given, are the names that its records have; of more records
/// than are held back for that, those that any record of the store has.
class RecordTable {
 public:
  RecordTable(NameColumns columns, bool areGiven, std::function<Catalogue()> catalogue)
      : columns_(std::move(columns)), areGiven_(areGiven), catalogue_(std::move(catalogue)) {}

  void add(StoredRecord stored) {
    if (table_) {
      write(stored);
      return;
    }
    if (!areGiven_) columns_.addNamesOf(*stored.record);
    if (waiting_.size() == rowsThatGiveTheColumns) {
      if (!areGiven_) columns_.addNamesOf(catalogue_());
      start();
      write(stored);
      return;
    }
    waiting_.push_back(std::move(stored));
  }

  void finish() {
    if (!table_) start();
    table_->finish();
    if (notShown_ > 0)
      std::cerr << "recordctl: " << notShown_ << " records have names that are not shown; --columns chooses them\n";
  }

 private:
  static constexpr std::size_t rowsThatGiveTheColumns = 500;

  void start() {
    columns_.dropUnused();
    table_.emplace(std::cout, outputLayout(), columns_.headings());
    for (const StoredRecord& stored : waiting_) write(stored);
    waiting_.clear();
  }

  void write(const StoredRecord& stored) {
    if (!areGiven_ && !columns_.cover(*stored.record)) ++notShown_;
    table_->add(columns_.rowOf(stored));
  }

  NameColumns columns_;
  bool areGiven_;
  std::function<Catalogue()> catalogue_;
  std::vector<StoredRecord> waiting_{};
  std::optional<Table> table_{};
  std::size_t notShown_ = 0;
};

NameColumns usualColumns(Session& session, RecordKind kind) {
  std::list<std::string> configured;
  session.provider(kind, Access::existing)->enumCategoriesNames(configured);
  return NameColumns::ofNames({configured.begin(), configured.end()});
}

void list(Session& session, const ListOptions& options) {
  const RecordKind kind = options.selection.kind.kind();
  const RecordQuery query = options.selection.query();
  std::optional<NameColumns> given;
  if (!options.columns.empty()) given = NameColumns::parse(options.columns);
  DataBaseClient& client = session.store(Access::existing);
  if (given) dropUnknown(session, options, *given);
  RecordTable table(given ? *given : usualColumns(session, kind), given.has_value(),
                    [&] { return Catalogue::of(kind, client); });
  std::size_t count = 0;
  forEachRecord(kind, client, query, [&](StoredRecord stored) {
    ++count;
    if (session.json())
      writeJson(toJson(stored, given));
    else if (!given || !given->isEmpty())
      table.add(std::move(stored));
  });
  if (!session.json()) table.finish();
  if (count == 0 && !session.json()) std::cerr << "recordctl: no records\n";
  if (count == 0) options.selection.tellUnmatched(session);
}

}  // namespace

void addList(const Command& commands, Session& session) {
  auto options = std::make_shared<ListOptions>();
  const Command command = commands.add("list", "Records as a table");
  options->selection.addTo(command);
  options->selection.addLimitsTo(command);
  command.option("--columns", "A,B", options->columns, "what to show: names, category:NAME, description:NAME, id");
  command.run([&session, options] { list(session, *options); });
}

}  // namespace database_provider::recordctl
