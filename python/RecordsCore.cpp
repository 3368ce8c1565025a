// SPDX-License-Identifier: Apache-2.0
#include "RecordsCore.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "bson.h"
#include "columns.h"
#include "importing.h"

namespace database_provider::python {

using database_client::Error;

namespace {

nb::dict changesToPython(const ChangeResult& result, const std::vector<FailedChange>& failures) {
  constexpr std::size_t most = 100;
  nb::list told;
  for (std::size_t i = 0; i < std::min(most, failures.size()); ++i)
    told.append(nb::make_tuple(textToPython(failures[i].id), textToPython(failures[i].reason)));
  nb::dict dict;
  dict["changed"] = result.changed;
  dict["unchanged"] = result.unchanged;
  dict["skipped"] = result.skipped;
  dict["failed"] = result.failed;
  dict["failures"] = told;
  return dict;
}

/// Runs a change, and gathers what it says of records that fail.
template <class Change>
nb::dict gathered(bool dryRun, const Change& change) {
  std::vector<FailedChange> failures;
  ChangeOptions options;
  options.dryRun = dryRun;
  options.onFailure = [&failures](const FailedChange& failure) { failures.push_back(failure); };
  const ChangeResult result = change(options);
  return changesToPython(result, failures);
}

const char* kindName(NameInUse::Kind kind) {
  return kind == NameInUse::Kind::category ? "category" : "description";
}

NameInUse::Kind kindFromName(const std::string& name) {
  if (name == "category") return NameInUse::Kind::category;
  if (name == "description") return NameInUse::Kind::description;
  throw nb::value_error(R"(kind is "category" or "description")");
}

const char* reasonName(Remark::Reason reason) {
  switch (reason) {
    case Remark::Reason::unknownName:
      return "unknownName";
    case Remark::Reason::otherItem:
      return "otherItem";
    case Remark::Reason::otherKind:
      return "otherKind";
    case Remark::Reason::userBlock:
      return "data";
    case Remark::Reason::wrongType:
      return "wrongType";
    default:
      return "noId";
  }
}

template <class Items, class Convert>
nb::list listOf(const Items& items, const Convert& convert) {
  nb::list result;
  for (const auto& item : items) result.append(convert(item));
  return result;
}

}  // namespace

Selection Wanted::selection() const {
  Selection result = where ? database_provider::where(*where) : Selection();
  return ids ? result && Selection::ofIds(*ids) : result;
}

Selection Wanted::selectionFor(const char* what, bool all) const {
  Selection result = selection();
  if (result.selectsAll() && !all)
    throw nb::value_error((std::string("no filter is given; ") + what + " all records with all=True").c_str());
  return result;
}

FindOptions Order::options() const {
  FindOptions options;
  if (!sort.empty()) options.sort = sortBy(sort);
  if (limit < 0) throw nb::value_error("limit is below 0");
  if (skip < 0) throw nb::value_error("skip is below 0");
  options.limit = limit;
  options.skip = skip;
  options.after = after;
  return options;
}

FoundIterator::FoundIterator(ConnectionPtr connection, RecordKind kind, const Wanted& wanted, const Order& order)
    : connection_(std::move(connection)) {
  const Selection selection = wanted.selection();
  const FindOptions options = order.options();
  found_ = connection_->run([&](DataBaseClient& client) {
    return std::make_unique<FoundRecords>(Records(client, kind).find(selection, options));
  });
}

FoundIterator::~FoundIterator() = default;

nb::object FoundIterator::next() {
  if (!found_) throw nb::stop_iteration();
  const bool isAtEnd = connection_->run([this](DataBaseClient& /*client*/) {
    if (isBegun_) {
      ++at_;
    } else {
      at_ = found_->begin();
      isBegun_ = true;
    }
    return at_ == FoundRecords::end();
  });
  if (isAtEnd) {
    found_.reset();
    throw nb::stop_iteration();
  }
  return nb::cast(new RecordObject(std::move(at_->record)), nb::rv_policy::take_ownership);
}

TypeOfName RecordsCore::typeOfName() {
  return [this](const std::string& name) -> std::optional<PropertyType> {
    const auto known = types_.find(name);
    if (known != types_.end()) return known->second;
    const auto type = ask([&](const Records& records) { return records.typeInUse(name); });
    if (type) types_[name] = *type;
    return type;
  };
}

std::string RecordsCore::insert(const RecordParts& parts) {
  const NewRecord record = parts.toRecord(typeOfName());
  return ask([&](const Records& records) { return records.insert(record); });
}

std::vector<std::string> RecordsCore::insertMany(nb::handle iterable, int batchSize) {
  if (batchSize < 1) throw nb::value_error("batch_size is below 1");
  const nb::object items = nb::steal(PyObject_GetIter(iterable.ptr()));
  if (!items.is_valid()) throw nb::python_error();
  const auto most = static_cast<std::size_t>(batchSize);
  std::vector<std::string> ids;
  const TypeOfName stored = typeOfName();
  // A name that the store has not yet is looked for once.
  std::map<std::string, std::optional<PropertyType>> asked;
  const TypeOfName typeOf = [&](const std::string& name) {
    const auto known = asked.find(name);
    return known != asked.end() ? known->second : asked.emplace(name, stored(name)).first->second;
  };
  std::size_t count = 0;
  const auto pull = [&](std::vector<NewRecord>& batch) {
    batch.clear();
    while (batch.size() < most) {
      const nb::object item = nb::steal(PyIter_Next(items.ptr()));
      if (!item.is_valid()) {
        if (PyErr_Occurred() != nullptr) throw nb::python_error();
        return;
      }
      try {
        batch.push_back(RecordParts::of(item).toRecord(typeOf));
      } catch (const Error& error) {
        throw Error(error.kind(), "record " + std::to_string(count + 1) + ": " + error.what(), {error.where()});
      }
      ++count;
    }
  };
  std::vector<NewRecord> batch;
  pull(batch);
  // What fits into one batch is one transaction by itself.
  if (batch.size() < most && !connection_->isInTransaction()) {
    if (!batch.empty()) ids = ask([&](const Records& records) { return records.insertMany(batch); });
    return ids;
  }
  const Connection::Use use(*connection_);
  return connection_->lend([&] {
    std::optional<database_client::Transaction> transaction;
    connection_->run([&](DataBaseClient& client) {
      if (client.keepsInsertionOrder() && !connection_->isInTransaction()) transaction.emplace(client);
    });
    while (!batch.empty()) {
      std::vector<std::string> added = ask([&](const Records& records) { return records.insertWithin(batch); });
      std::move(added.begin(), added.end(), std::back_inserter(ids));
      pull(batch);
    }
    if (transaction) connection_->run([&](DataBaseClient& /*client*/) { transaction->commit(); });
    return ids;
  });
}

nb::dict RecordsCore::upsertMany(nb::handle iterable, const std::vector<std::string>& key, const std::string& onMatch) {
  const OnMatch action = onMatchFromName(onMatch);
  const TypeOfName typeOf = typeOfName();
  std::vector<NewRecord> batch;
  for (const nb::handle item : nb::iter(iterable)) batch.push_back(RecordParts::of(item).toRecord(typeOf));
  const ImportResult result = ask([&](const Records& records) { return records.upsertMany(batch, key, action); });
  return importResultToPython(result);
}

nb::object RecordsCore::read(const std::string& id) {
  std::optional<Record> record = ask([&](const Records& records) { return records.read(id); });
  if (!record) return nb::none();
  return nb::cast(new RecordObject(std::move(*record)), nb::rv_policy::take_ownership);
}

std::unique_ptr<FoundIterator> RecordsCore::find(const Wanted& wanted, const Order& order) {
  return std::make_unique<FoundIterator>(connection_, kind_, wanted, order);
}

std::vector<std::string> RecordsCore::ids(const Wanted& wanted, const Order& order) {
  const Selection selection = wanted.selection();
  const FindOptions options = order.options();
  return ask([&](const Records& records) { return records.ids(selection, options); });
}

std::vector<std::string> RecordsCore::idsBeginningWith(const std::string& text, int limit) {
  return ask([&](const Records& records) { return records.idsBeginningWith(text, limit); });
}

long long RecordsCore::count(const Wanted& wanted) {
  const Selection selection = wanted.selection();
  return ask([&](const Records& records) { return records.count(selection); });
}

long long RecordsCore::remove(const Wanted& wanted, bool all) {
  const Selection selection = wanted.selectionFor("remove", all);
  types_.clear();
  return ask([&](const Records& records) { return records.remove(selection); });
}

nb::dict RecordsCore::update(const Wanted& wanted, bool all, nb::handle categories, nb::handle descriptions,
                             nb::handle compute, const std::vector<std::string>& unset, nb::handle files, bool dryRun) {
  const Selection selection = wanted.selectionFor("update", all);
  Changes changes;
  for (const auto& [key, value] : itemsOf(categories, "categories")) {
    const std::string name = nameFromPython(key, "a category");
    changes.category(name, textFromPython(value, "category \"" + name + "\""));
  }
  const TypeOfName typeOf = typeOfName();
  for (const auto& [key, value] : itemsOf(descriptions, "descriptions")) {
    const std::string name = nameFromPython(key, "a description");
    changes.description(name, descriptionFromPython(value, name, typeOf));
  }
  for (const auto& [key, value] : itemsOf(compute, "compute")) {
    const std::string name = nameFromPython(key, "a description");
    changes.compute(name, textFromPython(value, "the formula of \"" + name + "\""));
  }
  for (const std::string& name : unset) changes.unset(name);
  if (!files.is_none()) {
    for (const nb::handle file : files) {
      const FileReference reference = fileFromPython(file, "");
      changes.file(reference.type, reference.host, reference.path);
    }
  }
  if (changes.isEmpty())
    throw nb::value_error("nothing is to be changed: give categories, descriptions, compute, unset or files");
  types_.clear();
  return gathered(dryRun, [&](const ChangeOptions& options) {
    return ask([&](const Records& records) { return records.update(selection, changes, options); });
  });
}

nb::dict RecordsCore::rename(const std::string& from, const std::string& to, bool merge,
                             const std::optional<std::string>& kind, bool dryRun) {
  Renaming renaming{from, to, merge, {}};
  if (kind) renaming.kind = kindFromName(*kind);
  types_.clear();
  return gathered(dryRun, [&](const ChangeOptions& options) {
    return ask([&](const Records& records) { return records.rename(renaming, options); });
  });
}

nb::dict RecordsCore::renameValues(const std::string& category, nb::handle values, bool dryRun) {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const auto& [from, to] : itemsOf(values, "values"))
    pairs.emplace_back(textFromPython(from, "an old value"), textFromPython(to, "a new value"));
  return gathered(dryRun, [&](const ChangeOptions& options) {
    return ask([&](const Records& records) { return records.renameValues(category, pairs, options); });
  });
}

