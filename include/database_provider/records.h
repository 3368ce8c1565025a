// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_client/DataBaseClient.h>

#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "database_provider/Record.h"
#include "database_provider/Selection.h"
#include "database_provider/answers.h"
#include "database_provider/changes.h"
#include "database_provider/export.h"
#include "database_provider/import.h"

struct ArrowArrayStream;  // arrow.h

/// The records of a store, as programs ask for them, change them and hand them on. It stands beside the interfaces and
/// works through any client.
///
///     const auto store = open("file:plots.db");
///     Records plots(*store, RecordKind::experiment);
///     plots.insert(NewRecord().category("site", "Waseca").description("yield", 48.9));
///     for (const auto& [id, record] : plots.find(where("site=Waseca and yield>40"))) …
///
/// Everything throws `database_client::Error` as `DataBaseClient` does, and what was given up (see
/// `DataBaseClient::setCancellation`) Error{cancelled}.
namespace database_provider {

/// How a store is opened.
struct OpenOptions {
  std::string user{};  ///< empty: without credentials
  std::string password{};
  std::string authDatabase{};      ///< where the user is kept; empty: "admin" for "admin", else "databaseManager"
  bool create = true;              ///< whether a file that is not there is made
  std::function<bool()> wanted{};  ///< as `DataBaseClient::setCancellation` takes it, from the first moment on
};

/// Opens a store: "file:PATH" or "file::memory:", a host or "host:port", or a "mongodb://" address. Never null; Error
/// with its kind and reason when the store cannot be reached or refuses the user.
DATABASE_PROVIDER_EXPORT std::unique_ptr<DataBaseClient> open(const std::string& address,
                                                              const OpenOptions& options = {});

/// What records are sorted by. Numbers of all kinds come by value, then texts byte by byte, then other kinds; records
/// without the name come last, in either direction.
struct SortKey {
  enum class Field {
    any,  ///< the description of the name if any record has it, else the category
    category,
    description,
    id,       ///< without a name
    created,  ///< the time in the id, without a name
  };

  Field field = Field::any;
  std::string name{};
  bool isDescending = false;
};

/// Reads "yield:desc,category:site,created": names as in filters, each with ":asc" or ":desc" behind it if wanted; a
/// comma, colon or backslash in a name has a backslash before it. Throws `SelectionError`.
DATABASE_PROVIDER_EXPORT std::vector<SortKey> sortBy(const std::string& text);

/// Which of the selected records are given, and in which order.
struct FindOptions {
  std::vector<SortKey> sort{};  ///< empty: the store's order
  int limit = 0;                ///< 0: all
  int skip = 0;
  std::string after{};  ///< only those behind the record of this id, in the store's order; not together with `sort`
};

/// A record that was found.
struct FoundRecord {
  std::string id;
  Record record;
};

/// Records that are read while one goes through them, some at a time: memory does not grow with their number, but for
/// the ids under a sort, which are taken in its order at the start (some 40 bytes each). What is written meanwhile may
/// be seen or not. To be gone through once; the client must outlive it.
class DATABASE_PROVIDER_EXPORT FoundRecords {
  struct State;

 public:
  class DATABASE_PROVIDER_EXPORT iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = FoundRecord;
    using difference_type = std::ptrdiff_t;
    using pointer = FoundRecord*;
    using reference = FoundRecord&;

    FoundRecord& operator*() const;
    FoundRecord* operator->() const { return &**this; }
    iterator& operator++();
    friend bool operator==(const iterator& left, const iterator& right) { return left.state_ == right.state_; }
    friend bool operator!=(const iterator& left, const iterator& right) { return !(left == right); }

   private:
    friend class FoundRecords;
    State* state_ = nullptr;  ///< null at the end
  };

  FoundRecords(const FoundRecords&) = delete;
  FoundRecords& operator=(const FoundRecords&) = delete;
  FoundRecords(FoundRecords&&) noexcept;
  FoundRecords& operator=(FoundRecords&&) noexcept;
  ~FoundRecords();

  /// Reads the first records. A second call goes on where the first iterator stands.
  iterator begin();
  static iterator end() { return {}; }

 private:
  friend class Records;
  explicit FoundRecords(std::unique_ptr<State> state);

  std::unique_ptr<State> state_;
};

/// The records of one kind in a store. Cheap to make and to copy; the client must outlive it. One client is used by one
/// thread at a time.
class DATABASE_PROVIDER_EXPORT Records {
 public:
  Records(DataBaseClient& store, RecordKind kind) : store_(&store), kind_(kind) {}

  RecordKind kind() const { return kind_; }
  DataBaseClient& store() const { return *store_; }

  // Records in and out.

