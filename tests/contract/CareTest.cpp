// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "database_provider/records.h"
#include "tests/contract/Contract.h"

namespace database_test {

using namespace database_provider;  // the tests of the library read like a program that uses it
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

/// The care for a store that the records layer takes, on every engine.
class CareContract : public StoreContract {
 protected:
  Records plots{client, RecordKind::experiment};
  Records scenarios{client, RecordKind::scenario};
};

/// "position: sentence" of each.
std::vector<std::string> shown(const std::vector<Remark>& remarks) {
  std::vector<std::string> result;
  for (const Remark& remark : remarks) result.push_back(std::to_string(remark.position) + ": " + remark.text);
  return result;
}

TEST_P(CareContract, RemarksTellWhatOfAFilterNoRecordCanMeet) {
  plots.insertMany({NewRecord().category("site", "Waseca").description("yield", 48.5),
                    NewRecord().category("site", "Morris").data(ObjectProperties::fromJson(R"({"note": {"by": 1}})"))});
  scenarios.insert(NewRecord().category("network", "ring"));
  EXPECT_THAT(plots.remarks(""), IsEmpty());
  EXPECT_THAT(plots.remarks("site=Nowhere and yield>100"), IsEmpty());
  EXPECT_THAT(plots.remarks("not yield=\"x\" and has SITE"), IsEmpty());
  EXPECT_THAT(shown(plots.remarks("sit=Waseca or (yield>\"5\" and note.by=1) or network=ring or id=x")),
              ElementsAre("0: no record has a category or description \"sit\" (did you mean \"site\"?)",
                          "21: \"yield\" is double in every record that has it, and \"5\" is a text, which is never "
                          "equal, less or more",
                          "29: \"note.by\" is a key of the user block, which filters do not see",
                          "43: no record has a category or description \"network\" (but scenarios have)",
                          "62: \"x\" is no id as the library makes them, 24 hex digits"));
  const auto sit = plots.remarks("sit=Waseca");
  ASSERT_EQ(sit.size(), 1U);
  EXPECT_EQ(sit[0].nearest, "site");
  EXPECT_EQ(sit[0].name, "sit");
  EXPECT_THROW(plots.remarks("site="), SelectionError);
}

TEST_P(CareContract, ARemarkOnANameTellsWhyNoRecordHasIt) {
  plots.insert(NewRecord().category("site", "Waseca").description("yield", 48.5));
  EXPECT_FALSE(plots.remarkOn("site"));
  EXPECT_FALSE(plots.remarkOn("yield", NameInUse::Kind::description));
  const auto category = plots.remarkOn("yield", NameInUse::Kind::category);
  ASSERT_TRUE(category);
  EXPECT_EQ(category->reason, Remark::Reason::otherItem);
  EXPECT_EQ(plots.remarkOn("yeild")->nearest, "yield");
  EXPECT_EQ(scenarios.remarkOn("site")->reason, Remark::Reason::otherKind);
  EXPECT_EQ(plots.remarkOn("_id")->reason, Remark::Reason::unknownName);
}

INSTANTIATE_TEST_SUITE_P(Engines, CareContract, ::testing::ValuesIn(engineNames()), engineName);

}  // namespace

}  // namespace database_test