nb::dict RecordsCore::convert(const std::string& description, const std::string& type, bool dryRun) {
  const PropertyType wanted = typeFromName(type);
  types_.clear();
  return gathered(dryRun, [&](const ChangeOptions& options) {
    return ask([&](const Records& records) { return records.convert(description, wanted, options); });
  });
}

nb::list RecordsCore::facets(const std::string& category, const Wanted& wanted, int limit) {
  const Selection selection = wanted.selection();
  const auto facets = ask([&](const Records& records) { return records.facets(category, selection, limit); });
  return listOf(facets, [](const Facet& facet) { return nb::make_tuple(textToPython(facet.value), facet.count); });
}

nb::list RecordsCore::names(const Wanted& wanted) {
  const Selection selection = wanted.selection();
  const auto names = ask([&](const Records& records) { return records.names(selection); });
  return listOf(names, [](const NameInUse& name) {
    return nb::make_tuple(textToPython(name.name), kindName(name.kind), typeName(name.type), name.count);
  });
}

nb::list RecordsCore::stats(const std::vector<std::string>& descriptions, const std::vector<std::string>& by,
                            const Wanted& wanted, bool withMedian) {
  const Selection selection = wanted.selection();
  const auto stats =
      ask([&](const Records& records) { return records.stats(descriptions, by, selection, withMedian); });
  return listOf(stats, [&](const Figures& figures) {
    nb::dict group;
    for (std::size_t i = 0; i < by.size(); ++i) group[textToPython(by[i])] = optionalToPython(figures.by[i]);
    nb::dict result;
    result["by"] = group;
    result["name"] = textToPython(figures.name);
    result["count"] = figures.count;
    result["missing"] = figures.missing;
    result["min"] = optionalToPython(figures.min);
    result["mean"] = optionalToPython(figures.mean);
    result["std"] = optionalToPython(figures.std);
    result["max"] = optionalToPython(figures.max);
    if (withMedian) result["median"] = optionalToPython(figures.median);
    return result;
  });
}

