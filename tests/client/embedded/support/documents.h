// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/bson/View.h"
#include "client/json/json.h"

/// Documents as extended JSON, for tests below the public document.
namespace database_client::embedded {

using bson::viewOf;
using Bytes = std::vector<bson::Byte>;

inline Bytes fromJson(std::string_view json) {
  return json::read(json);
}

inline std::string toJson(bson::View document) {
  return json::write(document, JsonMode::relaxed);
}

}  // namespace database_client::embedded
