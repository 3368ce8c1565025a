// SPDX-License-Identifier: Apache-2.0

// Aggregations, and what is sorted as one of their stages does it.

#include <utility>

#include "client/DamageError.h"
#include "client/DocumentAccess.h"
#include "client/bson/Writer.h"
#include "client/embedded/AccessPath.h"
#include "client/embedded/Cursor.h"
#include "client/embedded/EmbeddedEngine.h"
#include "client/embedded/index/plan/answerFromIndex.h"
#include "client/embedded/query/pipeline/Pipeline.h"
#include "client/embedded/query/values/compare.h"
#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Byte;
using bson::View;
using bson::viewOf;

namespace {

IndexAnswer tryIndex(Collection* collection, const Pipeline& pipeline) {
  if (collection == nullptr || collection->index() == nullptr) return {};
  RowReader reader(*collection);
  const DocumentSource documents{collection->estimate(), [&reader](RecordNumber record) { return reader.read(record); },
                                 [collection] { return static_cast<std::uint64_t>(collection->count()); }};
  return answerFromIndex(*collection->index(), pipeline, documents);
}

/// Where damage keeps the index from answering, and the read is to go on, the documents have to.
IndexAnswer askIndex(Collection* collection, const Pipeline& pipeline, bool passesOverDamage) {
  try {
    return tryIndex(collection, pipeline);
  } catch (const DamageError&) {
    if (!passesOverDamage) throw;
    return {};
  }
}

/// Each document is copied, since a receiver that writes moves what was read.
Pipeline::Source sourceOf(Cursor& cursor) {
  return [&cursor](const Pipeline::Receiver& take) {
    std::vector<Byte> document;
    bool more = true;
    while (more && cursor.next()) {
      const View body = cursor.body();
      document.assign(body.data, body.data + body.size);
      more = take(viewOf(document));
    }
  };
}

}  // namespace

void EmbeddedEngine::giveSorted(Cursor& cursor, const FindRequest& request, const std::optional<IdOrder>& order,
                                const std::function<bool(View)>& give) {
  bson::Writer stages;
  stages.beginDocument("0");
  stages.appendDocument("$sort", DocumentAccess::view(*request.sort));
  stages.end();
  stages.beginDocument("1");
  stages.appendInt64("$skip", request.skip);
  stages.end();
  if (request.limit > 0) {  // Which lets the sort hold no more than comes out.
    stages.beginDocument("2");
    stages.appendInt64("$limit", request.limit);
    stages.end();
  }
  const std::vector<Byte> specification = stages.take();
  const Pipeline pipeline(viewOf(specification));
  const bool isFromTheFirst = !order || isMissing(order->after);
  const auto isWanted = [&](View document) {
    if (isFromTheFirst) return true;
    const int place = compare(document.find("_id"), order->after);
    return order->isDescending ? place < 0 : place > 0;
  };
  const Pipeline::Source all = sourceOf(cursor);
  const auto wanted = [&](const Pipeline::Receiver& take) {
    all([&](View document) { return !isWanted(document) || take(document); });
  };
  pipeline.run(wanted, give);
}

void EmbeddedEngine::aggregate(const Namespace& where, const ObjectProperties& stages, const Receiver& receive) {
  const View specification = DocumentAccess::view(stages);
  const Pipeline pipeline = parseUnder("pipeline", [specification] { return Pipeline(specification); });
  const Store::Reading reading(store_);
  Collection* collection = this->reading(where, "aggregate");
  const auto hand = [&receive](View document) { return receive(DocumentAccess::adopt(document)); };
  const IndexAnswer answer = askIndex(collection, pipeline, unreadable() != nullptr);
  if (answer.stages > 0) {
    pipeline.run(answer.documents, hand, answer.stages);
    return;
  }
  // A first $match is the cursor's, whose access path may answer it.
  const Matcher* const match = pipeline.matchAt(0);
  const Filter filter(match == nullptr ? bson::emptyDocument() : pipeline.stages().front().operand.asDocument(), match);
  Cursor cursor(collection, filter, {}, {true, true, unreadable()});
  const Store::Registration registration(store_, cursor);
  pipeline.run(sourceOf(cursor), hand, match == nullptr ? 0 : 1);
}

}  // namespace database_client::embedded