  /// Gives the new id.
  std::string insert(const NewRecord& record) const;
  /// Inserts all in one go, which in a file is one transaction: all or none. Gives their ids in the same order. On a
  /// server some may have been written when it throws; the message says how many.
  std::vector<std::string> insertMany(const std::vector<NewRecord>& records) const;
  /// As `insertMany`, as a part of the transaction that the caller has begun in a file, so that batches of any number
  /// can be one. It is the caller's to undo when this throws.
  std::vector<std::string> insertWithin(const std::vector<NewRecord>& records) const;
  /// Writes each record onto the one that has its key (see `ImportPlan::key`; a bare name is that of what the records
  /// themselves have), or inserts it where none has. A record of the batch whose key another one has, or several in the
  /// store, is a bad row, counted from 1, and the others go in. In a file one transaction; on a server record by
  /// record, each only as long as nobody changed it meanwhile. Asks the store once for a thousand of them.
  ImportResult upsertMany(const std::vector<NewRecord>& records, const std::vector<std::string>& key,
                          OnMatch onMatch = OnMatch::update) const;
  /// Makes records of rows, in batches: memory does not grow with their number. The categories of the plan are added to
  /// the configured ones, behind them. With a key, rows that can be read twice are, so that two of one key are found
  /// before either went in. Throws `ImportError` where rows cannot be read on, and for a plan that makes no sense; the
  /// batches before that stay, unless the plan says all or nothing.
  ImportResult importFrom(RowReader& rows, const ImportPlan& plan, const ImportObserver& observer = {}) const;
  /// Nothing when there is no record of this id. Takes constant time.
  std::optional<Record> read(const std::string& id) const;
  /// The selected records, read while one goes through them.
  FoundRecords find(const Selection& selection = {}, const FindOptions& options = {}) const;
  /// Hands over one record after the other until `receive` returns false. The fastest way through many.
  void forEach(const Selection& selection, const FindOptions& options,
               const std::function<bool(Record&&)>& receive) const;
  /// As `forEach`, the documents as they are stored, of which `projection` (see `DataBaseClient::find`) chooses keys.
  void forEachDocument(const Selection& selection, const FindOptions& options, const ObjectProperties& projection,
                       const std::function<bool(ObjectProperties&)>& receive) const;
  /// The ids of the selected records; reads no record where an index selects them.
  std::vector<std::string> ids(const Selection& selection = {}, const FindOptions& options = {}) const;
  /// The ids that begin with a text, at most `limit` of them (0: all), object ids before others. Looks at the ids of
  /// all records that are no object ids.
  std::vector<std::string> idsBeginningWith(const std::string& text, int limit) const;
  /// Removes the selected records and says how many. `Selection()` selects all.
  long long remove(const Selection& selection) const;

  /// Writes the selected records line by line, each with its end, and gives their number: RowFormat::records, complete
  /// as an import takes them back; RowFormat::csv with a header, the id, categories (the configured ones first) and
  /// descriptions, which an import with the key "id" takes back; RowFormat::jsonl, an object {"id", "created",
  /// "categories": {}, "descriptions": {}} in relaxed extended JSON on each line; or RowFormat::json, an array of
  /// these. `columns` chooses among categories and descriptions, for CSV in this order: "id", names as in filters,
  /// "category:NAME" or "description:NAME", with a backslash before a colon in a name; Error{query} for any other, and
  /// for complete records. What `write` throws ends it. CSV without columns reads records twice, until every name in
  /// use was met.
  long long exportTo(const std::function<void(const std::string& line)>& write, RowFormat format,
                     const Selection& selection = {}, const FindOptions& options = {},
                     const std::vector<std::string>& columns = {}) const;
  /// A table of the selected records, for whoever reads Apache Arrow: `stream` (arrow.h) is filled, which the caller
  /// releases, early if wanted. It reads some thousand records each time that it is asked for more; the client must
  /// outlive it, and is not to be used meanwhile by another thread. `columns` are "id", "created", names as in filters,
  /// "category:NAME" or "description:NAME", with a backslash before a colon in a name; none for all names in use. Texts
  /// are utf8, the rest bool, int32, int64, double and timestamp (milliseconds, UTC); a value that a record lacks is
  /// null. A description with values of several kinds gives a column for each, the most frequent kind under the name,
  /// the others under "NAME:TYPE" (string, bool, int, long, double, time). A name that no record has is a column of
  /// nulls. A value that is written meanwhile, of a kind that has no column, is an error of the stream.
  void exportArrow(const Selection& selection, const std::vector<std::string>& columns, ArrowArrayStream* stream,
                   const FindOptions& options = {}) const;

