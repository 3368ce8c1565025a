// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <csignal>
#include <fstream>

#include "tests/client/server/SecantusTest.h"
#include "tests/support/Certificates.h"
#include "tests/support/FaultProxy.h"

// Users on a server that controls access.

namespace database_client {
namespace {

using database_test::FaultProxy;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class Access : public SecantusTest {
 protected:
  void SetUp() override {
    SecantusTest::SetUp();
    if (IsSkipped()) return;
    start();
    ASSERT_EQ(connect(), "true") << client.failure();
    DeploymentPlan plan;
    plan.administratorPassword = "the one & only";
    client.setUpDeployment(plan);
  }

  void createUser(const std::string& user, const std::string& password, const std::string& role = "readWrite") {
    client.createUser("databaseManager", user, password,
                      document(R"({"0": {"role": ")" + role + R"(", "db": "d"}, "1": {"role":
                        "changeOwnPasswordCustomDataRole", "db": "databaseManager"}})"),
                      ObjectProperties());
  }
  void controlAccess() { restart({"--auth"}); }
  /// Stops the server as a debugger would; it has noticed at the end.
  void stopProcess() const {
    ::kill(process->id(), SIGSTOP);
    siginfo_t stopped{};
    ::waitid(P_PID, static_cast<id_t>(process->id()), &stopped, WSTOPPED | WNOWAIT);
  }
  std::string users(const std::string& query) {
    return outcome([&] {
      std::list<ObjectProperties*> documents;
      client.find("admin", "system.users", document(query), ObjectProperties(), documents, 0, 0);
      std::string text;
      for (const ObjectProperties* one : documents) {
        const std::unique_ptr<const ObjectProperties> owned(one);
        text += owned->valueAsString("db", "?") + "." + owned->valueAsString("user", "?") + " ";
        EXPECT_FALSE(owned->contains("credentials"));
      }
      return text;
    });
  }
};

TEST_F(Access, AdministratorIsMadeOnceAndLogsIn) {
  controlAccess();
  EXPECT_EQ(connect("admin", "the one & only", "admin"), "true") << client.failure();
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Access, SetUpMayBeRepeatedAsTheAdministrator) {
  controlAccess();
  ASSERT_EQ(connect("admin", "the one & only", "admin"), "true");
  DeploymentPlan plan;
  plan.administratorPassword = "another";
  for (const DeploymentStep& step : client.setUpDeployment(plan)) {
    EXPECT_EQ(step.state, DeploymentStep::State::alreadyThere) << step.what;
  }
  EXPECT_EQ(connect("admin", "the one & only", "admin"), "true");
}

TEST_F(Access, OddUsersAndPasswordsLogIn) {
  const std::vector<std::string> odd{
      "us@er", "a:b", "a/b?c#d", "[x]", "100%", "a+b c", "%41", "\xC3\xA9t\xC3\xA9", std::string(1024, 'k')};
  for (const std::string& text : odd) createUser("u " + text, "p " + text);
  controlAccess();
  for (const std::string& text : odd) {
    EXPECT_EQ(connect("u " + text, "p " + text), "true") << text << ": " << client.failure();
    EXPECT_EQ(connect("u " + text, "p " + text + "x"), "false") << text;
  }
}

TEST_F(Access, WrongPasswordOrDatabaseIsARefusedUser) {
  createUser("anna", "kEstrel-7731");
  controlAccess();
  EXPECT_EQ(connect("anna", "kEstrel-7732"), "false");
  EXPECT_THAT(client.failure(), HasSubstr("anna"));
  EXPECT_THAT(client.failure(), Not(HasSubstr("kEstrel")));
  EXPECT_EQ(insert(), "authentication");
  EXPECT_EQ(connect("anna", "kEstrel-7731", "admin"), "false");
  EXPECT_EQ(connect("nobody", "kEstrel-7731"), "false");
  EXPECT_EQ(connect("anna", "kEstrel-7731"), "true") << client.failure();
}

TEST_F(Access, WithoutTheRightAnOperationIsRefused) {
  createUser("reader", "pw", "read");
  controlAccess();
  ASSERT_EQ(connect("reader", "pw"), "true") << client.failure();
  EXPECT_EQ(find(), "0");
  EXPECT_EQ(insert(), "authorization 13");
  EXPECT_TRUE(client.isConnected());
}

