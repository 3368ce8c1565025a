// SPDX-License-Identifier: Apache-2.0

// A pipeline followed by documents: it is refused, perhaps while it runs, or its results are well-formed documents.
#include <vector>

#include "client/bson/validate.h"
#include "client/embedded/query/pipeline/Pipeline.h"
#include "database_client/Error.h"
#include "fuzz/documents.h"
#include "fuzz/require.h"

namespace {

using database_client::Error;
using database_client::embedded::Pipeline;
namespace bson = database_client::bson;

constexpr std::size_t memoryLimit = 1000000;
constexpr int enoughResults = 1000;

void run(bson::View stages, const std::vector<bson::View>& documents) {
  int results = 0;
  const auto source = [&](const Pipeline::Receiver& receive) {
    for (const bson::View& document : documents) {
      if (!receive(document)) return;
    }
  };
  Pipeline(stages, memoryLimit).run(source, [&](bson::View result) {
    const std::vector<bson::Byte> bytes(result.data, result.data + result.size);
    fuzz::require(fuzz::documentAt(bytes.data(), bytes.size()).has_value(), "a result is a document within the limits");
    return ++results < enoughResults;
  });
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto stages = fuzz::documentAt(data, size);
  if (!stages) return 0;
  std::vector<bson::View> documents;
  for (std::size_t at = stages->size; const auto document = fuzz::documentAt(data + at, size - at);) {
    documents.push_back(*document);
    at += document->size;
  }
  try {
    run(*stages, documents);
  } catch (const Error& error) {
    const bool refused = error.kind() == Error::Kind::query || error.kind() == Error::Kind::unsupported;
    const bool limit = error.kind() == Error::Kind::document && error.code() != 0;
    fuzz::require(refused || limit, "a refusal is an error of kind query, unsupported, or of a document's limits");
    fuzz::require(bson::isUtf8(error.what()), "a message is text");
  }
  return 0;
}
