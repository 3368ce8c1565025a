// SPDX-License-Identifier: Apache-2.0
#include "client/selfServiceRole.h"

namespace database_client {

void appendOwnDataPrivileges(bson::Writer& writer) {
  writer.beginArray("privileges");
  writer.beginDocument("0");
  writer.beginDocument("resource");
  writer.appendString("db", ownDataDatabase);
  writer.appendString("collection", "");
  writer.end();
  writer.beginArray("actions");
  writer.appendString("0", "changeOwnCustomData");
  writer.appendString("1", "changeOwnPassword");
  writer.end();
  writer.end();
  writer.end();
  writer.beginArray("roles");
  writer.end();
}

}  // namespace database_client
