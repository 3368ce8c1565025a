// SPDX-License-Identifier: Apache-2.0
#include "database_provider/arrow.h"
#include "database_provider/records.h"

// What pyarrow_test.py loads: a table of 10,000 records. The store stays for as long as the process.

using namespace database_provider;

namespace {

const Records& records() {
  static const std::unique_ptr<DataBaseClient> store = open("file::memory:");
  static const Records result(*store, RecordKind::experiment);
  if (result.count() > 0) return result;
  std::vector<NewRecord> all;
  for (int i = 0; i < 10'000; ++i) {
    NewRecord record;
    record.category("site", i % 2 == 0 ? "Waseca" : "Morris").description("int", i);
    if (i % 3 != 0) record.description("double", i / 2.0);
    if (i % 5 == 0) record.description("bool", i % 10 == 0);
    if (i % 7 == 0) record.description("long", std::int64_t{1} << 40);
    if (i % 11 == 0) record.description("time", Time{1580464800125});
    record.description("mixed", i < 10 ? Value("t" + std::to_string(i)) : Value(i));
    all.push_back(record);
  }
  result.insertMany(all);
  return result;
}

}  // namespace

/// Fills the stream with the columns, which end in a null.
extern "C" __attribute__((visibility("default"))) int fillStream(ArrowArrayStream* stream, const char* const* columns) {
  std::vector<std::string> wanted;
  for (; *columns != nullptr; ++columns) wanted.emplace_back(*columns);
  try {
    records().exportArrow(Selection(), wanted, stream);
    return 0;
  } catch (const std::exception&) {
    return 1;
  }
}

/// Lets the next batch of every stream fail.
extern "C" __attribute__((visibility("default"))) void cancel(bool isCancelled) {
  records().store().setCancellation([isCancelled] { return !isCancelled; });
}
