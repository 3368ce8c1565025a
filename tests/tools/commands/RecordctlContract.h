// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "tests/support/Engines.h"
#include "tests/tools/commands/Recordctl.h"

/// The engines that the commands are run on: all of them. Where access is controlled, the administrator asks; what
/// others may do has tests of its own.
std::vector<std::string> recordctlEngines();

/// What `init` wrote when it was run on an engine for the first times.
struct SettingUp {
  std::string dryRun;
  std::string first;
  std::string again;
};

/// Runs the command on the empty store of the engine that the parameter names; for "embedded" a new file.
class RecordctlContract : public Recordctl, public ::testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override;

  static bool isFile() { return GetParam() == "embedded" || isControlledFile(); }
  /// A file that was set up when its administrator was made.
  static bool isControlledFile() { return GetParam() == "embeddedControlled"; }
  /// The address of the store, as `--store` takes it.
  std::string store() const { return environment.at("RECORDCTL_STORE"); }
  /// Another empty store of the same sort: a file for a file, a server for a server; empty where there is none.
  std::string otherStore() const;
  /// A copy between the store and another one, where nobody is asked who he is.
  std::vector<std::string> copyOf(const std::string& from, const std::string& to) const;
  const SettingUp& settingUp() const;

 private:
  void askAs(const database_test::Address& address);
};
