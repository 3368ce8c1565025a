// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tools/core/Session.h"
#include "tools/core/StoreParts.h"
#include "tools/input/BadRows.h"
#include "tools/input/BatchWriter.h"
#include "tools/input/RecordMaker.h"
#include "tools/input/RowReader.h"
#include "tools/terminal/Progress.h"

namespace database_provider::recordctl {

struct InputSource {
  std::string path;
  RowFormat format;

  /// Standard input, a pipe, a device.
  bool canBeReadOnlyOnce() const;
};

/// What an import is asked to do.
struct ImportPlan {
  std::vector<InputSource> sources{};
  RecordKind kind = RecordKind::experiment;
  Columns columns{};
  std::string sourceHost{};
  bool keepIds = false;
  bool allOrNothing = false;
};

/// Makes records of the rows of files.
class Import {
 public:
  Import(Session& session, ImportPlan plan);

  /// Throws `UsageError` before anything is written when a column that is named is in no row, or when a file is no JSON
  /// or CSV. Standard input and pipes, which can be read only once, are not looked at.
  void checkFiles() const;
  /// Writes the records, tells what went wrong, and how many went in.
  void run();

 private:
  void intoNewFile();
  void intoStore();
  void write();
  void writeInTransaction();
  bool isEveryRowGood();
  void addRows();
  void addRow(const StorePart& part, const InputSource& source, const Row& row);
  std::unique_ptr<ObjectProperties> documentOf(const InputSource& source, const Row& row) const;
  void configure(RecordKind kind, const ObjectProperties& configuration);
  bool isSettingThere(const ObjectProperties& setting);
  void addSetting(const ObjectProperties& setting);
  void insert(const StorePart& part, const ObjectProperties& document);
  void configureOnce();
  BatchWriter& writer(RecordKind kind);
  std::size_t written() const;
  template <class Step>
  void forEachRow(const Step& step);
  void summarise(bool isUndone);

  Session& session_;
  ImportPlan plan_;
  RecordMaker maker_;
  Progress progress_;
  BadRows bad_;
  std::map<RecordKind, BatchWriter> writers_{};
  std::size_t others_ = 0;  ///< settings and configurations that went in
  bool isConfigured_ = false;
};

/// Adds the names that are missing to the configured categories, behind them.
void addCategories(const DatabaseProviderInterface& provider, const std::vector<std::string>& names);

/// What an import did.
struct ImportCounts {
  std::size_t records = 0;
  std::size_t failed = 0;
  std::size_t others = 0;  ///< settings and configurations, as `export --all` carries them
};

/// The result of an import, for people or as JSON.
void printSummary(const Session& session, const ImportCounts& counts, double seconds);

}  // namespace database_provider::recordctl
