// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "database_client/DataBaseClient.h"

/// What the tests of more than one folder share.
namespace database_test {

/// How a client reaches a store, and as whom it may do everything there.
struct Address {
  std::string host{};
  int port = 0;
  std::string authDatabase{};
  std::string user{};  ///< empty where access is not controlled
  std::string password{};
};

/// Why an engine cannot be used here.
class EngineMissing : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The names of all engines that tests know, whether they are here or not, "embedded" first:
///
/// - `embedded`: one file;
/// - `embeddedControlled`: one file whose administrator has a password, so that access is controlled;
/// - `deployment`: what DATABASE_TEST_URI names; one that holds records or users of the library is refused, unless
///   DATABASE_TEST_DESTROY is 1;
/// - `mongod`, `mongodControlled`: the program of this name on the PATH, without and with access control;
/// - `secantus`, `secantusStandalone`: SecantusDB as a replica set of one and as a single server;
/// - `secantusControlled`, `secantusTls`: SecantusDB with access control, and behind TLS;
/// - `set`, `routers`, `elections`: SecantusDB behind a relay that shows it as a replica set of three, as two routers
///   whose cursors give empty batches, and as a set that elects another primary every two seconds; see Relay.h;
/// - `java`: mongo-java-server.
std::vector<std::string> engineNames();

/// Where an engine is reached. A server is started once for the whole test program, on a port of 127.0.0.1 and with a
/// data folder of its own, and stopped at its end. Throws `EngineMissing`.
const Address& startedEngine(const std::string& name);

/// Whether the engine keeps users; mongo-java-server has no command for them. A deployment has to be started.
bool hasUsers(const std::string& name);

/// Removes what the tests have left in the deployment, so that the next run finds it as this one did.
void leaveDeploymentEmpty();

/// The engine whose server answers in the end: "secantus" for those behind a relay, the engine itself for the others.
std::string serverOf(const std::string& name);

/// A line for each engine: whether the run got it, and why not.
std::string engineReport(const std::vector<std::string>& names);

/// Connects as the one who may do everything; throws `std::runtime_error` with the client's reason.
void connectTo(database_client::DataBaseClient& client, const Address& address);

/// Removes every document, the store's own collections excepted.
void emptyStore(database_client::DataBaseClient& client);
/// Drops every user but the administrator.
void dropUsers(database_client::DataBaseClient& client);

/// A test that gets `client`, connected to the empty store of the engine that its parameter names, set up as the
/// library wants it. It is skipped, with the reason, where the engine is missing.
class EngineTest : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override;
  /// Connects another client to the same store.
  void connect(database_client::DataBaseClient& other) const;
  const Address& address() const { return address_; }
  static std::string engine() { return GetParam().substr(0, GetParam().find('_')); }

  database_client::DataBaseClient client;

 private:
  Address address_;
};

/// The name of a parameter as a part of a test's name.
std::string engineName(const ::testing::TestParamInfo<std::string>& info);

}  // namespace database_test
