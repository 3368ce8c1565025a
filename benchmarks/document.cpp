// SPDX-License-Identifier: Apache-2.0

// The document against libbson's own calls, on a record of 5 categories, 20 descriptions, 3 files and a user block.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "benchmarks/record.h"
#include "database_client/ObjectProperties.h"

namespace {

using database_client::Entered;
using database_client::ObjectProperties;
using record::texts;

struct Keys {
  std::string recordInfo = "recordInfo", category = "category", description = "description",
              additional = "additionalData", files = "files", name = "name", value = "value", type = "type",
              fileId = "fileId", host = "host", path = "path", user = "user", comment = "comment";
};
const Keys keys;  // NOLINT(cert-err58-cpp)

ObjectProperties build() {
  ObjectProperties d;
  d.beginGroup(keys.recordInfo);
  d.beginArray(keys.category);
  for (std::size_t i = 0; i < 5; ++i) {
    d.beginGroup(texts.index[i]);
    d.setValueString(keys.name, texts.names[i]);
    d.setValueString(keys.value, texts.values[i]);
    d.endGroup();
  }
  d.endArray();
  d.beginArray(keys.description);
  for (std::size_t i = 0; i < 20; ++i) {
    d.beginGroup(texts.index[i]);
    d.setValueString(keys.name, texts.names[i]);
    if (i % 2 == 0) {
      d.setValueDouble(keys.value, static_cast<double>(i) * 0.5);
      d.setValueInt32(keys.type, 8);
    } else {
      d.setValueString(keys.value, texts.values[i]);
      d.setValueInt32(keys.type, 4);
    }
    d.endGroup();
  }
  d.endArray();
  d.beginGroup(keys.additional);
  d.beginArray(keys.files);
  for (std::size_t i = 0; i < 3; ++i) {
    d.beginGroup(texts.index[i]);
    d.setValueString(keys.fileId, texts.index[i]);
    d.setValueInt32(keys.type, 3);
    d.setValueString(keys.host, texts.names[i]);
    d.setValueString(keys.path, texts.values[i]);
    d.endGroup();
  }
  d.endArray();
  d.endGroup();
  d.endGroup();
  d.setValueString(keys.user, texts.names[0]);
  d.setValueString(keys.comment, texts.values[0]);
  return d;
}

void Build_Document(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(build());
}
BENCHMARK(Build_Document);

void Build_LibbsonMacros(benchmark::State& state) {
  for (auto _ : state) {
    bson_t* d = bson_new();
    record::append(d);
    benchmark::DoNotOptimize(d);
    bson_destroy(d);
  }
}
BENCHMARK(Build_LibbsonMacros);

double readTenth(const ObjectProperties& d) {
  const Entered info = Entered::group(d, keys.recordInfo);
  const Entered list = Entered::array(d, keys.description);
  const Entered item = Entered::at(d, d.lastWith(keys.name, texts.names[10]));
  return d.valueAsDouble(keys.value, 0);
}

void ReadOne_Document(benchmark::State& state) {
  const ObjectProperties d = build();
  for (auto _ : state) {
    const ObjectProperties fetched(d);
    benchmark::DoNotOptimize(readTenth(fetched));
  }
}
BENCHMARK(ReadOne_Document);

void ReadOne_Libbson(benchmark::State& state) {
  bson_t* d = bson_new();
  record::append(d);
  for (auto _ : state) {
    benchmark::DoNotOptimize(record::readTenth(d));
  }
  bson_destroy(d);
}
BENCHMARK(ReadOne_Libbson);

void Copy_Document(benchmark::State& state) {
  const ObjectProperties d = build();
  for (auto _ : state) benchmark::DoNotOptimize(ObjectProperties(d));
}
BENCHMARK(Copy_Document);

void CopyAndEdit_Document(benchmark::State& state) {
  const ObjectProperties d = build();
  for (auto _ : state) {
    ObjectProperties copy(d);
    copy.setValueString(keys.comment, texts.values[1]);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(CopyAndEdit_Document);

void Copy_Libbson(benchmark::State& state) {
  bson_t* d = bson_new();
  record::append(d);
  for (auto _ : state) {
    bson_t* copy = bson_copy(d);
    benchmark::DoNotOptimize(copy);
    bson_destroy(copy);
  }
  bson_destroy(d);
}
BENCHMARK(Copy_Libbson);

/// n look-ups, back to front, in a level of n keys of a document that was just fetched.
void LookUps_Document(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  std::vector<std::string> names;
  ObjectProperties written;
  for (std::size_t i = 0; i < count; ++i) {
    names.push_back("key " + std::to_string(i));
    written.setValueInt32(names.back(), 1);
  }
  for (auto _ : state) {
    const ObjectProperties fetched(written);
    int sum = 0;
    for (auto name = names.rbegin(); name != names.rend(); ++name) sum += fetched.valueAsInt32(*name, 0);
    benchmark::DoNotOptimize(sum);
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(LookUps_Document)->RangeMultiplier(10)->Range(100, 10000)->Complexity(benchmark::oNLogN);

}  // namespace
