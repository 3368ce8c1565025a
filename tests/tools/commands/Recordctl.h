// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/Terminal.h"

/// How a run of the command ended.
struct Outcome {
  int status = -1;
  std::string out{};
  std::string err{};
  long peak = 0;  ///< the most memory that it held, in KiB; not less than the test program held when it was started
};

/// Runs the command as a process, in an empty folder and with a store in a file of that folder.
class Recordctl : public ::testing::Test {
 protected:
  Outcome run(const std::vector<std::string>& arguments, const std::string& input = "") const;
  /// Runs a script of Python in the folder. Its arguments are the command and who asks.
  Outcome runScript(const std::string& script) const;
  /// Starts a run that goes on by itself; `finish` waits for its end.
  pid_t start(const std::vector<std::string>& arguments, const std::string& input = "") const;
  Outcome finish(pid_t process) const;
  /// Runs what must succeed, and gives what it wrote.
  std::string output(const std::vector<std::string>& arguments, const std::string& input = "") const;
  /// Starts the command on a terminal.
  std::unique_ptr<database_test::Terminal> onTerminal(const std::vector<std::string>& arguments,
                                                      unsigned short columns = 80) const;

  std::string file(const std::string& name, const std::string& content) const;
  std::string path(const std::string& name) const { return folder_ / name; }
  bool storeExists() const { return std::filesystem::exists(path("store.db")); }
  /// Imports four plots.
  void importPlots() const;
  long long countRecords() const;

  std::map<std::string, std::string> environment{};
  /// The options of whoever asks. Commands that name a store or somebody else themselves are run without.
  std::vector<std::string> login{};
  std::set<int> closed{};   ///< the standard streams that a run does not have
  std::set<int> ignored{};  ///< the signals that a run is started with as ignored

 private:
  pid_t startProgram(std::vector<std::string> command, const std::string& input) const;
  std::vector<std::string> commandWith(const std::vector<std::string>& arguments) const;
  std::vector<std::string> environmentOfRun() const;

  database_test::TemporaryFolder folder_{};
};

/// A text with "ID" in the place of each object id, and without the times in them that lists tell.
std::string withoutIds(const std::string& text);

std::size_t countLines(const std::string& text);
