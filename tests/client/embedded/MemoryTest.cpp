// SPDX-License-Identifier: Apache-2.0

// What the library holds in memory does not grow with the number of documents that pass through it. Allocations are
// counted, those of SQLite apart, whose cache has a limit of its own.

#include <gtest/gtest.h>
#include <malloc.h>
#include <sqlite3.h>

#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "database_client/DataBaseClient.h"
#include "tests/client/embedded/support/TemporaryFolder.h"

namespace {

std::size_t inUse = 0;
std::size_t highest = 0;

void* counted(std::size_t size) {
  void* const block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  inUse += malloc_usable_size(block);
  if (inUse > highest) highest = inUse;
  return block;
}

void uncounted(void* block) noexcept {
  if (block == nullptr) return;
  inUse -= malloc_usable_size(block);
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
  return counted(size);
}
void* operator new[](std::size_t size) {
  return counted(size);
}
void operator delete(void* block) noexcept {
  uncounted(block);
}
void operator delete[](void* block) noexcept {
  uncounted(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
  uncounted(block);
}
void operator delete[](void* block, std::size_t /*size*/) noexcept {
  uncounted(block);
}

namespace database_client {
namespace {

constexpr std::size_t megabyte = 1024 * 1024;
constexpr const char* database = "experiment";

/// The most bytes in use at once beyond those in use before.
template <class Work>
std::size_t peakOf(const Work& work) {
  const std::size_t before = inUse;
  highest = inUse;
  work();
  return highest - before;
}

ObjectProperties record(int number) {
  const std::string text = std::to_string(number % 50);
  return ObjectProperties::fromJson(R"({"info": {"tags": [{"name": "colour", "value": "c)" + text +
                                    R"("}, {"name": "size", "value": )" + std::to_string(number) + R"(}]}, "text": ")" +
                                    std::string(2000, 'x') + "\"}");
}

class StreamedMemory : public ::testing::Test {
 protected:
  StreamedMemory() {
    if (!client.connect("", "file:" + (folder / "store") + "?synchronous=normal", 0, "", "")) std::abort();
  }
  void insert(const std::string& collection, int count) {
    for (int number = 0; number < count;) {
      std::vector<ObjectProperties> batch;
      std::vector<const ObjectProperties*> documents;
      for (int i = 0; i < 500; ++i) batch.push_back(record(number++));
      for (const ObjectProperties& document : batch) documents.push_back(&document);
      std::vector<std::string> ids;
      client.insertMany(database, collection, documents, ids);
    }
  }
  std::size_t reading(const std::string& collection, const std::string& query, int expected) {
    int count = 0;
    const auto take = [&count](ObjectProperties& document) { return document.size() > 0 && ++count > 0; };
    const auto condition = ObjectProperties::fromJson(query);
    const std::size_t peak =
        peakOf([&] { client.findEach(database, collection, condition, ObjectProperties(), 0, 0, take); });
    EXPECT_EQ(count, expected);
    return peak;
  }

  TemporaryFolder folder{memoryFolder()};
  DataBaseClient client{};
};

TEST_F(StreamedMemory, DoesNotGrowWithWhatIsReadOrWritten) {
  const std::size_t writingFew = peakOf([this] { insert("few", 2000); });
  const std::size_t writingMany = peakOf([this] { insert("many", 40'000); });
  EXPECT_LT(writingMany, writingFew + 2 * megabyte);

  EXPECT_LT(reading("many", "{}", 40'000), reading("few", "{}", 2000) + megabyte / 2);
  const std::string half = R"({"info.tags": {"$elemMatch": {"name": "size", "value": {"$gte": 1000}}}})";
  EXPECT_LT(reading("many", half, 39'000), reading("few", half, 1000) + megabyte);
  EXPECT_LT(sqlite3_memory_highwater(0), static_cast<sqlite3_int64>(72 * megabyte));
}

}  // namespace
}  // namespace database_client
