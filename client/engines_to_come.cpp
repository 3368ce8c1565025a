#include "client/Engine.h"

// An engine that is not built yet refuses by name; each definition goes when its engine comes.
namespace database_client {

std::unique_ptr<Engine> embedded::open(const std::string& /*path*/, const ConnectRequest& /*request*/) {
  throw Error(Error::Kind::unsupported, "this build has no engine for files");
}

}  // namespace database_client
