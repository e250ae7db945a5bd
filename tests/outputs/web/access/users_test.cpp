#include "access/users.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <stdexcept>

#include "access/password_hash.h"
#include "support/temp_dir.h"

namespace polaiga::web {
namespace users_test {

class UsersTest : public ::testing::Test {
 protected:
  static std::string complaint(const std::string& text) {
    try {
      parse_users(text, "users");
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  const std::string hash_ = hash_password("correct horse");
};

TEST_F(UsersTest, LinesAreRead) {
  const Users users = parse_users("# who may\n\nanna:operator:" + hash_ + "\nbob b:viewer:!", "users");
  ASSERT_EQ(users.size(), 2U);
  EXPECT_EQ(users.at("anna").role, Role::kOperator);
  EXPECT_EQ(users.at("anna").hash, hash_);
  EXPECT_EQ(users.at("bob b").role, Role::kViewer);
  EXPECT_EQ(users.at("bob b").hash, "");
  EXPECT_TRUE(parse_users("", "users").empty());
}

TEST_F(UsersTest, WhatIsWrongIsToldWithItsLineAndWithoutTheHash) {
  const std::pair<std::string, const char*> kRows[] = {
      {"\nanna", "users:2: it is not of the form name:role:hash"},
      {"anna:operator", "users:1: it is not of the form name:role:hash"},
      {":viewer:!", "users:1: the name has to be 1 to 64 bytes that can be shown, with no space at its ends"},
      {"a\tb:viewer:!", "users:1: the name has to be 1 to 64 bytes that can be shown, with no space at its ends"},
      {"anna:root:!", "users:1: the role is 'root'; it may be viewer or operator"},
      {"anna:nobody:!", "users:1: the role is 'nobody'; it may be viewer or operator"},
      {"anna:viewer:secret", "users:1: the hash is no yescrypt hash; set the password with: polaiga-web passwd"},
      {"anna:viewer:", "users:1: the hash is no yescrypt hash; set the password with: polaiga-web passwd"},
      {"anna:viewer:!\r\n", "users:1: the hash is no yescrypt hash; set the password with: polaiga-web passwd"},
      {"anna:viewer:!\nanna:operator:!", "users:2: there is a user 'anna' already"},
  };
  for (const auto& [text, what] : kRows) EXPECT_EQ(complaint(text), what) << text;
  std::string many;
  for (int i = 0; i <= 1000; ++i) many += "user" + std::to_string(i) + ":viewer:!\n";
  EXPECT_EQ(complaint(many), "users:1001: there are more than 1000 users");
}

TEST_F(UsersTest, AFileThatOthersMayReadIsRefused) {
  const engine::test::TempDir dir;
  const std::string path = dir.write("users", "anna:operator:" + hash_ + "\n");
  ::chmod(path.c_str(), 0600);
  EXPECT_TRUE(read_users(path).contains("anna"));
  ::chmod(path.c_str(), 0604);
  EXPECT_THROW(read_users(path), std::runtime_error);
}

TEST_F(UsersTest, OtherLinesStay) {
  const std::string text = "# who may\nanna:operator:!\n\nann:viewer:!";
  EXPECT_EQ(with_user(text, {.name = "bob", .role = Role::kViewer, .hash = hash_}),
            "# who may\nanna:operator:!\n\nann:viewer:!\nbob:viewer:" + hash_ + "\n");
  EXPECT_EQ(with_user(text, {.name = "anna", .role = Role::kViewer, .hash = ""}),
            "# who may\nanna:viewer:!\n\nann:viewer:!\n");
  EXPECT_EQ(with_user("", {.name = "anna", .role = Role::kViewer, .hash = ""}), "anna:viewer:!\n");
  EXPECT_EQ(without_user(text, "anna"), "# who may\n\nann:viewer:!\n");
  EXPECT_EQ(without_user(text, "an"), text + "\n");
}

TEST_F(UsersTest, RolesHaveNames) {
  EXPECT_EQ(find_role("viewer"), Role::kViewer);
  EXPECT_EQ(find_role("operator"), Role::kOperator);
  EXPECT_EQ(find_role("nobody"), std::nullopt);
  EXPECT_EQ(find_role(""), std::nullopt);
}

}  // namespace users_test
}  // namespace polaiga::web
