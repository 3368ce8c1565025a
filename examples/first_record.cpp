// SPDX-License-Identifier: Apache-2.0

// Writes an experiment to a store in a file, finds it again and reads it back.

// first_record begin
#include <database_provider/database_provider.h>

#include <iostream>
#include <memory>

using namespace database_provider;

int main(int argc, char** argv) {
  const std::string store = argc > 1 ? argv[1] : "file:first_record.db";
  const std::unique_ptr<ExperimentDatabaseInterface> experiments(createExperimentDatabase());
  if (!experiments->connect("", store, 0, "", "")) return 1;

  const std::unique_ptr<ExperimentDatabaseRecordInterface> plot(createExperimentDatabaseRecord());
  plot->setCategory("site", "Waseca");
  setDescription(plot.get(), "yield", 48.9);
  std::string id;
  experiments->writeRecord(plot.get(), id);

  const std::unique_ptr<DatabaseFilter> filter(createFilter());
  filter->setCategory(OperationType::equal, "site", "Waseca", "");
  filter->setDescriptionAsDouble(OperationType::greater, "yield", 40);
  std::list<std::string> ids;
  experiments->read(*filter, ids, 0, 0);

  const std::unique_ptr<ExperimentDatabaseRecordInterface> found(createExperimentDatabaseRecord());
  experiments->readRecord(found.get(), ids.front());
  std::cout << found->categoryValue("site", "") << ": " << found->descriptionAsDouble("yield", 0) << '\n';
}
// first_record end
