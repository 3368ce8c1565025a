// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "client/bson/Writer.h"

namespace database_client::bson {
namespace {

TEST(Writer, ClosesWhatIsOpenWhenTheBytesAreTaken) {
  Writer writer;
  writer.appendInt32("a", 1);
  writer.beginArray("list");
  writer.appendString("0", "x");
  const std::vector<Byte> bytes = writer.take();
  const View document = viewOf(bytes);
  EXPECT_EQ(load<std::int32_t>(document.data), static_cast<std::int32_t>(bytes.size()));
  EXPECT_EQ(document.count(), 2U);
  EXPECT_EQ(document.find("a").asInt32(), 1);
  EXPECT_EQ(document.find("list").asDocument().find("0").asString(), "x");
}

TEST(View, FindsTheFirstOfRepeatedKeysAndNothingForAnAbsentOne) {
  Writer writer;
  writer.appendInt32("a", 1);
  writer.appendInt32("a", 2);
  const std::vector<Byte> bytes = writer.take();
  const View document = viewOf(bytes);
  EXPECT_EQ(document.find("a").asInt32(), 1);
  EXPECT_EQ(document.find("b").data, nullptr);
}

TEST(IndexKey, IsPlainDecimal) {
  EXPECT_EQ(std::string_view(IndexKey(0)), "0");
  EXPECT_EQ(std::string_view(IndexKey(1024)), "1024");
}

}  // namespace
}  // namespace database_client::bson
