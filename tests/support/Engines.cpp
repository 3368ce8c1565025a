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

#include "tests/support/Process.h"

namespace database_test {

using database_client::DataBaseClient;
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

/// A server that this program started.
class Server {
 public:
  using Command = std::function<std::vector<std::string>(const std::string& folder, int port)>;

  explicit Server(const Command& command)
      : port_(freePort()), process_(command(folder_.path(), port_), folder_.path()) {
    const auto deadline = std::chrono::steady_clock::now() + startTime;
    while (!accepts(port_)) {
      if (!process_.isRunning()) throw EngineMissing("its server ended at once: " + log());
      if (std::chrono::steady_clock::now() > deadline) throw EngineMissing("its server does not answer: " + log());
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }

  int port() const { return port_; }

 private:
  std::string log() const { return lastLines(folder_.path() + "/log"); }

  TemporaryFolder folder_;
  int port_;
  Process process_;
};

/// One engine as far as it was asked for. What went wrong once is not tried again.
struct Started {
  std::unique_ptr<TemporaryFolder> folder;
  std::unique_ptr<Server> server;
  Address address;
  std::string missing;
};

void startServer(Started& started, const Server::Command& command) {
  started.server = std::make_unique<Server>(command);
  started.address = {"127.0.0.1", started.server->port()};
}

void startEmbedded(Started& started) {
  started.folder = std::make_unique<TemporaryFolder>();
  started.address = {"file:" + started.folder->path() + "/store.db", 0};
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
  if (!documents(client, "admin", "system.users", "{}").empty())
    throw EngineMissing("it has users; DATABASE_TEST_DESTROY=1 lets the tests delete them");
}

void findDeployment(Started& started) {
  const std::string uri = environment("DATABASE_TEST_URI");
  if (uri.empty()) throw EngineMissing("DATABASE_TEST_URI is not set");
  started.address = {uri, 27017};
  if (environment("DATABASE_TEST_DESTROY") != "1") refuseWhatIsInUse(started.address);
}

void startMongod(Started& started) {
  const std::string program = onPath("mongod");
  if (program.empty()) throw EngineMissing("there is no mongod on the PATH");
  startServer(started, [&](const std::string& folder, int port) {
    return std::vector<std::string>{program,    "--bind_ip", "127.0.0.1",     "--port", std::to_string(port),
                                    "--dbpath", folder,      "--nounixsocket"};
  });
}

void startSecantus(Started& started, bool standalone) {
  const std::string program = std::string(serversFolder) + "/secantus/bin/secantusd-py";
  if (access(program.c_str(), X_OK) != 0) throw EngineMissing("SecantusDB is not installed; see scripts/setup");
  startServer(started, [&](const std::string& folder, int port) {
    std::vector<std::string> command{program,          "--host",         "127.0.0.1",   "--port", std::to_string(port),
                                     "--storage-path", folder + "/data", "--log-level", "WARNING"};
    if (standalone) command.emplace_back("--standalone");
    return command;
  });
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
      {"deployment", findDeployment},
      {"mongod", startMongod},
      {"secantus", [](Started& started) { startSecantus(started, false); }},
      {"secantusStandalone", [](Started& started) { startSecantus(started, true); }},
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
  static std::map<std::string, Started> all;
  const auto [found, isNew] = all.try_emplace(name);
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
  return name != "java";
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
  if (!client.connect("", address.host, address.port, "", "")) throw std::runtime_error(client.failure());
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
