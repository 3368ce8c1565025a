// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <utility>
#include <vector>

#include "client/bson/View.h"

namespace database_client::embedded::index {

/// What the placeholders of a template stand for in a value that fits it. The values point into what was compared.
class Bindings {
 public:
  /// False when the placeholder stands for another value already.
  bool bind(std::string_view placeholder, const bson::Value& value);
  /// Missing when it was not bound.
  bson::Value operator[](std::string_view placeholder) const;

 private:
  std::vector<std::pair<std::string_view, bson::Value>> values_;
};

/// A part of a pipeline as somebody would write it, in extended JSON, with placeholders: texts that begin with "?". A
/// value fits when it has the same keys in the same order and the same values of the same kinds, and what stands in the
/// place of a placeholder is the same wherever that occurs.
class PipelineTemplate {
 public:
  /// `json` is an object.
  explicit PipelineTemplate(std::string_view json);

  /// Whether `value` fits; what the placeholders stand for is added to `bindings`.
  bool fits(const bson::Value& value, Bindings& bindings) const;

 private:
  std::vector<bson::Byte> bytes_;
};

}  // namespace database_client::embedded::index
