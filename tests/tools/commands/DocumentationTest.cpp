// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "tests/tools/commands/Recordctl.h"

// What the pages on the command show is what it does.

namespace {

const std::string importBegin = "    recordctl --store file:records.db ";
const std::string errorBegin = "    recordctl: in the filter: ";

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> result;
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

std::string page(const std::string& name) {
  std::ifstream file(DATABASE_TEST_DOCS "/" + name);
  EXPECT_TRUE(file) << name;
  return {std::istreambuf_iterator<char>(file), {}};
}

bool beginsWith(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

/// The texts between backticks.
std::vector<std::string> inBackticks(const std::string& text) {
  std::vector<std::string> result;
  std::size_t begin = text.find('`');
  while (begin != std::string::npos) {
    const std::size_t end = text.find('`', begin + 1);
    if (end == std::string::npos) break;
    result.push_back(text.substr(begin + 1, end - begin - 1));
    begin = text.find('`', end + 1);
  }
  return result;
}

/// The filters that the page explains, each in the first cell of a row of its last table.
std::vector<std::string> filters() {
  const std::string text = page("filters.md");
  std::string cells;
  for (const std::string& line : linesOf(text.substr(text.find("## Conditions"))))
    if (beginsWith(line, "| `")) cells += line.substr(0, line.find(" |", 1)) + '\n';
  return inBackticks(cells);
}

/// Every "--name" of a text.
std::set<std::string> optionsOf(const std::string& text) {
  const std::string letters = "abcdefghijklmnopqrstuvwxyz-";
  std::set<std::string> result;
  for (std::size_t at = text.find("--"); at != std::string::npos;) {
    const std::size_t end = std::min(text.find_first_not_of(letters, at), text.size());
    if (end > at + 2 && text[at + 2] != '-') result.insert(text.substr(at, end - at));
    at = text.find("--", end);
  }
  return result;
}

/// The commands that a help lists.
std::vector<std::string> commandsOf(const std::string& help) {
  std::vector<std::string> result;
  const std::size_t start = help.find("Subcommands:");
  if (start == std::string::npos) return result;
  for (const std::string& line : linesOf(help.substr(start)))
    if (beginsWith(line, "  ") && line.size() > 2 && line[2] != ' ')
      result.push_back(line.substr(2, line.find(' ', 2) - 2));
  return result;
}

}  // namespace

TEST_F(Recordctl, FiltersOfTheManualSelect) {
  importPlots();
  const auto all = filters();
  EXPECT_GE(all.size(), 12U);
  for (const std::string& filter : all) EXPECT_EQ(run({"list", "--where", filter}).status, 0) << filter;
}

TEST_F(Recordctl, TheErrorOfTheManualIsTold) {
  importPlots();
  const std::string text = page("filters.md");
  const std::size_t start = text.find(errorBegin);
  ASSERT_NE(start, std::string::npos);
  std::string shown;
  for (const std::string& line : linesOf(text.substr(start)))
    shown += line.substr(std::min<std::size_t>(4, line.size())) + '\n';
  EXPECT_EQ(run({"list", "--where", "site= and year=1932"}).err, shown);
}

TEST_F(Recordctl, TheImportOfTheManualRuns) {
  importPlots();
  int examples = 0;
  for (const std::string& line : linesOf(page("recordctl.md"))) {
    if (!beginsWith(line, importBegin)) continue;
    ++examples;
    std::istringstream words(line.substr(importBegin.size()));
    std::vector<std::string> arguments{std::istream_iterator<std::string>(words), {}};
    for (std::string& argument : arguments)
      if (argument == "plots.json") argument = path(argument);
    EXPECT_EQ(run(arguments).status, 0) << line;
  }
  EXPECT_EQ(examples, 1);
  EXPECT_EQ(countRecords(), 8);
}

TEST_F(Recordctl, OptionsOfTheManualAreInTheHelp) {
  const std::string root = output({"help"});
  std::string help = root;
  for (const std::string& command : commandsOf(root)) {
    const std::string one = output({"help", command});
    help += one;
    for (const std::string& inner : commandsOf(one)) help += output({"help", command, inner});
  }
  const auto known = optionsOf(help);
  const auto named = optionsOf(page("recordctl.md"));
  EXPECT_GE(named.size(), 10U);
  for (const std::string& option : named) EXPECT_EQ(known.count(option), 1U) << option;
}
