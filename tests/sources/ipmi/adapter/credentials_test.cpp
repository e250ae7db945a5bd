#include "adapter/credentials.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "support/temp_dir.h"

namespace polaiga::ipmi {
namespace credentials_test {

class CredentialsTest : public ::testing::Test {
 protected:
  ~CredentialsTest() override { ::unsetenv("CREDENTIALS_DIRECTORY"); }

  std::string write(const std::string& name, const std::string& text, mode_t mode = 0600) {
    std::string path = dir_.write(name, text);
    ::chmod(path.c_str(), mode);
    return path;
  }
  void credential(const std::string& text, mode_t mode = 0600) {
    write("server", text, mode);
    ::setenv("CREDENTIALS_DIRECTORY", dir_.path().c_str(), 1);
  }
  std::string complaint() const {
    try {
      find_access(options_);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  engine::test::TempDir dir_;
  Options options_;
};

TEST_F(CredentialsTest, AFileWithThePasswordAlone) {
  options_.target = "192.0.2.7:9001";
  options_.user = "watch";
  for (const auto& [text, password] :
       {std::pair{"secret\n", "secret"}, {"secret", "secret"}, {"a = b \n\n", "a = b \n"}, {"", ""}}) {
    options_.password_file = write("password", text);
    const Access access = find_access(options_);
    EXPECT_EQ(access.password, password);
    EXPECT_EQ(access.name(), "192.0.2.7:9001");
    EXPECT_EQ(access.user, "watch");
    EXPECT_EQ(access.cipher, 3);
  }
}

TEST_F(CredentialsTest, TheServiceManagersCredential) {
  credential(
      "# first rack\n\ntarget=192.0.2.7\r\nuser=watch\n \npassword=a=b#c \ncipher=17\nworkaround=one\nworkaround=two");
  const Access access = find_access(options_);
  EXPECT_EQ(access.target, "192.0.2.7");
  EXPECT_EQ(access.user, "watch");
  EXPECT_EQ(access.password, "a=b#c ");
  EXPECT_EQ(access.cipher, 17);
  EXPECT_EQ(access.workarounds, (std::vector<std::string>{"one", "two"}));
}

TEST_F(CredentialsTest, OptionsCountForMore) {
  credential("target=192.0.2.7\nuser=watch\npassword=of the credential\ncipher=17\nworkaround=one\n");
  options_.target = "192.0.2.8";
  options_.user = "other";
  options_.cipher = 3;
  options_.workarounds = {"two"};
  options_.password_file = write("password", "of the file");
  const Access access = find_access(options_);
  EXPECT_EQ(access.target, "192.0.2.8");
  EXPECT_EQ(access.user, "other");
  EXPECT_EQ(access.password, "of the file");
  EXPECT_EQ(access.cipher, 3);
  EXPECT_EQ(access.workarounds, (std::vector<std::string>{"two"}));
}

TEST_F(CredentialsTest, ADeviceNeedsNoTarget) {
  credential("target=192.0.2.7\n");
  options_.device = "/dev/ipmi0";
  EXPECT_EQ(find_access(options_).name(), "/dev/ipmi0");
  EXPECT_EQ(find_access(options_).target, "");
}

TEST_F(CredentialsTest, WhatIsWrongIsSaidWithoutTheSecret) {
  const std::string file = "'" + dir_.file("server") + "', line ";
  for (const auto& [text, what] :
       {std::pair{"target=a\nsecret\n", "2: there is no =; write NAME=VALUE, as in target=192.0.2.7"},
        {"pasword=secret\n", "1: what is before the = is none of target, user, password, cipher and workaround"},
        {"target=a\npassword=secret\ncipher=4\n", "3: cipher is neither 3 nor 17"}}) {
    credential(text);
    EXPECT_EQ(complaint(), file + what);
  }
  credential("user=watch\npassword=secret\n");
  EXPECT_EQ(complaint(),
            "give a controller with --target or --device, or in the credential `server` of the service manager");
}

TEST_F(CredentialsTest, FilesThatOthersMayReadAreRefused) {
  credential("target=a\n", 0644);
  EXPECT_NE(complaint().find("may be read or changed by others"), std::string::npos);
  credential("target=a\n");
  options_.password_file = write("password", "secret", 0604);
  EXPECT_NE(complaint().find("may be read or changed by others"), std::string::npos);
  options_.password_file = dir_.file("none");
  EXPECT_NE(complaint().find("cannot read the password file"), std::string::npos);
}

}  // namespace credentials_test
}  // namespace polaiga::ipmi
