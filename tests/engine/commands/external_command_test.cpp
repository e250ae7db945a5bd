// `polaiga NAME ...` runs the program polaiga-NAME: which one, with which arguments, and what comes back.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "support/program.h"

namespace polaiga::engine::test {
namespace external_command_test {

// A copy of the program, in a directory of its own where it finds its library, beside programs that a test makes.
class ExternalCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(run("mkdir -p bin path tools && cp \"$POLAIGA\" bin/polaiga && "
                  "ln -s \"$(dirname \"$POLAIGA\")/../lib\" lib && "
                  "ln -s \"$(command -v grep)\" \"$(command -v ls)\" tools")
                  .status,
              0);
  }

  Ended run(const std::string& command) const {
    return shell_.run("cd '" + shell_.dir().path().string() + "' && " + command);
  }

  // PATH has the directory `path`, and `tools` with what the programs of these tests call. It has none of the machine's
  // directories, where programs may be installed that would be listed, too.
  Ended polaiga(const std::string& arguments) const {
    return run("PATH=$PWD/path:$PWD/tools bin/polaiga " + arguments);
  }

  void make_program(const std::string& name, const std::string& body, const char* mode = "755") const {
    ASSERT_EQ(
        run("cat >'" + name + "' <<'END'\n#!/bin/sh\n" + body + "\nEND\nchmod " + mode + " '" + name + "'").status, 0);
  }

  // The complaint about a command that is none.
  void expect_unknown(const std::string& arguments, const std::string& name, const std::string& programs = "") const {
    const Ended got = polaiga(arguments);
    EXPECT_EQ(got.status, 2) << arguments;
    EXPECT_EQ(got.out, "") << arguments;
    EXPECT_EQ(got.err,
              "polaiga: there is no command '" + name +
                  "'; the commands are replay, run, active, history, explain, tail, stats, missed, ack, "
                  "unack, close, comment, shelve, unshelve, maintain, maintenance, outputs, verify, catalog, diff" +
                  programs + "\nAll about it: polaiga --help\n")
        << arguments;
  }

  Shell shell_;
};

TEST_F(ExternalCommand, GetsTheArgumentsAsTheyAre) {
  make_program("bin/polaiga-hello", "printf '<%s>' \"$@\"");
  EXPECT_EQ(polaiga("hello --help -x '' 'two words' -- '[a]' --y=z \"$(printf 'a\\nb')\"").out,
            "<--help><-x><><two words><--><[a]><--y=z><a\nb>");
  make_program("bin/polaiga-count", "echo $#");
  EXPECT_EQ(polaiga("count").out, "0\n");
  EXPECT_EQ(polaiga("count '' ''").out, "2\n");
}

TEST_F(ExternalCommand, TheStatusComesBack) {
  make_program("bin/polaiga-fails", "echo out; echo complaint >&2; exit 77");
  const Ended got = polaiga("fails");
  EXPECT_EQ(got.status, 77);
  EXPECT_EQ(got.out, "out\n");
  EXPECT_EQ(got.err, "complaint\n");
}

// It takes the place of the process, so whoever waits for that, or sends it a signal, meets the program.
TEST_F(ExternalCommand, TakesThePlaceOfTheProcess) {
  make_program("bin/polaiga-pid", "echo $$");
  const std::string out = run("sh -c 'echo $$; exec bin/polaiga pid'").out;
  const std::size_t end = out.find('\n') + 1;
  ASSERT_GT(end, 1);
  EXPECT_EQ(out.substr(end), out.substr(0, end));

  make_program("bin/polaiga-killed", "kill -TERM $$");
  EXPECT_EQ(polaiga("killed").status, 128 + SIGTERM);
}

// The signals that polaiga ignores itself are not ignored for others, and a standard output that is closed stays it.
TEST_F(ExternalCommand, InheritsEverythingAsItIs) {
  make_program("bin/polaiga-inherited", "grep -E '^Sig(Ign|Blk|Cgt)' /proc/self/status; ls /proc/self/fd");
  const Ended direct = run("bin/polaiga-inherited");
  EXPECT_EQ(polaiga("inherited").out, direct.out);
  EXPECT_EQ(direct.out.rfind("SigBlk:", 0), 0) << direct.out;

  make_program("bin/polaiga-complains", "echo no output needed >&2");
  const Ended closed = polaiga("complains >&-");
  EXPECT_EQ(closed.status, 0);
  EXPECT_EQ(closed.err, "no output needed\n");
}

