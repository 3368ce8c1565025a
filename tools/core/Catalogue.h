// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <set>
#include <string>
#include <vector>

#include "selection/Expression.h"
#include "tools/core/Records.h"

namespace database_provider::recordctl {

using selection::Field;
using selection::Name;

/// The names that the records of a kind have. A store in a file answers it from its index; a server reads all records.
struct Catalogue {
  std::vector<std::string> categories{};
  std::vector<DatabaseProviderInterface::Description> descriptions{};  ///< one for each name and kind of its values

  static Catalogue of(RecordKind kind, DataBaseClient& client);

  bool hasCategory(const std::string& name) const;
  /// The names of categories, of descriptions, or of both.
  std::vector<std::string> names(Field field) const;
};

/// The names of all categories or of all descriptions that records of the kind have.
std::set<std::string> namesInUse(RecordKind kind, DataBaseClient& client, Field field);

/// Whether a record of the kind has such a category, such a description, or one of them. Costs one look-up.
bool isNameInUse(RecordKind kind, DataBaseClient& client, const Name& name);

/// A sentence saying that no record has the name, with the nearest one that there is.
std::string unknownName(const Name& name, const Catalogue& catalogue);

/// What in a filter that selects nothing no record can ever meet: names that no record has, values of a kind that the
/// name never has, texts that are no id. A sentence for each; none where everything in it could be.
std::vector<std::string> whyUnmatched(const selection::Expression& filter, RecordKind kind, DataBaseClient& client);

}  // namespace database_provider::recordctl
