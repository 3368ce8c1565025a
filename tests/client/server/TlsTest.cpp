// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <memory>

#include "tests/client/server/Capture.h"
#include "tests/client/server/ServerTest.h"
#include "tests/support/Certificates.h"
#include "tests/support/TemporaryFolder.h"

namespace database_client {
namespace {

using database_test::CertificateRequest;
using database_test::Certificates;
using database_test::Pose;
using database_test::ScriptedServer;
using ::testing::HasSubstr;

class Tls : public ClientTest {
 protected:
  void SetUp() override { ::alarm(60); }
  void TearDown() override { ::alarm(0); }

  /// Connects to a server with this certificate.
  std::string connectTo(const CertificateRequest& request, const std::string& options) {
    server = std::make_unique<ScriptedServer>(Pose{}, certificates.issue("server", request));
    return connect("mongodb://" + server->host() + "/?tls=true&connectTimeoutMS=2000" + options);
  }
  std::string trusted() const { return "&tlsCAFile=" + certificates.authority(); }

  const database_test::TemporaryFolder folder{};
  const Certificates certificates{folder.path()};
  std::unique_ptr<ScriptedServer> server{};
};

TEST_F(Tls, GoodCertificateIsAccepted) {
  EXPECT_EQ(connectTo({}, trusted()), "true") << client.failure();
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Tls, NameInTheCertificateIsAccepted) {
  server = std::make_unique<ScriptedServer>(Pose{}, certificates.issue("server", {"localhost"}));
  EXPECT_EQ(connect("mongodb://localhost:" + std::to_string(server->port()) + "/?tls=true" + trusted()), "true")
      << client.failure();
}

TEST_F(Tls, CertificateOfAnUnknownAuthorityIsRefused) {
  EXPECT_EQ(connectTo({}, ""), "false");
  EXPECT_THAT(client.failure(), HasSubstr("certificate"));
  EXPECT_THAT(client.failure(), HasSubstr(server->host()));
  EXPECT_EQ(insert(), "connection retryable");
}

TEST_F(Tls, CertificateOfAnotherHostIsRefused) {
  EXPECT_EQ(connectTo({"10.9.8.7"}, trusted()), "false");
  EXPECT_THAT(client.failure(), HasSubstr("TLS"));
}

TEST_F(Tls, ExpiredCertificateIsRefused) {
  EXPECT_EQ(connectTo({"127.0.0.1", -1}, trusted()), "false");
  EXPECT_THAT(client.failure(), HasSubstr("certificate"));
}

TEST_F(Tls, VerificationIsOffOnlyWhereTheAddressSaysSo) {
  EXPECT_EQ(connectTo({}, "&tlsAllowInvalidCertificates=true"), "true") << client.failure();
  EXPECT_EQ(connectTo({"10.9.8.7"}, trusted() + "&tlsAllowInvalidHostnames=true"), "true") << client.failure();
  EXPECT_EQ(connectTo({"10.9.8.7"}, "&tlsAllowInvalidHostnames=true"), "false");
}

TEST_F(Tls, MissingFileIsNamed) {
  EXPECT_EQ(connectTo({}, "&tlsCAFile=/no/such/authority.pem"), "false");
  EXPECT_THAT(client.failure(), HasSubstr("/no/such/authority.pem"));
  EXPECT_EQ(connectTo({}, "&tlsCertificateKeyFile=/no/such/key.pem"), "false");
  EXPECT_THAT(client.failure(), HasSubstr("/no/such/key.pem"));
}

TEST_F(Tls, ServerThatSpeaksPlainlyIsRefusedInTime) {
  server = std::make_unique<ScriptedServer>();
  EXPECT_EQ(connect("mongodb://" + server->host() + "/?tls=true&connectTimeoutMS=500" + trusted()), "false");
  EXPECT_LT(elapsed, 3000);
  EXPECT_THAT(client.failure(), HasSubstr(server->host()));
}

TEST_F(Tls, PlainClientGetsNowhereInTime) {
  server = std::make_unique<ScriptedServer>(Pose{}, certificates.issue("server", {}));
  EXPECT_EQ(connect("mongodb://" + server->host() + "/?connectTimeoutMS=500"), "false");
  EXPECT_LT(elapsed, 3000);
}

TEST_F(Tls, RefusalsPrintNothing) {
  database_test::Capture capture;
  connectTo({}, "");
  connectTo({"10.9.8.7"}, trusted());
  connectTo({"127.0.0.1", -1}, trusted());
  connectTo({}, "&tlsCAFile=" + folder.path());
  EXPECT_EQ(capture.text(), "");
}

TEST_F(Tls, PasswordInPlainGoesOnlyUnderTls) {
  server = std::make_unique<ScriptedServer>(Pose{}, certificates.issue("server", {}));
  server->always("saslStart", database_test::answer(R"({"ok": 1, "conversationId": 1, "done": true,
      "payload": {"$binary": {"base64": "", "subType": "00"}}})"));
  EXPECT_EQ(connect("mongodb://anna:pw@" + server->host() + "/?authMechanism=PLAIN&tls=true" + trusted()), "true")
      << client.failure();
  EXPECT_EQ(server->received("saslStart").size(), 1U);
}

}  // namespace
}  // namespace database_client
