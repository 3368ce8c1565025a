#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/core/Progress.h"
#include "tools/core/Session.h"
#include "tools/input/BadRows.h"
#include "tools/input/BatchWriter.h"
#include "tools/input/RecordMaker.h"
#include "tools/input/RowReader.h"

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
  void write();
  void writeInTransaction();
  bool isEveryRowGood();
  void addRows();
  std::unique_ptr<ObjectProperties> documentOf(const InputSource& source, const Row& row) const;
  template <class Step>
  void forEachRow(const Step& step);
  void summarise(bool isUndone);

  Session& session_;
  ImportPlan plan_;
  RecordMaker maker_;
  Progress progress_;
  BadRows bad_;
  std::unique_ptr<BatchWriter> writer_{};
};

/// Adds the names that are missing to the configured categories, behind them.
void addCategories(const DatabaseProviderInterface& provider, const std::vector<std::string>& names);

/// The result of an import, for people or as JSON.
void tellImported(const Session& session, std::size_t imported, std::size_t failed, double seconds);

}  // namespace database_provider::recordctl
