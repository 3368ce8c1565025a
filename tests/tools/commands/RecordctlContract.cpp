// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/commands/RecordctlContract.h"

#include <map>

#include "tests/contract/Contract.h"

using namespace database_test;

namespace {

std::string storeAt(const Address& address) {
  const bool isWhole = address.host.find(':') != std::string::npos;
  return isWhole ? address.host : address.host + ":" + std::to_string(address.port);
}

void empty(const Address& address, bool withUsers) {
  database_client::DataBaseClient client;
  connectTo(client, address);
  emptyStore(client);
  if (withUsers) dropUsers(client);
}

}  // namespace

std::vector<std::string> recordctlEngines() {
  return engineNames();
}

void RecordctlContract::SetUp() {
  const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
  const std::string reason = knownWrong(GetParam(), name.substr(0, name.find('/')));
  if (!reason.empty()) GTEST_SKIP() << GetParam() << " answers wrong: " << reason;
  environment["RECORDCTL_STORE"] = "file:" + path("store.db");
  if (GetParam() == "embedded") return;
  try {
    const Address& address = startedEngine(GetParam());
    environment["RECORDCTL_STORE"] = storeAt(address);
    askAs(address);
    if (hasUsers(GetParam())) settingUp();
    empty(address, hasUsers(GetParam()));
  } catch (const EngineMissing& missing) {
    GTEST_SKIP() << "engine " << GetParam() << " is missing: " << missing.what();
  }
}

void RecordctlContract::askAs(const Address& address) {
  if (address.user.empty()) return;
  login = {"--user", address.user};
  environment["RECORDCTL_PASSWORD"] = address.password;
}

std::vector<std::string> RecordctlContract::copyOf(const std::string& from, const std::string& to) const {
  if (login.empty()) return {"copy", from, to};
  const std::string& somebody = login.back();
  if (from == store()) return {"copy", from, to, "--from-user", somebody};
  return {"copy", from, to, "--from-user", "", "--user", somebody};
}

std::string RecordctlContract::otherStore() const {
  if (isFile()) return "file:" + path("other.db");
  for (const char* name : {"secantusStandalone", "secantus", "mongod"}) {
    if (name == GetParam()) continue;
    try {
      const Address& address = startedEngine(name);
      empty(address, false);
      return storeAt(address);
    } catch (const EngineMissing&) {
      continue;
    }
  }
  return "";
}

/// A server cannot be made to forget its indexes, so that its first times are those of the whole program.
const SettingUp& RecordctlContract::settingUp() const {
  static std::map<std::string, SettingUp> all;
  const auto [found, isNew] = all.try_emplace(store());
  if (isNew) {
    const std::string dryRun = isFile() ? "" : output({"init", "--dry-run"});
    const std::string first = output({"init"});
    found->second = {dryRun, first, output({"init"})};
  }
  return found->second;
}

INSTANTIATE_TEST_SUITE_P(Engines, RecordctlContract, ::testing::ValuesIn(recordctlEngines()), engineName);
