// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "database_client/Error.h"

namespace database_client::embedded {

/// What was asked for cannot be read since the file is damaged there; other parts of it may be whole. Of kind storage.
class DamageError : public Error {
 public:
  explicit DamageError(const std::string& message, const std::string& where = {})
      : Error(Kind::storage, message, {where}) {}
};

}  // namespace database_client::embedded
