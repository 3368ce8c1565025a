// SPDX-License-Identifier: Apache-2.0
#include "database_provider/files.h"

#include <iostream>
#include <map>
#include <memory>
#include <vector>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/input/Columns.h"
#include "tools/terminal/Interrupt.h"
#include "tools/terminal/Table.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

struct FilesOptions {
  SelectionOptions selection{};
  RootOptions roots{};
};

/// Both kinds of record, unless one is asked for.
std::vector<RecordKind> kindsOf(const SelectionOptions& selection) {
  if (selection.kind.isGiven() || !selection.where.empty()) return {selection.kind.kind()};
  return {RecordKind::experiment, RecordKind::scenario};
}

ObjectProperties toJson(const FileOfRecord& one, FileState state) {
  ObjectProperties result;
  result.setValueString("id", one.record);
  result.setValueString("kind", objectTypeName(one.file.type));
  result.setValueString("host", one.file.host);
  result.setValueString("path", one.file.path);
  result.setValueString("state", fileStateName(state));
  return result;
}

/// Gives every file with its state, or as a table only those that are wanted there, and counts them.
class FileTable {
 public:
  FileTable(Session& session, const FileRoots& roots, bool isCheck)
      : session_(session), roots_(roots), isCheck_(isCheck) {
    if (!session.json())
      table_.emplace(std::cout, outputLayout(),
                     std::vector<Table::Column>{{"id", true}, {"kind"}, {"host"}, {"path"}, {"state"}});
  }

  void add(const FileOfRecord& one) {
    const FileLook look = roots_.look(one.file);
    ++counts_[look.state];
    const bool isWrong = look.state == FileState::missing || look.state == FileState::unreadable;
    if (session_.json()) return tellRefusal(one, look), writeJson(toJson(one, look.state));
    tellRefusal(one, look);
    if (isWrong || !isCheck_)
      table_->add({{one.record},
                   {objectTypeName(one.file.type)},
                   {one.file.host},
                   {one.file.path},
                   {fileStateName(look.state)}});
  }

  void finish() {
    if (table_) table_->finish();
    if (!isCheck_) return;
    const long long missing = counts_[FileState::missing];
    const long long unreadable = counts_[FileState::unreadable];
    const long long elsewhere = counts_[FileState::elsewhere];
    const long long all = counts_[FileState::ok] + missing + unreadable + elsewhere;
    if (missing + unreadable > 0) session_.noteFailure();
    std::cerr << "recordctl: of " << all << (all == 1 ? " file " : " files ") << missing << " missing, " << unreadable
              << " unreadable, " << elsewhere << " on other hosts"
              << (elsewhere > 0 ? "; --host-root HOST=DIR says where those are seen\n" : "\n");
  }

 private:
  /// A path that is not followed, although it might be there.
  void tellRefusal(const FileOfRecord& one, const FileLook& look) {
    constexpr int mostTold = 20;
    if (look.state != FileState::unreadable || !look.path.empty() || ++refused_ > mostTold) return;
    std::cerr << "recordctl: " << values::printable(one.file.path) << ": " << values::printable(look.reason) << '\n';
  }

  Session& session_;
  const FileRoots& roots_;
  bool isCheck_;
  std::optional<Table> table_{};
  std::map<FileState, long long> counts_{};
  int refused_ = 0;
};

void showFiles(Session& session, const FilesOptions& options, bool isCheck) {
  const FileRoots roots = options.roots.roots();
  const Selection selection = options.selection.selection();
  FileTable table(session, roots, isCheck);
  bool isAny = false;
  for (const RecordKind kind : kindsOf(options.selection)) {
    forEachFile(session.records(kind), selection, [&](const FileOfRecord& one) {
      checkInterrupt();
      isAny = true;
      table.add(one);
      return true;
    });
  }
  table.finish();
  if (isAny) return;
  if (!session.json() && !isCheck) std::cerr << "recordctl: no files\n";
  if (session.records(options.selection.kind.kind()).count(selection) == 0) options.selection.tellUnmatched(session);
}

void addOne(const Command& files, Session& session, const char* name, const char* help, bool isCheck) {
  auto options = std::make_shared<FilesOptions>();
  const Command command = files.add(name, help);
  options->selection.addTo(command);
  options->roots.addTo(command);
  command.run([&session, options, isCheck] { showFiles(session, *options, isCheck); });
}

}  // namespace

void addFiles(const Command& commands, Session& session) {
  const Command files = commands.add("files", "The files that records refer to, and whether they are there");
  addOne(files, session, "list", "Every file that records refer to, with its state", false);
  addOne(files, session, "check", "Those that are missing or cannot be read; ends with 1 where there are any", true);
}

}  // namespace database_provider::recordctl
