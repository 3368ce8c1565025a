// Aggregations.

#include "client/embedded/EmbeddedEngine.h"
#include "database_client/Error.h"

namespace database_client::embedded {

void EmbeddedEngine::aggregate(const Namespace& /*where*/, const ObjectProperties& /*stages*/,
                               const Receiver& /*receive*/) {
  throw Error(Error::Kind::unsupported, "aggregate: this build of the embedded store has no aggregation");
}

}  // namespace database_client::embedded
