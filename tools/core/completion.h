// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace database_provider::recordctl {

/// What was typed of a command line, as far as completion has to know it.
struct TypedLine {
  std::vector<std::string> words{};  ///< behind the program's name, without their quotes; the last one is not complete
  bool isQuoted = false;             ///< the last word stands in quotes that are open

  /// Takes a line apart as a shell does, without variables and substitutions.
  static TypedLine parse(const std::string& line);
  /// The value of an option that was given; empty without one.
  std::string valueOf(const std::string& option) const;
};

/// What a store may be asked for while a line is completed.
struct StoreWords {
  std::function<std::vector<std::string>()> stores{};
  std::function<std::vector<std::string>()> names{};                          ///< of categories and descriptions
  std::function<std::vector<std::string>(const std::string& name)> values{};  ///< of a category
};

/// What the last word of a line may become: commands, options, values of which an option takes one, and names and
/// values of the store. Empty where none of these stands, such as the name of a file, which a shell completes.
std::vector<std::string> completions(CLI::App& app, const TypedLine& line, const StoreWords& store);

}  // namespace database_provider::recordctl
