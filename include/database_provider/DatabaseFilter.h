// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "database_provider/types.h"

namespace database_provider {

class DatabaseFilterPrivate;

/// A query for records: conditions on ids, categories and descriptions, joined into and-groups and or-groups.
///
/// Begin with `filter_init`, add conditions and groups, end with `filter_finish`. A category or description condition
/// holds when one item of the record has this name and a value in the given relation to `value`. The operations
/// `exists` and `notExists` look at names alone, whatever their letter case: some item has the name, or none has; the
/// value and the options are not used then. Whatever else an operation and its options mean is said at
/// `database_client::ObjectFilter`. Copies are independent; a filter can be read any number of times.
class DATABASE_PROVIDER_EXPORT DatabaseFilter {
 public:
  DatabaseFilter();
  DatabaseFilter(const DatabaseFilter& other);
  virtual ~DatabaseFilter();

  /// Makes the filter empty, so that it selects everything.
  virtual void clear();
  /// Opens the and-group that holds the whole filter.
  virtual void filter_init();
  virtual void filter_finish();
  virtual void start_or();
  /// Closes the innermost group, whichever it is; so does `finish_and`.
  virtual void finish_or();
  virtual void start_and();
  virtual void finish_and();

  virtual void setCategory(OperationType type, const std::string& name, const std::string& value,
                           const std::string& options);
  virtual void setDescriptionAsString(OperationType type, const std::string& name, const std::string& value,
                                      const std::string& options);
  virtual void setDescriptionAsInt(OperationType type, const std::string& name, const int& value);
  virtual void setDescriptionAsDouble(OperationType type, const std::string& name, const double& value);
  virtual void setDescriptionAsLongLong(OperationType type, const std::string& name, const long long& value);
  virtual void setDescriptionAsBool(OperationType type, const std::string& name, const bool& value);
  /// `value` is in milliseconds since the epoch, UTC.
  virtual void setDescriptionAsTime(OperationType type, const std::string& name, const long long& value);
  virtual void setId(OperationType type, const std::string& id);

  /// Adds a copy of `other`, as one condition, to the group that is open.
  virtual void include(const DatabaseFilter& other);
  /// Moves the conditions on `key` of the outermost level to `target`, whose content is replaced.
  virtual void exclude(const std::string& key, DatabaseFilter& target);

  // NOLINTNEXTLINE(misc-unconventional-assign-operator): virtual, like every operation of a filter
  virtual DatabaseFilter& operator=(const DatabaseFilter& other);

  /// The query document; `{}` for an empty filter.
  virtual ObjectProperties toObjectProeprties() const;
  /// Replaces everything by a query document.
  virtual void fromObjectProperties(const ObjectProperties& query);

 protected:
  /// For filters over records of another layout; `implementation` must not be null.
  explicit DatabaseFilter(std::unique_ptr<DatabaseFilterPrivate> implementation);

 private:
  std::unique_ptr<DatabaseFilterPrivate> d;
};

}  // namespace database_provider
