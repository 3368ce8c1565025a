// SPDX-License-Identifier: Apache-2.0
#include "tools/input/IdCheck.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "tools/core/Session.h"

namespace database_provider::recordctl {

namespace {

constexpr std::size_t mostIds = 1000;

ObjectProperties queryFor(const std::vector<std::unique_ptr<ObjectProperties>>& ids) {
  ObjectProperties query;
  const database_client::GroupScope id(query, "_id");
  query.beginArray("$in");
  for (std::size_t i = 0; i < ids.size(); ++i) query.copyValue(std::to_string(i), *ids[i], "_id");
  query.endArray();
  return query;
}

ObjectProperties idAlone() {
  ObjectProperties projection;
  projection.setValueBool("_id", true);
  return projection;
}

}  // namespace

IdCheck::Folder::Folder() {
  std::string name = (std::filesystem::temp_directory_path() / "recordctl-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw StoreError(name + ": " + std::strerror(errno));
  path_ = name;
}

IdCheck::Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

IdCheck::IdCheck(DataBaseClient& client, RecordPlace place, BadRows& bad)
    : client_(client),
      place_(place),
      seen_(connectTo("file:" + folder_.file() + "?synchronous=normal&exclusive=true", "", "", Access::create)),
      writer_(*seen_, place_, [&bad](const BadRow& row) { bad.add(row); }) {}

void IdCheck::add(const ObjectProperties& document, RowOrigin origin) {
  if (!document.contains("_id")) return;
  auto id = std::make_unique<ObjectProperties>();
  id->copyValue("_id", document, "_id");
  waiting_.push_back(std::move(id));
  origins_.push_back(std::move(origin));
  if (waiting_.size() == mostIds) flush();
}

void IdCheck::takeFromStore() {
  std::vector<std::unique_ptr<ObjectProperties>> found;
  client_.findEach(place_.database, place_.collection, queryFor(waiting_), idAlone(), 0, 0,
                   [&](ObjectProperties& document) {
                     found.push_back(std::make_unique<ObjectProperties>(std::move(document)));
                     return true;
                   });
  std::vector<const ObjectProperties*> pointers;
  pointers.reserve(found.size());
  for (const auto& id : found) pointers.push_back(id.get());
  std::vector<std::string> ignored;
  seen_->insertMany(place_.database, place_.collection, pointers, ignored);
}

void IdCheck::flush() {
  if (waiting_.empty()) return;
  takeFromStore();
  for (std::size_t i = 0; i < waiting_.size(); ++i) writer_.add(std::move(waiting_[i]), std::move(origins_[i]), 0);
  writer_.flush();
  waiting_.clear();
  origins_.clear();
}

}  // namespace database_provider::recordctl
