// SPDX-License-Identifier: Apache-2.0

// What is odd in a store. Each problem is looked for where the answer is cheapest:
//
// - Names, their types and how often they stand: `Records::names`, which a file answers from its index.
// - Values that are alike: the counts of the values of each category, streamed twice. The first time keeps a hash of
//   each value without letter case and blanks, 8 bytes; the second time, where a hash came twice, the values behind it.
//   So a category of a million different values takes 8 MB here, and not a map of texts.
// - Files, sources and plain rows: one pass over the records that reads their additional data alone.
//
// A finding names the command that mends it. Which of two names or values is meant is the store's own vote: the one
// that stands more often, of equals the one without blanks around it, then the first by bytes.

#include "database_provider/diagnosis.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <utility>

#include "records/layout.h"
#include "repository/kinds.h"
#include "repository/pipelines.h"
#include "selection/Lexer.h"
#include "values/Nearest.h"
#include "values/Text.h"

namespace database_provider {

using database_client::EnteredScope;
using values::inQuotes;
using values::withoutCaseAndBlanks;
using Problem = Finding::Problem;

namespace {

constexpr std::size_t mostFilesRemembered = 10'000;  ///< that need not be looked at again
constexpr std::size_t mostIdsTold = 20;

bool isNumeric(PropertyType type) {
  return type == PropertyType::int32 || type == PropertyType::int64 || type == PropertyType::real;
}

bool isDescriptionType(PropertyType type) {
  return isNumeric(type) || type == PropertyType::string || type == PropertyType::boolean || type == PropertyType::time;
}

std::string trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(" \t\r\n") + 1 - begin);
}

/// Whether one of several texts that are alike is rather the one that was meant.
bool isBetter(const Facet& one, const Facet& other) {
  if (one.count != other.count) return one.count > other.count;
  const bool isClean = trimmed(one.value) == one.value;
  const bool isOtherClean = trimmed(other.value) == other.value;
  if (isClean != isOtherClean) return isClean;
  return one.value < other.value;
}

/// A name or a value as commands take it, which read a backslash before these characters.
std::string escaped(const std::string& text, std::string_view special) {
  std::string result;
  for (const char c : text) {
    if (special.find(c) != std::string_view::npos) result += '\\';
    result += c;
  }
  return result;
}

constexpr std::string_view specialInNames = ",:\\";
constexpr std::string_view specialInValues = ",:\\=";

/// The words of a command with arguments behind its options, none of which is taken for an option.
std::vector<std::string> withArguments(std::vector<std::string> words, const std::vector<std::string>& arguments) {
  const auto isLikeOption = [](const std::string& word) { return !word.empty() && word.front() == '-'; };
  if (std::any_of(arguments.begin(), arguments.end(), isLikeOption)) words.emplace_back("--");
  words.insert(words.end(), arguments.begin(), arguments.end());
  return words;
}

/// A name as a filter takes it, as the category or the description that it is.
std::string inFilter(NameInUse::Kind kind, const std::string& name) {
  return (kind == NameInUse::Kind::category ? "category:" : "description:") +
         (selection::standsBare(name) ? name : '"' + escaped(name, "\"\\") + '"');
}

/// How often each name of one sort stands, and with which types.
using TypesOfNames = std::map<std::string, std::vector<NameInUse>>;

long long countOf(const std::vector<NameInUse>& types) {
  long long result = 0;
  for (const NameInUse& type : types) result += type.count;
  return result;
}

class Diagnosis {
 public:
  Diagnosis(const Records& records, const DiagnosisOptions& options) : records_(records), options_(options) {}

  std::vector<Finding> run() {
    for (NameInUse& name : records_.names()) {
      const bool isCategory = name.kind == NameInUse::Kind::category;
      std::vector<NameInUse>& types = (isCategory ? categories_ : descriptions_)[name.name];
      types.push_back(std::move(name));
    }
    lookForTypes();
    const long long all = records_.count();
    for (const TypesOfNames* names : {&categories_, &descriptions_}) lookForNames(*names, all);
    lookForValues();
    lookThroughRecords();
    for (const auto& [problem, many] : beyond_)
      findings_.push_back({problem, records_.kind(), "", "more of these", many, {}});
    std::stable_sort(findings_.begin(), findings_.end(),
                     [](const Finding& left, const Finding& right) { return left.problem < right.problem; });
    return std::move(findings_);
  }

 private:
  /// The words of a command on records of this kind.
  std::vector<std::string> command(std::vector<std::string> words) const {
    const int depth = !words.empty() && words.front() == "files" ? 2 : 1;
    if (records_.kind() == RecordKind::scenario && !words.empty())
      words.insert(words.begin() + depth, {"--kind", "scenario"});
    return words;
  }

