// SPDX-License-Identifier: Apache-2.0
#include "tools/core/manual.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <ostream>
#include <sstream>
#include <vector>

namespace database_provider::recordctl {

namespace {

/// A text as roff shows it: a backslash and a minus would be something else, and so would a point or a quotation mark
/// at the beginning of a line.
std::string escaped(const std::string& text) {
  std::string result;
  bool isAtStart = true;
  for (const char c : text) {
    if (isAtStart && (c == '.' || c == '\'')) result += "\\&";
    if (c == '\\')
      result += "\\e";
    else if (c == '-')
      result += "\\-";
    else
      result += c;
    isAtStart = c == '\n';
  }
  return result;
}

std::string bold(const std::string& text) {
  return "\\fB" + escaped(text) + "\\fR";
}

std::string italic(const std::string& text) {
  return "\\fI" + escaped(text) + "\\fR";
}

bool isPositional(const CLI::Option& option) {
  return option.get_positional();
}

/// "--store ADDRESS"; "[ID...]".
std::string formOf(const CLI::Option& option) {
  if (isPositional(option)) {
    const std::string name = italic(option.get_name()) + (option.get_expected_max() > 1 ? "..." : "");
    return option.get_required() ? name : "[" + name + "]";
  }
  std::string result;
  for (const std::string& name : option.get_lnames()) result += (result.empty() ? "" : ", ") + bold("--" + name);
  for (const std::string& name : option.get_snames()) result += ", " + bold("-" + name);
  if (option.get_expected_max() > 0) result += " " + italic(option.get_type_name());
  return result;
}

void writeOptions(const CLI::App& app, std::ostream& out) {
  for (const CLI::Option* option : app.get_options()) {
    // Every command has a help, which is told once, at the top.
    const bool isHelpBelow = option == app.get_help_ptr() && app.get_parent() != nullptr;
    if (option->get_group().empty() || isHelpBelow) continue;
    out << ".TP\n" << formOf(*option) << '\n' << escaped(option->get_description()) << '\n';
  }
}

/// Lines of one paragraph stay one; an empty line begins the next.
void writeText(const std::string& text, std::ostream& out) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) out << (line.empty() ? ".PP" : escaped(line)) << '\n';
}

void writeCommand(const CLI::App& command, const std::string& above, std::ostream& out) {
  if (command.get_group().empty()) return;
  const std::string name = above + command.get_name();
  const auto below = command.get_subcommands([](const CLI::App*) { return true; });
  if (below.empty()) {
    out << ".SS \"" << escaped(name);
    for (const CLI::Option* option : command.get_options()) {
      if (isPositional(*option)) out << ' ' << formOf(*option);
    }
    out << "\"\n" << escaped(command.get_description()) << ".\n";
    writeOptions(command, out);
  }
  for (const CLI::App* one : below) writeCommand(*one, name + " ", out);
}

constexpr const char* environment =
    ".SH ENVIRONMENT\n"
    ".TP\n.B RECORDCTL_STORE\nthe store, where\n.B \\-\\-store\nis not given; it may hold a password\n"
    ".TP\n.B RECORDCTL_USER\nwho asks, where\n.B \\-\\-user\nis not given\n"
    ".TP\n.B RECORDCTL_PASSWORD\nthe password of that user\n"
    ".TP\n.B RECORDCTL_NEW_PASSWORD\na password that is set\n"
    ".TP\n.BR NO_COLOR \", \" COLUMNS\nno colours; the width of tables\n"
    ".SH FILES\n"
    ".TP\n.I ~/.config/recordctl/stores\nlines of a name and an address:\n.B \\-\\-store @lab\n"
    "is the address behind \"lab\"\n";

}  // namespace

void writeManual(const CLI::App& app, const std::string& version, std::ostream& out) {
  std::string title = app.get_name();
  std::transform(title.begin(), title.end(), title.begin(), [](unsigned char c) { return std::toupper(c); });
  out << ".TH " << title << R"( 1 "" ")" << escaped(app.get_name() + " " + version) << "\" \"User Commands\"\n"
      << ".SH NAME\n"
      << escaped(app.get_name()) << " \\- " << escaped(app.get_description()) << "\n.SH SYNOPSIS\n"
      << bold(app.get_name()) << " [" << bold("--store") << ' ' << italic("ADDRESS") << "] [" << italic("OPTION")
      << "]... " << italic("COMMAND") << " ...\n.SH OPTIONS\nThey stand before or behind the command.\n";
  writeOptions(app, out);
  out << ".SH COMMANDS\n";
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    writeCommand(*command, "", out);
  out << ".SH NOTES\n";
  writeText(app.get_footer(), out);
  out << environment;
}

}  // namespace database_provider::recordctl
