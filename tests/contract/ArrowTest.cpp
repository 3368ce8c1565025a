// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>

#include "database_provider/arrow.h"
#include "database_provider/records.h"
#include "tests/contract/Contract.h"

namespace database_test {

using namespace database_provider;  // the tests of the library read like a program that uses it
using database_client::Error;

namespace {

bool isSet(const void* bits, std::int64_t place) {
  return (static_cast<const std::uint8_t*>(bits)[place / 8] >> (place % 8) & 1) != 0;
}

/// The value in a row of a column, read from its buffers by hand.
std::string valueAt(const ArrowArray& array, const std::string& format, std::int64_t row) {
  if (array.buffers[0] != nullptr && !isSet(array.buffers[0], row)) return "-";
  const void* data = array.buffers[1];
  if (format == "b") return isSet(data, row) ? "true" : "false";
  if (format == "i") return std::to_string(static_cast<const std::int32_t*>(data)[row]) + "i";
  if (format == "l") return std::to_string(static_cast<const std::int64_t*>(data)[row]) + "l";
  if (format == "g") return std::to_string(static_cast<const double*>(data)[row]);
  if (format == "tsm:UTC") return "@" + std::to_string(static_cast<const std::int64_t*>(data)[row]);
  if (format != "u") return "unknown format " + format;
  const auto* offsets = static_cast<const std::int32_t*>(data);
  return {static_cast<const char*>(array.buffers[2]) + offsets[row],
          static_cast<std::size_t>(offsets[row + 1] - offsets[row])};
}

/// Tables of records, on every engine.
class ArrowContract : public StoreContract {
 protected:
  ArrowArrayStream open(const std::vector<std::string>& columns, const Selection& selection = {},
                        const FindOptions& options = {}) {
    ArrowArrayStream stream{};
    plots.exportArrow(selection, columns, &stream, options);
    return stream;
  }
  static std::string header(const ArrowSchema& schema) {
    std::string result;
    for (std::int64_t i = 0; i < schema.n_children; ++i)
      result += std::string(schema.children[i]->name) + "(" + schema.children[i]->format + ") ";
    return result;
  }
  /// The columns and, a line each, the rows.
  static std::string drain(ArrowArrayStream stream, int* batches = nullptr) {
    ArrowSchema schema{};
    EXPECT_EQ(stream.get_schema(&stream, &schema), 0);
    EXPECT_STREQ(schema.format, "+s");
    std::string result = header(schema) + "\n";
    for (;;) {
      ArrowArray batch{};
      if (stream.get_next(&stream, &batch) != 0) {
        result += std::string("error: ") + stream.get_last_error(&stream);
        break;
      }
      if (batch.release == nullptr) break;
      if (batches != nullptr) ++*batches;
      EXPECT_EQ(batch.n_children, schema.n_children);
      for (std::int64_t row = 0; row < batch.length; ++row) {
        for (std::int64_t i = 0; i < batch.n_children; ++i)
          result += valueAt(*batch.children[i], schema.children[i]->format, row) + " ";
        result += "\n";
      }
      batch.release(&batch);
      EXPECT_EQ(batch.release, nullptr);
    }
    schema.release(&schema);
    EXPECT_EQ(schema.release, nullptr);
    stream.release(&stream);
    EXPECT_EQ(stream.release, nullptr);
    return result;
  }
  static FindOptions sortedBy(const std::string& text) {
    FindOptions options;
    options.sort = sortBy(text);
    return options;
  }

