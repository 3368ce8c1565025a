// SPDX-License-Identifier: Apache-2.0
#include "importing/KeyRegister.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "database_provider/records.h"

namespace database_provider::importing {

namespace {

constexpr std::size_t mostBytes = 32U << 20U;
constexpr std::size_t bytesOfEntry = 200;  // but for the key, roughly
constexpr const char* database = "import";
constexpr const char* collection = "keys";

void putOrigin(ObjectProperties& document, const std::string& key, const RowOrigin& origin) {
  const database_client::GroupScope place(document, key);
  document.setValueString("file", origin.file);
  document.setValueInt64("line", static_cast<std::int64_t>(origin.line));
  document.setValueInt64("row", static_cast<std::int64_t>(origin.row));
}

RowOrigin originAt(const ObjectProperties& document, const std::string& key) {
  const auto place = database_client::EnteredScope::group(document, key);
  return {document.valueAsString("file", ""), static_cast<std::size_t>(document.valueAsInt64("line", 0)),
          static_cast<std::size_t>(document.valueAsInt64("row", 0))};
}

/// A text that no store takes for an object id.
std::string idOf(const std::string& key) {
  return "k" + key;
}

}  // namespace

KeyRegister::~KeyRegister() {
  store_.reset();
  std::error_code ignored;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

void KeyRegister::add(const std::string& key, const Places& places) {
  if (!recent_.emplace(key, places).second) return;
  bytes_ += key.size() + bytesOfEntry;
  if (bytes_ >= mostBytes) spill();
}

void KeyRegister::spill() {
  if (!store_) {
    std::string folder = (std::filesystem::temp_directory_path() / "database_provider-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr) throw ImportError(folder + ": " + std::strerror(errno));
    folder_ = folder;
    store_ = open("file:" + (folder_ / "keys.db").string() + "?synchronous=normal&exclusive=true");
  }
  std::vector<ObjectProperties> documents;
  documents.reserve(recent_.size());
  for (const auto& [key, places] : recent_) {
    ObjectProperties& document = documents.emplace_back();
    document.setValueString("_id", idOf(key));
    putOrigin(document, "first", places.first);
    putOrigin(document, "second", places.second);
  }
  std::vector<const ObjectProperties*> pointers;
  pointers.reserve(documents.size());
  for (const ObjectProperties& document : documents) pointers.push_back(&document);
  std::vector<std::string> ids;
  store_->insertMany(database, collection, pointers, ids);
  recent_.clear();
  bytes_ = 0;
}

std::map<std::string, KeyRegister::Places> KeyRegister::find(const std::set<std::string>& keys) const {
  std::map<std::string, Places> result;
  ObjectProperties query;
  {
    const database_client::GroupScope id(query, "_id");
    const database_client::ArrayScope any(query, "$in");
    std::size_t place = 0;
    for (const std::string& key : keys) {
      const auto recent = recent_.find(key);
      if (recent != recent_.end())
        result.insert(*recent);
      else
        query.setValueString(std::to_string(place++), idOf(key));
    }
  }
  if (!store_) return result;
  store_->findEach(database, collection, query, {}, 0, 0, [&](ObjectProperties& document) {
    result.emplace(document.valueAsString("_id", "").substr(1),
                   Places{originAt(document, "first"), originAt(document, "second")});
    return true;
  });
  return result;
}

}  // namespace database_provider::importing
