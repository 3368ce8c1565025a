// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/contract/Contract.h"

namespace database_test {

using database_client::DataBaseClient;
using database_client::DeploymentPlan;
using database_client::ObjectProperties;

namespace {

/// Who may do what where access is controlled: + where it is done, - where it is refused with authorization error 13,
/// and a dot where a server may give an empty list instead. The columns are the people of `people`.
const char* const rights = R"(
                          nobody roleless read.e write.e read.b write.b own person reader keeper readAny writeAny keepAny admin
  find_experiment           -       -       +       +      -       -     -    -      +      -       +       +        -      +
  findEach_experiment       -       -       +       +      -       -     -    -      +      -       +       +        -      +
  aggregate_experiment      -       -       +       +      -       -     -    -      +      -       +       +        -      +
  count_experiment          -       -       +       +      -       -     -    -      +      -       +       +        -      +
  explain_experiment        -       -       +       +      -       -     -    -      +      -       +       +        -      +
  collections_experiment    -       .       +       +      .       .     .    .      +      .       +       +        .      +
  insert_experiment         -       -       -       +      -       -     -    -      -      -       -       +        -      +
  insertMany_experiment     -       -       -       +      -       -     -    -      -      -       -       +        -      +
  replace_experiment        -       -       -       +      -       -     -    -      -      -       -       +        -      +
  set_experiment            -       -       -       +      -       -     -    -      -      -       -       +        -      +
  append_experiment         -       -       -       +      -       -     -    -      -      -       -       +        -      +
  upsert_experiment         -       -       -       +      -       -     -    -      -      -       -       +        -      +
  remove_experiment         -       -       -       +      -       -     -    -      -      -       -       +        -      +
  find_base                 -       -       -       -      +       +     -    -      -      -       +       +        -      +
  findEach_base             -       -       -       -      +       +     -    -      -      -       +       +        -      +
  aggregate_base            -       -       -       -      +       +     -    -      -      -       +       +        -      +
  count_base                -       -       -       -      +       +     -    -      -      -       +       +        -      +
  explain_base              -       -       -       -      +       +     -    -      -      -       +       +        -      +
  collections_base          -       .       .       .      +       +     .    .      .      .       +       +        .      +
  insert_base               -       -       -       -      -       +     -    -      -      -       -       +        -      +
  insertMany_base           -       -       -       -      -       +     -    -      -      -       -       +        -      +
  replace_base              -       -       -       -      -       +     -    -      -      -       -       +        -      +
  set_base                  -       -       -       -      -       +     -    -      -      -       -       +        -      +
  append_base               -       -       -       -      -       +     -    -      -      -       -       +        -      +
  upsert_base               -       -       -       -      -       +     -    -      -      -       -       +        -      +
  remove_base               -       -       -       -      -       +     -    -      -      -       -       +        -      +
  find_databaseManager      -       -       -       -      -       -     -    +      +      -       +       +        -      +
  findEach_databaseManager  -       -       -       -      -       -     -    +      +      -       +       +        -      +
  aggregate_databaseManager -       -       -       -      -       -     -    +      +      -       +       +        -      +
  count_databaseManager     -       -       -       -      -       -     -    +      +      -       +       +        -      +
  explain_databaseManager   -       -       -       -      -       -     -    +      +      -       +       +        -      +
  collections_databaseManager -       .       .       .      .       .     .    +      +      .       +       +        .      +
  insert_databaseManager    -       -       -       -      -       -     -    +      +      -       -       +        -      +
  insertMany_databaseManager -      -       -       -      -       -     -    +      +      -       -       +        -      +
  replace_databaseManager   -       -       -       -      -       -     -    +      +      -       -       +        -      +
  set_databaseManager       -       -       -       -      -       -     -    +      +      -       -       +        -      +
  append_databaseManager    -       -       -       -      -       -     -    +      +      -       -       +        -      +
  upsert_databaseManager    -       -       -       -      -       -     -    +      +      -       -       +        -      +
  remove_databaseManager    -       -       -       -      -       -     -    +      +      -       -       +        -      +
  listDatabases             -       +       +       +      +       +     +    +      +      +       +       +        +      +
  listUsers                 -       -       -       -      -       -     -    -      -      -       -       -        +      +
  askForAnother             -       -       -       -      -       -     -    -      -      -       -       -        +      +
  askForOneself             -       +       +       +      +       +     +    +      +      +       +       +        +      +
  createUser                -       -       -       -      -       -     -    -      -      +       -       -        +      +
  createReader              -       -       -       -      -       -     -    -      -      -       -       -        +      +
  createAdministrator       -       -       -       -      -       -     -    -      -      -       -       -        +      +
  rolesOfAnother            -       -       -       -      -       -     -    -      -      -       -       -        +      +
  customDataOfAnother       -       -       -       -      -       -     -    -      -      +       -       -        +      +
  passwordOfAnother         -       -       -       -      -       -     -    -      -      +       -       -        +      +
  passwordOfTheAdministrator -      -       -       -      -       -     -    -      -      -       -       -        +      +
  dropAnother               -       -       -       -      -       -     -    -      -      +       -       -        +      +
  ownPassword               -       -       -       -      -       -     +    +      +      +       -       -        +      +
  ownCustomData             -       -       -       -      -       -     +    +      +      +       -       -        +      +
  ownRoles                  -       -       -       -      -       -     -    -      -      -       -       -        +      +
  setUp                     -       -       -       -      -       -     -    -      -      +       -       -        +      +
  setUpTheAdministrator     -       -       -       -      -       -     -    -      -      -       -       -        +      +
)";

struct Person {
  std::string name;
  std::string roles;
};

const char* const own = "{'role':'changeOwnPasswordCustomDataRole','db':'databaseManager'}";
/// What every user of the library gets.
const std::string everyones = std::string("'8':") + own + ",'9':{'role':'readWrite','db':'databaseManager'}";

std::string grant(const char* role, const char* database) {
  return std::string("{'0':{'role':'") + role + "','db':'" + database + "'}}";
}

/// Those who have a name but nobody and the administrator are users of "databaseManager", with their names as
/// passwords.
const std::vector<Person>& people() {
  static const std::vector<Person> all{
      {"nobody", ""},
      {"roleless", "{}"},
      {"read.e", grant("read", "experiment")},
      {"write.e", grant("readWrite", "experiment")},
      {"read.b", grant("read", "base")},
      {"write.b", grant("readWrite", "base")},
      {"own", std::string("{'0':") + own + "}"},
      {"person", "{" + everyones + "}"},
      {"reader", "{'0':{'role':'read','db':'experiment'}," + everyones + "}"},
      {"keeper", grant("userAdmin", "databaseManager")},
      {"readAny", grant("readAnyDatabase", "admin")},
      {"writeAny", grant("readWriteAnyDatabase", "admin")},
      {"keepAny", grant("userAdminAnyDatabase", "admin")},
      {"admin", grant("root", "admin")},
  };
  return all;
}

struct Right {
  std::string operation;
  std::vector<std::string> marks;
};

std::vector<std::string> wordsOf(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

/// The rows of the table; its first line has to name the people in their order.
std::vector<Right> table() {
  std::istringstream stream(rights);
  std::vector<Right> rows;
  for (std::string line; std::getline(stream, line);) {
    const std::vector<std::string> words = wordsOf(line);
    if (words.empty() || words.front() == "nobody") continue;
    rows.push_back({words.front(), {words.begin() + 1, words.end()}});
  }
  return rows;
}

/// A store with a user for each column, and those users' connections; made once for all rows.
struct Cast {
  Address address;
  std::unique_ptr<DataBaseClient> administrator = std::make_unique<DataBaseClient>();
  std::map<std::string, std::unique_ptr<DataBaseClient>> clients{};
};

class RightsContract : public ::testing::TestWithParam<std::string> {
 protected:
  using Action = std::function<void(const Person&, DataBaseClient&)>;

  static void TearDownTestSuite() { casts().clear(); }

  void SetUp() override {
    try {
      cast = &castOf(engine());
    } catch (const EngineMissing& missing) {
      GTEST_SKIP() << "engine " << engine() << " is missing: " << missing.what();
    }
    const std::string reason = knownWrong(engine(), operation());
    if (!reason.empty()) GTEST_SKIP() << engine() << " answers wrong: " << reason;
  }

  static std::string engine() { return GetParam().substr(0, GetParam().find('_')); }
  static std::string operation() { return GetParam().substr(GetParam().find('_') + 1); }

  /// What each person may do, as in the table.
  std::vector<std::string> marks(const Action& action) {
    std::vector<std::string> all;
    for (const Person& person : people()) {
      const std::string result = outcome([&] { action(person, *cast->clients.at(person.name)); });
      all.push_back(result == "ok" ? "+" : result == "error 13" ? "-" : person.name + ": " + result);
    }
    return all;
  }
  /// The row with what it leaves open taken from what was given.
  static std::vector<std::string> closed(std::vector<std::string> row, const std::vector<std::string>& given) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (row[i] == "." && given[i].size() == 1) row[i] = given[i];
    }
    return row;
  }
  Action action() {
    const std::string name = operation();
    const std::size_t end = name.find('_');
    return end == std::string::npos ? actionOnUsers(name) : actionOnData(name.substr(0, end), name.substr(end + 1));
  }

