// SPDX-License-Identifier: Apache-2.0

// An application as others write it: a record goes into a store in memory and comes back.

#include <database_client/database_client.h>
#include <database_provider/database_provider.h>
#include <database_provider/records.h>

#include <iostream>
#include <list>
#include <memory>
#include <string>

static_assert(database_client::code::duplicateKey == 11000, "the codes are installed");
static_assert(DATABASE_PROVIDER_VERSION_MAJOR == DATABASE_CLIENT_VERSION_MAJOR, "the versions are installed");

int main() {
  const std::unique_ptr<database_provider::ExperimentDatabaseInterface> experiments(createExperimentDatabase());
  database_client::DataBaseClient client;
  if (!client.connect("", "file::memory:", 0, "", "")) {
    std::cerr << client.failure() << '\n';
    return 1;
  }
  experiments->setDatabaseClient(&client);

  const std::unique_ptr<database_provider::ExperimentDatabaseRecordInterface> record(createExperimentDatabaseRecord());
  record->setCategory("site", "Waseca");
  std::string id;
  if (!experiments->writeRecord(record.get(), id)) return 1;

  const std::unique_ptr<database_provider::ExperimentDatabaseRecordInterface> found(createExperimentDatabaseRecord());
  experiments->readRecord(found.get(), id);
  std::list<std::string> ids;
  experiments->read(database_provider::where("site=Waseca and created>now-1h").filter(), ids, 0, 0);
  if (ids != std::list<std::string>{id} || database_provider::version() != std::string(DATABASE_PROVIDER_VERSION))
    return 1;
  std::cout << "site=" << found->categoryValue("site", "absent") << '\n';
  return found->categoryValue("site", "") == "Waseca" ? 0 : 1;
}
