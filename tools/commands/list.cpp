#include <iostream>
#include <memory>
#include <optional>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/NameColumns.h"
#include "tools/core/Show.h"

namespace database_provider::recordctl {

namespace {

struct ListOptions {
  SelectionOptions selection{};
  std::string columns{};
};

ObjectProperties toJson(const StoredRecord& stored) {
  ObjectProperties result;
  result.setValueString("id", stored.id);
  {
    const database_client::Group categories(result, "categories");
    for (const std::string& name : categoryNames(*stored.record))
      result.setValueString(name, stored.record->categoryValue(name, ""));
  }
  const database_client::Group descriptions(result, "descriptions");
  for (const std::string& name : descriptionNames(*stored.record)) putDescription(result, *stored.record, name);
  return result;
}

/// Writes records as a table whose columns, unless they are given, are the names that its first rows have.
class RecordTable {
 public:
  RecordTable(NameColumns columns, bool areGiven) : columns_(std::move(columns)), areGiven_(areGiven) {}

  void add(StoredRecord stored) {
    ++count_;
    if (table_) {
      write(stored);
      return;
    }
    if (!areGiven_) columns_.addNamesOf(*stored.record);
    waiting_.push_back(std::move(stored));
    if (waiting_.size() == rowsThatGiveTheColumns) start();
  }

  void finish() {
    if (!table_) start();
    table_->finish();
    if (count_ == 0) std::cerr << "recordctl: no records\n";
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
  std::vector<StoredRecord> waiting_{};
  std::optional<Table> table_{};
  std::size_t count_ = 0;
  std::size_t notShown_ = 0;
};

NameColumns usualColumns(Session& session, RecordKind kind) {
  std::list<std::string> configured;
  session.provider(kind, Access::existing)->enumCategoriesNames(configured);
  return NameColumns::ofNames({configured.begin(), configured.end()});
}

void list(Session& session, const ListOptions& options) {
  const RecordKind kind = options.selection.kind.kind();
  const Selection selection = options.selection.selection();
  std::optional<NameColumns> given;
  if (!options.columns.empty()) given = NameColumns::parse(options.columns);
  DataBaseClient& client = session.store(Access::existing);
  if (session.json()) {
    forEachRecord(kind, client, selection, [](const StoredRecord& stored) { writeJson(toJson(stored)); });
    return;
  }
  RecordTable table(given ? *given : usualColumns(session, kind), given.has_value());
  forEachRecord(kind, client, selection, [&](StoredRecord stored) { table.add(std::move(stored)); });
  table.finish();
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
