// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "database_provider/diagnosis.h"
#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;
using values::printable;

/// A word as a POSIX shell takes it: bare where nothing in it means anything to the shell, else in single quotes.
std::string shellWord(const std::string& word) {
  constexpr const char* plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=.,:/@%";
  if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
  std::string result = "'";
  for (const char c : word) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

/// The line that mends it. Options come first in it, so that what follows may begin with a dash behind "--".
std::string lineOf(const Finding& finding) {
  if (finding.command.empty()) return "";
  std::string result = "recordctl";
  for (const std::string& word : finding.command) result += " " + shellWord(word);
  return result;
}

ObjectProperties toJson(const Finding& finding) {
  ObjectProperties result;
  result.setValueString("problem", problemName(finding.problem));
  result.setValueString("name", finding.name);
  result.setValueInt64("records", finding.records);
  result.setValueString("command", lineOf(finding));
  return result;
}

/// A line that a terminal would show otherwise than it is, since something in it steers terminals, is not shown.
std::string shownLine(const std::string& line) {
  return printable(line) == line ? line : "(a name in it cannot be shown; --json gives the line)";
}

void write(const Finding& finding) {
  std::cout << problemName(finding.problem);
  if (!finding.name.empty()) std::cout << ' ' << inQuotes(finding.name);
  if (!finding.detail.empty()) std::cout << ": " << finding.detail;
  std::cout << " (" << (finding.kind == RecordKind::scenario ? "scenarios, " : "") << finding.records
            << (finding.records == 1 ? " record)\n" : " records)\n");
  const std::string line = lineOf(finding);
  if (!line.empty()) std::cout << "    " << shownLine(line) << '\n';
}

void examine(Session& session, const RootOptions& roots) {
  DiagnosisOptions options;
  options.files = roots.roots();
  std::size_t count = 0;
  for (const RecordKind kind : {RecordKind::experiment, RecordKind::scenario}) {
    try {
      for (const Finding& finding : diagnose(session.records(kind), options)) {
        ++count;
        if (session.json())
          writeJson(toJson(finding));
        else
          write(finding);
      }
    } catch (const database_client::Error& error) {
      if (error.kind() != database_client::Error::Kind::authorization) throw;
      std::cerr << "recordctl: you may not read " << placeOf(kind).database << '.' << placeOf(kind).collection << '\n';
    }
  }
  if (count == 0) std::cerr << "recordctl: nothing is odd\n";
}

}  // namespace

void addDoctor(const Command& commands, Session& session) {
  auto roots = std::make_shared<RootOptions>();
  const Command command =
      commands.add("doctor", "What is odd in the records, each with the line that mends it; changes nothing");
  roots->addTo(command);
  command.run([&session, roots] { examine(session, *roots); });
}

}  // namespace database_provider::recordctl
