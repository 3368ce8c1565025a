// SPDX-License-Identifier: Apache-2.0
#include "tools/core/Command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>

#include "tools/core/manual.h"
#include "tools/values/Errors.h"
#include "values/Nearest.h"
#include "values/Number.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;
using values::parseInteger;
using values::suggestion;

constexpr const char* choicesPrefix = "choices:";

/// Nobody means an empty text; it comes from a variable of a script that is not set.
std::string whyEmpty(const std::string& value) {
  return value.empty() ? "the value is empty" : "";
}

/// The command that was reached, and what was typed for it: "users add ".
const CLI::App& reached(const CLI::App& app, std::string& typed) {
  const auto chosen = app.get_subcommands();
  if (chosen.empty()) return app;
  typed += chosen.front()->get_name() + " ";
  return reached(*chosen.front(), typed);
}

bool needsCommand(const CLI::App& app) {
  return app.get_require_subcommand_min() > 0;
}

std::vector<std::string> commandsOf(const CLI::App& app) {
  std::vector<std::string> result;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    result.push_back(command->get_name());
  return result;
}

/// The long options that may stand behind a command: its own, and those of the commands above it.
std::vector<std::string> optionsOf(const CLI::App* app) {
  std::vector<std::string> result;
  for (; app != nullptr; app = app->get_parent()) {
    for (const CLI::Option* option : app->get_options()) {
      for (const std::string& name : option->get_lnames()) result.push_back("--" + name);
    }
  }
  return result;
}

/// The command that there is not, where one is expected.
std::optional<std::string> unknownCommand(const CLI::App& app) {
  const std::vector<std::string> arguments = app.remaining(true);
  std::string typed;
  const CLI::App& place = reached(app, typed);
  if (!needsCommand(place) || arguments.empty() || arguments.front().rfind('-', 0) == 0) return std::nullopt;
  return "there is no command " + typed + arguments.front() + suggestion(arguments.front(), commandsOf(place));
}

/// Names the command or option that there is not. Values stay untold: somebody may have typed a password.
std::string whatIsUnexpected(const CLI::App& app) {
  std::string typed;
  const CLI::App& place = reached(app, typed);
  for (const std::string& argument : app.remaining(true)) {
    const std::string name = argument.substr(0, argument.find('='));
    if (argument.compare(0, 2, "--") == 0) return "there is no option " + name + suggestion(name, optionsOf(&place));
    if (argument.size() > 1 && argument[0] == '-') return "there is no option " + argument.substr(0, 2);
  }
  const std::vector<std::string> arguments = app.remaining(true);
  const bool isAddress = !arguments.empty() && arguments.front().find_first_of("@:") != std::string::npos;
  if (isAddress) return "an address stands behind --store";
  return unknownCommand(app).value_or("more arguments than the command takes");
}

std::string whatIsMissing(const CLI::App& app, const CLI::ParseError& error) {
  std::string typed;
  const bool isCommand = needsCommand(reached(app, typed));
  return typed + (isCommand ? "needs a command" : std::string("needs more: ") + error.what());
}

std::string whatIsMismatched(const std::string& told) {
  const std::string option = told.substr(0, told.find(':'));
  return option + (told.find("At Most") == std::string::npos ? ": a value is missing" : ": stands more than once");
}

std::string whatIsWrong(const CLI::App& app, const CLI::ParseError& error) {
  switch (static_cast<CLI::ExitCodes>(error.get_exit_code())) {
    case CLI::ExitCodes::ExtrasError:
      return whatIsUnexpected(app);
    case CLI::ExitCodes::RequiredError:
      return app.remaining_size(true) > 0 ? whatIsUnexpected(app) : whatIsMissing(app, error);
    case CLI::ExitCodes::ArgumentMismatch:
      return whatIsMismatched(error.what());
    default:
      return error.what();
  }
}

int countOf(const std::string& name, const std::string& text) {
  constexpr int largest = std::numeric_limits<int>::max();
  const auto number = parseInteger(text);
  if (!number || *number < 0 || *number > largest)
    throw CLI::ValidationError(
        name, "expected a whole number from 0 to " + std::to_string(largest) + ", found " + inQuotes(text));
  return static_cast<int>(*number);
}

std::string anyOf(const std::vector<std::string>& choices) {
  std::string result = choices.front();
  for (std::size_t i = 1; i < choices.size(); ++i) result += (i + 1 < choices.size() ? ", " : " or ") + choices[i];
  return result;
}

std::string nameOfChoices(const std::vector<std::string>& choices) {
  std::string result = choicesPrefix;
  for (const std::string& choice : choices) result += (result.back() == ':' ? "" : ",") + choice;
  return result;
}

