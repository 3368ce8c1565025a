// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "database_client/Error.h"
#include "tests/client/embedded/support/documents.h"

/// The results of queries and expressions as short texts.
namespace database_client::embedded {

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
  explicit Single(const std::string& json) : bytes_(fromJson(json.empty() ? "{}" : "{\"v\": " + json + "}")) {}
  bson::Value value() const { return viewOf(bytes_).find("v"); }

 private:
  Bytes bytes_;
};

}  // namespace database_client::embedded