  static Action actionOnData(const std::string& verb, const std::string& database);
  Action actionOnUsers(const std::string& verb);

  Cast* cast = nullptr;

 private:
  static std::map<std::string, Cast>& casts() {
    static std::map<std::string, Cast> all;
    return all;
  }
  static Cast& castOf(const std::string& engine) {
    const Address& address = startedEngine(engine);
    const auto [found, isNew] = casts().try_emplace(engine);
    if (isNew) gather(found->second, address);
    return found->second;
  }
  static void gather(Cast& cast, const Address& address);
};

void create(DataBaseClient& client, const std::string& name, const std::string& roles) {
  client.createUser("databaseManager", name, name, document(roles), ObjectProperties());
}

void RightsContract::gather(Cast& cast, const Address& address) {
  cast.address = address;
  connectTo(*cast.administrator, address);
  emptyStore(*cast.administrator);
  dropUsers(*cast.administrator);
  const ObjectProperties stored = document("{'_id':1}");
  std::string id;
  for (const char* database : {"experiment", "base", "databaseManager"})
    cast.administrator->insert(database, "things", &stored, id);
  create(*cast.administrator, "another", grant("read", "experiment"));
  for (const Person& person : people()) {
    auto& client = cast.clients[person.name] = std::make_unique<DataBaseClient>();
    if (person.name == "admin") {
      connectTo(*client, address);
    } else if (person.name == "nobody") {
      ASSERT_TRUE(client->connect("", address.host, address.port, "", "")) << client->failure();
    } else {
      create(*cast.administrator, person.name, person.roles);
      ASSERT_TRUE(client->connect("databaseManager", address.host, address.port, person.name, person.name))
          << client->failure();
    }
  }
}

