// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "client/bson/Type.h"

namespace database_client::bson {
namespace {

TEST(Types, AreInTheOrderThatStoresKeep) {
  std::map<int, std::string> classes;
  for (const TypeTraits& traits : allTypes) {
    std::string& names = classes[sortClassOf(traits.type)];
    names += (names.empty() ? "" : ",") + std::string(traits.alias);
  }
  std::string order;
  for (const auto& [number, names] : classes) order += std::to_string(number) + " " + names + "; ";
  EXPECT_EQ(order,
            "1 minKey; 3 undefined; 5 null; 10 double,int,long,decimal; 15 string,symbol; 20 object; 25 array; "
            "30 binData; 35 objectId; 40 bool; 45 date; 47 timestamp; 50 regex; 55 dbPointer; 60 javascript; "
            "65 javascriptWithScope; 127 maxKey; ");
}

TEST(Types, HaveOnePublicKindEach) {
  std::set<int> kinds;
  for (const TypeTraits& traits : allTypes) kinds.insert(static_cast<int>(propertyTypeOf(traits.type)));
  EXPECT_EQ(kinds.size(), allTypes.size());
  EXPECT_EQ(*kinds.begin(), 1);
  EXPECT_EQ(*kinds.rbegin(), 21);
}

TEST(Types, AreNoOtherBytes) {
  for (int byte = 0; byte < 256; ++byte) {
    const auto type = static_cast<Type>(byte);
    const bool isKnown =
        std::any_of(allTypes.begin(), allTypes.end(), [type](const TypeTraits& traits) { return traits.type == type; });
    EXPECT_EQ(extentOf(type).encoding != Encoding::none, isKnown) << byte;
    EXPECT_EQ(propertyTypeOf(type) != PropertyType::undefined, isKnown) << byte;
    EXPECT_EQ(traitsOf(type).name == std::string("value"), !isKnown) << byte;
    EXPECT_LE(sortClassOf(type), 127) << byte;
  }
}

}  // namespace
}  // namespace database_client::bson
