// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "database_provider/Record.h"
#include "database_provider/answers.h"
#include "database_provider/export.h"

/// What `Records::update`, `rename`, `renameValues` and `convert` are told, and what they answer.
namespace database_provider {

namespace repository {
class RecordChange;
}

/// What is to become of records, put together in one expression. What is not named stays as it is, with its place, its
/// kind and its bytes; what a record has already keeps its place, and what it has not comes last. A category or
/// description that is named twice becomes what was said last.
class DATABASE_PROVIDER_EXPORT Changes {
 public:
  /// Error{document} for an empty name or an empty value, with the name in `where`; so for the others.
  Changes& category(const std::string& name, const std::string& value);
  /// A text; as a template, so that a literal 0 is a number and no null pointer.
  template <class Text, std::enable_if_t<std::is_same_v<std::decay_t<Text>, const char*>, int> = 0>
  Changes& description(const std::string& name, Text&& text) {
    return description(name, Value(std::string(text)));
  }
  Changes& description(const std::string& name, const Value& value);
  /// The description becomes what the formula gives: `+ - * / ( )` of numbers and of the names of numeric descriptions,
  /// bare as in filters or in quotes. A bare name may hold a minus; where no record has such a description, the minus
  /// subtracts. The names stand for the record as it was before the change. A record that lacks a number under one of
  /// them is skipped. A division by zero gives what doubles give.
  ///
  /// The result is of the type int32, int64 or real, and the change of a record fails where it does not fit that
  /// without loss. Without a type it is of that which the record's description has already, else of the one that it has
  /// in the store, if the result fits it exactly; a double otherwise. Throws `FormulaError`; Error{document} for
  /// another type.
  Changes& compute(const std::string& name, const std::string& formula, PropertyType type = PropertyType::undefined);
  /// Takes away the category and the description of the name.
  Changes& unset(const std::string& name);
  Changes& unset(NameInUse::Kind kind, const std::string& name);
  /// Adds a reference to a file. A record that refers to it in the same way already keeps that one alone.
  Changes& file(ObjectType type, const std::string& host, const std::string& path);

  bool isEmpty() const { return steps_.empty() && files_.empty(); }

 private:
  friend class repository::RecordChange;

  struct Computation {
    std::string formula;
    PropertyType type = PropertyType::undefined;
  };
  struct Step {
    NameInUse::Kind kind = NameInUse::Kind::category;
    std::string name{};
    std::variant<std::monostate, Value, Computation> becomes{};  ///< nothing: it goes
  };

  Changes& put(Step step);

  std::vector<Step> steps_{};
  std::vector<FileReference> files_{};
};

/// A formula that cannot be read. `what` tells the whole of it: the reason, the formula, and a mark under the place.
class DATABASE_PROVIDER_EXPORT FormulaError : public std::invalid_argument {
 public:
  FormulaError(const std::string& reason, const std::string& formula, std::size_t position);
  ~FormulaError() override;
  FormulaError(const FormulaError&);
  FormulaError& operator=(const FormulaError&);

  const std::string& reason() const noexcept;
  /// The first byte of the formula that could not be read; its size where something is missing at the end.
  std::size_t position() const noexcept;

 private:
  std::string reason_;
  std::size_t position_;
};

/// A record that was not changed as it was to be.
struct FailedChange {
  std::string id;
  std::string reason;
};

/// What became of the records that were to be changed. Those that somebody else removed meanwhile are in none of these.
struct ChangeResult {
  long long changed = 0;
  long long unchanged = 0;  ///< they were already what they were to become, and were not written
  long long skipped = 0;    ///< a formula found no number in them
  long long failed = 0;
};

/// How records are changed.
struct ChangeOptions {
  bool dryRun = false;                                    ///< only tell what would be done
  std::function<void(const FailedChange&)> onFailure{};   ///< told of each record that fails
  std::function<void(const ChangeResult&)> onProgress{};  ///< told, after each record, what became of all so far
};

/// Another name for a category or a description, in all records and, of a category, among those that are configured.
struct Renaming {
  std::string from;
  std::string to;
  /// Whether records may have the new name already. One that has both keeps the new one alone, if the values are equal.
  bool merge = false;
  std::optional<NameInUse::Kind> kind{};  ///< without it, what the name is in the store
};

}  // namespace database_provider