  /// A name as commands take it; with its sort where it would stand for two things, or be taken for an option.
  std::string asArgument(NameInUse::Kind kind, const std::string& name) const {
    const bool isBoth = categories_.count(name) != 0 && descriptions_.count(name) != 0;
    const bool isPlain = !isBoth && name != "id" && name.front() != '-';
    const char* sort = kind == NameInUse::Kind::category ? "category:" : "description:";
    return (isPlain ? "" : sort) + escaped(name, specialInNames);
  }

  void add(Problem problem, const std::string& name, std::string detail, long long records,
           std::vector<std::string> words) {
    if (++counts_[problem] > options_.most) {
      beyond_[problem] += records;
      return;
    }
    findings_.push_back({problem, records_.kind(), name, std::move(detail), records, command(std::move(words))});
  }

  /// The type that all values can become: of numbers the widest, else the one that most have, or a text.
  static PropertyType commonType(const std::vector<NameInUse>& types) {
    const bool areNumbers =
        std::all_of(types.begin(), types.end(), [](const NameInUse& type) { return isNumeric(type.type); });
    const auto widest = [](const NameInUse& left, const NameInUse& right) { return left.type < right.type; };
    if (areNumbers) return std::max_element(types.begin(), types.end(), widest)->type;
    const auto fewer = [](const NameInUse& left, const NameInUse& right) { return left.count < right.count; };
    const auto most = std::max_element(types.begin(), types.end(), fewer);
    const bool isTie =
        std::count_if(types.begin(), types.end(), [&](const NameInUse& type) { return type.count == most->count; }) > 1;
    return isTie || !isDescriptionType(most->type) ? PropertyType::string : most->type;
  }

  void lookForTypes() {
    for (const auto& [name, types] : descriptions_) {
      if (types.size() < 2) continue;
      const PropertyType target = commonType(types);
      long long others = 0;
      std::string detail;
      for (const NameInUse& type : types) {
        if (type.type != target) others += type.count;
        detail += (detail.empty() ? "" : ", ") + typeName(type.type) + " in " + std::to_string(type.count);
      }
      add(Problem::twoTypes, name, detail, others,
          {"convert", asArgument(NameInUse::Kind::description, name), typeName(target)});
    }
  }

  void lookForNames(const TypesOfNames& names, long long allRecords) {
    std::map<std::string, std::vector<Facet>> alike;
    for (const auto& [name, types] : names) alike[withoutCaseAndBlanks(name)].push_back({name, countOf(types)});
    std::vector<std::string> usual;  // what a name that stands once could have been meant for
    for (auto& [folded, group] : alike) {
      std::sort(group.begin(), group.end(), isBetter);
      if (group.front().count > 1) usual.push_back(group.front().value);
      for (std::size_t i = 1; i < group.size(); ++i)
        add(Problem::alikeNames, group[i].value, inQuotes(group[i].value) + " and " + inQuotes(group.front().value),
            group[i].count, merging(names.at(group[i].value).front(), group.front().value));
    }
    for (const auto& [folded, group] : alike) {
      // In a store of one record every name stands once.
      if (group.size() > 1 || group.front().count > 1 || allRecords < 2) continue;
      const std::string& name = group.front().value;
      const NameInUse& used = names.at(name).front();
      const std::string near = values::nearest(name, usual);
      if (near.empty())
        add(Problem::nameUsedOnce, name, "", 1,
            {"set", "--where", "has " + inFilter(used.kind, name), "--unset", asArgument(used.kind, name)});
      else
        add(Problem::nameUsedOnce, name, "perhaps " + inQuotes(near) + " was meant", 1, merging(used, near));
    }
  }

  std::vector<std::string> merging(const NameInUse& name, const std::string& into) const {
    return withArguments({"rename", "--merge"}, {asArgument(name.kind, name.name), escaped(into, specialInNames)});
  }

  void forEachValue(const std::string& category, const std::function<void(Facet&&)>& receive) const {
    const layout::Place& place = repository::placeOf(records_.kind());
    records_.store().aggregateEach(place.database, place.collection, repository::facets(category, {}),
                                   [&](const ObjectProperties& group) {
                                     if (group.type("_id") == PropertyType::string)
                                       receive({group.valueAsString("_id", ""), group.valueAsInt64("count", 0)});
                                     return true;
                                   });
  }

  /// The counts of values take a name in either letter case: of those names the one that stands more often is looked
  /// at.
  void lookForValues() {
    std::map<std::string, Facet> looked;
    for (const auto& [name, types] : categories_) {
      const Facet used{name, countOf(types)};
      const auto [best, isNew] = looked.emplace(values::lowered(name), used);
      if (!isNew && isBetter(used, best->second)) best->second = used;
    }
    for (const auto& [lowered, name] : looked) lookForValuesOf(name.value);
  }

