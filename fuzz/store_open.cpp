// SPDX-License-Identifier: Apache-2.0

// A store with bytes changed here and there, or an arbitrary file in its place: it is opened, read, checked and written
// to, or refused with an error; what comes out is text and documents.
//
// An input is an even byte followed by a whole file, or an odd one followed by patches of a small store: three bytes of
// offset, one of length, the bytes.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "client/DocumentAccess.h"
#include "client/Engine.h"
#include "client/bson/validate.h"
#include "database_client/Error.h"
#include "fuzz/require.h"

namespace {

using database_client::ConnectRequest;
using database_client::DocumentAccess;
using database_client::Engine;
using database_client::Error;
using database_client::ObjectProperties;
namespace bson = database_client::bson;

const std::string database = "test";
const std::string collection = "things";

std::string workPath() {
  const char* folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
  return std::string(folder) + "/fuzz_store_open_" + std::to_string(getpid());
}

void removeFiles() {
  for (const char* side : {"", "-wal", "-shm", "-journal"}) unlink((workPath() + side).c_str());
}

std::unique_ptr<Engine> open() {
  const std::string none;
  return database_client::embedded::open(workPath() + "?synchronous=normal&timeout=0",
                                         ConnectRequest{none, none, 0, none, none});
}

/// A store of thirty documents with items, as bytes.
std::string makeBase() {
  removeFiles();
  {
    const auto engine = open();
    std::vector<ObjectProperties> documents;
    documents.reserve(30);
    for (int i = 0; i < 30; ++i) {
      documents.push_back(ObjectProperties::fromJson(R"({"_id": )" + std::to_string(i) +
                                                     R"(, "tags": [{"name": "n", "value": )" + std::to_string(i % 5) +
                                                     R"(, "type": 6}], "text": ")" + std::string(300, 'x') + "\"}"));
    }
    engine->insertMany({database, collection}, documents);
  }
  std::ifstream file(workPath(), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string patched(std::string content, const std::uint8_t* data, std::size_t size) {
  while (size > 4) {
    const std::size_t offset =
        (std::size_t{data[0]} << 16U | std::size_t{data[1]} << 8U | std::size_t{data[2]}) % content.size();
    const std::size_t length = std::min({std::size_t{data[3]}, size - 4, content.size() - offset});
    content.replace(offset, length, reinterpret_cast<const char*>(data + 4), length);
    data += 4 + length;
    size -= 4 + length;
  }
  return content;
}

void receive(const ObjectProperties& document) {
  const bson::View view = DocumentAccess::view(document);
  bson::validate(view.data, view.size);
}

void use() {
  const auto engine = open();
  const auto byItem = ObjectProperties::fromJson(R"({"tags": {"$elemMatch": {"name": "n", "value": {"$gte": 2}}}})");
  for (const ObjectProperties& query : {ObjectProperties(), byItem}) {
    engine->find({database, collection}, {query, ObjectProperties(), 0, 0}, [](ObjectProperties&& document) {
      receive(document);
      return true;
    });
  }
  for (const std::string& problem : engine->check().problems) fuzz::require(bson::isUtf8(problem), "a report is text");
  engine->insert({database, collection}, ObjectProperties::fromJson(R"({"_id": "new", "tags": [{"name": "n"}]})"));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static const std::string base = makeBase();
  removeFiles();
  const bool isWhole = data[0] % 2 == 0;
  std::ofstream(workPath(), std::ios::binary)
      << (isWhole ? std::string(reinterpret_cast<const char*>(data + 1), size - 1) : patched(base, data + 1, size - 1));
  try {
    use();
  } catch (const Error& error) {
    fuzz::require(bson::isUtf8(error.what()), "a message is text");
  }
  removeFiles();
  return 0;
}
