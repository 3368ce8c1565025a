// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/Network.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::printable;

using database_client::DeploymentStep;

struct InitOptions {
  bool dryRun = false;
  std::string passwordFile{};
};

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
  database_client::DeploymentPlan plan = libraryPlan();
  plan.dryRun = options.dryRun;
  if (!options.passwordFile.empty()) {
    warnWhenInTheClear(session.options.store);
    plan.administratorPassword = readPasswordFile(options.passwordFile);
    if (plan.administratorPassword.empty()) throw UsageError(options.passwordFile + ": the password is empty");
  }
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