  void lookForValuesOf(const std::string& category) {
    const auto hashOf = [](const std::string& value) { return std::hash<std::string>()(withoutCaseAndBlanks(value)); };
    std::vector<std::size_t> hashes;
    forEachValue(category, [&](const Facet& facet) { hashes.push_back(hashOf(facet.value)); });
    std::sort(hashes.begin(), hashes.end());
    std::set<std::size_t> twice;
    for (std::size_t i = 1; i < hashes.size() && twice.size() <= options_.most; ++i) {
      if (hashes[i] == hashes[i - 1]) twice.insert(hashes[i]);
    }
    if (twice.empty()) return;
    std::map<std::string, std::vector<Facet>> alike;
    forEachValue(category, [&](Facet&& facet) {
      if (twice.count(hashOf(facet.value)) != 0) alike[withoutCaseAndBlanks(facet.value)].push_back(std::move(facet));
    });
    for (auto& [folded, group] : alike) {
      std::sort(group.begin(), group.end(), isBetter);
      for (std::size_t i = 1; i < group.size(); ++i)
        add(Problem::alikeValues, category, inQuotes(group[i].value) + " and " + inQuotes(group.front().value),
            group[i].count,
            // Joined, since a value may begin with a dash.
            withArguments({"rename", "--value=" + escaped(group[i].value, specialInValues) + "=" + group.front().value},
                          {asArgument(NameInUse::Kind::category, category)}));
    }
  }

  void lookThroughRecords() {
    ObjectProperties projection;
    projection.setValueBool(layout::path::additionalData, true);
    long long withoutSource = 0;
    long long plain = 0;
    std::vector<std::string> plainIds;
    std::map<std::string, long long> missing;  // paths, and how many records refer to them
    records_.forEachDocument({}, {}, projection, [&](ObjectProperties& document) {
      const bool hasInfo = document.type(layout::key::recordInfo) == PropertyType::group;
      const bool hasSource = hasInfo && isSourceNamed(document);
      const Record record(records_.kind(), std::move(document));
      if (!hasInfo) {
        ++plain;
        if (plainIds.size() < mostIdsTold && !record.id().empty()) plainIds.push_back(record.id());
        return true;
      }
      if (!hasSource) ++withoutSource;
      std::set<std::string> ofRecord;
      for (const FileReference& file : record.files()) {
        if (stateOf(file) != FileState::missing || !ofRecord.insert(file.path).second) continue;
        if (missing.size() < options_.most || missing.count(file.path) != 0)
          ++missing[file.path];
        else
          ++beyond_[Problem::missingFile];
      }
      return true;
    });
    for (const auto& [path, count] : missing) add(Problem::missingFile, path, "", count, {"files", "check"});
    if (withoutSource > 0 && records_.kind() == RecordKind::experiment)
      add(Problem::withoutSource, "", "", withoutSource, {});
    if (plain == 0) return;
    std::vector<std::string> words;
    if (!plainIds.empty()) words = withArguments({"set", "--category", "NAME=VALUE"}, plainIds);
    add(Problem::plainRows, "", "", plain, std::move(words));
  }

  static bool isSourceNamed(const ObjectProperties& document) {
    const EnteredScope info = EnteredScope::group(document, layout::key::recordInfo);
    const EnteredScope data = EnteredScope::group(document, layout::key::additionalData);
    const EnteredScope source = EnteredScope::group(document, layout::key::dataSource);
    return info && data && source && document.valueAsInt32("type", 0) != 0;
  }

  FileState stateOf(const FileReference& file) {
    const auto key = std::make_pair(file.host, file.path);
    const auto known = looks_.find(key);
    if (known != looks_.end()) return known->second;
    const FileState state = options_.files.look(file).state;
    if (looks_.size() < mostFilesRemembered) looks_.emplace(key, state);
    return state;
  }

  const Records& records_;
  const DiagnosisOptions& options_;
  TypesOfNames categories_{};
  TypesOfNames descriptions_{};
  std::vector<Finding> findings_{};
  std::map<Problem, std::size_t> counts_{};
  std::map<Problem, long long> beyond_{};
  std::map<std::pair<std::string, std::string>, FileState> looks_{};
};

}  // namespace

const char* problemName(Finding::Problem problem) {
  switch (problem) {
    case Problem::twoTypes:
      return "one name of two types";
    case Problem::alikeNames:
      return "names that differ by case or blanks alone";
    case Problem::alikeValues:
      return "values that differ by case or blanks alone";
    case Problem::nameUsedOnce:
      return "name used once";
    case Problem::missingFile:
      return "file that is not there";
    case Problem::withoutSource:
      return "experiments without a source";
    case Problem::plainRows:
      break;
  }
  return "plain rows that no filter can see";
}

std::vector<Finding> diagnose(const Records& records, const DiagnosisOptions& options) {
  return Diagnosis(records, options).run();
}

}  // namespace database_provider