nb::dict RecordsCore::histogram(const std::string& description, int bins, const Wanted& wanted) {
  const Selection selection = wanted.selection();
  const Histogram found = ask([&](const Records& records) { return records.histogram(description, bins, selection); });
  nb::list edges;
  for (std::size_t i = 0; i <= found.counts.size() && !found.counts.empty(); ++i) {
    const double edge = found.low + found.width * static_cast<double>(i);
    edges.append(found.isOfTimes ? timeToPython(static_cast<std::int64_t>(edge)) : nb::object(nb::float_(edge)));
  }
  nb::dict result;
  result["edges"] = edges;
  result["counts"] = listOf(found.counts, [](long long count) { return nb::int_(count); });
  result["missing"] = found.missing;
  return result;
}

nb::list RecordsCore::coverage(const std::string& first, const std::string& second, const Wanted& wanted) {
  const Selection selection = wanted.selection();
  const auto cells = ask([&](const Records& records) { return records.coverage(first, second, selection); });
  return listOf(cells, [](const CoverageCell& cell) {
    nb::dict result;
    result["values"] = nb::make_tuple(textToPython(cell.values[0]), textToPython(cell.values[1]));
    result["count"] = cell.count;
    return result;
  });
}

nb::list RecordsCore::compare(const std::vector<std::string>& ids) {
  const auto rows = ask([&](const Records& records) { return records.compare(ids); });
  return listOf(rows, [](const ComparisonRow& row) {
    nb::dict result;
    result["name"] = textToPython(row.name);
    result["kind"] = kindName(row.kind);
    result["values"] = listOf(row.values, [](const std::optional<Value>& value) { return optionalToPython(value); });
    result["difference"] =
        listOf(row.difference, [](const std::optional<double>& value) { return optionalToPython(value); });
    result["differs"] = row.differs;
    return result;
  });
}

