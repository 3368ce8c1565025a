// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/client/embedded/durability/LogOfSteps.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {

/// A number from the environment, or the usual one.
inline long numberFrom(const char* variable, long usual) {
  const char* text = std::getenv(variable);
  return text == nullptr ? usual : std::atol(text);
}

inline constexpr std::int32_t idsOfWriter = 40;  // few, so that steps collide

/// A process that changes the store at random and tells before and after each change.
class Writer {
 public:
  using Listener = std::function<void(const Step&)>;

  Writer(const std::string& path, Listener tell, int number, unsigned seed, Model model)
      : client_(path), tell_(std::move(tell)), first_(number * 1000), random_(seed), model_(std::move(model)) {}

  [[noreturn]] void run() {
    for (;;) change();
  }
  void change() {
    Step step = plan(nextVersion());
    tell_(step);
    perform(step);
    step.phase = Step::Phase::acknowledged;
    tell_(step);
    follow(model_, step);
  }
  const Model& model() const { return model_; }

 private:
  std::int32_t nextVersion() const {
    std::int32_t highest = 0;
    for (const auto& entry : model_) highest = std::max(highest, entry.second);
    return highest + 1;
  }
  int pick(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }

  /// A step that succeeds: documents are only inserted where there are none.
  Step plan(std::int32_t version) {
    const std::int32_t id = first_ + pick(idsOfWriter);
    const std::int32_t count = 1 + pick(8);
    const bool isTaken = model_.count(id) != 0;
    bool areFree = true;
    for (std::int32_t i = 0; i < count; ++i) areFree = areFree && model_.count(id + i) == 0;
    const auto begun = Step::Phase::begun;
    if (pick(60) == 0) return {Step::Kind::compact, begun, id, 0, version};
    if (areFree) {
      if (pick(3) == 0) return {Step::Kind::transaction, begun, id, count, version};
      return {Step::Kind::insertMany, begun, id, count, version};
    }
    if (!isTaken) return {Step::Kind::insert, begun, id, 1, version};
    const Step::Kind kinds[] = {Step::Kind::replace, Step::Kind::set, Step::Kind::remove};
    return {kinds[pick(3)], begun, id, 1, version};
  }

  void perform(const Step& step) {
    const Namespace where = client_.where();
    Engine& engine = *client_.engine;
    const auto document = ObjectProperties::fromJson(documentOf(step.id, step.version));
    ObjectProperties selector;
    selector.setValueInt32("_id", step.id);
    switch (step.kind) {
      case Step::Kind::insert:
        return engine.insert(where, document);
      case Step::Kind::insertMany:
        return insertAll(step);
      case Step::Kind::replace:
        engine.update(where, selector, document, UpdateKind::replaceFirst, true);
        return;
      case Step::Kind::set:
        engine.update(where, selector, document, UpdateKind::setInAll, true);
        return;
      case Step::Kind::remove:
        engine.remove(where, selector, false);
        return;
      case Step::Kind::transaction:
        engine.beginTransaction();
        insertAll(step);
        engine.remove(where, selector, false);
        return engine.commitTransaction();
      case Step::Kind::compact:
        return compact();
    }
  }
  void insertAll(const Step& step) {
    std::vector<ObjectProperties> documents;
    documents.reserve(static_cast<std::size_t>(step.count));
    for (std::int32_t i = 0; i < step.count; ++i) {
      documents.push_back(ObjectProperties::fromJson(documentOf(step.id + i, step.version)));
    }
    if (!client_.engine->insertMany(client_.where(), documents).empty()) throw std::runtime_error("refused");
  }
  void compact() const {
    try {
      client_.engine->compact();
    } catch (const Error& error) {
      if (error.kind() != Error::Kind::timeout) throw;  // The other writer was in the way.
    }
  }

  Client client_;
  Listener tell_;
  std::int32_t first_;
  std::minstd_rand random_;
  Model model_;
};

}  // namespace database_client
