#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "database_provider/database_provider.h"
#include "tests/support/RecordingClient.h"

// This program is not linked against the library: like an application that loads it, it knows the interfaces only.

namespace database_provider {
namespace {

class Factories : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    library = dlopen(DATABASE_PROVIDER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
  }
  static void TearDownTestSuite() { dlclose(library); }

  /// Finds a factory by its plain name and calls it.
  template <class Object>
  static std::unique_ptr<Object> make(const char* name) {
    void* const symbol = dlsym(library, name);
    if (symbol == nullptr) throw std::runtime_error(dlerror());
    return std::unique_ptr<Object>(reinterpret_cast<Object* (*)()>(symbol)());
  }

  static inline void* library = nullptr;
};

TEST_F(Factories, AreFoundByTheirPlainNames) {
  EXPECT_NE(make<DatabaseFilter>("createFilter"), nullptr);
  EXPECT_NE(make<ExperimentDatabaseInterface>("createExperimentDatabase"), nullptr);
  EXPECT_NE(make<DatabaseProviderInterface>("createScenarioDatabase"), nullptr);
  EXPECT_NE(make<DatabaseSourceInfoInterface>("createDatabaseSourceInfo"), nullptr);
  EXPECT_NE(make<DataServerSourceInfoInterface>("createDataServerSourceInfo"), nullptr);
  EXPECT_NE(make<ExperimentDatabaseRecordInterface>("createExperimentDatabaseRecord"), nullptr);
  EXPECT_NE(make<DatabaseRecordInterface>("createScenarioDatabaseRecord"), nullptr);
  EXPECT_NE(make<UsersDatabaseInterface>("createUsersDatabase"), nullptr);
}

TEST_F(Factories, MakeObjectsInTheirDefaultState) {
  EXPECT_EQ(make<DatabaseFilter>("createFilter")->toObjectProeprties().toJson(), "{}");
  EXPECT_EQ(make<DatabaseSourceInfoInterface>("createDatabaseSourceInfo")->port(), 27017);
  EXPECT_EQ(make<DataServerSourceInfoInterface>("createDataServerSourceInfo")->volume(), 0);
  const auto experiment = make<ExperimentDatabaseRecordInterface>("createExperimentDatabaseRecord");
  EXPECT_EQ(experiment->getD()->toJson(), "{}");
  EXPECT_EQ(experiment->sourceType(), SourceType::undefinedSource);
  EXPECT_EQ(experiment->supportedObjectTypes().size(), 4U);
  EXPECT_EQ(make<DatabaseRecordInterface>("createScenarioDatabaseRecord")->supportedObjectTypes().size(), 3U);
  EXPECT_FALSE(make<ExperimentDatabaseInterface>("createExperimentDatabase")->isConnected());
  EXPECT_FALSE(make<DatabaseProviderInterface>("createScenarioDatabase")->isConnected());
}

TEST_F(Factories, MakeIndependentObjects) {
  const auto first = make<DatabaseRecordInterface>("createScenarioDatabaseRecord");
  const auto second = make<DatabaseRecordInterface>("createScenarioDatabaseRecord");
  first->setCategory("a", "b");
  EXPECT_EQ(second->getD()->toJson(), "{}");
}

TEST_F(Factories, MakeProvidersThatKnowTheirCollections) {
  database_client::testing::RecordingClient client;
  const auto experiments = make<ExperimentDatabaseInterface>("createExperimentDatabase");
  const auto scenarios = make<DatabaseProviderInterface>("createScenarioDatabase");
  experiments->setDatabaseClient(&client);
  scenarios->setDatabaseClient(&client);
  const auto record = make<DatabaseRecordInterface>("createScenarioDatabaseRecord");
  std::string id;
  experiments->writeRecord(record.get(), id);
  scenarios->writeRecord(record.get(), id);
  EXPECT_EQ(client.calls(), "insert experiment records {}\ninsert base collection.scenarios {}\n");
}

TEST_F(Factories, MakeObjectsThatWorkTogether) {
  const auto record = make<ExperimentDatabaseRecordInterface>("createExperimentDatabaseRecord");
  auto source = make<DatabaseSourceInfoInterface>("createDatabaseSourceInfo");
  source->setHost("h");
  record->setDatabaseSourceInfo(source.release());
  ASSERT_NE(record->getDatabaseSourceInfo(), nullptr);
  EXPECT_EQ(record->getDatabaseSourceInfo()->host(), "h");
}

}  // namespace
}  // namespace database_provider
