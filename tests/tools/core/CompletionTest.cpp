// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tools/core/Command.h"

namespace database_provider::recordctl {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(TypedLine, IsTakenApartAsAShellDoes) {
  EXPECT_THAT(TypedLine::parse("recordctl list  --where 'a b' x\\ y\"z\"").words,
              ElementsAre("list", "--where", "a b", "x yz"));
  EXPECT_THAT(TypedLine::parse("recordctl list ").words, ElementsAre("list", ""));
  EXPECT_THAT(TypedLine::parse("recordctl").words, IsEmpty());
  EXPECT_FALSE(TypedLine::parse("recordctl list 'a'").isQuoted);
  EXPECT_TRUE(TypedLine::parse("recordctl list --where \"site=W").isQuoted);
  EXPECT_THAT(TypedLine::parse("recordctl list --where \"a='b").words, ElementsAre("list", "--where", "a='b"));
}

TEST(TypedLine, TellsTheValuesOfOptions) {
  const TypedLine line = TypedLine::parse("recordctl --store file:a.db list --user=ann --where x");
  EXPECT_EQ(line.valueOf("--store"), "file:a.db");
  EXPECT_EQ(line.valueOf("--user"), "ann");
  EXPECT_EQ(line.valueOf("--kind"), "");
  EXPECT_EQ(TypedLine::parse("recordctl list --store file:").valueOf("--store"), "") << "that is still being typed";
}

class Completions : public ::testing::Test {
 protected:
  Completions() {
    const Command root = commandLine.root();
    root.option("--store", "ADDRESS", text, "the store");
    const Command list = root.add("list", "lists");
    list.option("--where", "T", text, "filter");
    list.option("--sort", "N", text, "keys");
    list.option("--format", "FORMAT", text, "how", Traits::oneOf({"csv", "records"}));
    list.flag("--strict", flag, "strict");
    const Command facets = root.add("facets", "counts");
    facets.argument("NAME", text, "a category");
    facets.argument("FILE", text, "a file");
    const Command users = root.add("users", "people");
    users.add("add", "adds");
    users.add("list", "lists");
    root.add("inner", "for programs").hide();
  }

  std::vector<std::string> of(const std::string& line) const {
    const StoreWords store = {[] { return std::vector<std::string>{"@lab"}; },
                              [] {
                                return std::vector<std::string>{"site", "soil type", "yield"};
                              },
                              [](const std::string& name) {
                                return name == "site" ? std::vector<std::string>{"Waseca", "Crookston", "Grand Rapids"}
                                                      : std::vector<std::string>{};
                              }};
    return commandLine.complete(TypedLine::parse("recordctl " + line), store);
  }

  CommandLine commandLine{"recordctl", "keeps records", "1"};
  std::string text{};
  bool flag = false;
};

TEST_F(Completions, AreCommandsFirst) {
  EXPECT_THAT(of(""), ElementsAre("facets", "help", "list", "users"));
  EXPECT_THAT(of("li"), ElementsAre("list"));
  EXPECT_THAT(of("help us"), ElementsAre("users"));
  EXPECT_THAT(of("users "), ElementsAre("add", "list"));
  EXPECT_THAT(of("--store x l"), ElementsAre("list"));
}

TEST_F(Completions, AreTheOptionsOfACommandAndOfThoseAboveIt) {
  EXPECT_THAT(of("list --s"), ElementsAre("--sort", "--store", "--strict"));
  EXPECT_THAT(of("facets --s"), ElementsAre("--store"));
}

TEST_F(Completions, AreTheValuesOfWhichAnOptionTakesOne) {
  EXPECT_THAT(of("list --format "), ElementsAre("csv", "records"));
  EXPECT_THAT(of("list --format=r"), ElementsAre("--format=records"));
  EXPECT_THAT(of("--store @"), ElementsAre("@lab"));
}

TEST_F(Completions, AreNamesOfTheStore) {
  EXPECT_THAT(of("facets s"), ElementsAre("site", "soil type"));
  EXPECT_THAT(of("facets site "), IsEmpty()) << "the name of a file is the shell's to complete";
  EXPECT_THAT(of("list --sort yield,s"), ElementsAre("yield,site", "yield,soil type"));
  EXPECT_THAT(of("list --strict --sort y"), ElementsAre("yield"));
}

TEST_F(Completions, AreNamesAndValuesInAFilter) {
  EXPECT_THAT(of("list --where s"), ElementsAre("site"));
  EXPECT_THAT(of("list --where '\"s"), ElementsAre("\"soil type\""));
  EXPECT_THAT(of("list --where site="), ElementsAre("site=\"Grand Rapids\"", "site=Crookston", "site=Waseca"));
  EXPECT_THAT(of("list --where 'yield>30 and (site!=W"), ElementsAre("yield>30 and (site!=Waseca"));
  EXPECT_THAT(of("list --where yield="), IsEmpty());
}

}  // namespace database_provider::recordctl
