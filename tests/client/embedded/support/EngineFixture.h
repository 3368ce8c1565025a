// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "client/Engine.h"
#include "database_client/Error.h"
#include "tests/client/embedded/support/TemporaryFolder.h"

namespace database_client {

/// A client of an embedded store, with verbs that take and give JSON.
class Client {
 public:
  explicit Client(const std::string& path, const std::string& authDatabase = "", const std::string& user = "",
                  const std::string& password = "")
      : engine(embedded::open(path, ConnectRequest{authDatabase, path, 0, user, password})) {}

  /// "ok", or the kind of the error and its code.
  template <class Operation>
  static std::string outcome(const Operation& operation) {
    try {
      operation();
      return "ok";
    } catch (const Error& error) {
      return std::string(toString(error.kind())) + " " + std::to_string(error.code());
    }
  }

  std::string insert(const std::string& document) const {
    return outcome([&] { engine->insert(where(), ObjectProperties::fromJson(document)); });
  }
  std::string update(const std::string& selector, const std::string& document, UpdateKind kind,
                     bool upsert = false) const {
    return outcome([&] {
      engine->update(where(), ObjectProperties::fromJson(selector), ObjectProperties::fromJson(document), kind, upsert);
    });
  }
  std::string remove(const std::string& query) const {
    return outcome([&] { engine->remove(where(), ObjectProperties::fromJson(query), false); });
  }
  /// The results, one behind the other.
  std::string find(const std::string& query, const std::string& projection = "{}", int limit = 0, int skip = 0) const {
    std::string found;
    const std::string result = outcome([&] {
      const auto condition = ObjectProperties::fromJson(query);
      const auto fields = ObjectProperties::fromJson(projection);
      engine->find(where(), {condition, fields, limit, skip}, [&found](ObjectProperties&& document) {
        found += document.toJson();
        return true;
      });
    });
    return result == "ok" ? found : result;
  }
  std::string all() const { return find("{}"); }
  /// The ids of the results, a blank behind each. `sort` and `after`, {"_id": value}, are left out where they are
  /// empty.
  std::string ids(const std::string& query, const std::string& sort, const std::string& after = "", int limit = 0,
                  int skip = 0) const {
    std::string found;
    const std::string result = outcome([&] {
      const auto condition = ObjectProperties::fromJson(query);
      const auto order = ObjectProperties::fromJson(sort.empty() ? "{}" : sort);
      const auto place = ObjectProperties::fromJson(after.empty() ? "{}" : after);
      const ObjectProperties whole;
      FindRequest request{condition, whole, limit, skip};
      if (!sort.empty()) request.sort = &order;
      if (!after.empty()) request.after = &place;
      engine->find(where(), request, [&found](ObjectProperties&& document) {
        ObjectProperties id;
        id.copyValue("_id", document, "_id");
        const std::string text = id.toJson();
        constexpr std::size_t before = sizeof(R"({"_id": )") - 1;
        found += text.substr(before, text.size() - before - 1) + " ";
        return true;
      });
    });
    return result == "ok" ? found : result;
  }
  /// `stages` is an array.
  std::string aggregate(const std::string& stages) const {
    std::string found;
    const std::string result = outcome([&] {
      auto whole = ObjectProperties::fromJson("{\"pipeline\": " + stages + "}");
      ObjectProperties pipeline;
      whole.exclude("pipeline", pipeline);
      engine->aggregate(where(), pipeline, [&found](ObjectProperties&& document) {
        found += document.toJson();
        return true;
      });
    });
    return result == "ok" ? found : result;
  }
  std::string count(const std::string& query) const {
    long long number = 0;
    const std::string result = outcome([&] { number = engine->count(where(), ObjectProperties::fromJson(query)); });
    return result == "ok" ? std::to_string(number) : result;
  }
  std::string explain(const std::string& query) const {
    return engine->explain(where(), ObjectProperties::fromJson(query)).toJson();
  }
  /// The number of documents and what was found wrong.
  std::string check() const {
    const CheckReport report = engine->check();
    std::string text = std::to_string(report.documents);
    for (const std::string& problem : report.problems) text += "; " + problem;
    return text;
  }
  Namespace where() const { return {database, collection}; }

  std::unique_ptr<Engine> engine;
  std::string database = "test";
  std::string collection = "things";
};

}  // namespace database_client
