// Aggregations.

#include <utility>

#include "client/DocumentAccess.h"
#include "client/embedded/EmbeddedEngine.h"
#include "client/embedded/query/Pipeline.h"

namespace database_client::embedded {

using bson::Byte;
using bson::View;

namespace {

View viewOf(const std::vector<Byte>& bytes) {
  return {bytes.data(), bytes.size()};
}

/// The condition of a first $match, which a plan can answer; {} where there is none.
View leadingMatch(const Pipeline& pipeline) {
  if (pipeline.stages().empty() || pipeline.stages().front().name != "$match") return bson::emptyDocument();
  return pipeline.stages().front().operand.asDocument();
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

void EmbeddedEngine::aggregate(const Namespace& where, const ObjectProperties& stages, const Receiver& receive) {
  const View specification = DocumentAccess::view(stages);
  const Pipeline pipeline(specification);
  const Store::Reading reading(store_);
  Collection* collection = this->reading(where, "aggregate");
  const auto hand = [&receive](View document) { return receive(DocumentAccess::adopt(document)); };
  const View condition = leadingMatch(pipeline);
  Cursor cursor(collection, condition);
  const Store::Registration registration(store_, cursor);
  pipeline.run(sourceOf(cursor), hand, condition.empty() ? 0 : 1);
}

}  // namespace database_client::embedded
