// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

// What comes out of the stages of an aggregation: rows for the pipeline of the embedded engine alone, and for every
// engine. Errors of one engine, and orders that no store promises, have tests of their own.

namespace database_test {

enum class Order {
  fixed,
  any,  ///< no server promises one; the row has that of the embedded engine
};

/// Stages over documents, under one name.
struct PipelineCase {
  struct Row {
    const char* stages;
    const char* expected;  ///< the results, a line each, or an error's code, "error 40324"
    Order order = Order::fixed;
  };
  /// Documents with single quotes for double ones, as all of a row has them. Those without an "_id" reach the stages
  /// without one, in this order.
  struct Given {
    std::vector<const char*> documents;
    std::vector<Row> rows;
  };

  const char* name;
  std::vector<Given> parts;
};

const std::vector<PipelineCase>& pipelineCases();

}  // namespace database_test
