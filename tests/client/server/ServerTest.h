// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "database_client/DataBaseClient.h"
#include "tests/support/ScriptedServer.h"

namespace database_client {

inline ObjectProperties document(const std::string& json) {
  const std::vector<std::uint8_t> bytes = database_test::bsonOf(json);
  return ObjectProperties::fromBson(bytes.data(), bytes.size());
}

/// An error in one line: its kind, its code if it has one, and what it says about a second try.
inline std::string summary(const Error& error) {
  std::string text = toString(error.kind());
  if (error.code() != 0) text += " " + std::to_string(error.code());
  if (error.retryable()) text += " retryable";
  if (error.outcomeUnknown()) text += " outcomeUnknown";
  return text;
}

class Stopwatch {
 public:
  double milliseconds() const { return std::chrono::duration<double, std::milli>(Clock::now() - start_).count(); }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point start_ = Clock::now();
};

/// Appends to the file that DATABASE_TEST_TIMES names, if it does, what the caller saw and after what time.
inline void noteTime(const std::string& what, double milliseconds) {
  const char* path = std::getenv("DATABASE_TEST_TIMES");
  if (path == nullptr) return;
  const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
  std::ofstream(path, std::ios::app) << test->test_suite_name() << '.' << test->name() << ": " << what << " after "
                                     << milliseconds << " ms\n";
}

/// A client, and the verbs of which each tells in one line what the caller saw.
class ClientTest : public ::testing::Test {
 protected:
  /// "true", "false", or the error that was thrown.
  std::string connect(const std::string& host, int port = 27017, const std::string& user = "",
                      const std::string& password = "", const std::string& authDatabase = "admin") {
    return outcome([&] { return client.connect(authDatabase, host, port, user, password) ? "true" : "false"; });
  }

  template <class Action>
  std::string outcome(Action action) {
    error.reset();
    const Stopwatch stopwatch;
    std::string text;
    try {
      text = action();
    } catch (const Error& thrown) {
      error = thrown;
      text = summary(thrown);
    }
    const double milliseconds = stopwatch.milliseconds();
    elapsed = static_cast<long long>(milliseconds);
    constexpr double longWait = 100;
    if (error || text == "false" || milliseconds > longWait) noteTime(text, milliseconds);
    return text;
  }

  std::string insert(const std::string& json = R"({"_id": 1})") {
    return outcome([&] {
      std::string id;
      const ObjectProperties inserted = document(json);
      return client.insert("d", "c", &inserted, id) ? "ok" : "false";
    });
  }
  std::string insertMany(int number) {
    return outcome([&] {
      std::vector<ObjectProperties> documents;
      documents.reserve(static_cast<std::size_t>(number));
      for (int i = 0; i < number; ++i) documents.push_back(document(R"({"_id": )" + std::to_string(i) + "}"));
      std::vector<const ObjectProperties*> pointers;
      pointers.reserve(documents.size());
      for (const ObjectProperties& one : documents) pointers.push_back(&one);
      std::vector<std::string> ids;
      std::string text = "ok";
      for (const BulkFailure& failure : client.insertMany("d", "c", pointers, ids)) {
        text += " " + std::to_string(failure.index) + ":" + summary(failure.error);
      }
      return text;
    });
  }
  std::string update(int operation, int flags = 1, const std::string& json = R"({"x": {"y": 1}})") {
    return outcome([&] {
      client.update("d", "c", document(R"({"_id": 1})"), document(json), flags, operation);
      return "ok";
    });
  }
  /// "matched modified inserted".
  std::string updateCounted(int operation, int flags = 1) {
    return outcome([&] {
      const UpdateResult result =
          client.updateCounted("d", "c", document(R"({"_id": 1})"), document(R"({"x": 1})"), flags, operation);
      return std::to_string(result.matched) + " " + std::to_string(result.modified) + " " +
             std::to_string(result.inserted);
    });
  }
  std::string removeCounted() {
    return outcome([&] { return std::to_string(client.removeCounted("d", "c", document("{}"))); });
  }
  std::string remove() {
    return outcome([&] {
      client.remove("d", "c", document("{}"));
      return "ok";
    });
  }
  /// The number of documents in the list afterwards; `found` keeps them. The list holds one document beforehand.
  std::string find(int limit = 0) {
    std::list<ObjectProperties*> documents{new ObjectProperties()};
    const std::string text = outcome([&] {
      client.find("d", "c", document("{}"), ObjectProperties(), documents, limit, 0);
      return std::to_string(documents.size() - 1);
    });
    const std::string kept = error && documents.size() != 1 ? " list changed" : "";
    found.clear();
    for (const ObjectProperties* one : documents) found.emplace_back(one);
    found.pop_front();
    return text + kept;
  }
  std::string message() const { return error ? error->what() : ""; }

  DataBaseClient client{};
  std::optional<Error> error{};
  long long elapsed = 0;
  std::list<std::unique_ptr<const ObjectProperties>> found{};
};

/// A client of a scripted server.
class ServerTest : public ClientTest {
 protected:
  using ClientTest::connect;
  std::string connect() { return connect("127.0.0.1", server.port()); }
  std::string connectWith(const std::string& options) { return connect("mongodb://" + server.host() + "/?" + options); }

  /// The JSON of the last request of this name.
  std::string sent(const std::string& command) const {
    const auto requests = server.received(command);
    return requests.empty() ? "" : requests.back().json;
  }
  std::size_t timesSent(const std::string& command) const { return server.received(command).size(); }

  database_test::ScriptedServer server{};
};

}  // namespace database_client
