// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "database_provider/export.h"
#include "database_provider/types.h"

/// Rows of files and of programs, and what becomes of them in a store: see `Records::importFrom` and
/// `Records::upsertMany` (records.h).
///
///     const auto rows = openRows("plots.csv", RowFormat::csv);
///     ImportPlan plan;
///     plan.categories = {"site", "variety"};
///     plan.descriptions = {{"yield", PropertyType::real}, {"year", PropertyType::int32}};
///     const ImportResult result = plots.importFrom(*rows, plan);
namespace database_provider {

namespace importing {
struct Row;
}

/// How rows are written down.
enum class RowFormat {
  json,     ///< one array of objects
  jsonl,    ///< an object on each line
  csv,      ///< RFC 4180, with a header
  records,  ///< complete records: a document of canonical extended JSON on each line
  // What tools write of their results; `planFor` has a plan for them.
  junit,            ///< a file of test results, as JUnit and many others write it
  googleBenchmark,  ///< the JSON of Google Benchmark
  pytestBenchmark,  ///< the JSON of pytest-benchmark
  mlflow,           ///< a folder of MLflow's file store
};

/// How rows are written down where their format leaves that open. Files that gzip or Zstandard have compressed are
/// unpacked without being told; their first bytes tell.
struct RowOptions {
  char delimiter = '\0';   ///< between the cells of CSV; NUL: the one of , ; tab and | that the first lines have
  std::string encoding{};  ///< as iconv names it; empty: UTF-16 where the first bytes say so, else UTF-8
  std::string rows{};      ///< of a JSON document that is an object, the path of its array of rows: "features"
  std::vector<std::string> arraysAsText{};  ///< keys of rows of JSON whose arrays become one text: "a; b"
  std::string arrayAsRows{};  ///< the key of rows of JSON of whose array each value makes a row of its own
};

/// Where a row stands.
struct RowOrigin {
  std::string file{};    ///< as it was given when it was opened
  std::size_t line = 0;  ///< from 1; 0 where there are no lines
  std::size_t row = 0;   ///< from 1; 0 for what is no row
};

/// A row that did not go in.
struct BadRow {
  RowOrigin origin{};
  std::string column{};  ///< empty where the row as a whole is bad
  std::string reason{};
};

/// Rows that cannot be read on, or that cannot be imported as a whole. The message names the file, and the line where
/// there is one.
class DATABASE_PROVIDER_EXPORT ImportError : public std::runtime_error {
 public:
  explicit ImportError(const std::string& message);
  ~ImportError() override;
  ImportError(const ImportError&);
  ImportError& operator=(const ImportError&);
};

/// Rows, one at a time, in constant memory: made by `openRows`, `readRows` or `rowsOf`, and gone through by an import.
class DATABASE_PROVIDER_EXPORT RowReader {
 public:
  RowReader(const RowReader&) = delete;
  RowReader& operator=(const RowReader&) = delete;
  virtual ~RowReader();

  /// Replaces `row` by the next one, false at the end; a row that cannot be read says why, and the next one follows.
  /// Throws `ImportError` where nothing can be read on.
  virtual bool next(importing::Row& row) = 0;
  /// The columns that every row has; empty where each row has its own.
  virtual const std::vector<std::string>& header() const = 0;
  /// The bytes read so far, and all that there are; 0 where that is not known.
  virtual std::uint64_t position() const = 0;
  virtual std::uint64_t size() const = 0;
  /// Stands before the first row again; false, and nothing happens, where the rows can be read only once.
  virtual bool rewind() = 0;

  /// How the file was named when it was opened.
  const std::string& name() const { return name_; }
  /// Whether the rows are complete records rather than plain rows.
  bool hasRecords() const { return hasRecords_; }
  /// Whether texts of the rows stand for numbers, too, as cells of CSV do.
  bool areTextsTyped() const { return areTextsTyped_; }

 protected:
  RowReader(std::string name, bool hasRecords, bool areTextsTyped = false)
      : name_(std::move(name)), hasRecords_(hasRecords), areTextsTyped_(areTextsTyped) {}

