// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <iostream>
#include <memory>
#include <optional>

#include "exporting/recordJson.h"
#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/NameColumns.h"
#include "tools/core/valueText.h"
#include "tools/terminal/Interrupt.h"

namespace database_provider::recordctl {

namespace {

/// What a screen of a terminal shows of a store without being asked for more.
constexpr int recordsOnATerminal = 50;

struct ListOptions {
  SelectionOptions selection{};
  std::string sort{};
  std::string columns{};
};

/// Takes the columns out of `columns` whose names no record has, and says so of each.
void dropUnknown(Session& session, const ListOptions& options, NameColumns& columns) {
  const RecordKind kind = options.selection.kind.kind();
  std::vector<std::string> sentences;
  for (const Name& name : columns.names()) {
    const auto remark = session.records(kind).remarkOn(name.text, kindOf(name.field));
    if (!remark) continue;
    sentences.push_back("--columns: " + sentenceOf(*remark, kind));
    columns.drop(name);
  }
  tellAside(session, sentences, options.selection.isStrict);
}

/// Writes records as a table. Its columns, unless they are given, are the names that its records have; of more records
/// than are held back for that, those that any record of the store has.
class RecordTable {
 public:
  RecordTable(NameColumns columns, bool areGiven, std::function<std::vector<NameInUse>()> names)
      : columns_(std::move(columns)), areGiven_(areGiven), names_(std::move(names)) {}

  void add(Record record) {
    if (table_) {
      write(record);
      return;
    }
    if (!areGiven_) columns_.addNamesOf(record);
    if (waiting_.size() == rowsThatGiveTheColumns) {
      if (!areGiven_) columns_.addNamesOf(names_());
      start();
      write(record);
      return;
    }
    waiting_.push_back(std::move(record));
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
    for (const Record& record : waiting_) write(record);
    waiting_.clear();
  }

  void write(const Record& record) {
    if (!areGiven_ && !columns_.cover(record)) ++notShown_;
    table_->add(columns_.rowOf(record));
  }

  NameColumns columns_;
  bool areGiven_;
  std::function<std::vector<NameInUse>()> names_;
  std::vector<Record> waiting_{};
  std::optional<Table> table_{};
  std::size_t notShown_ = 0;
};

NameColumns usualColumns(Session& session, RecordKind kind) {
  std::list<std::string> configured;
  session.provider(kind, Access::existing)->enumCategoriesNames(configured);
  return NameColumns::ofNames({configured.begin(), configured.end()});
}

std::vector<SortKey> sortKeys(const std::string& text) {
  try {
    return text.empty() ? std::vector<SortKey>() : sortBy(text);
  } catch (const SelectionError& error) {
    throw UsageError("--sort: " + std::string(error.what()));
  }
}

/// Says of each name to sort by that no record has it.
void tellUnknown(Session& session, const ListOptions& options, const std::vector<SortKey>& keys) {
  const RecordKind kind = options.selection.kind.kind();
  std::vector<std::string> sentences;
  for (const SortKey& key : keys) {
    if (key.name.empty()) continue;
    const Field field = key.field == SortKey::Field::category      ? Field::category
                        : key.field == SortKey::Field::description ? Field::description
                                                                   : Field::any;
    if (const auto remark = session.records(kind).remarkOn(key.name, kindOf(field)))
      sentences.push_back("--sort: " + sentenceOf(*remark, kind));
  }
  tellAside(session, sentences, options.selection.isStrict);
}

void list(Session& session, const ListOptions& options) {
  const RecordKind kind = options.selection.kind.kind();
  const Selection selection = options.selection.selection();
  FindOptions find = options.selection.range();
  find.sort = sortKeys(options.sort);
  const bool isFirstScreen = find.limit == 0 && !session.json() && outputLayout().width != 0;
  if (isFirstScreen) find.limit = recordsOnATerminal;
  std::optional<NameColumns> given;
  if (!options.columns.empty()) given = NameColumns::parse(options.columns);
  if (given) dropUnknown(session, options, *given);
  tellUnknown(session, options, find.sort);
  const Records records = session.records(kind);
  RecordTable table(given ? *given : usualColumns(session, kind), given.has_value(), [&] { return records.names(); });
  int count = 0;
  records.forEach(selection, find, [&](Record&& record) {
    checkInterrupt();
    ++count;
    if (session.json())
      writeJson(exporting::recordJson(record, given ? &*given : nullptr));
    else if (!given || !given->isEmpty())
      table.add(std::move(record));
    return true;
  });
  if (!session.json()) table.finish();
  if (isFirstScreen && count == recordsOnATerminal) {
    const long long all = records.count(selection) - find.skip;
    if (all > count) std::cerr << "recordctl: " << count << " of " << all << " records; --limit N shows more\n";
  }
  if (count == 0 && !session.json()) std::cerr << "recordctl: no records\n";
  if (count == 0) options.selection.tellUnmatched(session);
}

}  // namespace

void addList(const Command& commands, Session& session) {
  auto options = std::make_shared<ListOptions>();
  const Command command = commands.add("list", "Records as a table");
  options->selection.addTo(command);
  options->selection.addLimitsTo(command);
  command.option("--sort", "N[:desc],…", options->sort,
                 "in the order of these: names, category:NAME, description:NAME, id, created");
  command.option("--columns", "A,B", options->columns, "what to show: names, category:NAME, description:NAME, id");
  command.run([&session, options] { list(session, *options); });
}

}  // namespace database_provider::recordctl