  Records plots{client, RecordKind::experiment};
};

TEST_P(ArrowContract, EveryKindHasItsColumnAndWhatIsMissingIsNull) {
  plots.insertMany({NewRecord()
                        .category("site", "Waseca")
                        .description("bool", true)
                        .description("double", 0.5)
                        .description("int", -1)
                        .description("long", std::int64_t{5'000'000'000})
                        .description("text", "a\xC3\xA4")
                        .description("time", Time{1580464800125}),
                    NewRecord().category("site", "Morris").description("bool", false),
                    NewRecord().category("farm", "F")});
  EXPECT_EQ(drain(open({"category:site", "farm", "bool", "double", "int", "long", "text", "time", "nothing"}, {},
                       sortedBy("site:desc"))),
            "site(u) farm(u) bool(b) double(g) int(i) long(l) text(u) time(tsm:UTC) nothing(u) \n"
            "Waseca - true 0.500000 -1i 5000000000l a\xC3\xA4 @1580464800125 - \n"
            "Morris - false - - - - - - \n"
            "- F - - - - - - - \n");
}

TEST_P(ArrowContract, WithoutColumnsEveryNameInUseHasOne) {
  const std::string id = plots.insert(NewRecord().category("site", "Waseca").description("yield", 48.5));
  EXPECT_EQ(drain(open({})), "id(u) created(tsm:UTC) site(u) yield(g) \n" + id + " @" +
                                 std::to_string(timeOfId(id)->milliseconds) + " Waseca 48.500000 \n");
}

TEST_P(ArrowContract, ANameOfSeveralKindsHasAColumnForEach) {
  plots.insertMany(
      {NewRecord().description("v", "x").description("n", 1), NewRecord().description("v", 2).description("n", 2),
       NewRecord().description("v", 3).description("n", 3), NewRecord().description("v", 4.5).description("n", 4)});
  const std::string table = drain(open({"v"}, {}, sortedBy("n")));
  EXPECT_EQ(table.substr(0, 5), "v(i) ");
  EXPECT_NE(table.find("v:string(u)"), std::string::npos) << table;
  EXPECT_NE(table.find("v:double(g)"), std::string::npos) << table;
  const bool isTextFirst = table.find("v:string") < table.find("v:double");
  EXPECT_EQ(table.substr(table.find('\n')), isTextFirst ? "\n- x - \n2i - - \n3i - - \n- - 4.500000 \n"
                                                        : "\n- - x \n2i - - \n3i - - \n- 4.500000 - \n");
}

TEST_P(ArrowContract, NamesThatAreSharedAreToldApart) {
  plots.insert(NewRecord().category("x", "c").category("id", "i").description("x", 1).description("a:b", 2));
  EXPECT_EQ(drain(open({"x", "category:id", "a\\:b"})), "category:x(u) description:x(i) id(u) a:b(i) \nc 1i i 2i \n");
  const std::string all = drain(open({}));
  EXPECT_EQ(all.substr(0, all.find('\n')),
            "id(u) created(tsm:UTC) category:id(u) category:x(u) a:b(i) description:x(i) ");
  EXPECT_THROW(open({"kind:x"}), Error);
  EXPECT_THROW(open({""}), Error);
}

TEST_P(ArrowContract, AnEmptyTableHasColumns) {
  EXPECT_EQ(drain(open({})), "id(u) created(tsm:UTC) \n");
  EXPECT_EQ(drain(open({"site"})), "site(u) \n");
}

TEST_P(ArrowContract, ManyRecordsComeInBatches) {
  // More than a batch of 8192 only where that does not take half a minute; a page by ids is a thousand.
  const bool isQuick = client.keepsInsertionOrder();
  const int count = isQuick ? 10'000 : 1'200;
  std::vector<NewRecord> many;
  for (int i = 0; i < count; ++i) many.push_back(NewRecord().description("n", i));
  plots.insertMany(many);
  int batches = 0;
  const std::string inStoreOrder = drain(open({"n"}), &batches);
  EXPECT_EQ(std::count(inStoreOrder.begin(), inStoreOrder.end(), '\n'), count + 1);
  EXPECT_EQ(batches, isQuick ? 2 : 1);
  FindOptions last = sortedBy("n:desc");
  last.limit = 1100;
  const std::string descending = drain(open({"n"}, {}, last));
  const std::string begin = "n(i) \n" + std::to_string(count - 1) + "i \n" + std::to_string(count - 2) + "i \n";
  EXPECT_EQ(descending.substr(0, begin.size()), begin);
  EXPECT_EQ(std::count(descending.begin(), descending.end(), '\n'), 1101);
  FindOptions some;
  some.limit = count - 1000;
  some.skip = 900;
  const std::string limited = drain(open({"n"}, {}, some));
  EXPECT_EQ(std::count(limited.begin(), limited.end(), '\n'), count - 999);
}

TEST_P(ArrowContract, WhatIsMovedOutIsReleasedByItself) {
  plots.insertMany(
      {NewRecord().category("site", "Waseca").description("n", 1), NewRecord().category("site", "Morris")});
  ArrowArrayStream stream = open({"site", "n"});
  ArrowSchema schema{};
  ASSERT_EQ(stream.get_schema(&stream, &schema), 0);
  ArrowSchema field = *schema.children[1];
  schema.children[1]->release = nullptr;
  ArrowArray batch{};
  ASSERT_EQ(stream.get_next(&stream, &batch), 0);
  stream.release(&stream);  // before what came from it
  ArrowArray column = *batch.children[0];
  batch.children[0]->release = nullptr;
  batch.release(&batch);
  schema.release(&schema);
  EXPECT_EQ(valueAt(column, "u", 0).size(), 6U);
  EXPECT_STREQ(field.name, "n");
  column.release(&column);
  field.release(&field);
}

TEST_P(ArrowContract, AStreamMayBeReleasedBeforeItsEnd) {
  plots.insert(NewRecord().category("site", "Waseca"));
  ArrowArrayStream stream = open({"site"});
  stream.release(&stream);
  EXPECT_EQ(stream.release, nullptr);
}

TEST_P(ArrowContract, AValueWithoutAColumnIsAnErrorOfTheStream) {
  plots.insert(NewRecord().description("v", 1));
  ArrowArrayStream stream = open({"v"});
  plots.insert(NewRecord().description("v", "x"));
  const std::string table = drain(stream);
  EXPECT_EQ(table.substr(0, table.find("of the record")), "v(i) \nerror: description \"v\" ");
}

TEST_P(ArrowContract, WhoeverGivesUpIsToldByTheStream) {
  plots.insert(NewRecord().description("v", 1));
  ArrowArrayStream stream = open({"v"});
  EXPECT_EQ(stream.get_last_error(&stream), nullptr);
  client.setCancellation([] { return false; });
  ArrowArray batch{};
  EXPECT_EQ(stream.get_next(&stream, &batch), ECANCELED);
  EXPECT_NE(stream.get_last_error(&stream), nullptr);
  EXPECT_EQ(batch.release, nullptr);
  client.setCancellation({});
  stream.release(&stream);
}

INSTANTIATE_TEST_SUITE_P(Engines, ArrowContract, ::testing::ValuesIn(engineNames()), engineName);

}  // namespace

}  // namespace database_test
