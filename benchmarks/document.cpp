// The document against libbson's own calls, on a record of 5 categories, 20 descriptions, 3 files and a user block.
#include <benchmark/benchmark.h>
#include <bson/bson.h>

#include <string>
#include <vector>

#include "client/DocumentAccess.h"
#include "database_client/ObjectProperties.h"

namespace {

using database_client::ObjectProperties;

struct Texts {
  std::vector<std::string> index;
  std::vector<std::string> names;
  std::vector<std::string> values;
  Texts() {
    for (int i = 0; i < 20; ++i) {
      index.push_back(std::to_string(i));
      names.push_back("description or category " + std::to_string(i));
      values.push_back("a value of some length " + std::to_string(i));
    }
  }
};
const Texts texts;  // NOLINT(cert-err58-cpp): a benchmark may end when it cannot begin

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

void appendText(bson_t* to, const std::string& key, const std::string& value) {
  bson_append_utf8(to, key.data(), static_cast<int>(key.size()), value.data(), static_cast<int>(value.size()));
}

void buildLibbson(bson_t* d) {
  bson_t info, list, item, additional;
  BSON_APPEND_DOCUMENT_BEGIN(d, "recordInfo", &info);
  BSON_APPEND_ARRAY_BEGIN(&info, "category", &list);
  for (std::size_t i = 0; i < 5; ++i) {
    BSON_APPEND_DOCUMENT_BEGIN(&list, texts.index[i].c_str(), &item);
    appendText(&item, keys.name, texts.names[i]);
    appendText(&item, keys.value, texts.values[i]);
    bson_append_document_end(&list, &item);
  }
  bson_append_array_end(&info, &list);
  BSON_APPEND_ARRAY_BEGIN(&info, "description", &list);
  for (std::size_t i = 0; i < 20; ++i) {
    BSON_APPEND_DOCUMENT_BEGIN(&list, texts.index[i].c_str(), &item);
    appendText(&item, keys.name, texts.names[i]);
    if (i % 2 == 0) {
      BSON_APPEND_DOUBLE(&item, "value", static_cast<double>(i) * 0.5);
      BSON_APPEND_INT32(&item, "type", 8);
    } else {
      appendText(&item, keys.value, texts.values[i]);
      BSON_APPEND_INT32(&item, "type", 4);
    }
    bson_append_document_end(&list, &item);
  }
  bson_append_array_end(&info, &list);
  BSON_APPEND_DOCUMENT_BEGIN(&info, "additionalData", &additional);
  BSON_APPEND_ARRAY_BEGIN(&additional, "files", &list);
  for (std::size_t i = 0; i < 3; ++i) {
    BSON_APPEND_DOCUMENT_BEGIN(&list, texts.index[i].c_str(), &item);
    appendText(&item, keys.fileId, texts.index[i]);
    BSON_APPEND_INT32(&item, "type", 3);
    appendText(&item, keys.host, texts.names[i]);
    appendText(&item, keys.path, texts.values[i]);
    bson_append_document_end(&list, &item);
  }
  bson_append_array_end(&additional, &list);
  bson_append_document_end(&info, &additional);
  bson_append_document_end(d, &info);
  appendText(d, keys.user, texts.names[0]);
  appendText(d, keys.comment, texts.values[0]);
}

void Build_Document(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(build());
}
BENCHMARK(Build_Document);

void Build_LibbsonMacros(benchmark::State& state) {
  for (auto _ : state) {
    bson_t* d = bson_new();
    buildLibbson(d);
    benchmark::DoNotOptimize(d);
    bson_destroy(d);
  }
}
BENCHMARK(Build_LibbsonMacros);

double readTenth(const ObjectProperties& d) {
  double result = 0;
  d.enterGroup(keys.recordInfo);
  d.enterArray(keys.description);
  for (int i = 0; d.enterAt(i); ++i) {
    if (d.valueAsString(keys.name, {}) == texts.names[10]) result = d.valueAsDouble(keys.value, 0);
    d.endGroup();
    if (result != 0) break;
  }
  d.endArray();
  d.endGroup();
  return result;
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
  buildLibbson(d);
  for (auto _ : state) {
    bson_iter_t at, found, item;
    bson_iter_init(&at, d);
    double result = 0;
    if (bson_iter_find_descendant(&at, "recordInfo.description", &found) && bson_iter_recurse(&found, &item)) {
      while (bson_iter_next(&item)) {
        bson_iter_t field;
        bson_iter_recurse(&item, &field);
        bson_iter_find(&field, "name");
        if (bson_iter_utf8(&field, nullptr) != texts.names[10]) continue;
        bson_iter_find(&field, "value");
        result = bson_iter_double(&field);
        break;
      }
    }
    benchmark::DoNotOptimize(result);
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
  buildLibbson(d);
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
