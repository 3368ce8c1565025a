// SPDX-License-Identifier: Apache-2.0
#include "tests/contract/Contract.h"

#include <algorithm>
#include <list>
#include <memory>

#include "tests/support/quotes.h"

namespace database_test {

using database_client::ObjectProperties;

namespace {

const char* const database = "experiment";
const char* const collection = "contract";

using Owned = std::vector<std::unique_ptr<ObjectProperties>>;

Owned own(std::list<ObjectProperties*>& list) {
  Owned owned;
  for (ObjectProperties* one : list) owned.emplace_back(one);
  list.clear();
  return owned;
}

std::string join(const std::vector<std::string>& parts, const std::string& separator) {
  std::string joined;
  for (const std::string& part : parts) joined += (joined.empty() ? "" : separator) + part;
  return joined;
}

std::vector<std::string> texts(const Owned& documents) {
  std::vector<std::string> lines;
  for (const auto& one : documents) lines.push_back(text(*one));
  return lines;
}

std::string idOf(const ObjectProperties& document) {
  ObjectProperties id;
  id.copyValue("_id", document, "_id");
  const std::string shown = text(id);
  constexpr std::size_t before = sizeof("{'_id':") - 1;
  return shown.substr(before, shown.size() - before - 1);
}

/// Runs `read`, which returns lines, and tells them or the failure.
template <typename Read>
std::string told(const std::string& separator, const Read& read) {
  std::string result;
  const std::string failure = outcome([&] { result = join(read(), separator); });
  return failure == "ok" ? result : failure;
}

}  // namespace

ObjectProperties document(const std::string& text) {
  return ObjectProperties::fromJson(doubleQuoted(text));
}

std::string text(const ObjectProperties& document) {
  return singleQuoted(document.toJson());
}

std::string numbered(const std::string& text, std::size_t number) {
  return "{'_id':" + std::to_string(number) + (text == "{}" ? "" : ",") + text.substr(1);
}

void StoreContract::SetUp() {
  EngineTest::SetUp();
  if (IsSkipped()) return;
  const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
  const std::string reason = knownWrong(engine(), rowName().empty() ? name.substr(0, name.find('/')) : rowName());
  if (!reason.empty()) GTEST_SKIP() << engine() << " answers wrong: " << reason;
}

std::string StoreContract::rowName() {
  const std::size_t end = GetParam().find('_');
  return end == std::string::npos ? "" : GetParam().substr(end + 1);
}

void StoreContract::given(const std::vector<const char*>& documents) {
  for (const char* one : documents) ASSERT_EQ(inserted(one), "ok") << one;
}

std::string StoreContract::inserted(const std::string& text) {
  return outcome([&] {
    const ObjectProperties stored = document(text);
    std::string id;
    client.insert(database, collection, &stored, id);
  });
}

std::string StoreContract::updated(const std::string& selector, const std::string& text, int operation, int flags) {
  return outcome([&] { client.update(database, collection, document(selector), document(text), flags, operation); });
}

std::string StoreContract::removed(const std::string& query) {
  return outcome([&] { client.remove(database, collection, document(query)); });
}

std::string StoreContract::found(const ObjectProperties& query) {
  return told(" ", [&] {
    std::list<ObjectProperties*> list;
    client.find(database, collection, query, ObjectProperties{}, list, 0, 0);
    std::vector<std::string> ids;
    for (const auto& one : own(list)) ids.push_back(idOf(*one));
    std::sort(ids.begin(), ids.end());
    return ids;
  });
}

std::string StoreContract::documents(const std::string& query, const std::string& projection) {
  return told("\n", [&] {
    std::list<ObjectProperties*> list;
    client.find(database, collection, document(query), document(projection), list, 0, 0);
    std::vector<std::string> lines = texts(own(list));
    std::sort(lines.begin(), lines.end());
    return lines;
  });
}

std::string StoreContract::counted(const std::string& query) {
  return told("", [&] {
    return std::vector<std::string>{std::to_string(client.count(database, collection, document(query)))};
  });
}

std::string StoreContract::aggregated(const std::string& stages) {
  return told("\n", [&] {
    std::list<ObjectProperties*> list;
    client.aggregate(database, collection, document("{'pipeline': " + stages + "}"), list);
    return texts(own(list));
  });
}

std::string StoreContract::aggregatedInAnyOrder(const std::string& stages) {
  return told("\n", [&] {
    std::list<ObjectProperties*> list;
    client.aggregate(database, collection, document("{'pipeline': " + stages + "}"), list);
    std::vector<std::string> lines = texts(own(list));
    std::sort(lines.begin(), lines.end());
    return lines;
  });
}

}  // namespace database_test
