// SPDX-License-Identifier: Apache-2.0

// Bytes are refused with an error, or make a document that can be walked, written as JSON and read back.
#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "client/bson/Writer.h"
#include "client/bson/validate.h"
#include "client/json/json.h"
#include "database_client/Error.h"
#include "fuzz/require.h"

namespace {

using database_client::Error;
using database_client::JsonMode;
namespace bson = database_client::bson;
namespace json = database_client::json;
using bson::Type;

/// What may keep JSON from giving the same bytes back.
struct Doubts {
  bool isAmbiguous = false;  ///< a nested document may read as a single value
  bool isUnusual = false;    ///< one value has several spellings in BSON
};

void look(bson::View level, bool isArray, bool mayBeValue, Doubts& doubts);

void look(const bson::Value& value, Doubts& doubts) {
  if (value.isDocument() || value.isArray()) look(value.asDocument(), value.isArray(), value.isDocument(), doubts);
  if (value.type == Type::codeWithScope) look(value.scope(), false, false, doubts);
  const std::string_view options = value.type == Type::regex ? value.regexOptions() : std::string_view();
  doubts.isUnusual |= !std::is_sorted(options.begin(), options.end());
  doubts.isUnusual |= value.type == Type::decimal128 || (value.type == Type::real && std::isnan(value.asDouble()));
}

void look(bson::View level, bool isArray, bool mayBeValue, Doubts& doubts) {
  std::size_t index = 0;
  for (const bson::Element& element : level) {
    doubts.isUnusual |= isArray && element.key != std::string_view(bson::IndexKey(index));
    doubts.isAmbiguous |= mayBeValue && index == 0 && element.key.substr(0, 1) == "$";
    look(element.value, doubts);
    ++index;
  }
}

/// Empty when the text cannot be read, which only a document that looks like a value excuses.
std::vector<bson::Byte> readBack(const std::string& text, const Doubts& doubts) {
  try {
    return json::read(text);
  } catch (const Error&) {
    fuzz::require(doubts.isAmbiguous, "written text can be read");
    return {};
  }
}

void check(bson::View document) {
  Doubts doubts;
  look(document, false, false, doubts);
  const std::vector<bson::Byte> bytes = readBack(json::write(document, JsonMode::canonical), doubts);
  const std::string relaxed = json::write(document, JsonMode::relaxed);
  const std::vector<bson::Byte> again = readBack(relaxed, doubts);
  if (bytes.empty() || doubts.isAmbiguous) return;
  const bool isSame = bytes == std::vector<bson::Byte>(document.data, document.data + document.size);
  fuzz::require(isSame || doubts.isUnusual, "canonical text keeps every byte");
  fuzz::require(json::write(bson::viewOf(again), JsonMode::relaxed) == relaxed, "relaxed text reads back");
  const bson::View second = bson::validate(bytes.data(), bytes.size());
  fuzz::require(json::read(json::write(second, JsonMode::canonical)) == bytes, "what was read once stays");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    bson::validate(data, size);
  } catch (const Error& error) {
    fuzz::require(error.kind() == Error::Kind::document, "malformed bytes are an error of kind document");
    fuzz::require(bson::isUtf8(error.what()), "a message is text");
    return 0;
  }
  check({data, size});
  return 0;
}
