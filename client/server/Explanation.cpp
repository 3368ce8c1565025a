// SPDX-License-Identifier: Apache-2.0
#include "client/server/Explanation.h"

#include <string>
#include <string_view>

namespace database_client::server {

namespace {

// The plan of a query is a tree; the first index in it is the one that finds the documents.
std::string indexIn(bson::View plan) {
  for (const bson::Element& element : plan) {
    const bool isText = element.value.type == bson::Type::string;
    if (isText && element.key == "indexName") return std::string(element.value.asString());
    if (isText && element.key == "stage" && element.value.asString() == "IDHACK") return "_id_";
  }
  for (const bson::Element& element : plan) {
    if (!element.value.isDocument() && !element.value.isArray()) continue;
    std::string index = indexIn(element.value.asDocument());
    if (!index.empty()) return index;
  }
  return {};
}

bson::View documentAt(bson::View document, std::string_view key) {
  const bson::Value value = document.find(key);
  return value.data != nullptr && value.isDocument() ? value.asDocument() : bson::emptyDocument();
}

void copyNumber(ObjectProperties& target, const std::string& name, bson::View source, std::string_view key) {
  const bson::Value value = source.find(key);
  if (value.data == nullptr) return;
  if (value.type == bson::Type::int32) target.setValueInt64(name, value.asInt32());
  if (value.type == bson::Type::int64) target.setValueInt64(name, value.asInt64());
  if (value.type == bson::Type::real) target.setValueInt64(name, static_cast<std::int64_t>(value.asDouble()));
}

}  // namespace

ObjectProperties summaryOf(bson::View explanation) {
  const bson::View plan = documentAt(documentAt(explanation, "queryPlanner"), "winningPlan");
  const bson::View statistics = documentAt(explanation, "executionStats");
  ObjectProperties summary;
  summary.setValueString("index", indexIn(plan));
  copyNumber(summary, "examined", statistics, "totalDocsExamined");
  copyNumber(summary, "returned", statistics, "nReturned");
  return summary;
}

}  // namespace database_client::server
