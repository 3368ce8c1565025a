#include "tools/core/Command.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

namespace database_provider::recordctl {

namespace {

template <class Value>
CLI::Option* addOption(CLI::App& app, const std::string& name, const std::string& form, Value& value,
                       const std::string& help) {
  return app.add_option(name, value, help)->type_name(form);
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
    return app_->exit(error, std::cout, std::cerr) == 0;
  }
}

}  // namespace database_provider::recordctl
