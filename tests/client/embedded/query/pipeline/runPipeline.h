// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "client/embedded/query/pipeline/Pipeline.h"
#include "tests/client/embedded/query/support.h"

namespace database_client::embedded {

using Documents = std::vector<std::string>;

/// The documents that come out of an array of stages, "{…} {…}", or kind and code of the error.
inline std::string run(const std::string& stages, const Documents& documents,
                       std::size_t memory = Pipeline::defaultMemoryLimit) {
  return outcome([&] {
    const Bytes specification = fromJson("{\"p\": " + stages + "}");
    const Pipeline pipeline(viewOf(specification).find("p").asDocument(), memory);
    std::string results;
    pipeline.run(
        [&](const Pipeline::Receiver& receive) {
          for (const std::string& document : documents) {
            if (!receive(viewOf(fromJson(document)))) return;
          }
        },
        [&](bson::View result) {
          results += (results.empty() ? "" : " ") + toJson(result);
          return true;
        });
    return results;
  });
}

}  // namespace database_client::embedded
