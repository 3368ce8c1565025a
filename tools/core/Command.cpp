#include "tools/core/Command.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "tools/core/Errors.h"

namespace database_provider::recordctl {

namespace {

template <class Value>
CLI::Option* addOption(CLI::App& app, const std::string& name, const std::string& form, Value& value,
                       const std::string& help) {
  return app.add_option(name, value, help)->type_name(form);
}

/// Names the command or option that there is not. Values stay untold: somebody may have typed a password.
std::string whatIsUnexpected(const CLI::App& app) {
  const std::vector<std::string> arguments = app.remaining(true);
  for (const std::string& argument : arguments) {
    if (argument.compare(0, 2, "--") == 0) return "there is no option " + argument.substr(0, argument.find('='));
    if (argument.size() > 1 && argument[0] == '-') return "there is no option " + argument.substr(0, 2);
  }
  if (app.get_subcommands().empty() && !arguments.empty()) return "there is no command " + arguments.front();
  return "more arguments than the command takes";
}

}  // namespace

Command Command::add(const std::string& name, const std::string& help) const {
  app_->require_subcommand(1);
  CLI::App* command = app_->add_subcommand(name, help);
  command->fallthrough();
  return Command(*command);
}

void Command::argument(const std::string& name, std::string& value, const std::string& help) const {
  app_->add_option(name, value, help)->required();
}

void Command::optionalArgument(const std::string& name, std::string& value, const std::string& help) const {
  app_->add_option(name, value, help);
}

void Command::arguments(const std::string& name, std::vector<std::string>& values, const std::string& help) const {
  app_->add_option(name, values, help)->required();
}

void Command::optionalArguments(const std::string& name, std::vector<std::string>& values,
                                const std::string& help) const {
  app_->add_option(name, values, help);
}

void Command::option(const std::string& name, const std::string& form, std::string& value,
                     const std::string& help) const {
  addOption(*app_, name, form, value, help);
}

void Command::requiredOption(const std::string& name, const std::string& form, std::string& value,
                             const std::string& help) const {
  addOption(*app_, name, form, value, help)->required();
}

/// One value for each time the option is given, so that arguments may follow it.
void Command::options(const std::string& name, const std::string& form, std::vector<std::string>& values,
                      const std::string& help) const {
  addOption(*app_, name, form, values, help)->allow_extra_args(false);
}

void Command::choice(const std::string& name, const std::string& form, std::string& value,
                     const std::vector<std::string>& choices, const std::string& help) const {
  addOption(*app_, name, form, value, help)->check(CLI::IsMember(choices));
}

void Command::count(const std::string& name, int& value, const std::string& help) const {
  addOption(*app_, name, "N", value, help)->check(CLI::NonNegativeNumber);
}

void Command::flag(const std::string& name, bool& value, const std::string& help) const {
  app_->add_flag(name, value, help);
}

void Command::run(const std::function<void()>& action) const {
  app_->callback(action);
}

CommandLine::CommandLine(const std::string& name, const std::string& help, const std::string& version)
    : app_(std::make_unique<CLI::App>(help, name).release()) {
  app_->set_version_flag("--version", version);
}

CommandLine::~CommandLine() {
  const std::unique_ptr<CLI::App> owned(app_);
}

Command CommandLine::root() const {
  return Command(*app_);
}

bool CommandLine::run(int argc, const char* const* argv) const {
  try {
    app_->parse(argc, argv);
    return true;
  } catch (const CLI::ParseError& error) {
    const bool isMissing = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    const bool isUnexpected = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError);
    if (isUnexpected || (isMissing && app_->remaining_size(true) > 0)) {
      throw UsageError(whatIsUnexpected(*app_) + "; --help tells what there is");
    }
    return app_->exit(error, std::cout, std::cerr) == 0;
  }
}

}  // namespace database_provider::recordctl
