// SPDX-License-Identifier: Apache-2.0
#include "tools/core/completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>

#include "tools/core/Command.h"

namespace database_provider::recordctl {

namespace {

bool beginsWith(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

CLI::Option* optionNamed(CLI::App* app, const std::string& name) {
  for (; app != nullptr; app = app->get_parent()) {
    if (CLI::Option* option = app->get_option_no_throw(name)) return option;
  }
  return nullptr;
}

bool takesValue(const CLI::Option& option) {
  return option.get_expected_max() > 0;
}

CLI::App* commandNamed(CLI::App& app, const std::string& name) {
  const auto found = app.get_subcommands([&](const CLI::App* command) { return command->get_name() == name; });
  return found.empty() ? nullptr : found.front();
}

/// Where the last word stands.
struct Place {
  CLI::App* command;
  CLI::Option* option = nullptr;  ///< whose value it is
  std::size_t arguments = 0;      ///< of the command that stand before it
};

Place placeOfLast(CLI::App& app, const std::vector<std::string>& words) {
  Place place{&app};
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    const std::string& word = words[i];
    place.option = nullptr;
    if (beginsWith(word, "--")) {
      CLI::Option* const option = optionNamed(place.command, word.substr(0, word.find('=')));
      const bool takesNext = option != nullptr && takesValue(*option) && word.find('=') == std::string::npos;
      if (!takesNext) continue;
      if (i + 2 == words.size()) place.option = option;
      ++i;
    } else if (CLI::App* below = commandNamed(*place.command, word)) {
      place.command = below;
    } else if (word != "help") {
      ++place.arguments;
    }
  }
  return place;
}

CLI::Option* argumentAt(CLI::App& command, std::size_t place) {
  for (CLI::Option* option : command.get_options()) {
    if (!option->get_positional()) continue;
    const bool takesAll = option->get_expected_max() > 1;
    if (place == 0 || takesAll) return option;
    --place;
  }
  return nullptr;
}

/// A name in front of each of which stands what was typed before it, as in "site,ye": of several with commas between.
std::vector<std::string> behindComma(const std::string& typed, std::vector<std::string> names) {
  const std::size_t comma = typed.rfind(',');
  if (comma != std::string::npos) {
    for (std::string& name : names) name.insert(0, typed.substr(0, comma + 1));
  }
  return names;
}

/// A name as it stands in a filter.
std::string inFilter(const std::string& name) {
  const bool isBare = !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '_' || c == '-' || c == '.' || c == '$' || c > 0x7F;
  });
  if (isBare) return name;
  std::string result = "\"";
  for (const char c : name) {
    if (c == '"' || c == '\\') result += '\\';
    result += c;
  }
  return result + "\"";
}

/// A filter ends in a name, or in a comparison of one.
std::vector<std::string> filters(const std::string& typed, const StoreWords& store) {
  const std::size_t blank = typed.find_last_of(" (");
  const std::size_t begin = blank == std::string::npos ? 0 : blank + 1;
  const std::size_t sign = typed.find('=', begin);
  std::vector<std::string> result;
  if (sign == std::string::npos) {
    for (const std::string& name : store.names()) result.push_back(typed.substr(0, begin) + inFilter(name));
    return result;
  }
  const std::size_t end = sign > begin && typed[sign - 1] == '!' ? sign - 1 : sign;
  for (const std::string& value : store.values(typed.substr(begin, end - begin)))
    result.push_back(typed.substr(0, sign + 1) + inFilter(value));
  return result;
}

std::vector<std::string> valuesOf(CLI::Option& option, const std::string& typed, const StoreWords& store) {
  constexpr std::array<std::string_view, 7> ofNames = {"--columns", "--sort", "--by", "--unset",
                                                       "--key",     "NAME",   "NAMES"};
  constexpr std::array<std::string_view, 4> ofOneName = {"OLD", "A", "B", "--scenarios"};
  std::vector<std::string> choices = choicesOf(option);
  if (!choices.empty()) return choices;
  const std::string name = option.get_name();
  if (name == "--store" || name == "FROM" || name == "TO") return store.stores();
  if (name == "--where") return filters(typed, store);
  if (std::find(ofNames.begin(), ofNames.end(), name) != ofNames.end()) return behindComma(typed, store.names());
  if (std::find(ofOneName.begin(), ofOneName.end(), name) != ofOneName.end()) return store.names();
  return {};
}

}  // namespace

TypedLine TypedLine::parse(const std::string& line) {
  TypedLine result;
  std::string word;
  char quote = 0;
  bool isWord = false;
  std::vector<std::string> words;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (quote == 0 && (c == ' ' || c == '\t')) {
      if (isWord) words.push_back(std::exchange(word, {}));
      isWord = false;
      continue;
    }
    isWord = true;
    const bool isEscape = c == '\\' && quote != '\'' && i + 1 < line.size();
    if (isEscape && (quote == 0 || line[i + 1] == '"' || line[i + 1] == '\\'))
      word += line[++i];
    else if (quote == 0 && (c == '"' || c == '\''))
      quote = c;
    else if (c == quote)
      quote = 0;
    else
      word += c;
  }
  words.push_back(word);
  words.erase(words.begin());
  result.words = std::move(words);
  result.isQuoted = quote != 0;
  return result;
}

std::string TypedLine::valueOf(const std::string& option) const {
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    if (words[i] == option && i + 2 < words.size()) return words[i + 1];
    if (beginsWith(words[i], option + "=")) return words[i].substr(option.size() + 1);
  }
  return {};
}

std::vector<std::string> completions(CLI::App& app, const TypedLine& line, const StoreWords& store) {
  std::vector<std::string> result;
  if (line.words.empty()) return result;
  const std::string& typed = line.words.back();
  const Place place = placeOfLast(app, line.words);
  const std::size_t sign = typed.find('=');
  if (place.option != nullptr) {
    result = valuesOf(*place.option, typed, store);
  } else if (beginsWith(typed, "--") && sign != std::string::npos) {
    if (CLI::Option* option = optionNamed(place.command, typed.substr(0, sign))) {
      result = valuesOf(*option, typed.substr(sign + 1), store);
      for (std::string& value : result) value.insert(0, typed, 0, sign + 1);
    }
  } else if (beginsWith(typed, "-")) {
    for (const CLI::App* at = place.command; at != nullptr; at = at->get_parent()) {
      for (const CLI::Option* option : at->get_options()) {
        for (const std::string& name : option->get_lnames()) result.push_back("--" + name);
      }
    }
  } else if (place.command->get_require_subcommand_min() > 0) {
    for (const CLI::App* command : place.command->get_subcommands([](CLI::App*) { return true; })) {
      if (!command->get_group().empty()) result.push_back(command->get_name());
    }
    if (place.command == &app) result.emplace_back("help");
  } else if (CLI::Option* argument = argumentAt(*place.command, place.arguments)) {
    result = valuesOf(*argument, typed, store);
  }
  result.erase(
      std::remove_if(result.begin(), result.end(), [&](const std::string& one) { return !beginsWith(one, typed); }),
      result.end());
  std::sort(result.begin(), result.end());
  result.erase(std::unique(result.begin(), result.end()), result.end());
  return result;
}

}  // namespace database_provider::recordctl
