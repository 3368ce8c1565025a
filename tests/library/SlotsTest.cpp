// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "database_provider/database_provider.h"
#include "filter/database_filter_d.h"
#include "providers/database_provider.h"
#include "sources/database_source_info.h"
#include "sources/dataserver_source_info.h"
#include "users/UsersDatabase.h"

// Programs that were compiled against the interfaces call by position in the table of virtual operations. These tests
// pin every position; new operations go to the end.

namespace database_provider {
namespace {

/// The position of a virtual operation in its class's table, as the Itanium ABI keeps it in a pointer to member. With
/// the type of the operation given, one of several overloads.
template <class Operation, class Class>
std::size_t slot(Operation Class::*operation) {
  std::size_t offset = 0;
  static_assert(sizeof operation >= sizeof offset);
  std::memcpy(&offset, &operation, sizeof offset);
  return (offset - 1) / sizeof(void*);
}

using Slots = std::vector<std::size_t>;

/// The destructor takes two positions.
Slots from(std::size_t first, std::size_t count) {
  Slots slots;
  for (std::size_t i = 0; i < count; ++i) slots.push_back(first + i);
  return slots;
}

template <class... Operations>
Slots slots(Operations... operations) {
  return {slot(operations)...};
}

Slots recordSlots() {
  using I = DatabaseRecordInterface;
  using Ids = std::list<std::string>&;
  return {slot(&I::clear),
          slot(&I::setUserRecrod),
          slot(&I::getUserRecord),
          slot(&I::removeUserRecord),
          slot(&I::addDescriptionString),
          slot(&I::addDescriptionBool),
          slot(&I::addDescriptionInt),
          slot(&I::addDescriptionDouble),
          slot(&I::addDescriptionLongLong),
          slot(&I::addDescriptionTime),
          slot(&I::descriptionAsString),
          slot(&I::descriptionAsInt),
          slot(&I::descriptionAsDouble),
          slot(&I::descriptionAsBool),
          slot(&I::descriptionAsLongLong),
          slot(&I::descriptionAsTime),
          slot(&I::removeDescription),
          slot(&I::removeAllDescriptions),
          slot(&I::enumDescriptionsNames),
          slot(&I::descriptionType),
          slot(&I::setCategory),
          slot(&I::enumCategoriesNames),
          slot(&I::categoryValue),
          slot(&I::removeCategory),
          slot(&I::removeAllCategories),
          slot<void(const ObjectType&, Ids) const>(&I::enumFilesIds),
          slot<void(Ids) const>(&I::enumFilesIds),
          slot(&I::addFileInfo),
          slot(&I::removeFileInfo),
          slot(&I::removeAllFilesInfo),
          slot(&I::getFileInfo),
          slot(&I::supportedObjectTypes),
          slot(&I::fileExtensions),
          slot(&I::setD),
          slot(&I::getD),
          slot(&I::take)};
}

TEST(Slots, OfDatabaseRecordInterface) {
  EXPECT_EQ(recordSlots(), from(2, 36));
}

TEST(Slots, OfExperimentDatabaseRecordInterface) {
  using I = ExperimentDatabaseRecordInterface;
  EXPECT_EQ(slots(&I::sourceType, &I::getDatabaseSourceInfo, &I::getDataServerSourceInfo, &I::setDatabaseSourceInfo,
                  &I::setDataServerSourceInfo),
            from(38, 5));
}

template <class I>
Slots providerSlots() {
  using Ids = std::list<std::string>&;
  using Records = std::map<std::string, DatabaseRecordInterface*>&;
  using Filter = const DatabaseFilter&;
  using Id = const std::string&;
  return {slot(&I::setDatabaseClient),
          slot(&I::connect),
          slot(&I::disconnect),
          slot(&I::isConnected),
          slot<bool(const DatabaseRecordInterface*, std::string&) const>(&I::writeRecord),
          slot<void(const DatabaseRecordInterface*, Id) const>(&I::updateRecord),
          slot<void(DatabaseRecordInterface*, Id) const>(&I::readRecord),
          slot<void(Filter, Ids, const int&, const int&) const>(&I::read),
          slot<void(Filter, Records, const int&, const int&) const>(&I::read),
          slot(&I::remove),
          slot(&I::enumDescriptionsNames),
          slot(&I::setCategoriesNames),
          slot(&I::enumCategoriesNames),
          slot(&I::categoriesStatistics),
          slot(&I::createId)};
}

TEST(Slots, OfDatabaseProviderInterface) {
  EXPECT_EQ(providerSlots<DatabaseProviderInterface>(), from(2, 15));
}

TEST(Slots, OfDatabaseProvider) {
  EXPECT_EQ(providerSlots<DatabaseProvider>(), from(2, 15));
  EXPECT_EQ(slots(&DatabaseProvider::enumIds, &DatabaseProvider::toLower), from(17, 2));
}

Slots experimentDatabaseSlots() {
  using I = ExperimentDatabaseInterface;
  using Record = ExperimentDatabaseRecordInterface;
  return {slot<bool(const Record*, std::string&) const>(&I::writeRecord),
          slot<void(const Record*, const std::string&) const>(&I::updateRecord),
          slot<void(Record*, const std::string&) const>(&I::readRecord), slot(&I::enumDatabaseSources),
          slot(&I::enumDataserveSources)};
}

TEST(Slots, OfExperimentDatabaseInterface) {
  EXPECT_EQ(providerSlots<ExperimentDatabaseInterface>(), from(2, 15));
  EXPECT_EQ(experimentDatabaseSlots(), from(17, 5));
}

Slots databaseFilterSlots() {
  using I = DatabaseFilter;
  return slots(&I::clear, &I::filter_init, &I::filter_finish, &I::start_or, &I::finish_or, &I::start_and,
               &I::finish_and, &I::setCategory, &I::setDescriptionAsString, &I::setDescriptionAsInt,
               &I::setDescriptionAsDouble, &I::setDescriptionAsLongLong, &I::setDescriptionAsBool,
               &I::setDescriptionAsTime, &I::setId, &I::include, &I::exclude, &I::operator=, &I::toObjectProeprties,
               &I::fromObjectProperties);
}

TEST(Slots, OfDatabaseFilter) {
  EXPECT_EQ(databaseFilterSlots(), from(2, 20));
}

Slots databaseFilterPrivateSlots() {
  using I = DatabaseFilterPrivate;
  return slots(&I::copy, &I::operator=, &I::clear, &I::filter_init, &I::filter_finish, &I::start_or, &I::finish_or,
               &I::start_and, &I::finish_and, &I::setCategory, &I::setDescriptionAsString, &I::setDescriptionAsInt,
               &I::setDescriptionAsDouble, &I::setDescriptionAsLongLong, &I::setDescriptionAsBool,
               &I::setDescriptionAsTime, &I::setId, &I::include, &I::exclude, &I::isEmpty, &I::toObjectProeprties,
               &I::fromObjectProperties, &I::d, &I::createKey, &I::createGroupKey);
}

TEST(Slots, OfDatabaseFilterPrivate) {
  EXPECT_EQ(databaseFilterPrivateSlots(), from(2, 25));
}

TEST(Slots, OfSerializableAndSourceInfo) {
  EXPECT_EQ(slots(&Serializable::serialize, &Serializable::deserialize), from(0, 2));
  // The destructor stands between deserialize and type.
  EXPECT_EQ(slots(&SourceInfo::serialize, &SourceInfo::deserialize), from(0, 2));
  EXPECT_EQ(slots(&SourceInfo::type, &SourceInfo::reset), from(4, 2));
}

template <class I>
Slots databaseSourceSlots() {
  return slots(&I::serialize, &I::deserialize, &I::type, &I::reset, &I::host, &I::port, &I::databaseName, &I::sourceId,
               &I::setHost, &I::setPort, &I::setDatabaseName, &I::setSourceId);
}

TEST(Slots, OfDatabaseSourceInfo) {
  EXPECT_EQ(databaseSourceSlots<DatabaseSourceInfoInterface>(), (Slots{0, 1, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}));
  EXPECT_EQ(databaseSourceSlots<DatabaseSourceInfo>(), databaseSourceSlots<DatabaseSourceInfoInterface>());
}

template <class I>
Slots dataServerSourceSlots() {
  return slots(&I::serialize, &I::deserialize, &I::type, &I::reset, &I::host, &I::section, &I::record, &I::path,
               &I::volume, &I::setHost, &I::setSection, &I::setRecord, &I::setPath, &I::setVolume);
}

TEST(Slots, OfDataServerSourceInfo) {
  EXPECT_EQ(dataServerSourceSlots<DataServerSourceInfoInterface>(),
            (Slots{0, 1, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
  EXPECT_EQ(dataServerSourceSlots<DataServerSourceInfo>(), dataServerSourceSlots<DataServerSourceInfoInterface>());
}

template <class I>
Slots usersSlots() {
  return slots(&I::connectAsAdmin, &I::connectAsUser, &I::disconnect, &I::addUser, &I::updateUser, &I::removeUser,
               &I::changeUserPassword, &I::changeAdminPassword, &I::enumUsers, &I::getUserInfo, &I::addUserData,
               &I::getUserData, &I::removeUserData, &I::removeAllUserData);
}

TEST(Slots, OfUsersDatabase) {
  EXPECT_EQ(usersSlots<UsersDatabaseInterface>(), from(2, 14));
  EXPECT_EQ(usersSlots<UsersDatabase>(), from(2, 14));
}

TEST(Slots, OfDataBaseClient) {
  using I = DataBaseClient;
  EXPECT_EQ(slots(&I::connect, &I::disconnect, &I::isConnected, &I::insert, &I::update, &I::find, &I::aggregate,
                  &I::remove, &I::createId, &I::createUser, &I::modifyUser, &I::changePassword, &I::dropUser),
            from(2, 13));
}

}  // namespace
}  // namespace database_provider
