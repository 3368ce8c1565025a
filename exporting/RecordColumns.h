// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "database_provider/Record.h"
#include "selection/Expression.h"

namespace database_provider::exporting {

using selection::Field;
using selection::Name;

/// A name as it is asked for: a name, `category:NAME`, `description:NAME` or `id`, with a backslash before a colon or
/// backslash in it. Error{query} for anything else.
DATABASE_PROVIDER_EXPORT Name parseColumn(const std::string& text);

/// The columns of a table of records: the id, categories and descriptions.
class DATABASE_PROVIDER_EXPORT RecordColumns {
 public:
  RecordColumns() = default;
  /// The id, and these categories; others, and descriptions, come with `addNamesOf`.
  explicit RecordColumns(const std::vector<std::string>& firstCategories);
  /// Those that are asked for, each as `parseColumn` reads it.
  static RecordColumns ofTexts(const std::vector<std::string>& texts);

  /// Adds what a record has and no column shows yet.
  void addNamesOf(const Record& record);
  /// Adds one that no column shows yet; a category that was given first is not left out then.
  void addUsed(Field field, const std::string& name);
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

  /// A name that is both a category and a description, or the word for the id, is shown with its prefix.
  std::vector<std::string> headings() const;
  /// What each column shows of a record; of a category without a value an empty text.
  std::vector<std::optional<Value>> valuesOf(const Record& record) const;

 protected:
  struct Column {
    Name name;
    bool isUsed;
  };

  void add(Field field, const std::string& name);
  const std::vector<Column>& columns() const { return columns_; }
  void append(const Name& name) { columns_.push_back({name, true}); }

 private:
  std::vector<Column> columns_{};
};

}  // namespace database_provider::exporting
