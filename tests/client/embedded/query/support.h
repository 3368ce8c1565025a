// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/bson/View.h"
#include "client/json/json.h"
#include "database_client/Error.h"

/// Documents and queries as extended JSON, results as short texts.
namespace database_client::embedded::testing {

using Bytes = std::vector<bson::Byte>;

inline Bytes bytes(std::string_view json) {
  return json::read(json);
}

inline bson::View view(const Bytes& bytes) {
  return {bytes.data(), bytes.size()};
}

inline std::string show(bson::View document) {
  return json::write(document, JsonMode::relaxed);
}

/// What `action` returns, or the kind and code of the error it throws: "query 2".
template <class Action>
std::string outcome(const Action& action) {
  try {
    return action();
  } catch (const Error& error) {
    return std::string(toString(error.kind())) + " " + std::to_string(error.code());
  }
}

/// A value of its own, read from {"v": …}; missing for "".
class Single {
 public:
  explicit Single(const std::string& json) : bytes_(bytes(json.empty() ? "{}" : "{\"v\": " + json + "}")) {}
  bson::Value value() const { return view(bytes_).find("v"); }

 private:
  Bytes bytes_;
};

}  // namespace database_client::embedded::testing