nb::dict RecordsCore::summary() {
  const KindSummary summary = ask([](const Records& records) { return records.summary(); });
  const auto time = [](const std::optional<Time>& value) {
    return value ? timeToPython(value->milliseconds) : nb::none();
  };
  nb::dict result;
  result["records"] = summary.records;
  result["oldest"] = time(summary.oldest);
  result["newest"] = time(summary.newest);
  return result;
}

nb::object RecordsCore::typeInUse(const std::string& description) {
  const std::optional<PropertyType> type = typeOfName()(description);
  return type ? textToPython(typeName(*type)) : nb::none();
}

nb::list RecordsCore::remarks(const std::string& where) {
  const auto remarks = ask([&](const Records& records) { return records.remarks(where); });
  return listOf(remarks, [](const Remark& remark) {
    nb::dict result;
    result["reason"] = reasonName(remark.reason);
    result["name"] = textToPython(remark.name);
    result["nearest"] = remark.nearest.empty() ? nb::none() : textToPython(remark.nearest);
    result["text"] = textToPython(remark.text);
    return result;
  });
}

nb::dict RecordsCore::importRows(RowReader& rows, const ImportPlan& plan, nb::handle progress) {
  types_.clear();
  ImportObserver observer;
  std::exception_ptr raised;
  if (!progress.is_none()) {
    constexpr std::uint64_t rowsBetween = 1000;
    observer.progress = [&](const ImportProgress& at) {
      if (at.rows % rowsBetween != 0) return true;
      const nb::gil_scoped_acquire locked;
      try {
        progress(at.rows, at.position, at.size);
        return true;
      } catch (const nb::python_error&) {
        raised = std::current_exception();
        return false;
      }
    };
  }
  try {
    return importResultToPython(ask([&](const Records& records) { return records.importFrom(rows, plan, observer); }));
  } catch (const Error&) {
    if (raised) std::rethrow_exception(raised);
    throw;
  }
}