 private:
  std::string name_;
  bool hasRecords_;
  bool areTextsTyped_;
};

/// Opens a file, or the folder of a tool. Throws `ImportError` when it cannot be opened, or is not of the format from
/// its start on.
DATABASE_PROVIDER_EXPORT std::unique_ptr<RowReader> openRows(const std::string& path, RowFormat format);
DATABASE_PROVIDER_EXPORT std::unique_ptr<RowReader> openRows(const std::string& path, RowFormat format,
                                                             const RowOptions& options);

/// Fills so many bytes at most and gives their number; 0 at the end.
using ByteReader = std::function<std::size_t(char* bytes, std::size_t size)>;

/// The rows of what somebody else reads: a pipe, an upload. They can be read only once. `name` stands in messages.
DATABASE_PROVIDER_EXPORT std::unique_ptr<RowReader> readRows(const std::string& name, RowFormat format,
                                                             ByteReader read);
DATABASE_PROVIDER_EXPORT std::unique_ptr<RowReader> readRows(const std::string& name, RowFormat format, ByteReader read,
                                                             const RowOptions& options);

/// The rows that a program has: each call of `next` fills an empty document, or returns false behind the last one.
/// `restart`, where it is given, lets `next` begin anew.
DATABASE_PROVIDER_EXPORT std::unique_ptr<RowReader> rowsOf(std::function<bool(ObjectProperties& row)> next,
                                                           std::function<void()> restart = {});

/// The format that the ending of a name tells: .json, .geojson, .jsonl, .ndjson, .csv, .tsv or .records, in either
/// case, with .gz or .zst behind it or not.
DATABASE_PROVIDER_EXPORT std::optional<RowFormat> rowFormatOf(const std::string& path);

/// What becomes of a row whose key a record has.
enum class OnMatch {
  update,   ///< what the row has is set, the rest of the record stays; an empty cell changes nothing
  replace,  ///< the record becomes what the row says, under its id
  skip,     ///< the record stays as it is
  fail,     ///< the row is a bad one
};

/// What becomes of the columns of plain rows. What is not named goes to the user block as it stands; an empty cell, a
/// null and a missing key are absent. Complete records need no plan but for `keepIds` and `allOrNothing`.
struct ImportPlan {
  struct Description {
    std::string name;
    PropertyType type = PropertyType::string;  ///< string, boolean, int32, int64, real or time
  };
  /// A column of paths, which become references to files.
  struct File {
    ObjectType kind = ObjectType::documentObject;
    std::string host;
    std::string name;
  };

  std::vector<std::string> categories{};
  std::vector<Description> descriptions{};
  std::vector<File> files{};
  /// What a number in a column of times counts since 1970: a second or a millisecond. Without it milliseconds, and
  /// those that could as well be years or seconds are bad rows.
  std::optional<std::chrono::milliseconds> timeUnit{};
  /// What stands before the fraction of a number in a text. NUL: a point, and `inferPlan` may find that it is a comma.
  char decimal = '\0';
  char thousands = '\0';  ///< what stands between groups of three digits of a number in a text; NUL: nothing
  std::vector<std::string> absent{};  ///< texts that mean that there is no value, as an empty cell does: "NA", "-"
  /// How times are written besides ISO 8601, as strftime says it: "%d/%m/%Y". The first that fits is taken.
  std::vector<std::string> timeFormats{};
  /// What does not fit the type of its description becomes a description that is a text, rather than a bad row.
  bool surpriseAsText = false;
  std::string sourceHost{};   ///< the data server of experiments; empty for none
  bool keepIds = false;       ///< of complete records; else new ones are made
  bool allOrNothing = false;  ///< one transaction, undone if a row is bad; Error{unsupported} on a server

  /// The categories, descriptions ("category:NAME" and "description:NAME" tell them apart where that is needed) or "id"
  /// by which a row is told to be that of a record which is there. Empty: every row is a new record. With a key,
  /// columns that are not named become the categories and descriptions of these names that the store has, under its
  /// types: so the CSV that `Records::exportTo` writes comes back.
  std::vector<std::string> key{};
  OnMatch onMatch = OnMatch::update;
};

/// What `inferPlan` made of a column, and why.
struct InferredColumn {
  enum class Use { category, description, userBlock };

  std::string name{};  ///< of a value in a nested object its path: "properties.mag"
  Use use = Use::userBlock;
  PropertyType type = PropertyType::string;  ///< of a description
  std::string reason{};                      ///< "3 different texts", "leading zeros (\"007\", line 4)"
  long long values = 0;                      ///< rows that have one
  long long surprises = 0;                   ///< of those, rows whose value does not fit
};

/// What may become of rows that somebody has looked through.
struct InferredPlan {
  ImportPlan plan{};
  std::vector<InferredColumn> columns{};  ///< in the order of their appearance, without those that were named before
  long long rows = 0;
};

/// Looks through all rows and finds out what their columns hold: numbers, times and booleans become descriptions, texts
/// of few values categories, anything else stays in the user block. What `given` names stays as it is. The reader
/// stands before the first row again afterwards; one that can be read only once throws `ImportError`. Memory grows with
/// the number of columns alone. docs/import.md has the rules.
DATABASE_PROVIDER_EXPORT InferredPlan inferPlan(RowReader& rows, const ImportPlan& given = {});

/// The plan that a format of a tool brings along: what its users call its columns. Empty for any other.
DATABASE_PROVIDER_EXPORT ImportPlan planFor(RowFormat format);

/// What an import did.
struct ImportResult {
  long long imported = 0;   ///< new records
  long long updated = 0;    ///< records that are others now
  long long unchanged = 0;  ///< records that already were what their row says, or that were to stay
  long long failed = 0;     ///< bad rows
  /// The first hundred of them, where no handler was given that was told of all.
  std::vector<BadRow> badRows{};
};

/// How far an import is.
struct ImportProgress {
  std::uint64_t position = 0;  ///< in bytes, as `RowReader` counts them
  std::uint64_t size = 0;      ///< 0 where it is not known
  std::uint64_t rows = 0;
};

/// Who is told of an import while it runs. None of them may use the client.
struct ImportObserver {
  /// Called after every row; false gives up with Error{cancelled}.
  std::function<bool(const ImportProgress&)> progress{};
  /// Called once for each bad row.
  std::function<void(const BadRow&)> badRow{};
};

}  // namespace database_provider
