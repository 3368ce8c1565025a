// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "exporting/RecordColumns.h"
#include "tools/core/Records.h"
#include "tools/terminal/Table.h"

namespace database_provider::recordctl {

using exporting::RecordColumns;

/// A name as it stands behind an option: a name, `category:NAME`, `description:NAME` or `id`. `option` stands in the
/// message of the `UsageError`.
Name parseName(const std::string& text, const std::string& option);

/// What a field has the library ask for; nothing for both, and for the id.
std::optional<NameInUse::Kind> kindOf(Field field);

/// The columns of a table of records, as they are asked for and shown.
class NameColumns : public RecordColumns {
 public:
  using RecordColumns::addNamesOf;

  /// Those that are asked for: "A,B", each a name, `category:NAME`, `description:NAME` or `id`. Throws `UsageError`.
  static NameColumns parse(const std::string& text);
  /// The id; categories and descriptions come with `addNamesOf`, the ones given here first.
  static NameColumns ofNames(const std::vector<std::string>& firstCategories);

  /// Adds what any record has and no column shows yet.
  void addNamesOf(const std::vector<NameInUse>& names);

  std::vector<Table::Column> headings() const;
  Table::Row rowOf(const Record& record) const;

 private:
  using RecordColumns::RecordColumns;
};

}  // namespace database_provider::recordctl
