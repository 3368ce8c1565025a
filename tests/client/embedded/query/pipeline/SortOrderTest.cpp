// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>

#include "client/embedded/query/pipeline/SortOrder.h"
#include "tests/client/embedded/query/support.h"

namespace database_client::embedded {
namespace {

/// The numbers of the documents, from 1 on, in their order: "2 1 3".
std::string sorted(const std::string& order, const std::vector<std::string>& documents) {
  return outcome([&] {
    const Bytes specification = fromJson(order);
    const SortOrder sort({bson::Type::document, specification.data(), specification.size()});
    std::vector<std::pair<SortOrder::Key, std::size_t>> keys;
    keys.reserve(documents.size());
    for (const std::string& document : documents)
      keys.emplace_back(sort.key(viewOf(fromJson(document))), keys.size() + 1);
    std::stable_sort(keys.begin(), keys.end(),
                     [&](const auto& left, const auto& right) { return sort.compare(left.first, right.first) < 0; });
    std::string numbers;
    for (const auto& entry : keys) numbers += (numbers.empty() ? "" : " ") + std::to_string(entry.second);
    return numbers;
  });
}

TEST(Sort, MissingIsNullAndTiesStay) {
  EXPECT_EQ(sorted(R"({"a": 1})", {R"({"a": 1})", "{}", R"({"a": null})", R"({"a": 0})"}), "2 3 4 1");
  EXPECT_EQ(sorted(R"({"a": -1})", {"{}", R"({"a": 1})", R"({"a": null})"}), "2 1 3");
}

TEST(Sort, KindsFollowTheirOrder) {
  EXPECT_EQ(sorted(R"({"a": 1})", {R"({"a": true})", R"({"a": "x"})", R"({"a": {}})", R"({"a": 5})",
                                   R"({"a": {"$minKey": 1}})", R"({"a": {"$maxKey": 1}})"}),
            "5 4 2 3 1 6");
}

TEST(Sort, ArraysCountBySmallestOrLargestElement) {
  const std::vector<std::string> documents = {R"({"a": [1, 9]})", R"({"a": 5})", R"({"a": [4, 6]})"};
  EXPECT_EQ(sorted(R"({"a": 1})", documents), "1 3 2");
  EXPECT_EQ(sorted(R"({"a": -1})", documents), "1 3 2");
}

TEST(Sort, EmptyArraysComeBeforeNull) {
  EXPECT_EQ(sorted(R"({"a": 1})", {R"({"a": null})", R"({"a": []})", R"({"a": 1})", R"({"a": [[]]})"}), "2 1 3 4");
}

TEST(Sort, PathsGoThroughArrays) {
  EXPECT_EQ(sorted(R"({"a.b": 1})", {R"({"a": [{"b": 3}, {"b": 1}]})", R"({"a": {"b": 2}})", R"({"a": [5]})"}),
            "3 1 2");
  EXPECT_EQ(sorted(R"({"a.1": 1})", {R"({"a": [0, 9]})", R"({"a": [9, 0]})"}), "2 1");
}

TEST(Sort, KeysOfOneArrayStayTogether) {
  EXPECT_EQ(sorted(R"({"a.x": 1, "a.y": 1})",
                   {R"({"a": [{"x": 1, "y": 9}, {"x": 2, "y": 0}]})", R"({"a": [{"x": 1, "y": 5}]})"}),
            "2 1");
}

TEST(Sort, TwoArraysAreRefused) {
  EXPECT_EQ(sorted(R"({"a": 1, "b": 1})", {R"({"a": [1], "b": [2]})"}), "query 2");
}

}  // namespace
}  // namespace database_client::embedded