  // Changes. In a file each is one transaction, all or nothing but for the records that are counted as failed; one that
  // the caller has begun is refused. On a server records are changed one by one, each only if nobody changed it since
  // it was read (else it is read again): what was acknowledged stays when the rest fails or is given up, and the
  // message says how many records that were. Each record is changed once, however the change makes it look; memory
  // grows by its id alone. To do the same again does the rest, but for formulas that compute from what they change.

  /// Changes the selected records. `Selection()` selects all.
  ChangeResult update(const Selection& selection, const Changes& changes, const ChangeOptions& options = {}) const;
  /// The names in the formulas of the changes that are a description of no record.
  std::vector<std::string> unknownOperands(const Changes& changes) const;
  /// Gives a category or description another name. Error{query}, before anything is written and with up to twenty ids,
  /// where records have the new name already (see `Renaming::merge`), or would lose a value. What was interrupted
  /// on a server is done to its end by the same with `merge`.
  ChangeResult rename(const Renaming& renaming, const ChangeOptions& options = {}) const;
  /// Gives values of a category other ones: of each pair the first becomes the second.
  ChangeResult renameValues(const std::string& category, const std::vector<std::pair<std::string, std::string>>& values,
                            const ChangeOptions& options = {}) const;
  /// Makes a description one of another type in all records: numbers of any kind, booleans and times (ISO 8601) of
  /// texts that stand for them, numbers of numbers without loss, texts of all. Error{query}, before anything is written
  /// and with up to twenty ids, where a value cannot become one.
  ChangeResult convert(const std::string& description, PropertyType type, const ChangeOptions& options = {}) const;

  // Questions. In a file they are answered from the index, without reading a record, as far as it can tell; on a
  // server by one aggregation.

  long long count(const Selection& selection = {}) const;
  /// How many entries of the category, whose name is taken in either letter case, have each value; the widest first,
  /// then by value; at most `limit` of them (0: all).
  std::vector<Facet> facets(const std::string& category, const Selection& selection = {}, int limit = 0) const;
  /// The names that the selected records have: categories first, each kind by name. On a server every selected record
  /// is read.
  std::vector<NameInUse> names(const Selection& selection = {}) const;
  /// The figures of descriptions, in groups of categories: for each group, in the order of its values (a missing one
  /// last), one for each name in the order given. `withMedian` takes 8 bytes of memory for each value.
  std::vector<Figures> stats(const std::vector<std::string>& descriptions, const std::vector<std::string>& by = {},
                             const Selection& selection = {}, bool withMedian = false) const;
  /// The values of a description, numbers or (where it has none) times, in so many bins; without bins when no selected
  /// record has such a value. Infinite values count in the first and the last bin. `bins` is 1 to 10,000; Error{query}
  /// else.
  Histogram histogram(const std::string& description, int bins, const Selection& selection = {}) const;
  /// A cell for every pair of values that the selected records have of the two categories, with a count of zero where
  /// no record has both; by the first value, then by the second. Records that lack one of them are left out.
  /// Error{query} for more than ten million cells.
  std::vector<CoverageCell> coverage(const std::string& first, const std::string& second,
                                     const Selection& selection = {}) const;
  /// Every category and description of the records, the first record's first. Error{query} for an id that is not there.
  std::vector<ComparisonRow> compare(const std::vector<std::string>& ids) const;
  KindSummary summary() const;
  /// The type that the first record with a description of this name has it in; nothing where none has. One look-up.
  std::optional<PropertyType> typeInUse(const std::string& description) const;

  // What was asked for in vain. To be looked at where nothing was found, so that a slip is not taken for an answer.

  /// What of a filter in text (see `where`) no record can ever meet: names that none has, values of a type that the
  /// name never has, texts that are no id. Nothing for a filter that some record could meet, though none does. Looks at
  /// the names of all records, and for each that is not there once through their user records. Throws
  /// `SelectionError`.
  std::vector<Remark> remarks(const std::string& filter) const;
  /// Why no record has a category, a description or (without `kind`) either of them of this name; nothing where one
  /// has, which takes one look-up.
  std::optional<Remark> remarkOn(const std::string& name, std::optional<NameInUse::Kind> kind = {}) const;

 private:
  class Review;

  void aggregate(const ObjectProperties& pipeline, const std::function<void(ObjectProperties&)>& receive) const;
  bool isInUse(const char* path, const std::string& name) const;

  DataBaseClient* store_;
  RecordKind kind_;
};

/// Every scenario of the store, and how many experiments name it in the category `name`: by its id, or by the value
/// that the scenario itself has of the category of that name.
DATABASE_PROVIDER_EXPORT std::vector<ScenarioCoverage> scenarioCoverage(DataBaseClient& store, const std::string& name);

}  // namespace database_provider
