// SPDX-License-Identifier: Apache-2.0
#include "tools/serve/Api.h"

#include <algorithm>
#include <exception>
#include <new>
#include <vector>

#include "exporting/recordJson.h"
#include "selection/Parser.h"
#include "tools/core/answers.h"
#include "tools/core/valueText.h"
#include "tools/input/Columns.h"
#include "tools/values/Errors.h"
#include "values/Text.h"

// Each question is one function from a `Question` and an open store to the objects of its results; a table below names
// them. Which status an exception stands for is said once, in `answered`, so that no question has to know of HTTP.
//
// A list or an export of unknown length is a stream: its head is written before it is known whether the rest can be
// read. What can be refused is therefore looked at before, and a failure in the middle breaks the connection off, which
// tells the reader that the answer is not whole.

namespace database_provider::recordctl {

using database_client::Error;

namespace {

/// What is wrong with a request for what is not there.
class NotThere : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using Results = std::vector<ObjectProperties>;

/// A question under way.
struct Asked {
  const Question& question;
  std::string name;  ///< what stands in the path behind the question's own
  std::shared_ptr<Clients::Loan> loan;

  DataBaseClient& client() const { return loan->client(); }
  Records records() const { return {client(), question.kind}; }
};

std::vector<std::string> piecesOf(const std::string& text) {
  return text.empty() ? std::vector<std::string>() : values::splitEscaped(text, ',');
}

std::string joined(const Results& results) {
  std::string text;
  for (const ObjectProperties& result : results) text += (text.empty() ? "" : ",\n") + result.toJson();
  return text;
}

/// Where nothing was found, what in the question no record can ever meet stands beside the results.
std::string remarksOn(const Asked& asked, const std::vector<std::string>& categories) {
  std::vector<Remark> remarks;
  if (!asked.question.where.empty()) remarks = asked.records().remarks(asked.question.where);
  for (const std::string& name : categories) {
    if (const auto remark = asked.records().remarkOn(name, NameInUse::Kind::category)) remarks.push_back(*remark);
  }
  if (remarks.empty()) return "";
  ObjectProperties texts;
  for (std::size_t i = 0; i < remarks.size(); ++i) {
    const database_client::ArrayScope list(texts, "remarks");
    texts.setValueString(std::to_string(i), remarks[i].text);
  }
  const std::string json = texts.toJson();
  return ", " + json.substr(1, json.size() - 2);
}

std::string resultsJson(const Results& results, const std::string& remarks = "") {
  return "{\"results\": [" + joined(results) + "]" + remarks + "}\n";
}

template <class Items>
std::string resultsOf(const Asked& asked, const Items& items, const std::vector<std::string>& categories = {}) {
  Results results;
  for (const auto& item : items) results.push_back(toJson(item));
  return resultsJson(results, results.empty() ? remarksOn(asked, categories) : "");
}

std::string names(const Asked& asked) {
  Results results;
  for (const ListedName& name : listedNames(asked.question.kind, asked.client())) results.push_back(toJson(name));
  return resultsJson(results);
}

std::string count(const Asked& asked) {
  const long long found = asked.records().count(asked.question.selection());
  return resultsJson({countJson(found)}, found == 0 ? remarksOn(asked, {}) : "");
}

std::string facets(const Asked& asked) {
  const auto found = asked.records().facets(asked.name, asked.question.selection(), asked.question.limit);
  return resultsOf(asked, found, {asked.name});
}

std::string stats(const Asked& asked) {
  const std::vector<std::string> by = namesIn(asked.question.by);
  if (by.size() > 2) throw BadQuestion("by: groups are of one category, or of two");
  const std::vector<std::string> given = namesIn(asked.question.columns);
  const std::vector<std::string> names = given.empty() ? numericNames(asked.records()) : given;
  Results results;
  if (!names.empty()) {
    for (const Figures& figures :
         asked.records().stats(names, by, asked.question.selection(), asked.question.withMedian))
      results.push_back(toJson(figures, by, asked.question.withMedian));
  }
  return resultsJson(results, results.empty() ? remarksOn(asked, by) : "");
}

std::string histogram(const Asked& asked) {
  const Selection selection = asked.question.selection();
  return resultsJson({toJson(asked.records().histogram(asked.name, asked.question.bins, selection))});
}

std::string coverage(const Asked& asked) {
  if (!asked.question.scenarios.empty()) {
    Results results;
    for (const auto& scenario : scenarioCoverage(asked.client(), asked.question.scenarios))
      results.push_back(toJson(scenario));
    return resultsJson(results);
  }
  const std::vector<std::string> by = namesIn(asked.question.by);
  if (by.size() != 2) throw BadQuestion("by: expected two categories, or scenarios=NAME in its place");
  return resultsOf(asked, asked.records().coverage(by[0], by[1], asked.question.selection()), by);
}

std::string compare(const Asked& asked) {
  const Question& question = asked.question;
  if (question.where.empty() == question.ids.empty())
    throw BadQuestion("which records are compared? Give id several times, or where");
  std::vector<std::string> ids = question.ids;
  if (ids.empty()) {
    FindOptions first;
    first.limit = mostCompared + 1;
    ids = asked.records().ids(question.selection(), first);
  }
  if (ids.size() < 2 || ids.size() > mostCompared)
    throw BadQuestion("two to " + std::to_string(mostCompared) + " records are compared, not " +
                      (ids.size() > mostCompared ? "more" : std::to_string(ids.size())));
  Results results;
  for (const ComparisonRow& row : asked.records().compare(ids)) {
    if (question.all || row.differs) results.push_back(toJson(row));
  }
  return resultsJson(results);
}

std::string show(const Asked& asked) {
  Results results;
  FindOptions one;
  one.limit = 1;
  asked.records().forEachDocument(Selection::ofIds({wholeId(asked.records(), asked.name)}), one, {},
                                  [&](const ObjectProperties& document) {
                                    results.push_back(document);
                                    return true;
                                  });
  if (results.empty()) throw NotThere("no record has the id " + values::inQuotes(asked.name));
  return resultsJson(results);
}

ObjectProperties wholeRecordJson(const Record& record) {
  ObjectProperties result = exporting::recordJson(record);
  {
    const database_client::GroupScope types(result, "types");
    for (const std::string& name : record.descriptionNames()) {
      if (const auto value = record.description(name)) result.setValueString(name, typeName(*value));
    }
  }
  {
    const database_client::ArrayScope files(result, "files");
    std::size_t place = 0;
    for (const FileReference& file : record.files()) {
      const database_client::GroupScope one(result, std::to_string(place++));
      result.setValueString("kind", objectTypeName(file.type));
      result.setValueString("host", file.host);
      result.setValueString("path", file.path);
    }
  }
  {
    const database_client::ArrayScope sources(result, "sources");
    std::size_t place = 0;
    for (const auto& source : sourcesOf(*record.toInterface())) {
      const database_client::GroupScope one(result, std::to_string(place++));
      for (const auto& [name, value] : source) result.setValueString(name, value);
    }
  }
  result.include("data", record.data());
  return result;
}

/// A record without the way in which it is stored, for the page.
std::string record(const Asked& asked) {
  const auto found = asked.records().read(wholeId(asked.records(), asked.name));
  if (!found) throw NotThere("no record has the id " + values::inQuotes(asked.name));
  return resultsJson({wholeRecordJson(*found)});
}

/// The conditions that a filter joins with "and", each with its text and, where it compares a name with values, what it
/// compares: so that the page can show a filter as ticks and handles, and change one of them. Asks no store.
std::string conditions(const Asked& asked) {
  using selection::Expression;
  const std::string& text = asked.question.where;
  Expression whole;
  try {
    whole = selection::parseFilter(text);
  } catch (const SelectionError& error) {
    throw BadQuestion(error.reason(), error.position());
  }
  const bool isOne = whole.kind != Expression::Kind::all;
  Results results;
  for (const Expression& condition : isOne ? std::vector<Expression>{whole} : whole.operands) {
    ObjectProperties json;
    // "a or b" alone has no place of its own; to be joined with others it needs parentheses.
    json.setValueString(
        "text", condition.end == 0 ? "(" + text + ")" : text.substr(condition.begin, condition.end - condition.begin));
    const bool isComparison = condition.kind == Expression::Kind::comparison;
    if (condition.kind == Expression::Kind::oneOf || isComparison) {
      const char* fields[] = {"any", "category", "description", "id"};
      json.setValueString("field", fields[static_cast<std::size_t>(condition.name.field)]);
      json.setValueString("name", condition.name.text);
      const char* operations[] = {"=", "!=", "<", "<=", ">", ">="};
      const auto operation = static_cast<std::size_t>(condition.operation);
      if (isComparison && operation < std::size(operations))
        json.setValueString("operator", operations[operation]);
      else if (!isComparison)
        json.setValueString("operator", "in");
      const database_client::ArrayScope values(json, "values");
      for (std::size_t i = 0; i < condition.values.size(); ++i)
        json.setValueString(std::to_string(i), condition.values[i].text);
    }
    results.push_back(std::move(json));
  }
  return resultsJson(results);
}

/// The status of what a store says.
int statusOf(const Error& error) {
  switch (error.kind()) {
    case Error::Kind::query:
    case Error::Kind::document:
    case Error::Kind::unsupported:
      return 400;
    case Error::Kind::authorization:
      return 403;
    default:
      return 503;
  }
}

/// Drops the connection of a question that failed on the store's side, so that the next one makes it anew.
template <class Ask>
auto withLoan(const std::shared_ptr<Clients::Loan>& loan, const Ask& ask) {
  try {
    return ask();
  } catch (const Error& error) {
    if (statusOf(error) == 503) loan->drop();
    throw;
  }
}

/// Reads records into a stream. The connection stays on loan until its end.
std::function<void(const Write&)> streamOf(const Asked& asked, RowFormat format) {
  const Selection selection = asked.question.selection();
  const FindOptions range = asked.question.range();
  const std::vector<std::string> columns = piecesOf(asked.question.columns);
  return [loan = asked.loan, kind = asked.question.kind, selection, range, columns, format](const Write& write) {
    constexpr std::size_t enough = 64 * 1024;
    std::string waiting;
    Records(loan->client(), kind)
        .exportTo(
            [&](const std::string& line) {
              waiting += line;
              if (waiting.size() < enough) return;
              write(waiting);
              waiting.clear();
            },
            format, selection, range, columns);
    write(waiting);
  };
}

/// What cannot be told any more once the stream has begun: names that are none, and a store that is away.
void checkBefore(const Asked& asked, RowFormat format) {
  FindOptions none = asked.question.range();
  none.sort.clear();
  none.skip = 0;
  none.limit = 1;
  asked.records().exportTo([](const std::string&) {}, format, Selection::ofIds({""}), none,
                           piecesOf(asked.question.columns));
}

/// Documents that cannot be read are passed over, as the commands do; `check` tells of them.
void passOverDamage(DataBaseClient& client) {
  client.setUnreadableHandler([](const ObjectProperties&, const Error&) { return true; });
}

/// The part of a list that is asked for. Whoever looks out for damage cannot go by the order of ids that a file keeps,
/// and takes seconds for the newest of a million records; so damage is looked out for where there is some.
std::string arrayOf(const Asked& asked) {
  const auto stream = streamOf(asked, RowFormat::json);
  std::string array;
  const auto take = [&] { stream([&array](const std::string& piece) { array += piece; }); };
  asked.client().setUnreadableHandler({});
  try {
    take();
  } catch (const Error& error) {
    if (error.kind() != Error::Kind::storage) throw;
    array.clear();
    passOverDamage(asked.client());
    take();
  }
  array.pop_back();
  return array;
}

Answer list(const Asked& asked) {
  constexpr int mostAtOnce = 10'000;
  checkBefore(asked, RowFormat::json);
  Answer answer;
  const bool isBounded = asked.question.limit > 0 && asked.question.limit <= mostAtOnce;
  if (!isBounded) {
    answer.stream = [stream = streamOf(asked, RowFormat::json), loan = asked.loan](const Write& write) {
      withLoan(loan, [&] {
        write("{\"results\": ");
        stream(write);
        write("}\n");
      });
    };
    return answer;
  }
  const std::string array = arrayOf(asked);
  const bool isEmpty = array == "[\n]";
  answer.body = "{\"results\": " + array + (isEmpty ? remarksOn(asked, {}) : "") + "}\n";
  return answer;
}

Answer exported(const Asked& asked) {
  struct Format {
    const char* name;
    RowFormat format;
    const char* type;
    const char* ending;
  };
  constexpr Format formats[] = {{"csv", RowFormat::csv, "text/csv; charset=utf-8", ".csv"},
                                {"jsonl", RowFormat::jsonl, "application/x-ndjson", ".jsonl"},
                                {"json", RowFormat::json, "application/json", ".json"},
                                {"records", RowFormat::records, "application/x-ndjson", ".records.jsonl"}};
  const auto* const found = std::find_if(std::begin(formats), std::end(formats),
                                         [&](const Format& format) { return asked.question.format == format.name; });
  if (found == std::end(formats)) throw BadQuestion("format: expected csv, jsonl, json or records");
  checkBefore(asked, found->format);
  Answer answer;
  answer.type = found->type;
  answer.stream = [stream = streamOf(asked, found->format), loan = asked.loan](const Write& write) {
    withLoan(loan, [&] { stream(write); });
  };
  answer.fileName =
      (asked.question.kind == RecordKind::scenario ? "scenarios" : "experiments") + std::string(found->ending);
  return answer;
}

/// The questions that a store is asked. A name that ends in a slash takes something behind it.
struct Known {
  const char* name;
  std::string (*ask)(const Asked&);
};
constexpr Known known[] = {{"names", names},     {"count", count},       {"facets/", facets},
                           {"stats", stats},     {"coverage", coverage}, {"histogram/", histogram},
                           {"compare", compare}, {"show/", show},        {"record/", record}};

/// Runs what answers a request, and answers for what it throws.
Answer answered(const std::function<Answer()>& run) {
  try {
    return run();
  } catch (const BadQuestion& error) {
    return errorAnswer(400, error.what(), error.position());
  } catch (const SelectionError& error) {
    return errorAnswer(400, error.reason());
  } catch (const NotThere& error) {
    return errorAnswer(404, error.what());
  } catch (const UsageError& error) {
    return errorAnswer(400, error.what());
  } catch (const Error& error) {
    return errorAnswer(statusOf(error), error.what());
  } catch (const std::bad_alloc&) {
    return errorAnswer(503, "there is not enough memory");
  } catch (const std::exception& error) {
    return errorAnswer(400, error.what());
  }
}

}  // namespace

Answer errorAnswer(int status, const std::string& reason, std::optional<std::size_t> position) {
  ObjectProperties json;
  json.setValueString("error", values::isUtf8(reason) ? reason : values::printable(reason));
  if (position)
    json.setValueInt64("position", static_cast<std::int64_t>(*position));
  else
    json.setValueNull("position");
  Answer answer;
  answer.status = status;
  answer.body = json.toJson() + "\n";
  return answer;
}

Answer Api::answer(const std::string& path, const std::string& query, const std::function<bool()>& isWanted) const {
  return answered([&] { return answerKnown(path, Question::parse(query), isWanted); });
}

Answer Api::answerKnown(const std::string& path, const Question& question,
                        const std::function<bool()>& isWanted) const {
  if (!values::isUtf8(path)) throw BadQuestion("the address is not UTF-8");
  Answer answer;
  if (path == "about") {
    ObjectProperties json;
    json.setValueString("store", about_.store);
    json.setValueString("user", about_.user);
    json.setValueBool("write", about_.mayWrite);
    if (about_.mayWrite) json.setValueString("token", about_.token);
    answer.body = resultsJson({json});
    return answer;
  }
  if (path == "conditions") {
    answer.body = conditions({question, "", nullptr});
    return answer;
  }
  const std::size_t slash = path.find('/');
  const bool hasName = slash != std::string::npos;
  const std::string head = hasName ? path.substr(0, slash + 1) : path;
  const std::string name = hasName ? path.substr(slash + 1) : "";
  const auto* const found =
      std::find_if(std::begin(known), std::end(known), [&](const Known& one) { return head == one.name; });
  const bool isRows = path == "list" || path == "export";
  if (!isRows && found == std::end(known)) throw NotThere("there is no /api/" + values::excerpt(path));
  if (hasName && name.empty()) throw BadQuestion("a name is missing behind /api/" + head);
  static_cast<void>(question.selection());  // what cannot be read needs no store
  static_cast<void>(question.range());
  const Asked asked{question, name, clients_->lend(isWanted)};
  passOverDamage(asked.client());
  return withLoan(asked.loan, [&] {
    if (path == "list") return list(asked);
    if (path == "export") return exported(asked);
    answer.body = found->ask(asked);
    return answer;
  });
}

/// The filter that comes with ids says what the records were when the change was shown: one that somebody else has
/// changed meanwhile is not met, and the caller sees that fewer were.
Answer Api::change(const std::string& query, const std::function<bool()>& isWanted) const {
  return answered([&] {
    const Question question = Question::parse(query);
    const Assignments assignments = Assignments::parse(question.assignments, question.kind);
    if (question.assignments.isEmpty() && question.unset.empty())
      throw BadQuestion("what is to be changed? Give category, description or unset");
    Changes changes = changesOf(assignments, question.unset);
    Selection selection = question.selection();
    if (!question.ids.empty()) selection = selection && Selection::ofIds(question.ids);
    if (selection.selectsAll()) throw BadQuestion("which records are changed? Give id, or where");
    const Asked asked{question, "", clients_->lend(isWanted)};
    return withLoan(asked.loan, [&] {
      completeChanges(changes, assignments, question.unset, asked.records());
      ChangeOptions options;
      options.dryRun = question.dryRun;
      std::string failures;
      options.onFailure = [&failures](const FailedChange& failed) {
        constexpr std::size_t enough = 2'000;
        if (failures.size() < enough) failures += (failures.empty() ? "" : "; ") + failed.id + ": " + failed.reason;
      };
      ObjectProperties result = toJson(asked.records().update(selection, changes, options), true);
      if (!failures.empty()) result.setValueString("reasons", failures);
      Answer answer;
      answer.body = resultsJson({result});
      return answer;
    });
  });
}

}  // namespace database_provider::recordctl
