// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "database_provider/diagnosis.h"
#include "tests/contract/Contract.h"

namespace database_test {

using namespace database_provider;  // the tests of the library read like a program that uses it
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

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

/// "problem name records: words" of each.
std::vector<std::string> shown(const std::vector<Finding>& findings) {
  std::vector<std::string> result;
  for (const Finding& finding : findings) {
    result.push_back(std::string(problemName(finding.problem)) + " " + finding.name + " " +
                     std::to_string(finding.records) + ":");
    for (const std::string& word : finding.command) result.back() += " " + word;
  }
  return result;
}

TEST_P(CareContract, ADiagnosisNamesWhatIsOddAndTheCommandThatMendsIt) {
  const auto plot = [](const char* site, const Value& yield) {
    return NewRecord().category("site", site).description("yield", yield).dataServer("nas");
  };
  plots.insertMany({plot("Waseca", 1.5), plot("Waseca", 2.5), plot("wa seca", 3),
                    plot("Morris", "n/a").file(ObjectType::mediaObject, "localhost", "/nowhere/at/all"),
                    NewRecord().category("Site", "Morris").category("\u00c9t\u00e9", "x")});
  EXPECT_THAT(
      shown(diagnose(plots)),
      ElementsAre("one name of two types yield 2: convert yield double",
                  "names that differ by case or blanks alone Site 1: rename --merge Site site",
                  "values that differ by case or blanks alone site 1: rename --value=wa seca=Waseca site",
                  "name used once \u00c9t\u00e9 1: set --where has category:\u00c9t\u00e9 --unset \u00c9t\u00e9",
                  "file that is not there /nowhere/at/all 1: files check", "experiments without a source  1:"));
  EXPECT_THAT(diagnose(scenarios), IsEmpty());
  DiagnosisOptions none;
  none.most = 0;
  for (const Finding& finding : diagnose(plots, none)) {
    EXPECT_EQ(finding.name, "");
    EXPECT_GE(finding.records, 1);
  }
}

TEST_P(CareContract, CommandsThatMendTakeNamesAndValuesOfAnySort) {
  plots.insertMany({NewRecord().category("id", "a=1").category("n:1", "-x").description("-d", 1),
                    NewRecord().category("id", "A=1").category("n:1", "-X").description("-d", 2),
                    NewRecord().category("id", "A=1").category("n:1", "-X").description("-D", 3)});
  std::vector<std::string> lines = shown(diagnose(plots));
  lines.pop_back();  // their sources
  EXPECT_THAT(lines,
              ElementsAre("names that differ by case or blanks alone -D 1: rename --merge -- description:-D -d",
                          "values that differ by case or blanks alone id 1: rename --value=a\\=1=A=1 category:id",
                          "values that differ by case or blanks alone n:1 1: rename --value=-x=-X n\\:1"));
}

TEST_P(CareContract, FilesOfRecordsAreGoneThroughRecordByRecord) {
  plots.insertMany({NewRecord().file(ObjectType::mediaObject, "nas", "/a").file(ObjectType::xmlObject, "", "b\n\"'"),
                    NewRecord().category("site", "Waseca"), NewRecord().file(ObjectType::mediaObject, "nas", "/c")});
  std::vector<std::string> paths;
  forEachFile(plots, {}, [&](const FileOfRecord& one) {
    EXPECT_EQ(one.record.size(), 24U);
    paths.push_back(one.file.path);
    return true;
  });
  EXPECT_THAT(paths, UnorderedElementsAre("/a", "b\n\"'", "/c"));
  int some = 0;
  forEachFile(plots, {}, [&](const FileOfRecord& /*one*/) { return ++some < 2; });
  EXPECT_EQ(some, 2);
}

INSTANTIATE_TEST_SUITE_P(Engines, CareContract, ::testing::ValuesIn(engineNames()), engineName);

}  // namespace

}  // namespace database_test
