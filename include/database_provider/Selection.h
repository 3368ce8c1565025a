// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "database_provider/DatabaseFilter.h"

namespace database_provider {

/// Which records: those of a filter, those of given ids, or all where nothing is asked for.
///
///     const Selection wanted = where("site=Waseca and yield>30") && Selection::ofIds(ids);
///     client.findEach(database, collection, wanted.query(), …);  provider.read(wanted.filter(), found, 0, 0);
///
/// A selection is a value: it asks no store, and copies share what they hold. Like the document in it, it must not be
/// shared between threads without a lock.
class DATABASE_PROVIDER_EXPORT Selection {
 public:
  /// All records.
  Selection() = default;
  /// Those of the filter as it is now; all, where the filter is empty.
  Selection(const DatabaseFilter& filter);  // NOLINT(google-explicit-constructor): wherever records are selected
  /// Those of a query document, as `DataBaseClient::find` takes it; all, where it is empty.
  static Selection ofQuery(const ObjectProperties& query);
  /// The records with these ids, each as `DatabaseFilter::setId` takes it; none where no id is given.
  static Selection ofIds(const std::vector<std::string>& ids);

  /// The query document; `{}` for all records. Valid until the selection is changed or destroyed.
  const ObjectProperties& query() const noexcept { return query_; }
  /// The query as the providers take it.
  DatabaseFilter filter() const;
  /// Whether nothing was asked for. A filter that happens to hold for every record asks for something.
  bool selectsAll() const;

  /// The records that both select.
  Selection operator&&(const Selection& other) const;

 private:
  ObjectProperties query_{};
};

/// The records for which a filter in text holds: `site=Waseca and (yield>30 or year=1932) and not has variety`. Its
/// grammar is in docs/filters.md. An empty text selects all. Takes time in proportion to the text, and asks no store:
/// names that no record has are no error. Throws `SelectionError`.
DATABASE_PROVIDER_EXPORT Selection where(const std::string& text);

/// A filter in text that cannot be read. `what` tells the whole of it, on three lines: the reason, the text, and a mark
/// under the place. Of a long text only what stands around the place is shown.
class DATABASE_PROVIDER_EXPORT SelectionError : public std::invalid_argument {
 public:
  SelectionError(const std::string& reason, const std::string& text, std::size_t position);
  ~SelectionError() override;
  SelectionError(const SelectionError&);
  SelectionError& operator=(const SelectionError&);

  /// What was expected, and what was found: `expected a value, found the end`.
  const std::string& reason() const noexcept;
  /// The filter as it was given.
  const std::string& text() const noexcept;
  /// The first byte of the text that could not be read; the size of the text where something is missing at its end.
  std::size_t position() const noexcept;

 private:
  std::string reason_;
  std::string text_;
  std::size_t position_;
};

}  // namespace database_provider
