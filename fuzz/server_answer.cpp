// SPDX-License-Identifier: Apache-2.0

// An answer of a server is refused with a reason, or the driver's own reader gets through its document. The first byte
// of an input says what the request was for, the others are the message.
#include <bson/bson.h>

#include <vector>

#include "client/bson/validate.h"
#include "client/server/Message.h"
#include "fuzz/require.h"

namespace {

namespace bson = database_client::bson;
namespace server = database_client::server;
using server::DamagedAnswer;

void read(const bson_t& level, int depth) {
  bson_iter_t at;
  fuzz::require(bson_iter_init(&at, &level), "a level can be read");
  while (bson_iter_next(&at)) {
    if (!BSON_ITER_HOLDS_DOCUMENT(&at) && !BSON_ITER_HOLDS_ARRAY(&at)) continue;
    const std::uint8_t* data = nullptr;
    std::uint32_t size = 0;
    if (BSON_ITER_HOLDS_DOCUMENT(&at)) {
      bson_iter_document(&at, &size, &data);
    } else {
      bson_iter_array(&at, &size, &data);
    }
    bson_t inner;
    fuzz::require(bson_init_static(&inner, data, size), "a level within is one");
    fuzz::require(depth < bson::maximumDepth + 3, "levels end");
    read(inner, depth + 1);
  }
  fuzz::require(at.err_off == 0, "a level can be read to its end");
}

void check(const bson::Byte* message, std::size_t size) {
  constexpr std::size_t beforeReply = 36;
  constexpr std::size_t beforeMessage = 21;
  const auto header = bson::load<server::MessageHeader>(message);
  fuzz::require(static_cast<std::size_t>(header.length) == size, "the length is the message's");
  const bson::Byte* document = message + (header.opCode == 1 ? beforeReply : beforeMessage);
  bson_t root;
  fuzz::require(bson_init_static(&root, document, bson::load<std::uint32_t>(document)), "the document is one");
  read(root, 0);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1 + sizeof(server::MessageHeader)) return 0;
  const bson::Byte* message = data + 1;
  const std::size_t length = size - 1;
  const auto id = bson::load<server::MessageHeader>(message).responseTo;
  const auto purpose = static_cast<server::Purpose>(data[0] % 3);
  std::vector<bson::Byte> plain;
  try {
    if (server::lengthOfAnswer(message) != length) return 0;
    server::checkAnswer({message, length}, {0, id, purpose}, plain);
  } catch (const DamagedAnswer& damage) {
    fuzz::require(bson::isUtf8(damage.what()), "a reason is text");
    return 0;
  }
  plain.empty() ? check(message, length) : check(plain.data(), plain.size());
  return 0;
}
