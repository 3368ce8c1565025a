// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "database_provider/types.h"

namespace database_provider {
namespace {

TEST(DatabaseNames, AreThoseOfTheConstants) {
  EXPECT_EQ(databaseTypeToString(DatabaseType::base), "base");
  EXPECT_EQ(databaseTypeToString(DatabaseType::experiment), "experiment");
  EXPECT_EQ(databaseTypeToString(DatabaseType::databaseManager), "databaseManager");
  EXPECT_EQ(databaseTypeToString(DatabaseType::undefinedDatabase), "undefinedDatabase");
}

TEST(DatabaseNames, ComeBackToTheirValue) {
  for (int value = 0; value <= 3; ++value) {
    const auto type = static_cast<DatabaseType>(value);
    EXPECT_EQ(databaseNameToDatabaseType(databaseTypeToString(type)), type);
  }
}

TEST(DatabaseNames, AreComparedExactly) {
  EXPECT_EQ(static_cast<int>(databaseNameToDatabaseType("experiment")), 1);
  EXPECT_EQ(static_cast<int>(databaseNameToDatabaseType("Experiment")), 0);
  EXPECT_EQ(static_cast<int>(databaseNameToDatabaseType(std::string("experiment\0", 11))), 0);
}

TEST(DatabaseNames, UnknownReadAsBase) {
  EXPECT_EQ(databaseNameToDatabaseType(""), DatabaseType::base);
  EXPECT_EQ(databaseNameToDatabaseType("elsewhere"), DatabaseType::base);
}

TEST(DatabaseNames, UndefinedDatabaseIsANameOfItsOwn) {
  EXPECT_EQ(databaseNameToDatabaseType("undefinedDatabase"), DatabaseType::undefinedDatabase);
}

TEST(DatabaseNames, AreEmptyOutsideTheEnumeration) {
  EXPECT_EQ(databaseTypeToString(static_cast<DatabaseType>(4)), "");
  EXPECT_EQ(databaseTypeToString(static_cast<DatabaseType>(-1)), "");
}

TEST(RoleNames, AreThoseOfTheConstants) {
  EXPECT_EQ(databaseRoleTypeToString(DatabaseRoleType::read), "read");
  EXPECT_EQ(databaseRoleTypeToString(DatabaseRoleType::readWrite), "readWrite");
  EXPECT_EQ(databaseRoleTypeToString(DatabaseRoleType::changeOwnPasswordCustomDataRole),
            "changeOwnPasswordCustomDataRole");
}

TEST(RoleNames, ComeBackToTheirValue) {
  for (int value = 0; value <= 2; ++value) {
    const auto role = static_cast<DatabaseRoleType>(value);
    EXPECT_EQ(databaseRoleNameToDatabaseRoleType(databaseRoleTypeToString(role)), role);
  }
}

TEST(RoleNames, AreComparedExactly) {
  EXPECT_EQ(static_cast<int>(databaseRoleNameToDatabaseRoleType("readWrite")), 1);
  EXPECT_EQ(static_cast<int>(databaseRoleNameToDatabaseRoleType("readwrite")), 0);
  EXPECT_EQ(static_cast<int>(databaseRoleNameToDatabaseRoleType("readWrite ")), 0);
}

TEST(RoleNames, UnknownReadAsRead) {
  EXPECT_EQ(static_cast<int>(databaseRoleNameToDatabaseRoleType("dbAdmin")), 0);
  EXPECT_EQ(static_cast<int>(databaseRoleNameToDatabaseRoleType("undefinedRole")), 0);
  EXPECT_EQ(static_cast<int>(databaseRoleNameToDatabaseRoleType("")), 0);
}

TEST(RoleNames, AreEmptyOutsideTheTable) {
  EXPECT_EQ(databaseRoleTypeToString(DatabaseRoleType::undefinedRole), "");
  EXPECT_EQ(databaseRoleTypeToString(static_cast<DatabaseRoleType>(-1)), "");
}

TEST(Enumerations, KeepTheNumbersThatAreStored) {
  EXPECT_EQ(static_cast<int>(SourceType::undefinedSource), 0);
  EXPECT_EQ(static_cast<int>(SourceType::databaseSource), 1);
  EXPECT_EQ(static_cast<int>(SourceType::dataServerSource), 2);
  EXPECT_EQ(static_cast<int>(ObjectType::xmlObject), 1);
  EXPECT_EQ(static_cast<int>(ObjectType::mediaObject), 2);
  EXPECT_EQ(static_cast<int>(ObjectType::archiveObject), 3);
  EXPECT_EQ(static_cast<int>(ObjectType::documentObject), 4);
  EXPECT_EQ(static_cast<int>(ObjectType::extraXmlObject), 5);
  EXPECT_EQ(static_cast<int>(PropertyType::string), 4);
  EXPECT_EQ(static_cast<int>(PropertyType::boolean), 5);
  EXPECT_EQ(static_cast<int>(PropertyType::int32), 6);
  EXPECT_EQ(static_cast<int>(PropertyType::int64), 7);
  EXPECT_EQ(static_cast<int>(PropertyType::real), 8);
  EXPECT_EQ(static_cast<int>(PropertyType::time), 9);
  EXPECT_EQ(static_cast<int>(OperationType::exists), 6);
  EXPECT_EQ(static_cast<int>(OperationType::notExists), 7);
}

}  // namespace
}  // namespace database_provider
