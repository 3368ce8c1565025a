#include <unistd.h>

#include <array>
#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/Interrupt.h"
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

void importSumo(Session& session, SumoOptions options) {
  if (options.host.empty()) options.host = nameOfThisHost();
  const auto files = findSumoConfigs(options.folder);
  if (files.empty()) throw UsageError(options.folder + ": there is no .sumocfg file under this folder");
  DataBaseClient& client = session.store(Access::create);
  Progress progress(files.size());
  BadRows bad([&progress] { progress.hide(); });
  addCategories(*providerOf(RecordKind::scenario, client), {nameCategory, networkCategory});
  BatchWriter writer(client, placeOf(RecordKind::scenario), bad);
  std::uint64_t count = 0;
  for (const fs::path& file : files) {
    checkInterrupt();
    try {
      std::unique_ptr<ObjectProperties> document(scenarioOf(file, options)->take());
      writer.add(std::move(document), {file.string()}, fs::file_size(file));
    } catch (const SumoError& error) {
      bad.add({file.string()}, error.option(), error.what());
    } catch (const database_client::Error& error) {
      bad.add({file.string()}, error.where(), error.what());
    }
    ++count;
    progress.update(count, count);
  }
  writer.flush();
  progress.hide();
  bad.finish();
  if (bad.count() > 0) session.noteFailure();
  tellImported(session, writer.written(), bad.count(), progress.seconds());
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
