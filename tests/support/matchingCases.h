// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

// What queries select. The rows are about the matcher as much as about a store, so that one table holds them: the
// matcher of the embedded engine answers them alone, and the contract asks every engine.

namespace database_test {

/// Queries over documents, under one name.
struct MatchingCase {
  struct Row {
    const char* query;
    const char* expected;  ///< the numbers of the documents that match, "1 3", or an error's code, "error 2"
  };
  /// Documents, numbered from 1, with single quotes for double ones as all of a row has them; a store gets the number
  /// as "_id".
  struct Given {
    std::vector<const char*> documents;
    std::vector<Row> rows;
  };

  const char* name;
  std::vector<Given> parts;
};

const std::vector<MatchingCase>& matchingCases();

}  // namespace database_test