RightsContract::Action RightsContract::actionOnData(const std::string& verb, const std::string& database) {
  static const char* const collection = "things";
  const auto query = [](const Person& person) { return document("{'_id':'" + person.name + "'}"); };
  const auto update = [=](const char* change, int operation, int flags = 0) {
    return [=](const Person& person, DataBaseClient& client) {
      client.update(database, collection, query(person), document(change), flags, operation);
    };
  };
  const std::map<std::string, Action> actions{
      {"find",
       [=](const Person& person, DataBaseClient& client) {
         std::list<ObjectProperties*> none;
         client.find(database, collection, query(person), ObjectProperties(), none, 0, 0);
         for (const ObjectProperties* one : none) delete one;
       }},
      {"findEach",
       [=](const Person& person, DataBaseClient& client) {
         client.findEach(database, collection, query(person), ObjectProperties(), 0, 0,
                         [](ObjectProperties&) { return true; });
       }},
      {"aggregate",
       [=](const Person&, DataBaseClient& client) {
         std::list<ObjectProperties*> none;
         client.aggregate(database, collection, document("{'pipeline':[{'$match':{'_id':'none'}}]}"), none);
       }},
      {"count",
       [=](const Person& person, DataBaseClient& client) { client.count(database, collection, query(person)); }},
      {"explain",
       [=](const Person& person, DataBaseClient& client) { client.explain(database, collection, query(person)); }},
      {"collections", [=](const Person&, DataBaseClient& client) { client.collectionNames(database); }},
      {"insert",
       [=](const Person& person, DataBaseClient& client) {
         const ObjectProperties inserted = document("{'by':'" + person.name + "'}");
         std::string id;
         client.insert(database, collection, &inserted, id);
       }},
      {"insertMany",
       [=](const Person& person, DataBaseClient& client) {
         const ObjectProperties inserted = document("{'by':'" + person.name + "'}");
         std::vector<std::string> ids;
         for (const auto& failure : client.insertMany(database, collection, {&inserted, &inserted}, ids))
           throw database_client::Error(failure.error);
       }},
      {"replace", update("{'x':1}", 1)},
      {"set", update("{'x':1}", 3)},
      {"append", update("{'list':{'x':1}}", 9)},
      {"upsert", update("{'x':1}", 1, 1)},
      {"remove",
       [=](const Person& person, DataBaseClient& client) { client.remove(database, collection, query(person)); }},
  };
  return actions.at(verb);
}

std::string databaseOf(const Person& person) {
  return person.name == "admin" ? "admin" : "databaseManager";
}

