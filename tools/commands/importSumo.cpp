// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <array>
#include <iostream>
#include <memory>
#include <utility>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/input/Import.h"
#include "tools/input/SumoConfig.h"

namespace database_provider::recordctl {

namespace {

namespace fs = std::filesystem;

struct SumoOptions {
  std::string folder{};
  std::string host{};
};

constexpr const char* nameCategory = "name";
constexpr const char* networkCategory = "network";

std::string nameOfThisHost() {
  std::array<char, 256> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
}

void addFiles(DatabaseRecordInterface& record, const std::string& host, const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    std::string fileId;
    record.addFileInfo(ObjectType::xmlObject, host, path, fileId);
  }
}

void describe(DatabaseRecordInterface& record, const std::string& name, const std::optional<double>& seconds) {
  if (seconds) setDescription(record, name, *seconds);
}

/// The scenario of a configuration: named after its file, within the folder that was asked for. Paths are kept whole,
/// since nobody knows later where the command was started.
std::unique_ptr<DatabaseRecordInterface> scenarioOf(const fs::path& file, const SumoOptions& options) {
  const fs::path whole = fs::absolute(file).lexically_normal();
  const SumoConfig config = readSumoConfig(whole);
  auto record = newRecordOf(RecordKind::scenario);
  record->setCategory(nameCategory, file.lexically_relative(options.folder).replace_extension().string());
  if (!config.networks.empty())
    record->setCategory(networkCategory, fs::path(config.networks.front()).filename().string());
  describe(*record, "begin", config.begin);
  describe(*record, "end", config.end);
  describe(*record, "step-length", config.stepLength);
  for (const auto& paths : {config.networks, config.routes, config.additionals}) addFiles(*record, options.host, paths);
  ObjectProperties block;
  block.setValueString("configuration", whole.string());
  record->setUserRecrod(block);
  record->getD();
  return record;
}

/// Makes scenarios of configurations as they are found; the store is opened, and made, for the first that is good.
class SumoImport {
 public:
  SumoImport(Session& session, SumoOptions options) : session_(session), options_(std::move(options)) {}

  void run() {
    forEachSumoConfig(options_.folder, {[this](const fs::path& file) { add(file); },
                                        [this](const fs::path& path, const std::string& reason) {
                                          bad_.add({{path.string()}, "", reason});
                                        }});
    if (writer_) writer_->flush();
    progress_.hide();
    bad_.finish();
    if (!writer_ && bad_.count() == 0)
      throw UsageError(options_.folder + ": there is no .sumocfg file under this folder");
    if (bad_.count() > 0) session_.noteFailure();
    ImportCounts counts;
    counts.rows.imported = writer_ ? static_cast<long long>(writer_->written()) : 0;
    counts.rows.failed = static_cast<long long>(bad_.count());
    printSummary(session_, counts, progress_.seconds());
  }

 private:
  void start() {
    DataBaseClient& client = session_.store(Access::create);
    importing::addCategories(client, RecordKind::scenario, {nameCategory, networkCategory});
    writer_ = std::make_unique<importing::BatchWriter>(client, placeOf(RecordKind::scenario),
                                                       [this](const BadRow& row) { bad_.add(row); });
  }

  void add(const fs::path& file) {
    if (std::unique_ptr<ObjectProperties> document = documentOf(file)) {
      if (!writer_) start();
      const std::size_t size = document->toBson().size();
      writer_->add(std::move(document), {file.string()}, size);
    }
    progress_.update(0, ++count_);
  }

  /// Null for a bad file. What goes wrong with the store is no fault of a file.
  std::unique_ptr<ObjectProperties> documentOf(const fs::path& file) {
    try {
      return std::unique_ptr<ObjectProperties>(scenarioOf(file, options_)->take());
    } catch (const SumoError& error) {
      bad_.add({{file.string()}, error.option(), error.what()});
    } catch (const database_client::Error& error) {
      bad_.add({{file.string()}, error.where(), error.what()});
    }
    return nullptr;
  }

  Session& session_;
  SumoOptions options_;
  Progress progress_{0};
  BadRows bad_{[this] { progress_.hide(); }};
  std::unique_ptr<importing::BatchWriter> writer_{};
  std::uint64_t count_ = 0;
};

void importSumo(Session& session, SumoOptions options) {
  if (options.host.empty()) options.host = nameOfThisHost();
  SumoImport(session, std::move(options)).run();
}

}  // namespace

void addImportSumo(const Command& commands, Session& session) {
  auto options = std::make_shared<SumoOptions>();
  const Command command = commands.add("import-sumo", "Make a scenario of each SUMO configuration under a folder");
  command.argument("DIR", options->folder, "the folder");
  command.option("--host", "HOST", options->host, "the host that the files lie on; else this one");
  command.run([&session, options] { importSumo(session, *options); });
}

}  // namespace database_provider::recordctl
