// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "selection/Expression.h"
#include "tools/core/Catalogue.h"
#include "tools/core/Records.h"
#include "tools/terminal/Table.h"

namespace database_provider::recordctl {

/// The columns of a table of records: the id, categories and descriptions.
class NameColumns {
 public:
  /// Those that are asked for: "A,B", each a name, `category:NAME`, `description:NAME` or `id`. Throws `UsageError`.
  static NameColumns parse(const std::string& text);
  /// The id; categories and descriptions come with `addNamesOf`, the ones given here first.
  static NameColumns ofNames(const std::vector<std::string>& firstCategories);

  /// Adds what a record has and no column shows yet.
  void addNamesOf(const Record& record);
  /// Adds one that no column shows yet; a category that was given first is not left out then.
  void addUsed(Field field, const std::string& name);
  /// Adds what any record has and no column shows yet.
  void addNamesOf(const Catalogue& catalogue);
  /// The names, without the id.
  std::vector<Name> names() const;
  /// Leaves out the column of a name.
  void drop(const Name& name);
  bool isEmpty() const { return columns_.empty(); }
  /// Whether one of the columns shows the category or the description of this name.
  bool has(Field field, const std::string& name) const;
  /// Whether every category and description of the record has its column.
  bool cover(const Record& record) const;
  /// Leaves out the categories given first that no record had.
  void dropUnused();

  std::vector<Table::Column> headings() const;
  Table::Row rowOf(const Record& record) const;

 private:
  struct Column {
    Name name;
    bool isUsed;
  };

  void add(Field field, const std::string& name);

  std::vector<Column> columns_{};
};

}  // namespace database_provider::recordctl
