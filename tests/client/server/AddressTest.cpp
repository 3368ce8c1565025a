// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "client/server/Address.h"
#include "client/server/Driver.h"
#include "tests/client/server/ServerTest.h"

namespace database_client::server {
namespace {

using ::testing::HasSubstr;

class AddressTest : public ClientTest {
 protected:
  void SetUp() override { startDriver(); }

  static Address addressOf(const std::string& host, int port = 27017, const std::string& user = "",
                           const std::string& password = "", const std::string& authDatabase = "") {
    return makeAddress({authDatabase, host, port, user, password});
  }
  static std::int32_t number(const Address& address, const char* option) {
    return mongoc_uri_get_option_as_int32(address.uri.get(), option, -1);
  }
  static std::string textOf(const char* text) { return text == nullptr ? "none" : text; }
  static std::string credentials(const Address& address) {
    const mongoc_uri_t* uri = address.uri.get();
    return textOf(mongoc_uri_get_username(uri)) + " " + textOf(mongoc_uri_get_password(uri)) + " " +
           textOf(mongoc_uri_get_auth_source(uri));
  }
};

TEST_F(AddressTest, NamesAndAddressesAreHosts) {
  for (const char* host : {"localhost", "db1.example.org", "db1.example.org.", "under_score", "127.0.0.1", "::1",
                           "[::1]", "fe80::1", "[2001:db8::7]", "xn--bcher-kva.example"}) {
    EXPECT_TRUE(isHost(host)) << host;
  }
}

TEST_F(AddressTest, AnythingThatAnAddressWouldTakeForStructureIsNoHost) {
  for (const std::string host : {"",
                                 " ",
                                 "a b",
                                 "a@b",
                                 "u:p@h",
                                 "h/db",
                                 "h?x=1",
                                 "h#x",
                                 "a,b",
                                 "%2Ftmp%2Fs.sock",
                                 "h\\x",
                                 "h\tx",
                                 "h\nx",
                                 "h:27017",
                                 "a..b",
                                 ".",
                                 "-.@",
                                 "[::1",
                                 "::1]",
                                 "[::1]:1",
                                 "fe80::1%eth0",
                                 "mongodb:/h",
                                 "h;x",
                                 "h'x",
                                 "h\"x",
                                 "m\xC3\xBCnster.example"}) {
    EXPECT_FALSE(isHost(host)) << host;
  }
  EXPECT_FALSE(isHost(std::string("h\0x", 3)));
  EXPECT_TRUE(isHost(std::string(63, 'a') + "." + std::string(63, 'b')));
  EXPECT_FALSE(isHost(std::string(64, 'a')));
  std::string longName;
  while (longName.size() <= 253) longName += "abcdefgh.";
  EXPECT_FALSE(isHost(longName + "x"));
}

TEST_F(AddressTest, HostThatIsNoneIsRefusedAtOnce) {
  EXPECT_EQ(connect("us@er"), "query");
  EXPECT_EQ(error->where(), "host");
  EXPECT_EQ(connect("a,b"), "query");
  EXPECT_EQ(connect("%2Ftmp%2Fs.sock"), "query");
  EXPECT_EQ(connect(""), "query");
}

TEST_F(AddressTest, PortOutOfRangeIsRefusedAtOnce) {
  for (const int port : {0, -1, 65536, 70000, -2147483647}) {
    EXPECT_EQ(connect("127.0.0.1", port), "query") << port;
    EXPECT_EQ(error->where(), "port");
  }
  EXPECT_EQ(addressOf("127.0.0.1", 1).hosts, "127.0.0.1:1");
  EXPECT_EQ(addressOf("127.0.0.1", 65535).hosts, "127.0.0.1:65535");
}

TEST_F(AddressTest, PortIsNotUsedBesideAFullAddress) {
  EXPECT_EQ(addressOf("mongodb://h:12/", 0).hosts, "h:12");
}

TEST_F(AddressTest, Ipv6IsTakenWithAndWithoutBrackets) {
  EXPECT_EQ(addressOf("::1", 12).hosts, "[::1]:12");
  EXPECT_EQ(addressOf("[::1]", 12).hosts, "[::1]:12");
}

TEST_F(AddressTest, UserGoesInAsItIs) {
  const std::string odd = "us@er:/?#[]%+ \xC3\xA9";
  EXPECT_EQ(credentials(addressOf("h", 1, odd, "p" + odd, "db")), odd + " p" + odd + " db");
  EXPECT_EQ(addressOf("h", 1, odd, odd).hosts, "h:1");
}

TEST_F(AddressTest, NoUserIsNoCredentials) {
  EXPECT_EQ(credentials(addressOf("h", 1, "", "", "db")), "none none admin");
  EXPECT_EQ(credentials(addressOf("mongodb://u:p@h/?authSource=x", 1, "", "", "db")), "u p x");
}

TEST_F(AddressTest, UserOverridesThatOfAFullAddress) {
  EXPECT_EQ(credentials(addressOf("mongodb://u:p@h/?authSource=x", 1, "v", "q")), "v q x");
  EXPECT_EQ(credentials(addressOf("mongodb://u:p@h/?authSource=x", 1, "v", "q", "db")), "v q db");
  EXPECT_EQ(credentials(addressOf("mongodb://h/", 1, "v", "q", "db")), "v q db");
}

TEST_F(AddressTest, UserThatIsNoTextIsRefused) {
  EXPECT_EQ(connect("h", 1, "u\xFF", "p"), "query");
  EXPECT_EQ(connect("h", 1, "u", "p\xFF"), "query");
  EXPECT_EQ(connect("h", 1, std::string("u\0x", 3), "p"), "query");
  EXPECT_EQ(connect("h", 1, "u", "p", "d\xFF"), "query");
}

TEST_F(AddressTest, UserWithoutAPasswordIsRefused) {
  EXPECT_EQ(connect("h", 1, "u", ""), "false");
  EXPECT_EQ(connect("mongodb://u:@127.0.0.1:1/"), "false");
  EXPECT_EQ(connect("mongodb://u@127.0.0.1:1/"), "false");
  EXPECT_THAT(client.failure(), HasSubstr("without a password"));
}

TEST_F(AddressTest, EmptyUserInAFullAddressIsRefused) {
  EXPECT_EQ(connect("mongodb://:p@127.0.0.1:1/"), "query");
}

TEST_F(AddressTest, MalformedAddressIsRefusedAtOnce) {
  for (const std::string address :
       {"mongodb://", "mongodb:///", "mongodb://h:0/", "mongodb://h:99999/", "mongodb://h:x/", "mongodb://u:p@ss@h/",
        "mongodb://h/?directConnection=true&replicaSet", "mongodb://a,b/?directConnection=true", "mongodb://h\xFF/",
        "mongodb+srv://", "mongodb+srv://h:27017/", "mongodb://%%%/"}) {
    EXPECT_EQ(connect(address), "query") << address;
  }
  EXPECT_EQ(connect(std::string("mongodb://h/\0x", 14)), "query");
}

TEST_F(AddressTest, PlainIsRefusedWithoutTls) {
  EXPECT_EQ(connect("mongodb://u:p@127.0.0.1:1/?authMechanism=PLAIN"), "query");
  EXPECT_THAT(message(), HasSubstr("TLS"));
  EXPECT_EQ(connect("mongodb://u:p@127.0.0.1:1/?authMechanism=plain&tls=false"), "query");
  EXPECT_EQ(connect("mongodb://u:p@127.0.0.1:1/?authMechanism=PLAIN&tls=true"), "false");
}

TEST_F(AddressTest, TimesAreBounded) {
  const Address address = addressOf("h");
  EXPECT_EQ(number(address, MONGOC_URI_CONNECTTIMEOUTMS), 10000);
  EXPECT_EQ(number(address, MONGOC_URI_SOCKETTIMEOUTMS), 30000);
  EXPECT_EQ(number(address, MONGOC_URI_SERVERSELECTIONTIMEOUTMS), 15000);
}

TEST_F(AddressTest, TimesOfAFullAddressAreKept) {
  const Address address = addressOf(
      "mongodb://h/?connectTimeoutMS=1&socketTimeoutMS=2&serverSelectionTimeoutMS=3&serverSelectionTryOnce=false");
  EXPECT_EQ(number(address, MONGOC_URI_CONNECTTIMEOUTMS), 1);
  EXPECT_EQ(number(address, MONGOC_URI_SOCKETTIMEOUTMS), 2);
  EXPECT_EQ(number(address, MONGOC_URI_SERVERSELECTIONTIMEOUTMS), 3);
  EXPECT_FALSE(mongoc_uri_get_option_as_bool(address.uri.get(), MONGOC_URI_SERVERSELECTIONTRYONCE, true));
}

TEST_F(AddressTest, MembersOfASetAreWaitedForAndASingleServerIsNot) {
  const auto triesOnce = [](const Address& address) {
    return mongoc_uri_get_option_as_bool(address.uri.get(), MONGOC_URI_SERVERSELECTIONTRYONCE, true);
  };
  EXPECT_TRUE(triesOnce(addressOf("h")));
  EXPECT_TRUE(triesOnce(addressOf("mongodb://h/")));
  EXPECT_FALSE(triesOnce(addressOf("mongodb://h/?replicaSet=s")));
  EXPECT_FALSE(triesOnce(addressOf("mongodb://a,b/")));
}

TEST_F(AddressTest, EveryOptionOfAFullAddressReachesTheDriver) {
  const Address address = addressOf(
      "mongodb://a:1,b:2/?replicaSet=s&tls=true&tlsAllowInvalidHostnames=true&readPreference=nearest"
      "&readPreferenceTags=dc:ny&w=majority&wtimeoutMS=5&journal=true&readConcernLevel=majority&compressors=zlib"
      "&zlibCompressionLevel=3&appName=x&retryWrites=false&localThresholdMS=9&heartbeatFrequencyMS=700");
  const mongoc_uri_t* uri = address.uri.get();
  EXPECT_EQ(address.hosts, "a:1,b:2");
  EXPECT_EQ(textOf(mongoc_uri_get_replica_set(uri)), "s");
  EXPECT_TRUE(mongoc_uri_get_tls(uri));
  EXPECT_TRUE(mongoc_uri_get_option_as_bool(uri, MONGOC_URI_TLSALLOWINVALIDHOSTNAMES, false));
  EXPECT_EQ(mongoc_read_prefs_get_mode(mongoc_uri_get_read_prefs_t(uri)), MONGOC_READ_NEAREST);
  EXPECT_TRUE(mongoc_write_concern_get_wmajority(mongoc_uri_get_write_concern(uri)));
  EXPECT_EQ(mongoc_write_concern_get_wtimeout_int64(mongoc_uri_get_write_concern(uri)), 5);
  EXPECT_TRUE(mongoc_write_concern_get_journal(mongoc_uri_get_write_concern(uri)));
  EXPECT_EQ(textOf(mongoc_read_concern_get_level(mongoc_uri_get_read_concern(uri))), "majority");
  EXPECT_TRUE(bson_has_field(mongoc_uri_get_compressors(uri), "zlib"));
  EXPECT_EQ(number(address, MONGOC_URI_ZLIBCOMPRESSIONLEVEL), 3);
  EXPECT_EQ(textOf(mongoc_uri_get_appname(uri)), "x");
  EXPECT_FALSE(mongoc_uri_get_option_as_bool(uri, MONGOC_URI_RETRYWRITES, true));
  EXPECT_EQ(number(address, MONGOC_URI_LOCALTHRESHOLDMS), 9);
  EXPECT_EQ(number(address, MONGOC_URI_HEARTBEATFREQUENCYMS), 700);
}

TEST_F(AddressTest, OptionThatCannotBeKeptIsRefused) {
  for (const char* option : {"tlsDisableOCSPEndpointCheck", "tlsDisableCertificateRevocationCheck"}) {
    const std::string address = std::string("mongodb://h/?tls=true&") + option;
    EXPECT_EQ(connect(address + "=true"), "query") << option;
    EXPECT_THAT(message(), HasSubstr("revoked")) << option;
    EXPECT_NO_THROW(addressOf(address + "=false")) << option;
  }
}

}  // namespace
}  // namespace database_client::server
