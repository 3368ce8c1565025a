// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "database_client/DataBaseClient.h"
#include "database_client/Error.h"

namespace database_client {

/// A client without a store: it writes down each call, one line each with the documents as JSON, and answers what it
/// was told to. `find` and `aggregate` give one prepared answer each, in turn, and nothing when there is none left.
class RecordingClient : public DataBaseClient {
 public:
  RecordingClient() : RecordingClient(std::make_shared<std::string>()) {}
  /// Writes to a log that outlives the client, its destruction too.
  explicit RecordingClient(std::shared_ptr<std::string> log) : log_(std::move(log)) {}
  ~RecordingClient() override { *log_ += "destroyed\n"; }

  /// The calls since the last time this was asked.
  std::string calls() { return std::exchange(*log_, {}); }

  void answer(const std::vector<std::string>& documents) { answers_.push_back(documents); }
  /// The call of this number, counted from 1, throws; a query hands over its answer first.
  void failOn(int call) { failing_ = call; }
  void setResult(bool result) { result_ = result; }
  void setNextId(const std::string& id) { nextId_ = id; }
  /// How the documents are written down.
  void setMode(JsonMode mode) { mode_ = mode; }

  bool connect(const std::string& authDatabase, const std::string& host, const int& port, const std::string& user,
               const std::string& password) override {
    note("connect", {quoted(authDatabase), quoted(host), std::to_string(port), quoted(user), quoted(password)});
    return result_;
  }
  bool disconnect() override {
    note("disconnect", {});
    return result_;
  }
  bool isConnected() const override {
    note("isConnected", {});
    return result_;
  }
  bool insert(const std::string& database, const std::string& collection, const ObjectProperties* document,
              std::string& id) override {
    note("insert", {database, collection, document == nullptr ? "null" : json(*document)});
    id = nextId_;
    return result_;
  }
  void update(const std::string& database, const std::string& collection, const ObjectProperties& selector,
              const ObjectProperties& document, const int& flags, const int& operation) override {
    note("update",
         {database, collection, json(selector), json(document), std::to_string(flags), std::to_string(operation)});
  }
  void find(const std::string& database, const std::string& collection, const ObjectProperties& query,
            const ObjectProperties& projection, std::list<ObjectProperties*>& documents, int limit, int skip) override {
    giveAnswer(documents);
    note("find", {database, collection, json(query), json(projection), std::to_string(limit), std::to_string(skip)});
  }
  void aggregate(const std::string& database, const std::string& collection, const ObjectProperties& pipeline,
                 std::list<ObjectProperties*>& documents) override {
    giveAnswer(documents);
    note("aggregate", {database, collection, json(pipeline)});
  }
  void remove(const std::string& database, const std::string& collection, const ObjectProperties& query) override {
    note("remove", {database, collection, json(query)});
  }
  std::string createId() override {
    note("createId", {});
    return nextId_;
  }
  void createUser(const std::string& database, const std::string& user, const std::string& password,
                  const ObjectProperties& roles, const ObjectProperties& customData) override {
    note("createUser", {database, quoted(user), quoted(password), json(roles), json(customData)});
  }
  void modifyUser(const std::string& database, const std::string& user, const ObjectProperties& roles,
                  const ObjectProperties& customData) override {
    note("modifyUser", {database, quoted(user), json(roles), json(customData)});
  }
  void changePassword(const std::string& database, const std::string& user, const std::string& password) override {
    note("changePassword", {database, quoted(user), quoted(password)});
  }
  void dropUser(const std::string& database, const std::string& user) override {
    note("dropUser", {database, quoted(user)});
  }

 private:
  static std::string quoted(const std::string& text) { return "'" + text + "'"; }
  std::string json(const ObjectProperties& document) const { return document.toJson(mode_); }

  void giveAnswer(std::list<ObjectProperties*>& documents) {
    if (answers_.empty()) return;
    for (const std::string& text : answers_.front()) {
      documents.push_back(std::make_unique<ObjectProperties>(ObjectProperties::fromJson(text)).release());
    }
    answers_.pop_front();
  }

  void note(const std::string& operation, const std::vector<std::string>& arguments) const {
    *log_ += operation;
    for (const std::string& argument : arguments) *log_ += " " + argument;
    *log_ += "\n";
    if (++calls_ == failing_) throw Error(Error::Kind::server, "refused as prepared");
  }

  std::shared_ptr<std::string> log_;
  mutable int calls_ = 0;
  int failing_ = 0;
  bool result_ = true;
  std::string nextId_ = "0123456789abcdef01234567";
  JsonMode mode_ = JsonMode::relaxed;
  std::deque<std::vector<std::string>> answers_;
};

}  // namespace database_client
