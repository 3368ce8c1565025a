// SPDX-License-Identifier: Apache-2.0

// Text is refused with an error, or becomes a well-formed document that both JSON forms give back.
#include <string>
#include <string_view>
#include <vector>

#include "client/bson/validate.h"
#include "client/json/json.h"
#include "database_client/Error.h"
#include "fuzz/require.h"

namespace {

using database_client::Error;
using database_client::JsonMode;
namespace bson = database_client::bson;
namespace json = database_client::json;

void check(const std::vector<bson::Byte>& bytes) {
  const bson::View document = bson::validate(bytes.data(), bytes.size());
  fuzz::require(json::read(json::write(document, JsonMode::canonical)) == bytes, "canonical text keeps every byte");
  const std::string relaxed = json::write(document, JsonMode::relaxed);
  const std::vector<bson::Byte> again = json::read(relaxed);
  fuzz::require(json::write(bson::viewOf(again), JsonMode::relaxed) == relaxed, "relaxed text reads back");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<bson::Byte> bytes;
  try {
    bytes = json::read({reinterpret_cast<const char*>(data), size});
  } catch (const Error& error) {
    fuzz::require(error.kind() == Error::Kind::document, "malformed text is an error of kind document");
    fuzz::require(bson::isUtf8(error.what()), "a message is text");
    return 0;
  }
  check(bytes);
  return 0;
}
