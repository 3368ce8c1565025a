// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <csignal>
#include <sstream>
#include <thread>

#include "database_client/DataBaseClient.h"
#include "tests/tools/commands/Recordctl.h"

// What only a terminal shows.

namespace {

/// As a person presses the keys: Ctrl-C, Ctrl-D.
const char* const interrupt = "\x03";
const char* const endOfInput = "\x04";

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class RecordctlTerminal : public Recordctl {
 protected:
  void controlAccess() { output({"init", "--admin-password-file", file("admin", "kEstrel-7731\n")}); }

  /// What the command writes on a terminal of so many columns, where nobody types.
  std::string shown(const std::vector<std::string>& arguments, unsigned short columns = 80) const {
    const auto terminal = onTerminal(arguments, columns);
    EXPECT_EQ(terminal->finish(), 0) << terminal->rest();
    return terminal->rest();
  }

  /// Asks whether the plots of one site may go, and gives the answer.
  std::string removalAnswered(const std::string& keys, int status) {
    const auto terminal = onTerminal({"remove", "--where", "site=Waseca"});
    terminal->readUntil("Remove 2 records? [y/N] ");
    terminal->type(keys);
    EXPECT_EQ(terminal->finish(), status);
    return terminal->rest();
  }
};

TEST_F(RecordctlTerminal, APasswordIsAskedForWithoutEcho) {
  controlAccess();
  const auto terminal = onTerminal({"list", "--user", "admin"});
  terminal->readUntil("Password of admin: ");
  EXPECT_FALSE(terminal->echoes());
  terminal->type("kEstrel-7731\n");
  EXPECT_EQ(terminal->finish(), 0);
  EXPECT_EQ(terminal->rest(), "\r\nrecordctl: no records\r\n");
  EXPECT_TRUE(terminal->echoes());
}

TEST_F(RecordctlTerminal, AChangeIsAskedFor) {
  importPlots();
  for (const auto& [keys, answer] : std::vector<std::pair<std::string, std::string>>{
           {"n\n", "recordctl: nothing was changed\r\n0 records changed\r\n"}, {"y\n", "2 records changed\r\n"}}) {
    const auto terminal = onTerminal({"set", "--where", "site=Waseca", "--category", "site=Duluth"});
    terminal->readUntil("Change 2 records? [y/N] ");
    terminal->type(keys);
    EXPECT_EQ(terminal->finish(), 0);
    EXPECT_TRUE(contains(terminal->rest(), answer)) << terminal->rest();
  }
  const auto terminal = onTerminal({"rename", "site", "place"});
  terminal->readUntil("Change 4 records? [y/N] ");
  terminal->type("y\n");
  EXPECT_EQ(terminal->finish(), 0);
  EXPECT_EQ(output({"count", "--where", "place=Duluth"}), "2\n");
}

TEST_F(RecordctlTerminal, AnInterruptAtThePasswordGivesTheEchoBack) {
  controlAccess();
  for (const int signal : {SIGINT, SIGTERM}) {
    const auto terminal = onTerminal({"list", "--user", "admin"});
    terminal->readUntil("Password of admin: ");
    EXPECT_FALSE(terminal->echoes());
    if (signal == SIGINT)
      terminal->type(interrupt);
    else
      terminal->signal(signal);
    EXPECT_EQ(terminal->finish(), 130);
    EXPECT_TRUE(contains(terminal->rest(), "recordctl: interrupted\r\n")) << terminal->rest();
    EXPECT_TRUE(terminal->echoes());
  }
}

TEST_F(RecordctlTerminal, EverySignalThatEndsThePasswordGivesTheEchoBack) {
  controlAccess();
  for (const int signal : {SIGHUP, SIGQUIT}) {
    const auto terminal = onTerminal({"list", "--user", "admin"});
    terminal->readUntil("Password of admin: ");
    EXPECT_FALSE(terminal->echoes());
    terminal->signal(signal);
    EXPECT_EQ(terminal->finish(), 128 + signal);
    EXPECT_TRUE(terminal->echoes()) << signal;
  }
}

TEST_F(RecordctlTerminal, APasswordWhoseTypingIsStoppedGivesTheEchoBackAndTakesItAgain) {
  controlAccess();
  const auto terminal = onTerminal({"list", "--user", "admin"});
  const auto echoesInTime = [&terminal](bool expected) {
    for (int i = 0; i < 3000 && terminal->echoes() != expected; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return terminal->echoes() == expected;
  };
  terminal->readUntil("Password of admin: ");
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(echoesInTime(false));
    terminal->signal(SIGTSTP);
    EXPECT_TRUE(echoesInTime(true));
    terminal->signal(SIGCONT);
    terminal->readUntil("Password of admin: ");
  }
  EXPECT_TRUE(echoesInTime(false));
  terminal->type("kEstrel-7731\n");
  EXPECT_EQ(terminal->finish(), 0);
  EXPECT_TRUE(terminal->echoes());
}

TEST_F(RecordctlTerminal, ANewPasswordIsAskedForTwice) {
  const auto add = [this](const std::string& second) {
    const auto terminal = onTerminal({"users", "add", "ann", "--role", "read:experiment", "--yes"});
    terminal->readUntil("New password of ann: ");
    EXPECT_FALSE(terminal->echoes());
    terminal->type("kEstrel-1\n");
    terminal->readUntil("The same again: ");
    EXPECT_FALSE(terminal->echoes());
    terminal->type(second);
    const int status = terminal->finish();
    EXPECT_FALSE(contains(terminal->rest(), "kEstrel")) << terminal->rest();
    return status;
  };
  output({"init"});
  EXPECT_EQ(add("kEstrel-2\n"), 2);
  EXPECT_EQ(run({"users", "show", "ann"}).status, 1);
  EXPECT_EQ(add("kEstrel-1\n"), 0);
  EXPECT_EQ(run({"users", "show", "ann"}).status, 0);
}

TEST_F(RecordctlTerminal, AddingAUserWhereAccessIsNotControlledAsks) {
  output({"init"});
  const auto add = [this](const std::string& answer) {
    const auto terminal = onTerminal(
        {"users", "add", "ann", "--role", "read:experiment", "--new-password-file", file("ann", "kEstrel-1")});
    EXPECT_TRUE(contains(terminal->readUntil("Add the user all the same? [y/N] "), "is not controlled"));
    terminal->type(answer);
    EXPECT_EQ(terminal->finish(), 0);
    return terminal->rest();
  };
  EXPECT_TRUE(contains(add("n\n"), "nothing was done"));
  EXPECT_EQ(run({"users", "show", "ann"}).status, 1);
  add("y\n");
  EXPECT_EQ(run({"users", "show", "ann"}).status, 0);
}

TEST_F(RecordctlTerminal, AnInterruptWhileABlockIsTypedStoresNothing) {
  output({"init"});
  const auto terminal = onTerminal({"settings", "set", "ann", "layout"});
  terminal->readUntil("ends it\r\n");
  terminal->type("{\"a\": 1}\n");
  terminal->readUntil("1}\r\n");
  terminal->type(interrupt);
  EXPECT_EQ(terminal->finish(), 130);
  EXPECT_EQ(run({"settings", "get", "ann", "layout"}).status, 1);
}

TEST_F(RecordctlTerminal, ABlockIsTypedUpToTheEndOfInput) {
  const auto terminal = onTerminal({"settings", "set", "ann", "layout"});
  terminal->readUntil("ends it\r\n");
  terminal->type(std::string("{\"a\": 1}\n") + endOfInput);
  EXPECT_EQ(terminal->finish(), 0);
  EXPECT_EQ(output({"settings", "get", "ann", "layout"}), "{\"a\": 1}\n");
}

TEST_F(RecordctlTerminal, ATableHasAHeadingInBoldAndFitsTheWidth) {
  importPlots();
  const std::string table = shown({"list"}, 40);
  EXPECT_TRUE(contains(table, "\x1b[1mid                        site    ")) << table;
  EXPECT_TRUE(contains(table, "\u2026")) << table;
  std::istringstream lines(withoutIds(shown({"list", "--columns", "site,variety"}, 40)));
  std::string line;
  for (const char* expected : {"\x1b[1msite    variety\r", "\x1b[0mWaseca  Trebi\r", "Waseca  No. 457\r"}) {
    std::getline(lines, line);
    EXPECT_EQ(line, expected);
  }
}

TEST_F(RecordctlTerminal, ColoursAreLeftOutOnRequest) {
  importPlots();
  environment["NO_COLOR"] = "1";
  EXPECT_FALSE(contains(shown({"list"}), "\x1b"));
  environment["NO_COLOR"] = "";
  EXPECT_TRUE(contains(shown({"list"}), "\x1b[1m"));
}

TEST_F(RecordctlTerminal, RemovingAsksAndTakesOnlyAYes) {
  importPlots();
  for (const char* keys : {"n\n", "\n", "Yes!\n", endOfInput}) {
    EXPECT_TRUE(contains(removalAnswered(keys, 0), "recordctl: nothing was removed\r\n0 records removed\r\n")) << keys;
  }
  EXPECT_EQ(countRecords(), 4);
  EXPECT_TRUE(contains(removalAnswered("y\n", 0), "\r\n2 records removed\r\n"));
  EXPECT_EQ(countRecords(), 2);
}

TEST_F(RecordctlTerminal, AnInterruptAtTheQuestionRemovesNothing) {
  importPlots();
  removalAnswered(interrupt, 130);
  EXPECT_EQ(countRecords(), 4);
}

TEST_F(RecordctlTerminal, AnImportShowsABarWithRateAndTimeLeft) {
  output({"import", file("first.jsonl", "{}")});
  std::string rows = "no row\n";
  for (int i = 0; i < 2000; ++i) rows += "{\"n\": 1}\n";
  database_client::DataBaseClient other;
  ASSERT_TRUE(other.connect("", "file:" + path("store.db"), 0, "", ""));
  database_client::Transaction holding(other);
  const database_client::ObjectProperties one;
  std::string id;
  other.insert("experiment", "records", &one, id);
  const auto terminal = onTerminal({"import", file("rows.jsonl", rows), "--no-infer"});
  terminal->readUntil(":1: ");
  std::this_thread::sleep_for(std::chrono::milliseconds(250));  // a bar is not drawn before
  holding.commit();
  terminal->readUntil("\r\x1b[K[");
  EXPECT_TRUE(contains(terminal->readUntil(" left"), " records/s, "));
  EXPECT_EQ(terminal->finish(), 1);
  EXPECT_TRUE(contains(terminal->rest(), "\r\x1b[K2000 records imported, 1 row failed")) << terminal->rest();
}

TEST_F(RecordctlTerminal, AnInterruptWhileTheStoreIsAwaitedIsAnInterrupt) {
  output({"import", file("first.jsonl", "{}")});
  database_client::DataBaseClient other;
  ASSERT_TRUE(other.connect("", "file:" + path("store.db"), 0, "", ""));
  const database_client::Transaction holding(other);
  const database_client::ObjectProperties one;
  std::string id;
  other.insert("experiment", "records", &one, id);
  const auto terminal = onTerminal(
      {"import", "--store", "file:" + path("store.db") + "?timeout=2000", file("rows.jsonl", "no row\n{}\n")});
  terminal->readUntil(":1: ");
  terminal->type(interrupt);
  EXPECT_EQ(terminal->finish(), 130);
}

}  // namespace
