#pragma once

#include <string>
#include <vector>

#include "tests/support/Engines.h"
#include "tests/tools/commands/Recordctl.h"

/// The engines that the commands are run on; access control has tests of its own.
std::vector<std::string> recordctlEngines();

/// What `init` wrote when it was run on an engine for the first times.
struct SettingUp {
  std::string dryRun;
  std::string first;
  std::string again;
};

/// Runs the command on the empty store of the engine that the parameter names; for the embedded store a new file.
class RecordctlContract : public Recordctl, public ::testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override;

  static bool isFile() { return GetParam() == "embedded"; }
  /// The address of the store, as `--store` takes it.
  std::string store() const { return environment.at("RECORDCTL_STORE"); }
  /// Another empty store of the same sort: a file for a file, a server for a server; empty where there is none.
  std::string otherStore() const;
  const SettingUp& settingUp() const;
};