TEST_F(ExternalCommand, TheOneBesideComesFirstThenThoseOfPath) {
  make_program("path/polaiga-where", "echo path: $0");
  EXPECT_EQ(polaiga("where").out, "path: " + shell_.dir().path().string() + "/path/polaiga-where\n");
  make_program("bin/polaiga-where", "echo beside: $0");
  EXPECT_EQ(polaiga("where").out, "beside: " + shell_.dir().path().string() + "/bin/polaiga-where\n");
  // A link to the program elsewhere: what is beside the program itself counts.
  EXPECT_EQ(run("mkdir linked && ln -s ../bin/polaiga linked/polaiga && PATH=$PWD/tools linked/polaiga where").out,
            "beside: " + shell_.dir().path().string() + "/bin/polaiga-where\n");
}

// An entry of PATH that is empty or relative leads to wherever the user happens to be.
TEST_F(ExternalCommand, WhereTheUserHappensToBeNothingIsRun) {
  make_program("polaiga-evil", "echo evil");
  for (const char* path : {".", "", ":/usr/bin", "/usr/bin:", "/usr/bin::/bin", "./", "../bin"}) {
    const Ended got = run("PATH='" + std::string(path) + "' bin/polaiga evil");
    EXPECT_EQ(got.status, 2) << path;
    EXPECT_EQ(got.out, "") << path;
  }
}

TEST_F(ExternalCommand, WhatCannotBeItsName) {
  make_program("bin/polaiga-hello", "echo hello");
  ASSERT_EQ(run("mkdir -p bin/polaiga-sub bin/polaiga-directory").status, 0);
  make_program("bin/polaiga-sub/program", "echo sub");
  make_program("bin/polaiga-text", "echo text", "644");
  make_program("bin/polaiga-", "echo empty");
  const std::string programs = ", and as programs of their own hello";
  expect_unknown("sub/program", "sub/program", programs);
  expect_unknown("../polaiga-hello", "../polaiga-hello", programs);
  expect_unknown("directory", "directory", programs);
  expect_unknown("text", "text", programs);
  expect_unknown("''", "", programs);
  expect_unknown("HELLO", "HELLO", programs);
  // Only the first argument is a name.
  EXPECT_EQ(polaiga("--version hello").out.rfind("polaiga ", 0), 0);
  EXPECT_EQ(polaiga("-- hello").status, 2);
}

TEST_F(ExternalCommand, NoCommandOfPolaigaIsReplaced) {
  make_program("bin/polaiga-active", "echo replaced");
  make_program("bin/polaiga-diff-worker", "echo replaced");  // which --help does not tell of
  EXPECT_EQ(polaiga("active --help").out.find("replaced"), std::string::npos);
  EXPECT_EQ(polaiga("diff-worker --bogus").out.find("replaced"), std::string::npos);
  EXPECT_EQ(polaiga("--help").out.find("Programs"), std::string::npos);
  expect_unknown("bogus", "bogus");
}

TEST_F(ExternalCommand, HelpAndComplaintsNameThem) {
  expect_unknown("bogus", "bogus");
  EXPECT_EQ(polaiga("--help").out.find("Programs"), std::string::npos);
  make_program("bin/polaiga-web", "exit 0");
  make_program("path/polaiga-snmp", "exit 0");
  make_program("path/polaiga-web", "exit 0");
  make_program("path/polaiga-no program\x1b[31m", "exit 0");
  make_program("path/polaiga-text", "exit 0", "644");
  expect_unknown("wbe", "wbe", ", and as programs of their own snmp, web");
  EXPECT_NE(polaiga("--help").out.find("\nPrograms of their own, with a --help of their own:\n  snmp\n  web\n\n"),
            std::string::npos);
  const Ended missing = polaiga("");
  EXPECT_EQ(missing.status, 2);
  EXPECT_NE(missing.err.find("diff, and as programs of their own snmp, web\n"), std::string::npos) << missing.err;
}

TEST_F(ExternalCommand, OneThatCannotBeRunIsTold) {
  ASSERT_EQ(run("printf 'echo no interpreter' >bin/polaiga-plain && chmod 755 bin/polaiga-plain").status, 0);
  const Ended got = polaiga("plain");
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.err,
            "polaiga: cannot run '" + shell_.dir().path().string() + "/bin/polaiga-plain': Exec format error\n");
}

}  // namespace external_command_test
}  // namespace polaiga::engine::test
