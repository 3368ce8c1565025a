// SPDX-License-Identifier: Apache-2.0

// A query followed by a document: the query is refused, or answers, and $nor answers the opposite.
#include <vector>

#include "client/bson/Writer.h"
#include "client/bson/validate.h"
#include "client/embedded/query/match/Matcher.h"
#include "database_client/Error.h"
#include "fuzz/documents.h"
#include "fuzz/require.h"

namespace {

using database_client::Error;
using database_client::embedded::Matcher;
namespace bson = database_client::bson;

std::vector<bson::Byte> negated(bson::View query) {
  bson::Writer writer;
  writer.beginArray("$nor");
  writer.appendDocument("0", query);
  return writer.take();
}

void check(bson::View query, bson::View document) {
  const bool matches = Matcher(query).matches(document);
  const std::vector<bson::Byte> opposite = negated(query);
  fuzz::require(Matcher(bson::viewOf(opposite)).matches(document) != matches, "$nor is the opposite");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto query = fuzz::documentAt(data, size);
  if (!query) return 0;
  const auto document = fuzz::documentAt(data + query->size, size - query->size);
  if (!document) return 0;
  try {
    check(*query, *document);
  } catch (const Error& error) {
    const bool refused = error.kind() == Error::Kind::query || error.kind() == Error::Kind::unsupported;
    fuzz::require(refused, "a refusal is an error of kind query or unsupported");
    fuzz::require(bson::isUtf8(error.what()), "a message is text");
  }
  return 0;
}
