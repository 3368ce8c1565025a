// SPDX-License-Identifier: Apache-2.0
#include "tools/serve/Question.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <variant>

#include "values/Nearest.h"
#include "values/Number.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;

/// Where a parameter goes; a list takes it any number of times.
using Target = std::variant<std::string*, int*, bool*, std::vector<std::string>*, RecordKind*, std::monostate>;

std::map<std::string, Target, std::less<>> targetsOf(Question& question) {
  return {{"kind", &question.kind},
          {"where", &question.where},
          {"sort", &question.sort},
          {"columns", &question.columns},
          {"by", &question.by},
          {"format", &question.format},
          {"scenarios", &question.scenarios},
          {"id", &question.ids},
          {"limit", &question.limit},
          {"skip", &question.skip},
          {"bins", &question.bins},
          {"median", &question.withMedian},
          {"all", &question.all},
          {"category", &question.assignments.categories},
          {"description", &question.assignments.descriptions},
          {"unset", &question.unset},
          {"dry-run", &question.dryRun},
          {"token", std::monostate()}};
}

/// Puts the text of one parameter in its place.
struct Put {
  const std::string& name;
  std::string text;

  void operator()(std::string* target) { *target = std::move(text); }
  void operator()(std::vector<std::string>* target) { target->push_back(std::move(text)); }
  void operator()(std::monostate) {}
  void operator()(int* target) const {
    const auto number = values::parseInteger(text);
    if (!number || *number < 0 || *number > std::numeric_limits<int>::max())
      throw BadQuestion(name + ": expected a whole number that is not negative, found " + inQuotes(text));
    *target = static_cast<int>(*number);
  }
  void operator()(bool* target) const {
    if (!text.empty() && text != "true" && text != "1" && text != "false" && text != "0")
      throw BadQuestion(name + ": expected true or false, found " + inQuotes(text));
    *target = text != "false" && text != "0";
  }
  void operator()(RecordKind* target) const {
    if (text != "experiment" && text != "scenario")
      throw BadQuestion(name + ": expected experiment or scenario, found " + inQuotes(text));
    *target = text == "scenario" ? RecordKind::scenario : RecordKind::experiment;
  }
};

std::string decoded(std::string_view text) {
  auto result = percentDecoded(text, true);
  if (!result) throw BadQuestion("an escape such as %20 is broken off in " + inQuotes(text));
  if (!values::isUtf8(*result)) throw BadQuestion("the address is not UTF-8");
  return *std::move(result);
}

[[noreturn]] void refuseName(const std::string& name, const std::map<std::string, Target, std::less<>>& targets) {
  std::vector<std::string> known;
  known.reserve(targets.size());
  for (const auto& target : targets) known.push_back(target.first);
  throw BadQuestion("unknown parameter " + inQuotes(name) + values::suggestion(name.substr(0, 100), known));
}

int digitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

}  // namespace

std::optional<std::string> percentDecoded(std::string_view text, bool plusIsBlank) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      result += text[i] == '+' && plusIsBlank ? ' ' : text[i];
      continue;
    }
    const int high = i + 2 < text.size() ? digitOf(text[i + 1]) : -1;
    const int low = i + 2 < text.size() ? digitOf(text[i + 2]) : -1;
    if (high < 0 || low < 0) return std::nullopt;
    result += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return result;
}

Question Question::parse(std::string_view text) {
  Question result;
  const auto targets = targetsOf(result);
  std::set<std::string> seen;
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, text.find('&'));
    text.remove_prefix(std::min(piece.size() + 1, text.size()));
    if (piece.empty()) continue;
    const std::size_t equals = std::min(piece.find('='), piece.size());
    const std::string name = decoded(piece.substr(0, equals));
    const auto target = targets.find(name);
    if (target == targets.end()) refuseName(name, targets);
    const bool isList = std::holds_alternative<std::vector<std::string>*>(target->second);
    if (!isList && !seen.insert(name).second) throw BadQuestion(name + ": stands twice");
    std::visit(Put{name, decoded(piece.substr(std::min(equals + 1, piece.size())))}, target->second);
  }
  return result;
}

Selection Question::selection() const {
  try {
    return database_provider::where(where);
  } catch (const SelectionError& error) {
    throw BadQuestion(error.reason(), error.position());
  }
}

FindOptions Question::range() const {
  FindOptions result;
  try {
    if (!sort.empty()) result.sort = sortBy(sort);
  } catch (const SelectionError& error) {
    throw BadQuestion("sort: " + error.reason());
  }
  result.limit = limit;
  result.skip = skip;
  return result;
}

}  // namespace database_provider::recordctl
