// What all commands that ask a ledger do alike.
#include <filesystem>

#include "support/queries.h"

namespace polaiga::engine::test {
namespace queries_test {

TEST_F(Queries, WhatNeverWas) {
  for (const char* command : {"history", "history --json", "explain", "explain --json"}) {
    const Ended got = ask(std::string(command) + " sys/rack-unit-1/psu-2/fault-F0378");
    EXPECT_EQ(got.status, 1) << command;
    EXPECT_EQ(got.out, "") << command;
    EXPECT_EQ(got.err, "The ledger has no history of sys/rack-unit-1/psu-2/fault-F0378.\n") << command;
  }
}

TEST_F(Queries, EmptyLedger) {
  const std::string path = shell_.dir().file("empty.db");
  write_ledger(path, {});
  const std::string option = " --ledger '" + path + "'";
  expect_answer("active" + option, "No faults are active.\n");
  expect_answer("active --json" + option, "");
  expect_answer("active --at 0" + option, "No faults are active.\n");
  expect_answer("history" + option, "No alarm was ever raised.\n");
  expect_answer("tail --no-follow" + option, "");
}

TEST_F(Queries, NoLedger) {
  const std::string missing = shell_.dir().file("missing.db");
  const std::string text = shell_.dir().write("text.db", "This is a text, and long enough to be read as one.\n");
  const std::string later = shell_.dir().file("later.db");
  write_ledger(later, {});
  Database(later, Access::kReadWriteCreate).exec("PRAGMA user_version = 99");
  const std::string foreign = shell_.dir().file("foreign.db");
  Database(foreign, Access::kReadWriteCreate).exec("CREATE TABLE t (x)");
  const std::pair<std::string, std::string> kRows[] = {
      {missing, ": there is no such ledger; "},
      {text, ": cannot open the ledger: file is not a database"},
      {later, ": this ledger is of version 99, "},
      {foreign, ": this is no ledger"},
      {shell_.dir().path().string(), ": this is a directory; --ledger names a file"},
  };
  for (const auto& [path, what] : kRows) {
    for (const char* command : {"active", "history", "explain x", "tail", "tail --no-follow"}) {
      expect_failure(std::string(command) + " --ledger '" + path + "'", "polaiga: " + path + what);
    }
  }
  EXPECT_FALSE(std::filesystem::exists(missing));
}

}  // namespace queries_test
}  // namespace polaiga::engine::test
