// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "database_provider/records.h"
#include "importing/BatchWriter.h"
#include "importing/RecordMaker.h"
#include "importing/Row.h"
#include "importing/Upserter.h"

/// Rows of files and programs become records.
///
/// A reader gives a row at a time, each of which knows where it stands (Row); RecordMaker makes a record of it, or
/// says what is wrong with it; writers collect records and hand them to the store in batches (BatchWriter, or Upserter
/// where a key tells which records are there already). So memory holds a batch, whatever the number of rows.
///
/// - A bad row is told as soon as it is known to be one, with its place and the reason, and the others go in. It is
///   counted, never dropped.
/// - Nothing is asked of the store for a row by itself. An import without a key asks for nothing at all.
/// - A row of JSON is parsed once, straight into its document; a row of CSV stays cells until it becomes a record.
/// - What is wrong with a whole file is an ImportError, and ends the import: nobody could tell where the next row
/// begins.
namespace database_provider::importing {

/// Imports rows that are handed to it one by one. Nothing is known to be written before `finish`.
class DATABASE_PROVIDER_EXPORT Importer {
 public:
  struct Mode {
    bool isInTransaction = false;  ///< the caller has one open
    bool isDryRun = false;         ///< finds bad rows, writes nothing
  };

  /// With a key the store is asked which names it has. `bad` is told of each bad row. Throws `ImportError` for a plan
  /// that makes no sense.
  Importer(const Records& records, const ImportPlan& plan, std::function<void(const BadRow&)> bad, Mode mode);
  ~Importer();
  Importer(const Importer&) = delete;
  Importer& operator=(const Importer&) = delete;

  /// Whether all rows are to be handed to `noteKey` before the first is added, where they can be read twice.
  bool wantsKeys() const { return upserter_ != nullptr; }
  /// What is wrong with a row is told when it is added.
  void noteKey(const Row& row, const std::string& file);
  /// `isRecord`: a complete record rather than a plain row.
  void add(const Row& row, const std::string& file, bool isRecord);
  void finish();

  /// What the store has acknowledged, without the bad rows themselves.
  ImportResult result() const;

 private:
  std::unique_ptr<ObjectProperties> documentOf(const Row& row, bool isRecord) const;
  std::string idOf(const Row& row) const;
  Row withKeyAlone(const Row& row) const;
  void configureOnce();

  Records records_;
  ImportPlan plan_;
  Mode mode_;
  long long failed_ = 0;
  std::function<void(const BadRow&)> bad_;
  StoreColumns inStore_;
  RecordMaker maker_;
  BatchWriter writer_;
  std::unique_ptr<Upserter> upserter_{};
  bool isConfigured_ = false;
};

/// The document of a complete record. Throws `RowError`.
DATABASE_PROVIDER_EXPORT std::unique_ptr<ObjectProperties> recordOf(const Row& row, bool keepId);

/// Throws `RowError` for a document that a store refuses, which may still get an id, for its size.
DATABASE_PROVIDER_EXPORT void checkSize(const ObjectProperties& document);

/// Adds the names that are missing to the configured categories, behind them.
DATABASE_PROVIDER_EXPORT void addCategories(DataBaseClient& store, RecordKind kind,
                                            const std::vector<std::string>& names);

}  // namespace database_provider::importing
