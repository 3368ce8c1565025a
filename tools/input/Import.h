// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "importing/Importer.h"
#include "importing/RecordMaker.h"
#include "tools/core/Session.h"
#include "tools/core/StoreParts.h"
#include "tools/input/BadRows.h"
#include "tools/input/InputSource.h"
#include "tools/terminal/Progress.h"

namespace database_provider::recordctl {

/// What an import is asked to do.
struct ImportTask {
  std::vector<InputSource> sources{};
  RecordKind kind = RecordKind::experiment;
  ImportPlan plan{};
  std::vector<InferredColumn> inferred{};  ///< the columns of the plan that nobody named, and the rest of the row
};

/// Makes records of the rows of files.
class Import {
 public:
  Import(Session& session, ImportTask task);

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
  void noteKeys(importing::Importer& importer);
  void addRows();
  void refuse(BadRow row);
  void addRow(const StorePart& part, const InputSource& source, const importing::Row& row);
  std::unique_ptr<ObjectProperties> documentOf(const InputSource& source, const importing::Row& row) const;
  void configure(RecordKind kind, const ObjectProperties& configuration);
  bool isSettingThere(const ObjectProperties& setting);
  void addSetting(const ObjectProperties& setting);
  void insert(const StorePart& part, const ObjectProperties& document);
  importing::Importer& importer(RecordKind kind);
  ImportResult written() const;
  template <class Step>
  void forEachRow(const Step& step);
  void summarise(bool isUndone);

  Session& session_;
  ImportTask task_;
  importing::RecordMaker maker_;
  Progress progress_;
  BadRows bad_;
  std::map<RecordKind, importing::Importer> importers_{};
  bool isInTransaction_ = false;
  std::size_t others_ = 0;  ///< settings and configurations that went in
};

/// What an import did.
struct ImportCounts {
  ImportResult rows{};
  std::size_t others = 0;  ///< settings and configurations, as `export --all` carries them
  bool hasKey = false;
};

/// The result of an import, for people or as JSON.
void printSummary(const Session& session, const ImportCounts& counts, double seconds);

}  // namespace database_provider::recordctl
