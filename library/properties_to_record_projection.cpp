// SPDX-License-Identifier: Apache-2.0
#include "database_provider/PropertiesToRecordProjection.h"

namespace database_provider {

bool PropertiesToRecordProjection::convert(const ObjectProperties& switches, ObjectProperties& projection) {
  const int count = switches.size();
  for (int i = 0; i < count; ++i) {
    if (switches.typeAt(i) == PropertyType::boolean) {
      projection.setValueBool("record." + switches.nameAt(i), switches.boolAt(i, false));
    }
  }
  return true;
}

}  // namespace database_provider
