// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace database_provider::recordctl {

/// A command of the command line, to which its arguments and options are added. The variables given here are set when
/// the command line is read, before `run` is called; they must live until then. Cheap to copy.
class Command {
 public:
  explicit Command(CLI::App& app) : app_(&app) {}

  /// A command of its own below this one, which then needs one of them. Options of this one may stand behind it too.
  Command add(const std::string& name, const std::string& help) const;

  // An empty value is wrong use, but for the two whose names say "text".
  void argument(const std::string& name, std::string& value, const std::string& help) const;
  void textArgument(const std::string& name, std::string& value, const std::string& help) const;
  void optionalArgument(const std::string& name, std::string& value, const std::string& help) const;
  void arguments(const std::string& name, std::vector<std::string>& values, const std::string& help) const;
  void optionalArguments(const std::string& name, std::vector<std::string>& values, const std::string& help) const;

  /// "--name VALUE"; `form` is what the help shows for the value.
  void option(const std::string& name, const std::string& form, std::string& value, const std::string& help) const;
  void textOption(const std::string& name, const std::string& form, std::string& value, const std::string& help) const;
  void textOption(const std::string& name, const std::string& form, std::optional<std::string>& value,
                  const std::string& help) const;
  void requiredOption(const std::string& name, const std::string& form, std::string& value,
                      const std::string& help) const;
  /// An option that may be given more than once.
  void options(const std::string& name, const std::string& form, std::vector<std::string>& values,
               const std::string& help) const;
  void choice(const std::string& name, const std::string& form, std::string& value,
              const std::vector<std::string>& choices, const std::string& help) const;
  void count(const std::string& name, int& value, const std::string& help) const;
  void flag(const std::string& name, bool& value, const std::string& help) const;
  /// What the help says at its end.
  void footer(const std::string& text) const;

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
  /// Reads the arguments and runs the command that they name, or writes the help or the version where they ask for it.
  /// Throws `UsageError` when they make no sense.
  void run(int argc, const char* const* argv) const;

 private:
  CLI::App* app_;
};

}  // namespace database_provider::recordctl
