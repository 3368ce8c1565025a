// SPDX-License-Identifier: Apache-2.0

// Checking BSON, writing and reading extended JSON, each beside libbson, on a record of 5 categories, 20 descriptions,
// 3 files and a user block.
#include <benchmark/benchmark.h>
#include <bson/bson.h>

#include <cstdint>
#include <string>
#include <vector>

#include "client/bson/Writer.h"
#include "client/bson/validate.h"
#include "client/json/json.h"

namespace database_client {
namespace {

using bson::Byte;
using bson::IndexKey;
using bson::Writer;

void appendDescriptions(Writer& record) {
  record.beginArray("description");
  for (std::size_t i = 0; i < 20; ++i) {
    record.beginDocument(IndexKey(i));
    record.appendString("name", "measured quantity " + std::to_string(i));
    if (i % 2 == 0) {
      record.appendDouble("value", 0.37 * static_cast<double>(i + 1));
      record.appendInt32("type", 8);
    } else {
      record.appendString("value", "the value of description " + std::to_string(i));
      record.appendInt32("type", 4);
    }
    record.end();
  }
  record.end();
}

void appendFiles(Writer& record) {
  record.beginArray("files");
  for (std::size_t i = 0; i < 3; ++i) {
    record.beginDocument(IndexKey(i));
    record.appendString("name", "measurement-" + std::to_string(i) + ".dat");
    record.appendInt64("size", 5000000000 + static_cast<std::int64_t>(i));
    record.appendDate("time", 1356351330501);
    record.end();
  }
  record.end();
}

std::vector<Byte> makeRecord() {
  constexpr Byte id[bson::objectIdSize] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  Writer record;
  record.appendObjectId("_id", id);
  record.beginDocument("recordInfo");
  record.beginArray("category");
  for (std::size_t i = 0; i < 5; ++i) {
    record.beginDocument(IndexKey(i));
    record.appendString("name", "category " + std::to_string(i));
    record.appendString("value", "one of its values " + std::to_string(i));
    record.end();
  }
  record.end();
  appendDescriptions(record);
  appendFiles(record);
  record.beginDocument("user");
  record.appendString("name", "M\xC3\xBCller");
  record.appendString("comment", "taken at night, with the shutter open and the lamp at half its power");
  record.appendBool("checked", true);
  return record.take();
}

const std::vector<Byte>& record() {
  static const std::vector<Byte> bytes = makeRecord();
  return bytes;
}

bson::View recordView() {
  return {record().data(), record().size()};
}

bson_t foreignView() {
  bson_t document;
  bson_init_static(&document, record().data(), record().size());
  return document;
}

void validateOurs(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(bson::validate(record().data(), record().size()));
  state.counters["bytes"] = static_cast<double>(record().size());
}
BENCHMARK(validateOurs);

void validateLibbson(benchmark::State& state) {
  const bson_t document = foreignView();
  for (auto _ : state) benchmark::DoNotOptimize(bson_validate(&document, BSON_VALIDATE_UTF8, nullptr));
}
BENCHMARK(validateLibbson);

template <JsonMode mode>
void writeOurs(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(json::write(recordView(), mode));
  state.counters["bytes"] = static_cast<double>(json::write(recordView(), mode).size());
}
BENCHMARK_TEMPLATE(writeOurs, JsonMode::relaxed);
BENCHMARK_TEMPLATE(writeOurs, JsonMode::canonical);

template <char* (*convert)(const bson_t*, std::size_t*)>
void writeLibbson(benchmark::State& state) {
  const bson_t document = foreignView();
  for (auto _ : state) bson_free(convert(&document, nullptr));
}
BENCHMARK_TEMPLATE(writeLibbson, bson_as_relaxed_extended_json);
BENCHMARK_TEMPLATE(writeLibbson, bson_as_canonical_extended_json);

template <JsonMode mode>
void readOurs(benchmark::State& state) {
  const std::string text = json::write(recordView(), mode);
  for (auto _ : state) benchmark::DoNotOptimize(json::read(text));
}
BENCHMARK_TEMPLATE(readOurs, JsonMode::relaxed);
BENCHMARK_TEMPLATE(readOurs, JsonMode::canonical);

template <JsonMode mode>
void readLibbson(benchmark::State& state) {
  const std::string text = json::write(recordView(), mode);
  for (auto _ : state) {
    bson_error_t error;
    bson_t* const document = bson_new_from_json(reinterpret_cast<const std::uint8_t*>(text.data()),
                                                static_cast<ssize_t>(text.size()), &error);
    if (document == nullptr) state.SkipWithError(error.message);
    bson_destroy(document);
  }
}
BENCHMARK_TEMPLATE(readLibbson, JsonMode::relaxed);
BENCHMARK_TEMPLATE(readLibbson, JsonMode::canonical);

}  // namespace
}  // namespace database_client
