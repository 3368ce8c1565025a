// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/records.h>
#include <nanobind/nanobind.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Connection.h"
#include "RecordObject.h"

/// The records of one kind, as the package's Python sources ask for them.
namespace database_provider::python {

/// Which records: those of a filter in text, and of ids, where they are given.
struct Wanted {
  std::optional<std::string> where{};
  std::optional<std::vector<std::string>> ids{};

  Selection selection() const;
  /// Throws where all records are selected, and nobody said so.
  Selection selectionFor(const char* what, bool all) const;
};

/// Which of them, and in which order.
struct Order {
  std::string sort{};  ///< as `sortBy` takes it
  int limit = 0;
  int skip = 0;
  std::string after{};

  FindOptions options() const;
};

/// An iterator over records that were found.
class FoundIterator {
 public:
  FoundIterator(ConnectionPtr connection, RecordKind kind, const Wanted& wanted, const Order& order);
  ~FoundIterator();
  FoundIterator(const FoundIterator&) = delete;
  FoundIterator& operator=(const FoundIterator&) = delete;

  /// Throws `nb::stop_iteration` at the end, and from then on.
  nb::object next();

 private:
  void forget();

  ConnectionPtr connection_;
  std::unique_ptr<FoundRecords> found_{};
  FoundRecords::iterator at_{};
  bool isBegun_ = false;
};

class RecordsCore {
 public:
  RecordsCore(ConnectionPtr connection, RecordKind kind) : connection_(std::move(connection)), kind_(kind) {}

  std::string insert(const RecordParts& parts);
  /// Takes what an iterable gives some thousand at a time. In a file one transaction, but for one that is open already.
  std::vector<std::string> insertMany(nb::handle iterable, int batchSize);
  nb::dict upsertMany(nb::handle iterable, const std::vector<std::string>& key, const std::string& onMatch);
  nb::object read(const std::string& id);
  std::unique_ptr<FoundIterator> find(const Wanted& wanted, const Order& order);
  std::vector<std::string> ids(const Wanted& wanted, const Order& order);
  std::vector<std::string> idsBeginningWith(const std::string& text, int limit);
  long long count(const Wanted& wanted);

  long long remove(const Wanted& wanted, bool all);
  nb::dict update(const Wanted& wanted, bool all, nb::handle categories, nb::handle descriptions, nb::handle compute,
                  const std::vector<std::string>& unset, nb::handle files, bool dryRun);
  nb::dict rename(const std::string& from, const std::string& to, bool merge, const std::optional<std::string>& kind,
                  bool dryRun);
  nb::dict renameValues(const std::string& category, nb::handle values, bool dryRun);
  nb::dict convert(const std::string& description, const std::string& type, bool dryRun);

  nb::list facets(const std::string& category, const Wanted& wanted, int limit);
  nb::list names(const Wanted& wanted);
  nb::list stats(const std::vector<std::string>& descriptions, const std::vector<std::string>& by, const Wanted& wanted,
                 bool withMedian);
  nb::dict histogram(const std::string& description, int bins, const Wanted& wanted);
  nb::list coverage(const std::string& first, const std::string& second, const Wanted& wanted);
  nb::list compare(const std::vector<std::string>& ids);
  nb::dict summary();
  nb::object typeInUse(const std::string& description);
  nb::list remarks(const std::string& where);

  nb::dict importFile(const std::string& path, const std::optional<std::string>& format, nb::handle plan,
                      nb::handle progress);
  /// Rows whose columns are lists of values, with None for what is missing.
  nb::dict importColumns(nb::handle columns, nb::handle plan);
  long long exportTo(nb::handle write, const std::string& format, const Wanted& wanted, const Order& order);

  nb::object arrowStream(const Wanted& wanted, const std::vector<std::string>& columns, const Order& order);
  /// Of each column its name, type, values and, where some are missing, a mask of these; see columns.h.
  nb::list columns(const Wanted& wanted, const std::vector<std::string>& columns, const Order& order,
                   bool areTextsArrow);

 private:
  /// Answers with the type of a name in the store, and remembers it.
  TypeOfName typeOfName();
  nb::dict importRows(RowReader& rows, const ImportPlan& plan, nb::handle progress);
  template <class Ask>
  auto ask(const Ask& step) {
    return connection_->run([&](DataBaseClient& client) { return step(Records(client, kind_)); });
  }

  ConnectionPtr connection_;
  RecordKind kind_;
  std::map<std::string, PropertyType> types_{};  ///< of descriptions, as far as integers asked for them
};

PropertyType typeFromName(const std::string& name);

}  // namespace database_provider::python