nb::dict RecordsCore::importFile(const std::string& path, const std::optional<std::string>& format, nb::handle plan,
                                 nb::handle progress) {
  const std::unique_ptr<RowReader> rows = openRows(path, formatFromName(format, path));
  return importRows(*rows, importPlanFromPython(plan), progress);
}

nb::dict RecordsCore::importColumns(nb::handle columns, nb::handle plan) {
  ColumnRows source(columns);
  std::exception_ptr raised;
  const std::unique_ptr<RowReader> rows = rowsOf(
      [&](ObjectProperties& row) {
        if (source.isBuffered()) return source.take(row);
        const nb::gil_scoped_acquire locked;
        try {
          source.fill();
        } catch (...) {
          raised = std::current_exception();
          throw;
        }
        return source.take(row);
      },
      [&source] { source.restart(); });
  return importRows(*rows, importPlanFromPython(plan), nb::none());
}

long long RecordsCore::exportTo(nb::handle write, const std::string& format, const Wanted& wanted, const Order& order) {
  const Selection selection = wanted.selection();
  const FindOptions options = order.options();
  const RowFormat rowFormat = formatFromName(format, "");
  constexpr std::size_t size = 1U << 16U;
  std::string buffer;
  const auto flush = [&] {
    const nb::gil_scoped_acquire locked;
    write(textToPython(buffer));
    buffer.clear();
  };
  return ask([&](const Records& records) {
    const long long count = records.exportTo(
        [&](const std::string& line) {
          buffer += line;
          if (buffer.size() >= size) flush();
        },
        rowFormat, selection, options);
    if (!buffer.empty()) flush();
    return count;
  });
}

nb::object RecordsCore::arrowStream(const Wanted& wanted, const std::vector<std::string>& columns, const Order& order) {
  return streamCapsule(connection_, kind_, wanted.selection(), columns, order.options());
}

nb::list RecordsCore::columns(const Wanted& wanted, const std::vector<std::string>& columns, const Order& order,
                              bool areTextsArrow) {
  return readColumns(connection_, kind_, wanted.selection(), columns, order.options(), areTextsArrow);
}

PropertyType typeFromName(const std::string& name) {
  for (const PropertyType type : {PropertyType::string, PropertyType::boolean, PropertyType::int32, PropertyType::int64,
                                  PropertyType::real, PropertyType::time}) {
    if (typeName(type) == name) return type;
  }
  throw nb::value_error(
      ("a type \"" + name + "\" is not known; string, bool, int, long, double or time is expected").c_str());
}

}  // namespace database_provider::python
