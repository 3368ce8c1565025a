// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/library/LoadedLibrary.h"
#include "tests/support/RecordingClient.h"

namespace database_provider {
namespace {

class Factories : public ::testing::Test {
 protected:
  LoadedLibrary library;
};

TEST_F(Factories, AreFoundByTheirPlainNames) {
  EXPECT_NE(library.filter(), nullptr);
  EXPECT_NE(library.experiments(), nullptr);
  EXPECT_NE(library.scenarios(), nullptr);
  EXPECT_NE(library.databaseSource(), nullptr);
  EXPECT_NE(library.dataServerSource(), nullptr);
  EXPECT_NE(library.experiment(), nullptr);
  EXPECT_NE(library.scenario(), nullptr);
  EXPECT_NE(library.users(), nullptr);
}

TEST_F(Factories, MakeObjectsInTheirDefaultState) {
  EXPECT_EQ(library.filter()->toObjectProeprties().toJson(), "{}");
  EXPECT_EQ(library.databaseSource()->port(), 27017);
  EXPECT_EQ(library.dataServerSource()->volume(), 0);
  EXPECT_EQ(library.experiment()->getD()->toJson(), "{}");
  EXPECT_EQ(library.experiment()->sourceType(), SourceType::undefinedSource);
  EXPECT_EQ(library.experiment()->supportedObjectTypes().size(), 4U);
  EXPECT_EQ(library.scenario()->supportedObjectTypes().size(), 3U);
  EXPECT_FALSE(library.experiments()->isConnected());
  EXPECT_FALSE(library.scenarios()->isConnected());
}

TEST_F(Factories, MakeIndependentObjects) {
  const auto first = library.scenario();
  const auto second = library.scenario();
  first->setCategory("a", "b");
  EXPECT_EQ(second->getD()->toJson(), "{}");
}

TEST_F(Factories, MakeProvidersWithConnectionsOfTheirOwn) {
  const auto first = library.experiments();
  const auto second = library.experiments();
  ASSERT_TRUE(first->connect("", "file::memory:", 0, "", ""));
  EXPECT_FALSE(second->isConnected());
  ASSERT_TRUE(second->connect("", "file::memory:", 0, "", ""));
  first->disconnect();
  EXPECT_TRUE(second->isConnected());
}

/// Whether the pointer is that of the whole object, which a caller may take it for.
template <class Object>
bool isWhole(const std::unique_ptr<Object>& object) {
  return dynamic_cast<void*>(object.get()) == static_cast<void*>(object.get());
}

TEST_F(Factories, ReturnTheAddressOfTheObjectItself) {
  EXPECT_TRUE(isWhole(library.filter()));
  EXPECT_TRUE(isWhole(library.experiments()));
  EXPECT_TRUE(isWhole(library.scenarios()));
  EXPECT_TRUE(isWhole(library.databaseSource()));
  EXPECT_TRUE(isWhole(library.dataServerSource()));
  EXPECT_TRUE(isWhole(library.experiment()));
  EXPECT_TRUE(isWhole(library.scenario()));
  EXPECT_TRUE(isWhole(library.users()));
}

TEST_F(Factories, MakeProvidersThatKnowTheirCollections) {
  database_client::RecordingClient client;
  const auto experiments = library.experiments();
  const auto scenarios = library.scenarios();
  experiments->setDatabaseClient(&client);
  scenarios->setDatabaseClient(&client);
  const auto record = library.scenario();
  std::string id;
  experiments->writeRecord(record.get(), id);
  scenarios->writeRecord(record.get(), id);
  EXPECT_EQ(client.calls(), "insert experiment records {}\ninsert base collection.scenarios {}\n");
}

TEST_F(Factories, MakeObjectsThatWorkTogether) {
  const auto record = library.experiment();
  auto source = library.databaseSource();
  source->setHost("h");
  record->setDatabaseSourceInfo(source.release());
  ASSERT_NE(record->getDatabaseSourceInfo(), nullptr);
  EXPECT_EQ(record->getDatabaseSourceInfo()->host(), "h");
}

}  // namespace
}  // namespace database_provider