void askFor(DataBaseClient& client, const std::string& query) {
  std::list<ObjectProperties*> found;
  client.find("admin", "system.users", document(query), ObjectProperties(), found, 0, 0);
  EXPECT_FALSE(found.empty()) << query;
  for (const ObjectProperties* one : found) delete one;
}

RightsContract::Action RightsContract::actionOnUsers(const std::string& verb) {
  const std::string manager = "databaseManager";
  const auto createWith = [=](const std::string& roles) {
    return [=](const Person& person, DataBaseClient& client) {
      create(client, operation() + " by " + person.name, roles);
    };
  };
  const std::map<std::string, Action> actions{
      {"listDatabases", [](const Person&, DataBaseClient& client) { client.databaseNames(); }},
      {"listUsers", [](const Person&, DataBaseClient& client) { askFor(client, "{}"); }},
      {"askForAnother", [](const Person&, DataBaseClient& client) { askFor(client, "{'user':'another'}"); }},
      {"askForOneself",
       [](const Person& person, DataBaseClient& client) { askFor(client, "{'user':'" + person.name + "'}"); }},
      {"createUser", createWith("{}")},
      {"createReader", createWith(grant("read", "experiment"))},
      {"createAdministrator", createWith(grant("root", "admin"))},
      {"rolesOfAnother",
       [=](const Person&, DataBaseClient& client) {
         client.modifyUser(manager, "another", document(grant("readWrite", "experiment")), ObjectProperties());
         cast->administrator->modifyUser(manager, "another", document(grant("read", "experiment")), ObjectProperties());
       }},
      {"customDataOfAnother",
       [=](const Person& person, DataBaseClient& client) {
         client.modifyUser(manager, "another", document(grant("read", "experiment")),
                           document("{'by':'" + person.name + "'}"));
       }},
      {"passwordOfAnother",
       [=](const Person&, DataBaseClient& client) { client.changePassword(manager, "another", "another"); }},
      {"passwordOfTheAdministrator",
       [=](const Person&, DataBaseClient& client) { client.changePassword("admin", "admin", cast->address.password); }},
      {"dropAnother",
       [=](const Person& person, DataBaseClient& client) {
         create(*cast->administrator, "dropped by " + person.name, "{}");
         client.dropUser(manager, "dropped by " + person.name);
       }},
      {"ownPassword",
       [=](const Person& person, DataBaseClient& client) {
         const bool isAdministrator = person.name == "admin";
         client.changePassword(databaseOf(person), person.name, isAdministrator ? cast->address.password : person.name);
       }},
      {"ownCustomData",
       [=](const Person& person, DataBaseClient& client) {
         client.modifyUser(databaseOf(person), person.name, document(person.roles.empty() ? "{}" : person.roles),
                           document("{'color':'red'}"));
       }},
      {"ownRoles",
       [=](const Person& person, DataBaseClient& client) {
         client.modifyUser(databaseOf(person), person.name, document(grant("root", "admin")), ObjectProperties());
         if (person.name == "admin") return;
         cast->administrator->modifyUser(manager, person.name, document(person.roles), ObjectProperties());
       }},
      {"setUp", [](const Person&, DataBaseClient& client) { client.setUpDeployment({}); }},
      {"setUpTheAdministrator",
       [=](const Person&, DataBaseClient& client) {
         DeploymentPlan plan;
         plan.administratorPassword = "another";
         client.setUpDeployment(plan);
       }},
  };
  return actions.at(verb);
}

std::vector<std::string> rowsOfControlledEngines() {
  std::vector<std::string> parameters;
  for (const char* engine : {"embeddedControlled", "mongodControlled", "secantusControlled"}) {
    for (const Right& row : table()) parameters.push_back(std::string(engine) + "_" + row.operation);
  }
  return parameters;
}

}  // namespace

TEST_P(RightsContract, AllowThisAndNothingElse) {
  const std::vector<Right> rows = table();
  const auto row =
      std::find_if(rows.begin(), rows.end(), [](const Right& one) { return one.operation == operation(); });
  const std::vector<std::string> given = marks(action());
  EXPECT_EQ(given, closed(row->marks, given));
}

TEST(RightsTable, NamesThePeopleInTheirOrder) {
  std::vector<std::string> names;
  for (const Person& person : people()) names.push_back(person.name);
  const std::string text(rights);
  EXPECT_EQ(wordsOf(text.substr(1, text.find('\n', 1))), names);
}

INSTANTIATE_TEST_SUITE_P(Engines, RightsContract, ::testing::ValuesIn(rowsOfControlledEngines()), engineName);

}  // namespace database_test
