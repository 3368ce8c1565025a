// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace database_client::embedded {

/// The variables that an expression may name where it stands, while it is parsed: those of the $let, $map and $filter
/// around it. An inner one hides an outer one of the same name.
///
/// Each variable of an expression has a number of its own, under which `Scratch` holds its value. Numbers are not used
/// again beside each other, as they could be: the values of $let are computed one after the other, and must not be
/// overwritten by a variable inside the next.
class VariableScope {
 public:
  /// Opens a scope; it closes with `close`, the last opened first. Throws Error{query} with 9 for a name that a user's
  /// variable cannot have.
  std::size_t open(std::string_view name);
  void close(std::size_t count = 1) { names_.resize(names_.size() - count); }

  std::optional<std::size_t> find(std::string_view name) const;

 private:
  struct Named {
    std::string name;
    std::size_t variable = 0;
  };
  std::vector<Named> names_;
  std::size_t count_ = 0;
};

}  // namespace database_client::embedded
