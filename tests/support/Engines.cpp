// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Engines.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <thread>

#include "database_client/codes.h"
#include "tests/support/Certificates.h"
#include "tests/support/Process.h"
#include "tests/support/Relay.h"
#include "tests/support/TemporaryFolder.h"

namespace database_test {

using database_client::DataBaseClient;
using database_client::DeploymentPlan;
using database_client::ObjectProperties;

namespace {

const char* const serversFolder = DATABASE_TEST_SERVERS;
constexpr std::chrono::seconds startTime{60};

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::string lastLines(const std::string& path) {
  std::ifstream file(path);
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  return text.size() > 2000 ? text.substr(text.size() - 2000) : text;
}

/// The command that starts a server on a port, with its data in a folder.
using Command = std::function<std::vector<std::string>(const std::string& folder, int port)>;

/// A server that this program started.
class Server {
 public:
  Server(const Command& command, const std::string& folder, int port)
      : folder_(folder), process_(command(folder, port), folder) {
    const auto deadline = std::chrono::steady_clock::now() + startTime;
    while (!accepts(port)) {
      if (!process_.isRunning()) throw EngineMissing("its server ended at once: " + log());
      if (std::chrono::steady_clock::now() > deadline) throw EngineMissing("its server does not answer: " + log());
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }

 private:
  std::string log() const { return lastLines(folder_ + "/log"); }

  std::string folder_;
  Process process_;
};

/// One engine as far as it was asked for. What went wrong once is not tried again.
struct Started {
  std::unique_ptr<TemporaryFolder> folder;
  std::unique_ptr<Server> server;
  std::unique_ptr<Relay> relay;
  Address address;
  bool hasUsers = true;  ///< asked of a deployment only, since of the others it is known
  std::string missing;
};

std::map<std::string, Started>& startedEngines() {
  static std::map<std::string, Started> all;
  return all;
}

void startServer(Started& started, const Command& command) {
  if (!started.folder) {
    started.folder = std::make_unique<TemporaryFolder>();
    started.address.host = "127.0.0.1";
    started.address.port = freePort();
  }
  started.server = std::make_unique<Server>(command, started.folder->path(), started.address.port);
}

void makeAdministrator(Address& address) {
  DataBaseClient client;
  connectTo(client, address);
  DeploymentPlan plan;
  plan.administratorPassword = "the one & only";
  client.setUpDeployment(plan);
  address.authDatabase = address.user = "admin";
  address.password = plan.administratorPassword;
}

// The administrator is made while nobody is asked who he is.
void startControlledServer(Started& started, const Command& command) {
  startServer(started, command);
  makeAdministrator(started.address);
  started.server.reset();
  startServer(started, [&](const std::string& folder, int port) {
    std::vector<std::string> controlled = command(folder, port);
    controlled.emplace_back("--auth");
    return controlled;
  });
}

void startEmbedded(Started& started) {
  started.folder = std::make_unique<TemporaryFolder>();
  started.address.host = "file:" + started.folder->path() + "/store.db";
}

void startEmbeddedControlled(Started& started) {
  startEmbedded(started);
  makeAdministrator(started.address);
}

std::list<std::unique_ptr<ObjectProperties>> documents(DataBaseClient& client, const std::string& database,
                                                       const std::string& collection, const char* query) {
  std::list<ObjectProperties*> found;
  client.find(database, collection, ObjectProperties::fromJson(query), ObjectProperties{}, found, 0, 0);
  std::list<std::unique_ptr<ObjectProperties>> owned;
  for (ObjectProperties* document : found) owned.emplace_back(document);
  return owned;
}

std::list<std::string> databasesOfTheLibrary() {
  return {"experiment", "base", "databaseManager"};
}

bool keepsUsers(DataBaseClient& client) {
  try {
    documents(client, "admin", "system.users", "{}");
    return true;
  } catch (const database_client::Error& error) {
    if (error.code() != database_client::code::commandNotFound) throw;
    return false;
  }
}

void refuseWhatIsInUse(const Address& address) {
  DataBaseClient client;
  connectTo(client, address);
  for (const std::string& database : databasesOfTheLibrary()) {
    for (const std::string& collection : client.collectionNames(database)) {
      if (client.count(database, collection, ObjectProperties{}) > 0)
        throw EngineMissing("it holds documents in " + database + "." + collection +
                            "; DATABASE_TEST_DESTROY=1 lets the tests delete them");
    }
  }
  if (keepsUsers(client) && !documents(client, "admin", "system.users", "{}").empty())
    throw EngineMissing("it has users; DATABASE_TEST_DESTROY=1 lets the tests delete them");
}

void findDeployment(Started& started) {
  const std::string uri = environment("DATABASE_TEST_URI");
  if (uri.empty()) throw EngineMissing("DATABASE_TEST_URI is not set");
  started.address.host = uri;
  started.address.port = 27017;
  if (environment("DATABASE_TEST_DESTROY") != "1") refuseWhatIsInUse(started.address);
}

Command mongodCommand() {
  const std::string program = onPath("mongod");
  if (program.empty()) throw EngineMissing("there is no mongod on the PATH");
  return [program](const std::string& folder, int port) {
    return std::vector<std::string>{program,    "--bind_ip", "127.0.0.1",     "--port", std::to_string(port),
                                    "--dbpath", folder,      "--nounixsocket"};
  };
}

Command secantusCommand(const std::vector<std::string>& options) {
  const std::string program = std::string(serversFolder) + "/secantus/bin/secantusd-py";
  if (access(program.c_str(), X_OK) != 0) throw EngineMissing("SecantusDB is not installed; see scripts/setup");
  return [program, options](const std::string& folder, int port) {
    std::vector<std::string> command{program,          "--host",         "127.0.0.1",   "--port", std::to_string(port),
                                     "--storage-path", folder + "/data", "--log-level", "WARNING"};
    command.insert(command.end(), options.begin(), options.end());
    return command;
  };
}

void startSecantusTls(Started& started) {
  started.folder = std::make_unique<TemporaryFolder>();
  const Certificates certificates(started.folder->path());
  const TlsFiles files = certificates.issue("server", {});
  started.address.port = freePort();
  startServer(started, secantusCommand({"--tls-cert-file", files.certificate, "--tls-key-file", files.key}));
  started.address.host = "mongodb://127.0.0.1:" + std::to_string(started.address.port) +
                         "/?tls=true&tlsCAFile=" + certificates.authority();
}

void startRelay(Started& started, const Shape& shape) {
  startServer(started, secantusCommand({}));
  started.relay = std::make_unique<Relay>(started.address.port, shape);
  started.address.host = started.relay->uri();
}

void startRouters(Started& started) {
  Shape shape;
  shape.role = Shape::Role::routers;
  shape.givesEmptyBatches = true;
  startRelay(started, shape);
}

void startElections(Started& started) {
  Shape shape;
  shape.term = std::chrono::seconds(2);
  startRelay(started, shape);
}

void startJava(Started& started) {
  const std::string java = onPath("java");
  if (java.empty()) throw EngineMissing("there is no java on the PATH");
  const std::string jars = std::string(serversFolder) + "/java";
  if (!std::filesystem::exists(jars + "/installed"))
    throw EngineMissing("mongo-java-server is not installed; see scripts/setup");
  startServer(started, [&](const std::string& /*folder*/, int port) {
    return std::vector<std::string>{
        java, "-Xmx256m", "-cp", jars + "/*", DATABASE_TEST_JAVA_SERVER, std::to_string(port)};
  });
}

using Starter = std::function<void(Started&)>;

const std::vector<std::pair<std::string, Starter>>& starters() {
  static const std::vector<std::pair<std::string, Starter>> all{
      {"embedded", startEmbedded},
      {"embeddedControlled", startEmbeddedControlled},
      {"deployment", findDeployment},
      {"mongod", [](Started& started) { startServer(started, mongodCommand()); }},
      {"mongodControlled", [](Started& started) { startControlledServer(started, mongodCommand()); }},
      {"secantus", [](Started& started) { startServer(started, secantusCommand({})); }},
      {"secantusStandalone", [](Started& started) { startServer(started, secantusCommand({"--standalone"})); }},
      {"secantusControlled", [](Started& started) { startControlledServer(started, secantusCommand({})); }},
      {"secantusTls", startSecantusTls},
      {"set", [](Started& started) { startRelay(started, Shape()); }},
      {"routers", startRouters},
      {"elections", startElections},
      {"java", startJava},
  };
  return all;
}

void start(const std::string& name, Started& started) {
  const auto found =
      std::find_if(starters().begin(), starters().end(), [&](const auto& one) { return one.first == name; });
  if (found == starters().end()) throw EngineMissing("no engine has the name " + name);
  found->second(started);
  DataBaseClient client;
  connectTo(client, started.address);
  if (name == "deployment") started.hasUsers = keepsUsers(client);
  if (hasUsers(name)) client.setUpDeployment({});
}

bool belongsToTheStore(const std::string& database, const std::string& collection) {
  return database == "admin" || database == "config" || database == "local" || collection.rfind("system.", 0) == 0;
}

}  // namespace

std::vector<std::string> engineNames() {
  std::vector<std::string> names;
  for (const auto& starter : starters()) names.push_back(starter.first);
  return names;
}

const Address& startedEngine(const std::string& name) {
  const auto [found, isNew] = startedEngines().try_emplace(name);
  if (isNew) {
    try {
      start(name, found->second);
    } catch (const std::exception& error) {
      found->second.missing = error.what();
    }
  }
  if (!found->second.missing.empty()) throw EngineMissing(found->second.missing);
  return found->second.address;
}

bool hasUsers(const std::string& name) {
  if (name == "deployment") return startedEngines()[name].hasUsers;
  return name != "java";
}

void leaveDeploymentEmpty() {
  const auto found = startedEngines().find("deployment");
  if (found == startedEngines().end() || !found->second.missing.empty()) return;
  DataBaseClient client;
  connectTo(client, found->second.address);
  emptyStore(client);
  if (hasUsers("deployment")) dropUsers(client);
}

std::string serverOf(const std::string& name) {
  return name == "set" || name == "routers" || name == "elections" ? "secantus" : name;
}

std::string engineReport(const std::vector<std::string>& names) {
  std::ostringstream report;
  for (const std::string& name : names) {
    try {
      const Address& address = startedEngine(name);
      report << "engine " << name << ": at " << (address.port == 0 ? "hand" : "port " + std::to_string(address.port))
             << '\n';
    } catch (const EngineMissing& missing) {
      report << "engine " << name << ": missing, " << missing.what() << '\n';
    }
  }
  return report.str();
}

void connectTo(DataBaseClient& client, const Address& address) {
  const bool connected =
      client.connect(address.authDatabase, address.host, address.port, address.user, address.password);
  if (!connected) throw std::runtime_error(client.failure());
}

void emptyStore(DataBaseClient& client) {
  for (const std::string& database : client.databaseNames()) {
    for (const std::string& collection : client.collectionNames(database)) {
      if (!belongsToTheStore(database, collection)) client.remove(database, collection, ObjectProperties{});
    }
  }
}

void dropUsers(DataBaseClient& client) {
  for (const auto& user : documents(client, "admin", "system.users", "{}")) {
    const std::string name = user->valueAsString("user", "");
    if (name != "admin") client.dropUser(user->valueAsString("db", ""), name);
  }
}

void EngineTest::SetUp() {
  try {
    address_ = startedEngine(engine());
  } catch (const EngineMissing& missing) {
    GTEST_SKIP() << "engine " << engine() << " is missing: " << missing.what();
  }
  connect(client);
  emptyStore(client);
  if (hasUsers(engine())) dropUsers(client);
}

void EngineTest::connect(DataBaseClient& other) const {
  connectTo(other, address_);
}

std::string engineName(const ::testing::TestParamInfo<std::string>& info) {
  return info.param;
}

}  // namespace database_test
