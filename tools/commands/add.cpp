// SPDX-License-Identifier: Apache-2.0
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>

#include "tools/commands/assignments.h"
#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;

struct AddOptions {
  KindOption kind{};
  AssignmentOptions assignments{};
  std::string data{};
};

/// The JSON object of a file, or of standard input.
ObjectProperties readData(const std::string& path) {
  std::ifstream file;
  if (path != "-") file.open(path, std::ios::binary);
  std::istream& input = path == "-" ? std::cin : file;
  const std::string text{std::istreambuf_iterator<char>(input), {}};
  if (!input || (path != "-" && !file.is_open())) throw UsageError("--data: " + path + " cannot be read");
  try {
    return ObjectProperties::fromJson(text);
  } catch (const database_client::Error& error) {
    throw UsageError("--data: " + path + ": " + error.what());
  }
}

void add(Session& session, const AddOptions& options) {
  const RecordKind kind = options.kind.kind();
  const Assignments assignments = Assignments::parse(options.assignments, kind);
  if (options.assignments.isEmpty() && options.data.empty())
    throw UsageError("what is the record to hold? Give --category, --description, --file or --data");
  std::optional<Records> inStore;
  if (!session.isNewFile()) inStore = session.records(kind);
  NewRecord record;
  if (!options.data.empty()) record.data(readData(options.data));
  for (const auto& [name, value] : assignments.categories) record.category(name, value);
  for (const FileReference& file : assignments.files) record.file(file.type, file.host, file.path);
  for (const Assignments::Description& description : assignments.descriptions) {
    if (description.isFormula)
      throw UsageError("--description: " + inQuotes(description.name) +
                       " cannot be computed; a new record has no numbers");
    record.description(description.name, valueOf(description, inStore ? &*inStore : nullptr));
  }
  static_cast<void>(record.toDocument(kind));  // what cannot be a record makes no file
  const std::string id = Records(session.store(Access::create), kind).insert(record);
  if (session.json()) {
    ObjectProperties result;
    result.setValueString("id", id);
    writeJson(result);
  } else {
    std::cout << id << '\n';
  }
}

}  // namespace

void addAdd(const Command& commands, Session& session) {
  auto options = std::make_shared<AddOptions>();
  const Command command = commands.add("add", "Add one record, and print its id");
  options->kind.addTo(command);
  options->assignments.addTo(command);
  command.option("--data", "FILE", options->data, "a JSON object that becomes the user block; - is standard input");
  command.run([&session, options] { add(session, *options); });
}

}  // namespace database_provider::recordctl
