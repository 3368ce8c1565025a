// SPDX-License-Identifier: Apache-2.0
#include "database_provider/deployment.h"

#include "records/layout.h"

namespace database_provider {

database_client::DeploymentPlan libraryPlan() {
  database_client::DeploymentPlan plan;
  for (const layout::Place& records : {layout::experiments, layout::scenarios}) {
    plan.indexes.push_back(
        {records.database, records.collection, {layout::path::categoryName, layout::path::categoryValue}});
    plan.indexes.push_back(
        {records.database, records.collection, {layout::path::descriptionName, layout::path::descriptionValue}});
  }
  plan.indexes.push_back({layout::experiments.database,
                          layout::experiments.collection,
                          {layout::path::dataSourceHost, layout::path::dataSourceType}});
  plan.indexes.push_back({layout::settings.database, layout::settings.collection, {"user", "tag"}, true});
  return plan;
}

}  // namespace database_provider