CLI::Option* addOption(CLI::App& app, const std::string& name, const std::string& form, const Variable& variable,
                       const std::string& help, const Traits& traits) {
  const auto add = [&](auto reference) {
    auto& value = reference.get();
    if constexpr (std::is_same_v<decltype(value), int&>) {
      const auto take = [name, &value](const std::string& text) { value = countOf(name, text); };
      return app.add_option_function<std::string>(name, take, help);
    } else {
      CLI::Option* option = app.add_option(name, value, help);
      return traits.mayBeEmpty || !traits.choices.empty() ? option : option->check(whyEmpty, "");
    }
  };
  CLI::Option* option = std::visit(add, variable)->type_name(form);
  if (traits.becomes)
    option->transform(CLI::Validator(
        [becomes = traits.becomes](std::string& text) {
          text = becomes(text);
          return std::string();
        },
        ""));
  if (traits.choices.empty()) return option;
  const auto whyNoChoice = [choices = traits.choices](const std::string& text) {
    const bool isOne = std::find(choices.begin(), choices.end(), text) != choices.end();
    return isOne ? std::string() : "expected " + anyOf(choices) + ", found " + inQuotes(text);
  };
  // The parser does not tell which checks an option has but by their names.
  return option->check(CLI::Validator(whyNoChoice, "", nameOfChoices(traits.choices)));
}

/// The parser takes what follows "--name=" for its value, which is the empty text.
void addWithValue(std::vector<std::string>& arguments, const std::string& argument) {
  const bool isEmptied = argument.size() > 3 && argument.compare(0, 2, "--") == 0 && argument.back() == '=' &&
                         argument.find('=') == argument.size() - 1;
  arguments.push_back(isEmptied ? argument.substr(0, argument.size() - 1) : argument);
  if (isEmptied) arguments.emplace_back();
}

/// The arguments behind the program's name, last one first, as the parser takes them. "help list" is "list --help".
std::vector<std::string> argumentsOf(int argc, const char* const* argv) {
  const bool isHelp = argc > 1 && argv[1] == std::string_view("help");
  std::vector<std::string> result;
  bool hasEnded = false;
  for (int i = isHelp ? 2 : 1; i < argc; ++i) {
    hasEnded = hasEnded || argv[i] == std::string_view("--");
    if (hasEnded)
      result.emplace_back(argv[i]);
    else
      addWithValue(result, argv[i]);
  }
  if (isHelp) result.emplace_back("--help");
  std::reverse(result.begin(), result.end());
  return result;
}

}  // namespace

std::vector<std::string> choicesOf(CLI::Option& option) {
  const std::string prefix = choicesPrefix;
  try {
    // An option that takes any text has a check as well, so the place of the one asked for is looked for.
    for (int i = 0;; ++i) {
      const std::string& name = option.get_validator(i)->get_name();
      if (name.compare(0, prefix.size(), prefix) == 0) return values::splitEscaped(name.substr(prefix.size()), ',');
    }
  } catch (const CLI::OptionNotFound&) {
    return {};
  }
}

Command Command::add(const std::string& name, const std::string& help) const {
  app_->require_subcommand(1);
  CLI::App* command = app_->add_subcommand(name, help);
  command->fallthrough();
  command->footer("The options of \"recordctl --help\" may stand here too.");
  return Command(*command);
}

void Command::argument(const std::string& name, Variable value, const std::string& help, const Traits& traits) const {
  addOption(*app_, name, "", value, help, traits)->required(traits.isRequired.value_or(true));
}

void Command::option(const std::string& name, const std::string& form, Variable value, const std::string& help,
                     const Traits& traits) const {
  CLI::Option* option = addOption(*app_, name, form, value, help, traits);
  option->required(traits.isRequired.value_or(false));
  // One value for each time the option is given, so that arguments may follow it.
  if (std::holds_alternative<std::reference_wrapper<std::vector<std::string>>>(value)) option->allow_extra_args(false);
}

void Command::flag(const std::string& name, bool& value, const std::string& help) const {
  app_->add_flag(name, value, help);
}

void Command::footer(const std::string& text) const {
  app_->footer(text);
}

void Command::hide() const {
  app_->group("");
}

void Command::run(const std::function<void()>& action) const {
  app_->callback(action);
}

CommandLine::CommandLine(const std::string& name, const std::string& help, const std::string& version)
    : app_(std::make_unique<CLI::App>(help, name).release()), version_(version) {
  app_->set_version_flag("--version", name + " " + version);
}

CommandLine::~CommandLine() {
  const std::unique_ptr<CLI::App> owned(app_);
}

Command CommandLine::root() const {
  return Command(*app_);
}

void CommandLine::writeManual(std::ostream& out) const {
  recordctl::writeManual(*app_, version_, out);
}

std::vector<std::string> CommandLine::complete(const TypedLine& line, const StoreWords& store) const {
  return completions(*app_, line, store);
}

void CommandLine::run(int argc, const char* const* argv) const {
  try {
    app_->parse(argumentsOf(argc, argv));
  } catch (const CLI::Success& asked) {
    if (const auto unknown = unknownCommand(*app_)) throw UsageError(*unknown + "; --help tells what there is");
    app_->exit(asked, std::cout, std::cerr);
  } catch (const CLI::ParseError& error) {
    throw UsageError(whatIsWrong(*app_, error) + "; --help tells what there is");
  }
}

}  // namespace database_provider::recordctl
