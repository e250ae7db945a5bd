// `polaiga-web passwd`, at a terminal and without one.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "access/password_hash.h"
#include "access/users.h"
#include "support/web.h"

namespace polaiga::web::test {
namespace passwd_test {

using engine::test::Ended;

class PasswdTest : public ::testing::Test {
 protected:
  std::string users() const { return shell_.dir().file("users"); }
  Ended passwd(const std::string& arguments, const std::string& input = "") const {
    return shell_.run(POLAIGA_WEB " passwd --users " + users() + " " + arguments, input);
  }
  User user(const std::string& name) const { return read_users(users()).at(name); }
  // With what a person does at the terminal, step by step.
  Ended at_terminal(const std::string& steps) const {
    return shell_.run("python3 " POLAIGA_SOURCE_DIR "/tests/outputs/web/support/at_terminal.py '" + steps +
                      "' " POLAIGA_WEB " passwd --users " + users() + " anna");
  }

  Shell shell_;
};

TEST_F(PasswdTest, AUserIsAdded) {
  const std::string done =
      "'anna' is a user with the role viewer. A server that runs takes it over at 'systemctl reload polaiga-web' or "
      "the "
      "signal SIGHUP.\n";
  ASSERT_EQ(::getuid(), 0U) << "this test acts as root; run it as root";
  const Ended ended = passwd("anna", "correct horse\n");
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.out, done +
                           "The new file belongs to root; a server that runs as another user cannot read it before you "
                           "type: chown USER '" +
                           users() + "'\n");
  EXPECT_EQ(passwd("--keep-password anna").out, done) << "the file is not new";
  EXPECT_EQ(ended.err, "");
  EXPECT_EQ(user("anna").role, Role::kViewer);
  EXPECT_EQ(PasswordChecker().check("correct horse", user("anna").hash), PasswordChecker::Verdict::kRight);
  struct stat status = {};
  ASSERT_EQ(::stat(users().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(PasswdTest, AUserIsChangedAndOthersStay) {
  ASSERT_EQ(passwd("--role operator anna", "correct horse").status, 0);
  ASSERT_EQ(passwd("bob", "correct horse").status, 0);
  const std::string before = user("anna").hash;
  const std::string of_bob = user("bob").hash;
  ASSERT_EQ(passwd("anna", "another horse").status, 0);
  EXPECT_NE(user("anna").hash, before);
  EXPECT_EQ(user("anna").role, Role::kOperator) << "the role stays";
  EXPECT_EQ(user("bob").hash, of_bob);
  const std::string after = user("anna").hash;
  ASSERT_EQ(passwd("--keep-password --role viewer anna").status, 0);
  EXPECT_EQ(user("anna").hash, after);
  EXPECT_EQ(user("anna").role, Role::kViewer);
  ASSERT_EQ(passwd("--no-password robot").status, 0);
  EXPECT_EQ(user("robot").hash, "");
  ASSERT_EQ(passwd("--delete anna").status, 0);
  EXPECT_FALSE(read_users(users()).contains("anna"));
  EXPECT_EQ(user("bob").hash, of_bob);
}

TEST_F(PasswdTest, WhatCannotBeDoneIsToldAndNothingChanges) {
  ASSERT_EQ(passwd("anna", "correct horse").status, 0);
  const std::string before = shell_.dir().read("users");
  const struct {
    const char* arguments;
    std::string input;
    const char* complaint;
  } kRows[] = {
      {"anna", "short", "polaiga: a password has 8 to 128 bytes of UTF-8 that can be shown\n"},
      {"anna", "", "polaiga: a password has 8 to 128 bytes of UTF-8 that can be shown\n"},
      {"anna", std::string(129, 'x'), "polaiga: a password has 8 to 128 bytes of UTF-8 that can be shown\n"},
      {"anna", "correct\thorse", "polaiga: a password has 8 to 128 bytes of UTF-8 that can be shown\n"},
      {"an:na", "correct horse",
       "polaiga: a name has 1 to 64 bytes of UTF-8 that can be shown, no colon, no # at its begin and no space at its "
       "ends\n"},
      {"--delete bob", "", "polaiga: there is no user 'bob'\n"},
      {"--keep-password bob", "", "polaiga: there is no user 'bob' whose password could stay\n"},
  };
  for (const auto& [arguments, input, complaint] : kRows) {
    const Ended ended = passwd(arguments, input);
    EXPECT_EQ(ended.status, 2) << arguments;
    EXPECT_EQ(ended.err, complaint);
    EXPECT_EQ(shell_.dir().read("users"), before);
  }
  EXPECT_EQ(passwd("--role root anna", "correct horse").status, 2);
  EXPECT_EQ(passwd("--delete --no-password anna").status, 2);
  EXPECT_EQ(passwd("anna 'correct horse'").status, 2) << "a password is no argument";
  EXPECT_EQ(shell_.dir().read("users"), before);
}

TEST_F(PasswdTest, NobodyTypesAPasswordForNothing) {
  const std::string directory = shell_.dir().file("none");
  const Ended ended = shell_.run("python3 " POLAIGA_SOURCE_DIR
                                 "/tests/outputs/web/support/at_terminal.py 'end:2' " POLAIGA_WEB " passwd --users " +
                                 directory + "/users anna");
  EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
  EXPECT_EQ(ended.out.find("New password"), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find("cannot make a file in the directory '" + directory +
                           "': No such file or directory; type: mkdir -p '" + directory + "'"),
            std::string::npos)
      << ended.out;
}

TEST_F(PasswdTest, AFileThatIsWrongStays) {
  shell_.dir().write("users", "anna\n");
  ASSERT_EQ(::chmod(users().c_str(), 0600), 0);
  EXPECT_EQ(passwd("bob", "correct horse").err, "polaiga: " + users() + ":1: it is not of the form name:role:hash\n");
  EXPECT_EQ(shell_.dir().read("users"), "anna\n");
  ASSERT_EQ(::chmod(users().c_str(), 0644), 0);
  EXPECT_NE(passwd("bob", "correct horse").err.find("type: chmod 600"), std::string::npos);
}

TEST_F(PasswdTest, ManyAtOnceLoseNothing) {
  std::string command;
  for (int i = 0; i < 8; ++i) {
    command += "echo 'correct horse' | " POLAIGA_WEB " passwd --users " + users() + " user" + std::to_string(i) + " & ";
  }
  EXPECT_EQ(shell_.run(command + "wait").err, "");
  EXPECT_EQ(read_users(users()).size(), 8U);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(shell_.dir().path()), {}), 4)
      << "the users, and the files of the test itself";
}

TEST_F(PasswdTest, ATerminalShowsNoPassword) {
  const Ended ended = at_terminal(
      "wait:New password of anna: |hidden|type:correct horse|wait:The same again: |hidden|"
      "type:correct horse|end:0|shown");
  EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
  EXPECT_EQ(ended.out.find("correct horse"), std::string::npos) << ended.out;
  EXPECT_EQ(PasswordChecker().check("correct horse", user("anna").hash), PasswordChecker::Verdict::kRight);
}

TEST_F(PasswdTest, AtATerminalBothHaveToBeTheSame) {
  const Ended ended = at_terminal(
      "wait:New password of anna: |type:correct horse|wait:The same again: |"
      "type:correct hors|wait:the two passwords are not the same|end:2|shown");
  EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
  EXPECT_FALSE(std::filesystem::exists(users()));
}

TEST_F(PasswdTest, AnInterruptLeavesATerminalThatShowsWhatIsTyped) {
  const Ended ended = at_terminal("wait:New password of anna: |hidden|key:3|end:130|shown");
  EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
  EXPECT_FALSE(std::filesystem::exists(users()));
}

}  // namespace passwd_test
}  // namespace polaiga::web::test
