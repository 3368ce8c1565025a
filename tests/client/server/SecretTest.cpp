// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>

#include "client/server/ErrorMapping.h"
#include "tests/client/server/Capture.h"
#include "tests/client/server/ServerTest.h"

// No password gets into a message or onto the program's output, whatever goes wrong, not even where a server repeats
// it.

namespace database_client {
namespace {

using database_test::failing;
using database_test::refusal;
using database_test::Step;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string canary = "kEstrel-7731";
const std::string echo = "the server repeats " + canary + ", and once more: '" + canary + "'";

struct Path {
  std::string name;
  std::function<void(DataBaseClient&, database_test::ScriptedServer&)> walk;
};

void PrintTo(const Path& path, std::ostream* out) {
  *out << path.name;
}

void logIn(DataBaseClient& client, const database_test::ScriptedServer& server) {
  client.connect("admin", "127.0.0.1", server.port(), "anna", canary);
}

void open(DataBaseClient& client, const database_test::ScriptedServer& server) {
  client.connect("", "127.0.0.1", server.port(), "", "");
}

std::vector<Path> paths() {
  return {
      {"RefusedUser",
       [](auto& client, auto& server) {
         server.always("saslStart", refusal(18, echo));
         logIn(client, server);
       }},
      {"RefusedUserByTheOldMechanism",
       [](auto& client, auto& server) {
         server.pose({database_test::Pose::Role::standalone, "", {}, "", 1, {"SCRAM-SHA-1"}});
         server.always("saslStart", refusal(18, echo));
         logIn(client, server);
       }},
      {"LoginCutOff",
       [](auto& client, auto& server) {
         server.always("saslStart", failing(Step::Fate::close));
         logIn(client, server);
       }},
      {"LoginAnsweredByGarbage",
       [](auto& client, auto& server) {
         server.always("saslStart", failing(Step::Fate::garbage));
         logIn(client, server);
       }},
      {"LoginAnsweredByNonsense",
       [](auto& client, auto& server) {
         server.always("saslStart", database_test::answer(R"({"ok": 1, "conversationId": 1, "done": false,
             "payload": {"$binary": {"base64": "cj1rRXN0cmVsLTc3MzE=", "subType": "00"}}})"));
         logIn(client, server);
       }},
      {"ServerDown",
       [](auto& client, auto& server) {
         server.stop();
         logIn(client, server);
       }},
      {"RefusedHost", [](auto& client, auto&) { client.connect("", "anna:" + canary + "@host", 1, "", ""); }},
      {"RefusedPort", [](auto& client, auto&) { client.connect("", "localhost", 0, "anna", canary); }},
      {"MalformedAddress",
       [](auto& client, auto&) { client.connect("", "mongodb://anna:" + canary + "@host:port/", 1, "", ""); }},
      {"AddressWithAPasswordThatIsNotEscaped",
       [](auto& client, auto&) { client.connect("", "mongodb://anna:x@" + canary + "@host/", 1, "", ""); }},
      {"AddressWithAPercentThatIsNotEscaped",
       [](auto& client, auto&) { client.connect("", "mongodb://anna:%" + canary + "@host/", 1, "", ""); }},
      {"AddressOfAServerThatIsDown",
       [](auto& client, auto& server) {
         server.stop();
         client.connect("", "mongodb://anna:" + canary + "@" + server.host() + "/", 1, "", "");
       }},
      {"AddressWithThePasswordOfAKeyFile",
       [](auto& client, auto& server) {
         client.connect(
             "",
             "mongodb://" + server.host() + "/?tls=true&connectTimeoutMS=500&tlsCertificateKeyFilePassword=" + canary,
             1, "", "");
       }},
      {"AddressWithThePasswordOfAKeyFileThatIsMissing",
       [](auto& client, auto&) {
         client.connect("",
                        "mongodb://h/?tls=true&tlsCertificateKeyFile=/no/file&tlsCertificateKeyFilePassword=" + canary,
                        1, "", "");
       }},
      {"TlsToAPlainServer",
       [](auto& client, auto& server) {
         client.connect("", "mongodb://anna:" + canary + "@" + server.host() + "/?tls=true&connectTimeoutMS=500", 1, "",
                        "");
       }},
      {"PlainWithoutTls",
       [](auto& client, auto&) {
         client.connect("", "mongodb://anna:" + canary + "@h/?authMechanism=PLAIN", 1, "", "");
       }},
      {"RefusedUserCreation",
       [](auto& client, auto& server) {
         open(client, server);
         server.always("createUser", refusal(51003, echo));
         client.createUser("d", "anna", canary, ObjectProperties(), ObjectProperties());
       }},
      {"RefusedPasswordChange",
       [](auto& client, auto& server) {
         open(client, server);
         server.always("updateUser", refusal(13, echo));
         client.changePassword("d", "anna", canary);
       }},
      {"PasswordChangeCutOff",
       [](auto& client, auto& server) {
         open(client, server);
         server.always("updateUser", failing(Step::Fate::close));
         client.changePassword("d", "anna", canary);
       }},
      {"UserCreationCutOff",
       [](auto& client, auto& server) {
         open(client, server);
         server.always("createUser", failing(Step::Fate::cut));
         client.createUser("d", "anna", canary, ObjectProperties(), ObjectProperties());
       }},
      {"UserCreationAnsweredByGarbage",
       [](auto& client, auto& server) {
         open(client, server);
         server.always("createUser", failing(Step::Fate::garbage));
         client.createUser("d", "anna", canary, ObjectProperties(), ObjectProperties());
       }},
      {"UserCreationOnAServerThatIsDown",
       [](auto& client, auto& server) {
         open(client, server);
         server.stop();
         client.createUser("d", "anna", canary, ObjectProperties(), ObjectProperties());
       }},
      {"UserCreationWhileNotConnected",
       [](auto& client, auto&) { client.createUser("d", "anna", canary, ObjectProperties(), ObjectProperties()); }},
      {"UserCreationWithAPasswordThatIsNoText",
       [](auto& client, auto& server) {
         open(client, server);
         client.createUser("d", "anna", canary + "\xFF", ObjectProperties(), ObjectProperties());
       }},
      {"PasswordChangeThatIsHeldUp",
       [](auto& client, auto& server) {
         client.connect("", "mongodb://" + server.host() + "/?socketTimeoutMS=200", 1, "", "");
         server.always("updateUser", failing(Step::Fate::silence));
         client.changePassword("d", "anna", canary);
       }},
      {"LoginWithAPasswordThatIsNoText",
       [](auto& client, auto& server) {
         client.connect("admin", "127.0.0.1", server.port(), "anna", canary + std::string("\0", 1));
       }},
      {"NameThatDoesNotResolve",
       [](auto& client, auto&) { client.connect("admin", "no-such-host.invalid", 27017, "anna", canary); }},
      {"ServiceThatDoesNotResolve",
       [](auto& client, auto&) {
         client.connect("", "mongodb+srv://anna:" + canary + "@records.no-such-host.invalid/", 1, "", "");
       }},
      {"UserOfAFileThatIsRefused",
       [](auto& client, auto&) { client.connect("admin", "file::memory:", 0, "admin", canary); }},
      {"FolderOfAFileThatIsMissing",
       [](auto& client, auto&) { client.connect("admin", "file:/no/such/folder/store.db", 0, "admin", canary); }},
      {"UserOfAFileThatIsThereAlready",
       [](auto& client, auto&) {
         client.connect("", "file::memory:", 0, "", "");
         client.createUser("d", "anna", canary, ObjectProperties(), ObjectProperties());
         client.createUser("d", "anna", canary, ObjectProperties(), ObjectProperties());
       }},
      {"UserOfAFileWhosePasswordHoldsWhatNoneMay",
       [](auto& client, auto&) {
         client.connect("", "file::memory:", 0, "", "");
         client.createUser("d", "anna", canary + "\x01", ObjectProperties(), ObjectProperties());
       }},
      {"RefusedSetUp",
       [](auto& client, auto& server) {
         open(client, server);
         server.always("createUser", refusal(13, echo));
         DeploymentPlan plan;
         plan.administratorPassword = canary;
         client.setUpDeployment(plan);
       }},
  };
}

class Secret : public ::testing::TestWithParam<Path> {};

TEST_P(Secret, IsNeitherInAMessageNorInTheOutput) {
  database_test::Capture capture;
  std::string told;
  {
    database_test::ScriptedServer server;
    DataBaseClient client;
    try {
      GetParam().walk(client, server);
      told = client.failure();
    } catch (const Error& error) {
      told = std::string(error.what()) + " " + error.where();
    }
  }
  EXPECT_EQ(capture.text(), "");
  EXPECT_NE(told, "");
  EXPECT_THAT(told, Not(HasSubstr(canary)));
}

INSTANTIATE_TEST_SUITE_P(Paths, Secret, ::testing::ValuesIn(paths()),
                         [](const ::testing::TestParamInfo<Path>& path) { return path.param.name; });

class Login : public ServerTest {};

TEST_F(Login, RefusedUserIsNamedWithTheDatabaseAndTheServer) {
  server.always("saslStart", refusal(18, "Authentication failed."));
  EXPECT_EQ(connect("127.0.0.1", server.port(), "anna", "pw", "staff"), "false");
  EXPECT_THAT(client.failure(), HasSubstr(server.host()));
  EXPECT_THAT(client.failure(), HasSubstr("anna"));
  EXPECT_THAT(client.failure(), HasSubstr("staff"));
  EXPECT_EQ(insert(), "authentication");
}

TEST_F(Login, ConnectionThatBreaksOffIsNoRefusal) {
  server.always("saslStart", failing(Step::Fate::close));
  EXPECT_EQ(connect("127.0.0.1", server.port(), "anna", "pw"), "false");
  EXPECT_EQ(insert(), "connection retryable");
}

TEST_F(Login, BestMechanismIsTriedFirst) {
  server.pose({database_test::Pose::Role::standalone, "", {}, "", 1, {"SCRAM-SHA-1", "SCRAM-SHA-256"}});
  EXPECT_EQ(connect("127.0.0.1", server.port(), "anna", "pw"), "false");
  EXPECT_THAT(sent("saslStart"), HasSubstr(R"("mechanism" : "SCRAM-SHA-256")"));
}

TEST_F(Login, NameIsSentSoThatItCannotBeTakenForAnotherPart) {
  connect("127.0.0.1", server.port(), "a,b=c", "pw");
  const std::vector<std::uint8_t> wire = server.received("saslStart").back().wire;
  const std::string expected = "n,,n=a=2Cb=3Dc,r=";  // as RFC 5802 has it
  EXPECT_NE(std::search(wire.begin(), wire.end(), expected.begin(), expected.end()), wire.end());
}

TEST_F(Login, PasswordIsNotAmongWhatIsSent) {
  server.pose({database_test::Pose::Role::standalone, "", {}, "", 1, {"SCRAM-SHA-256"}});
  connect("127.0.0.1", server.port(), "anna", canary);
  EXPECT_GE(timesSent("hello"), 1U);
  EXPECT_THAT(sent("hello") + sent("saslStart"), Not(HasSubstr(canary)));
}

TEST(Conceal, ReplacesWholeWordsAndTheStartsOfLongSecrets) {
  using server::conceal;
  EXPECT_EQ(conceal("a pw, 'pw' and pwd", {"pw"}), "a ***, '***' and pwd");
  EXPECT_EQ(conceal("xpw", {"", "pw"}), "xpw");
  const std::string secret = "0123456789abcdefghij";
  EXPECT_EQ(conceal("x" + secret + "y", {secret}), "x***y");
  EXPECT_EQ(conceal("cut: 0123456789abcdefgh", {secret}), "cut: ***");
  EXPECT_EQ(conceal("p=a(b)+c", {"a(b)+c"}), "p=***");
}

}  // namespace
}  // namespace database_client
