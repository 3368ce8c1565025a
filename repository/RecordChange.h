// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "database_provider/records.h"
#include "repository/Formula.h"

namespace database_provider::repository {

/// `Changes` made ready for the records of a store: its formulas are read with the names that the store has.
class RecordChange {
 public:
  RecordChange(const Records& records, const Changes& changes);

  /// Changes the document of a record. False, with the document as it was, where a formula finds no number. Throws
  /// Error{document} where a result does not fit its type, or the record is no such document as the library writes.
  bool apply(ObjectProperties& document) const;

  /// The names in the formulas.
  std::vector<std::string> operands() const;

 private:
  struct Step {
    NameInUse::Kind kind;
    std::string name;
    std::optional<Value> value{};  ///< what a category or description becomes
    std::optional<Formula> formula{};
    PropertyType type = PropertyType::undefined;  ///< of the formula's result
    PropertyType usualType = PropertyType::real;  ///< that the name has in the store
  };

  static std::optional<Value> computed(const Step& step, const ObjectProperties& document);
  void addFile(ObjectProperties& document, const FileReference& file) const;

  RecordKind kind_;
  std::vector<Step> steps_{};
  std::vector<FileReference> files_;
};

}  // namespace database_provider::repository
