// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tools/core/completion.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace database_provider::recordctl {

/// Where the value of an argument or option goes: a text, one that may be left out, all of several, or a number that is
/// not negative.
using Variable = std::variant<std::reference_wrapper<std::string>, std::reference_wrapper<std::optional<std::string>>,
                              std::reference_wrapper<std::vector<std::string>>, std::reference_wrapper<int>>;

/// In what an argument or option differs from the usual one: an argument has to be given, an option has not, and an
/// empty text is wrong use.
struct Traits {
  std::optional<bool> isRequired{};
  bool mayBeEmpty = false;
  std::vector<std::string> choices{};  ///< where there are any, the value is one of them
  /// What becomes of the text that was given.
  std::function<std::string(const std::string& given)> becomes{};

  static Traits required() { return {true}; }
  static Traits optional() { return {false}; }
  static Traits emptyToo() { return {std::nullopt, true}; }
  static Traits emptyOr(std::function<std::string(const std::string&)> becomes) {
    return {std::nullopt, true, {}, std::move(becomes)};
  }
  static Traits made(std::function<std::string(const std::string&)> becomes) {
    return {std::nullopt, false, {}, std::move(becomes)};
  }
  static Traits oneOf(std::vector<std::string> choices) { return {std::nullopt, false, std::move(choices), {}}; }
};

/// The values of which an option takes one; empty where it takes any.
std::vector<std::string> choicesOf(CLI::Option& option);

/// A command of the command line, to which its arguments and options are added. The variables given here are set when
/// the command line is read, before `run` is called; they must live until then. Cheap to copy.
class Command {
 public:
  explicit Command(CLI::App& app) : app_(&app) {}

  /// A command of its own below this one, which then needs one of them. Options of this one may stand behind it too.
  Command add(const std::string& name, const std::string& help) const;

  void argument(const std::string& name, Variable value, const std::string& help, const Traits& traits = {}) const;
  /// "--name VALUE"; `form` is what the help shows for the value. For several values it is given more than once.
  void option(const std::string& name, const std::string& form, Variable value, const std::string& help,
              const Traits& traits = {}) const;
  void flag(const std::string& name, bool& value, const std::string& help) const;
  /// What the help says at its end.
  void footer(const std::string& text) const;

  /// Leaves the command out of the help, as one that programs call.
  void hide() const;

  /// What the command does.
  void run(const std::function<void()>& action) const;

 private:
  CLI::App* app_;
};

/// The command line as a whole.
class CommandLine {
 public:
  CommandLine(const std::string& name, const std::string& help, const std::string& version);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  Command root() const;
  /// Writes the manual page.
  void writeManual(std::ostream& out) const;
  /// What the last word of a line may become (see `completions`).
  std::vector<std::string> complete(const TypedLine& line, const StoreWords& store) const;
  /// Reads the arguments and runs the command that they name, or writes the help or the version where they ask for it.
  /// Throws `UsageError` when they make no sense.
  void run(int argc, const char* const* argv) const;

 private:
  CLI::App* app_;
  std::string version_;
};

}  // namespace database_provider::recordctl
