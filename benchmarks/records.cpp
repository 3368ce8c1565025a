// SPDX-License-Identifier: Apache-2.0

// Records and filters, through the library's interfaces, against libbson's own calls.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <string>

#include "benchmarks/record.h"
#include "database_provider/database_provider.h"

namespace {

using namespace database_provider;  // NOLINT(google-build-using-namespace)
using record::texts;

using Record = std::unique_ptr<ExperimentDatabaseRecordInterface>;

ObjectProperties userBlock() {
  ObjectProperties user;
  user.setValueString("user", texts.names[0]);
  user.setValueString("comment", texts.values[0]);
  return user;
}

void fill(ExperimentDatabaseRecordInterface& record) {
  for (std::size_t i = 0; i < 5; ++i) record.setCategory(texts.names[i], texts.values[i]);
  for (std::size_t i = 0; i < 20; ++i) {
    if (i % 2 == 0) {
      record.addDescriptionDouble(texts.names[i], static_cast<double>(i) * 0.5);
    } else {
      record.addDescriptionString(texts.names[i], texts.values[i]);
    }
  }
  for (std::size_t i = 0; i < 3; ++i) {
    std::string id;
    record.addFileInfo(ObjectType::archiveObject, texts.names[i], texts.values[i], id);
  }
  record.setUserRecrod(userBlock());
}

ObjectProperties fetched() {
  const Record record(createExperimentDatabaseRecord());
  fill(*record);
  return *record->getD();
}

struct Libbson {
  bson_t* d = bson_new();
  Libbson() { record::append(d); }
  ~Libbson() { bson_destroy(d); }
  Libbson(const Libbson&) = delete;
  Libbson& operator=(const Libbson&) = delete;
};

void BuildRecord_Library(benchmark::State& state) {
  for (auto _ : state) {
    const Record record(createExperimentDatabaseRecord());
    fill(*record);
    benchmark::DoNotOptimize(record->getD());
  }
}
BENCHMARK(BuildRecord_Library);

void BuildRecord_LibbsonMacros(benchmark::State& state) {
  for (auto _ : state) {
    const Libbson record;
    benchmark::DoNotOptimize(record.d);
  }
}
BENCHMARK(BuildRecord_LibbsonMacros);

void ReadOne_Library(benchmark::State& state) {
  const ObjectProperties document = fetched();
  const Record record(createExperimentDatabaseRecord());
  for (auto _ : state) {
    record->setD(new ObjectProperties(document));
    benchmark::DoNotOptimize(record->descriptionAsDouble(texts.names[10], 0));
  }
}
BENCHMARK(ReadOne_Library);

void ReadOne_Libbson(benchmark::State& state) {
  const Libbson record;
  for (auto _ : state) benchmark::DoNotOptimize(record::readTenth(record.d));
}
BENCHMARK(ReadOne_Libbson);

void ReadAgain_Library(benchmark::State& state) {
  const ObjectProperties document = fetched();
  const Record record(createExperimentDatabaseRecord());
  record->setD(new ObjectProperties(document));
  for (auto _ : state) benchmark::DoNotOptimize(record->descriptionAsDouble(texts.names[10], 0));
}
BENCHMARK(ReadAgain_Library);

void WriteBackOne_Library(benchmark::State& state) {
  const ObjectProperties document = fetched();
  const Record record(createExperimentDatabaseRecord());
  for (auto _ : state) {
    record->setD(new ObjectProperties(document));
    record->addDescriptionString(texts.names[11], texts.values[3]);
    benchmark::DoNotOptimize(record->getD());
  }
}
BENCHMARK(WriteBackOne_Library);

void WriteBackNone_Library(benchmark::State& state) {
  const ObjectProperties document = fetched();
  const Record record(createExperimentDatabaseRecord());
  for (auto _ : state) {
    record->setD(new ObjectProperties(document));
    benchmark::DoNotOptimize(record->getD());
  }
}
BENCHMARK(WriteBackNone_Library);

/// Copies a document; of the description named like the twelfth, another value is written.
void rebuild(bson_iter_t* at, bson_t* to, bool changes) {
  while (bson_iter_next(at)) {
    const char* key = bson_iter_key(at);
    if (BSON_ITER_HOLDS_DOCUMENT(at) || BSON_ITER_HOLDS_ARRAY(at)) {
      bson_iter_t inner;
      bson_iter_recurse(at, &inner);
      const bool isIt = [inner, at]() mutable {
        return BSON_ITER_HOLDS_DOCUMENT(at) && bson_iter_find(&inner, "name") && BSON_ITER_HOLDS_UTF8(&inner) &&
               bson_iter_utf8(&inner, nullptr) == texts.names[11];
      }();
      bson_t child;
      const bool isArray = BSON_ITER_HOLDS_ARRAY(at);
      isArray ? bson_append_array_begin(to, key, -1, &child) : bson_append_document_begin(to, key, -1, &child);
      rebuild(&inner, &child, isIt);
      isArray ? bson_append_array_end(to, &child) : bson_append_document_end(to, &child);
    } else if (changes && std::string_view(key) == "value") {
      record::appendText(to, key, texts.values[3]);
    } else {
      bson_append_iter(to, key, -1, at);
    }
  }
}

void WriteBackOne_Libbson(benchmark::State& state) {
  const Libbson record;
  for (auto _ : state) {
    bson_iter_t at;
    bson_iter_init(&at, record.d);
    bson_t* changed = bson_new();
    rebuild(&at, changed, false);
    benchmark::DoNotOptimize(changed);
    bson_destroy(changed);
  }
}
BENCHMARK(WriteBackOne_Libbson);

// The query of one category and the range of one description.

void Filter_Library(benchmark::State& state) {
  for (auto _ : state) {
    const std::unique_ptr<DatabaseFilter> filter(createFilter());
    filter->setCategory(OperationType::equal, "site", "Waseca", "");
    filter->setDescriptionAsDouble(OperationType::greater, "yield", 40);
    benchmark::DoNotOptimize(filter->toObjectProeprties());
  }
}
BENCHMARK(Filter_Library);

void Filter_Libbson(benchmark::State& state) {
  const auto match = [](bson_t* list, const char* index, const char* array, const char* name, auto value) {
    bson_t condition, field, item;
    BSON_APPEND_DOCUMENT_BEGIN(list, index, &condition);
    BSON_APPEND_DOCUMENT_BEGIN(&condition, array, &field);
    BSON_APPEND_DOCUMENT_BEGIN(&field, "$elemMatch", &item);
    BSON_APPEND_UTF8(&item, "name", name);
    value(&item);
    bson_append_document_end(&field, &item);
    bson_append_document_end(&condition, &field);
    bson_append_document_end(list, &condition);
  };
  for (auto _ : state) {
    bson_t* query = bson_new();
    bson_t list;
    BSON_APPEND_ARRAY_BEGIN(query, "$and", &list);
    match(&list, "0", "recordInfo.category", "site", [](bson_t* item) { BSON_APPEND_UTF8(item, "value", "Waseca"); });
    match(&list, "1", "recordInfo.description", "yield", [](bson_t* item) {
      bson_t range;
      BSON_APPEND_DOCUMENT_BEGIN(item, "value", &range);
      BSON_APPEND_DOUBLE(&range, "$gt", 40);
      bson_append_document_end(item, &range);
    });
    bson_append_array_end(query, &list);
    benchmark::DoNotOptimize(query);
    bson_destroy(query);
  }
}
BENCHMARK(Filter_Libbson);

}  // namespace
