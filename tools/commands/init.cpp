#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/Text.h"

namespace database_provider::recordctl {

namespace {

using database_client::DeploymentPlan;
using database_client::DeploymentStep;

struct InitOptions {
  bool dryRun = false;
  std::string passwordFile{};
};

/// What the queries of the library look for.
std::vector<database_client::IndexRequest> indexes() {
  std::vector<database_client::IndexRequest> result;
  for (const RecordKind kind : {RecordKind::experiment, RecordKind::scenario}) {
    const RecordPlace place = placeOf(kind);
    for (const std::string& array : {std::string("recordInfo.category"), std::string("recordInfo.description")})
      result.push_back({place.database, place.collection, {array + ".name", array + ".value"}});
  }
  const RecordPlace experiments = placeOf(RecordKind::experiment);
  result.push_back({experiments.database,
                    experiments.collection,
                    {"recordInfo.additionalData.dataSource.host", "recordInfo.additionalData.dataSource.type"}});
  result.push_back({databaseTypeToString(DatabaseType::databaseManager), "customization", {"user", "tag"}, true});
  return result;
}

const char* stateName(DeploymentStep::State state) {
  switch (state) {
    case DeploymentStep::State::done:
      return "done";
    case DeploymentStep::State::alreadyThere:
      return "already there";
    default:
      return "would be done";
  }
}

void init(Session& session, const InitOptions& options) {
  DeploymentPlan plan;
  plan.dryRun = options.dryRun;
  if (!options.passwordFile.empty()) {
    plan.administratorPassword = readPasswordFile(options.passwordFile);
    if (plan.administratorPassword.empty()) throw UsageError(options.passwordFile + ": the password is empty");
  }
  plan.indexes = indexes();
  for (const DeploymentStep& step :
       session.store(options.dryRun ? Access::existing : Access::create).setUpDeployment(plan))
    std::cout << stateName(step.state) << ": " << printable(step.what) << '\n';
}

}  // namespace

void addInit(const Command& commands, Session& session) {
  auto options = std::make_shared<InitOptions>();
  const Command command = commands.add("init", "Set a store up for the library: roles, administrator, indexes");
  command.flag("--dry-run", options->dryRun, "only say what would be done");
  command.option("--admin-password-file", "FILE", options->passwordFile,
                 "a file with the password of the administrator, where there is none yet");
  command.run([&session, options] { init(session, *options); });
}

}  // namespace database_provider::recordctl
