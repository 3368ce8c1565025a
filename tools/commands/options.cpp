// SPDX-License-Identifier: Apache-2.0
#include "tools/commands/options.h"

#include <filesystem>
#include <iostream>
#include <string_view>
#include <system_error>

#include "tools/values/Errors.h"
#include "values/Text.h"

namespace database_provider::recordctl {

using values::printable;

void KindOption::addTo(const Command& command) {
  command.option("--kind", "KIND", name, "experiment (the default) or scenario",
                 Traits::oneOf({"experiment", "scenario"}));
}

RecordKind KindOption::kind() const {
  return name == "scenario" ? RecordKind::scenario : RecordKind::experiment;
}

void SelectionOptions::addTo(const Command& command) {
  kind.addTo(command);
  command.option("--where", "FILTER", where, "only records that this filter selects: site=Waseca and yield>30",
                 Traits::emptyToo());
  command.flag("--strict", isStrict, "names and values that no record can have are wrong use");
}

void SelectionOptions::addLimitsTo(const Command& command) {
  command.option("--limit", "N", limit, "at most so many records; 0, the default, for all");
  command.option("--skip", "N", skip, "pass over so many records first");
}

void SelectionOptions::tellUnmatched(Session& session) const {
  if (where.empty()) return;
  std::vector<std::string> sentences;
  for (const Remark& remark : session.records(kind.kind()).remarks(where))
    sentences.push_back(sentenceOf(remark, kind.kind()));
  tellAside(session, sentences, isStrict);
}

std::string sentenceOf(const Remark& remark, RecordKind asked) {
  if (remark.reason != Remark::Reason::otherKind) return remark.text;
  return remark.text + "; try --kind " + (asked == RecordKind::experiment ? "scenario" : "experiment");
}

void tellAside(Session& session, const std::vector<std::string>& sentences, bool isStrict) {
  for (const std::string& sentence : sentences) std::cerr << "recordctl: " << sentence << '\n';
  if (isStrict && !sentences.empty()) session.noteWrongUse();
}

Selection SelectionOptions::selection() const {
  try {
    return database_provider::where(where);
  } catch (const SelectionError& error) {
    throw UsageError(error.what());
  }
}

FindOptions SelectionOptions::range() const {
  FindOptions result;
  result.limit = limit;
  result.skip = skip;
  return result;
}

void RootOptions::addTo(const Command& command) {
  command.option("--host-root", "HOST=DIR", texts, "files of this host are seen below DIR; may stand several times");
}

FileRoots RootOptions::roots() const {
  FileRoots result;
  for (const std::string& text : texts) {
    const std::size_t equals = text.find('=');
    const std::string folder = equals == std::string::npos ? "" : text.substr(equals + 1);
    std::error_code ignored;
    if (folder.empty() || !std::filesystem::is_directory(folder, ignored))
      throw UsageError("--host-root: expected HOST=DIR with a folder that is there, found " + values::inQuotes(text));
    result.add(text.substr(0, equals), folder);
  }
  return result;
}

std::string pathOfFile(const std::string& store, const std::string& name) {
  constexpr std::string_view prefix = "file:";
  if (store.find('?') != std::string::npos) throw UsageError(name + ": a path alone, without options");
  if (store.compare(0, prefix.size(), prefix) == 0) return store.substr(prefix.size());
  if (store.find("://") != std::string::npos) throw UsageError(name + ": the new store is a file");
  return store;
}

void tellUsersWithoutPassword(const std::vector<std::string>& users) {
  constexpr std::size_t mostTold = 20;
  if (users.empty()) return;
  std::cerr << "recordctl: passwords cannot be read from a store; users that need new ones (users passwd NAME):";
  for (std::size_t i = 0; i < users.size() && i < mostTold; ++i) std::cerr << ' ' << printable(users[i]);
  if (users.size() > mostTold) std::cerr << " and " << users.size() - mostTold << " more";
  std::cerr << '\n';
}

void tellProblems(Session& session, const std::list<std::string>& problems) {
  for (const std::string& problem : problems) std::cerr << "recordctl: " << printable(problem) << '\n';
  if (!problems.empty()) session.noteFailure();
}

}  // namespace database_provider::recordctl
