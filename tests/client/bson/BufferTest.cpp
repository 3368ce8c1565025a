// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "client/bson/Buffer.h"

namespace database_client::bson {
namespace {

std::string textOf(const Buffer& buffer) {
  return {reinterpret_cast<const char*>(buffer.data()), buffer.size()};
}

Buffer bufferOf(const std::string& text) {
  return Buffer(View{reinterpret_cast<const Byte*>(text.data()), text.size()});
}

/// The text with `size` bytes in place of those from `offset` on, in both.
void splice(Buffer& buffer, std::string& text, std::size_t offset, std::size_t oldSize, std::size_t newSize) {
  const std::string inserted(newSize, '+');
  std::memcpy(buffer.splice(offset, oldSize, newSize) + offset, inserted.data(), newSize);
  text.replace(offset, oldSize, inserted);
}

TEST(Buffer, SplicesBeforeTailsOfEverySize) {
  const std::string letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  for (std::size_t tail = 0; tail <= 12; ++tail) {
    for (std::size_t oldSize = 0; oldSize <= 12; ++oldSize) {
      for (std::size_t newSize = 0; newSize <= 12; ++newSize) {
        std::string text = letters;
        Buffer buffer = bufferOf(text);
        const Buffer before = buffer;
        // Into a new block, since it is shared, and within that.
        for (int i = 0; i < 2; ++i) splice(buffer, text, text.size() - tail - oldSize, oldSize, newSize);
        EXPECT_EQ(textOf(buffer), text) << tail << " " << oldSize << " " << newSize;
        EXPECT_EQ(textOf(before), letters);
      }
    }
  }
}

TEST(Buffer, SplicesUpToItsLastByte) {
  std::string text = "0123456789";
  Buffer buffer = bufferOf(text);
  // Past the capacity several times, by one byte at a time, with a tail that is moved as a word.
  for (int i = 0; i < 3000; ++i) {
    splice(buffer, text, text.size() - 3, 0, 1);
    ASSERT_EQ(buffer.size(), text.size());
  }
  EXPECT_EQ(textOf(buffer), text);
  while (text.size() > 3) splice(buffer, text, text.size() - 4, 1, 0);
  EXPECT_EQ(textOf(buffer), "789");
}

}  // namespace
}  // namespace database_client::bson
