// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_client/DataBaseClient.h>

#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "database_provider/Record.h"
#include "database_provider/Selection.h"
#include "database_provider/answers.h"
#include "database_provider/export.h"

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

/// Records that are read while one goes through them, some at a time: memory does not grow with their number. What is
/// written meanwhile may be seen or not. To be gone through once; the client must outlive it.
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
