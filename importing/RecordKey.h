// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "database_provider/records.h"
#include "importing/StoreColumns.h"

namespace database_provider::importing {

/// The names by which a row is told to be that of a record.
class DATABASE_PROVIDER_EXPORT RecordKey {
 public:
  struct Field {
    StoreColumn::Kind kind;  ///< id, category or description
    std::string name;
  };

  /// The value of each field, where there is one.
  using Values = std::vector<std::optional<Value>>;

  /// Reads names as `ImportPlan::key` has them. A bare one is that of the category or description that `plan` makes,
  /// else of the one that the store has. Throws `ImportError` where that tells nothing.
  RecordKey(const ImportPlan& plan, const StoreColumns& inStore);

  bool hasId() const;
  Values valuesOf(const Record& record, const std::string& id) const;
  /// A text that is the same for values that a store takes for equal: 5 as for 5.0.
  static std::string textOf(const Values& values);
  /// "site=Waseca, year=1932", for messages.
  std::string shown(const Values& values) const;
  /// The first field without a value; null where all have one.
  const Field* missing(const Values& values) const;

  /// Records that have in each field any of the values there: all that have one of the keys, and maybe others.
  Selection selectAny(const std::vector<const Values*>& keys) const;
  const std::vector<Field>& fields() const { return fields_; }

 private:
  std::vector<Field> fields_{};
};

}  // namespace database_provider::importing