TEST_F(Access, WhoeverIsNobodyMayDoNothing) {
  controlAccess();
  EXPECT_EQ(connect(), "true");  // a server answers a ping of anybody
  EXPECT_EQ(find(), "authorization 13");
}

TEST_F(Access, UserWhoChangesItsOwnPasswordStaysConnectedAfterALoss) {
  createUser("anna", "before");
  controlAccess();
  FaultProxy proxy(port);
  ASSERT_EQ(connect("127.0.0.1", proxy.port(), "anna", "before", "databaseManager"), "true") << client.failure();
  client.changePassword("databaseManager", "anna", "after");
  EXPECT_EQ(insert(), "ok");
  proxy.arm(FaultProxy::Fault::cutRequest);
  EXPECT_EQ(find(), "1");
  EXPECT_EQ(connect("anna", "before"), "false");
  EXPECT_EQ(connect("anna", "after"), "true");
}

TEST_F(Access, AdministratorSeesAllUsers) {
  createUser("anna", "pw");
  createUser("ben", "pw");
  controlAccess();
  ASSERT_EQ(connect("admin", "the one & only", "admin"), "true");
  EXPECT_EQ(users("{}"), "admin.admin databaseManager.anna databaseManager.ben ");
  EXPECT_EQ(users(R"({"user": "ben"})"), "databaseManager.ben ");
  EXPECT_EQ(users(R"({"user": "nobody"})"), "");
}

TEST_F(Access, ServerThatIsKilledAndStartedAgainIsFoundAgain) {
  EXPECT_EQ(insert(), "ok");
  process.reset();
  EXPECT_THAT(insert(R"({"_id": 2})"), StartsWith("connection retryable"));  // unknown, if it went into the old socket
  EXPECT_EQ(insert(R"({"_id": 2})"), "connection retryable");
  EXPECT_FALSE(client.isConnected());
  start();
  EXPECT_EQ(insert(R"({"_id": 2})"), "ok");
  EXPECT_EQ(find(), "2");
}

TEST_F(Access, ServerThatIsStoppedIsATimeoutUntilItGoesOn) {
  ASSERT_EQ(ClientTest::connect("mongodb://127.0.0.1:" + std::to_string(port) +
                                "/?socketTimeoutMS=500&connectTimeoutMS=500&serverSelectionTimeoutMS=500"),
            "true");
  EXPECT_EQ(insert(), "ok");
  stopProcess();
  EXPECT_EQ(find(), "timeout retryable");
  EXPECT_EQ(insert(R"({"_id": 2})"), "timeout retryable");  // not even greeted
  ::kill(process->id(), SIGCONT);
  EXPECT_EQ(insert(R"({"_id": 2})"), "ok");
  EXPECT_EQ(find(), "2");
}

class ServerUnderTls : public SecantusTest {
 protected:
  std::string address(const std::string& options) const {
    return "mongodb://127.0.0.1:" + std::to_string(port) +
           "/?tls=true&connectTimeoutMS=5000&tlsCAFile=" + certificates.authority() + options;
  }
  /// A certificate and its key in one file.
  std::string issueForClient(const std::string& name) const {
    const database_test::TlsFiles files = certificates.issue(name, {name});
    std::string path = folder.path() + "/" + name + "-both.pem";
    std::ofstream both(path);
    for (const std::string& part : {files.certificate, files.key}) both << std::ifstream(part).rdbuf();
    return path;
  }

  const database_test::Certificates certificates{folder.path()};
};

TEST_F(ServerUnderTls, ClientShowsItsCertificateWhereItIsAskedFor) {
  const database_test::TlsFiles files = certificates.issue("server", {});
  start({"--tls-cert-file", files.certificate, "--tls-key-file", files.key, "--tls-ca-file", certificates.authority(),
         "--tls-require-client-cert"});
  EXPECT_EQ(ClientTest::connect(address("&tlsCertificateKeyFile=" + issueForClient("anna"))), "true")
      << client.failure();
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(ClientTest::connect(address("")), "false");
}

}  // namespace
}  // namespace database_client
