// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/Engines.h"

/// What every engine does alike. The tests speak to a store through the public client alone.
namespace database_test {

/// The document of a JSON text in which single quotes stand for double ones.
database_client::ObjectProperties document(const std::string& text);
/// The relaxed JSON of a document, with single quotes for double ones and no blanks between its parts.
std::string text(const database_client::ObjectProperties& document);

/// A text of a document without an "_id", with the number as one.
std::string numbered(const std::string& text, std::size_t number);

/// The tests of one collection. Each verb tells what came of it in one short text: what was found, "ok", or the error's
/// code, its kind where there is no code.
class StoreContract : public EngineTest {
 protected:
  void SetUp() override;

  /// The row that the parameter names behind the engine, "embedded_NanEqualsItself"; empty where it names none.
  static std::string rowName();

  /// Inserts documents, one after the other, and fails the test when one is refused.
  void given(const std::vector<const char*>& documents);
  std::string inserted(const std::string& text);
  /// `operation` as `update` takes it, 1, 3 or 9; `flags` 1 inserts when nothing matches.
  std::string updated(const std::string& selector, const std::string& text, int operation, int flags = 0);
  std::string replaced(const std::string& selector, const std::string& document, int flags = 0) {
    return updated(selector, document, database_client::UpdateOperation::replace, flags);
  }
  std::string set(const std::string& selector, const std::string& document, int flags = 0) {
    return updated(selector, document, database_client::UpdateOperation::set, flags);
  }
  std::string appended(const std::string& selector, const std::string& document, int flags = 0) {
    return updated(selector, document, database_client::UpdateOperation::append, flags);
  }
  std::string removed(const std::string& query);

  /// The "_id"s of the matches, sorted, since a server promises no order, and a blank between two.
  std::string found(const std::string& query) { return found(document(query)); }
  std::string found(const database_client::ObjectProperties& query);
  /// The matches themselves, a line each, sorted.
  std::string documents(const std::string& query, const std::string& projection = "{}");
  std::string all() { return documents("{}"); }
  std::string counted(const std::string& query);
  /// What comes out of the stages, an array of JSON, a line each, in the order that the store gives.
  std::string aggregated(const std::string& stages);
  /// The same with the lines sorted, for stages that promise no order.
  std::string aggregatedInAnyOrder(const std::string& stages);
};

/// A parameter for each engine and each row of a table.
template <typename Rows>
std::vector<std::string> rowsOfEngines(const Rows& rows) {
  std::vector<std::string> parameters;
  for (const std::string& engine : engineNames()) {
    for (const auto& row : rows) parameters.push_back(engine + "_" + row.name);
  }
  return parameters;
}

template <typename Rows>
const auto& rowNamed(const Rows& rows, const std::string& name) {
  return *std::find_if(rows.begin(), rows.end(), [&](const auto& row) { return row.name == name; });
}

/// "ok", or how it failed.
template <typename Action>
std::string outcome(const Action& action) {
  try {
    action();
    return "ok";
  } catch (const database_client::Error& error) {
    return error.code() != 0 ? "error " + std::to_string(error.code()) : database_client::toString(error.kind());
  }
}

/// An answer that a test server is known to give wrong. Such a test is skipped there, with the reason.
struct WrongAnswer {
  std::string engine;  ///< the start of its name, so that "secantus" means both ways to run it
  std::string test;    ///< or the row of a table
  std::string reason;
};
const std::vector<WrongAnswer>& knownWrongAnswers();
/// The reason why this engine cannot pass this test; empty when it should.
std::string knownWrong(const std::string& engine, const std::string& test);

}  // namespace database_test
