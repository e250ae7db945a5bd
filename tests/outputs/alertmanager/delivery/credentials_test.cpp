#include "delivery/credentials.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace polaiga::alertmanager {
namespace credentials_test {

Address at(const char* url) { return parse_address(url, Query::kAllowed); }

TEST(CredentialsTest, OneFileForAll) {
  const Credentials all("# comment\n\nuser=anna\r\npassword=a=b c\n", "file");
  const Credential& found = all.of(at("http://h"));
  EXPECT_EQ(found.user, "anna");
  EXPECT_EQ(found.password, "a=b c");
  EXPECT_EQ(found.token, "");
  EXPECT_TRUE(Credentials("", "file").of(at("http://h")).is_empty());
}

TEST(CredentialsTest, APeerHasItsOwn) {
  const Credentials all("token=one\nurl=https://h/\ntoken=two\nurl=https://open", "file");
  EXPECT_EQ(all.of(at("https://other")).token, "one");
  EXPECT_EQ(all.of(at("https://h")).token, "two");
  EXPECT_TRUE(all.of(at("https://open")).is_empty());
}

TEST(CredentialsTest, LinesThatAreForNoPeerAreFound) {
  const Credentials all("url=https://h/\ntoken=two\nurl=https://other/hook?key=s3cret\ntoken=three", "file");
  EXPECT_EQ(all.strangers({at("https://h"), at("https://other/hook?key=s3cret")}), std::vector<std::string>{});
  const std::vector<std::string> found = all.strangers({at("https://h")});
  ASSERT_EQ(found.size(), 1U);
  EXPECT_TRUE(found[0].starts_with("https://other")) << found[0];
  EXPECT_EQ(found[0].find("s3cret"), std::string::npos) << found[0];
}

TEST(CredentialsTest, WrongLinesAreNotRepeated) {
  struct Bad {
    const char* text;
    const char* why;
  };
  for (const Bad& one : {
           Bad{"s3cret", "line 1: there is no ="},
           Bad{"user=a\ns3cret=b", "line 2: what is before the = is none of"},
           Bad{"user=a\n", "a user needs a password"},
           Bad{"password=s3cret\n", "a user needs a password"},
           Bad{"user=a\npassword=s3cret\ntoken=s3cret\n", "a peer has either"},
           Bad{"token=\n", "nothing behind the ="},
           Bad{"token=a\ntoken=s3cret\n", "line 2: the same is said twice"},
           Bad{"token=s3\x01cret\n", "a control character"},
           Bad{"user=a:b\npassword=s3cret", "a colon"},
           Bad{"url=http://a:s3cret@h\n", "must not hold a user"},
           Bad{"url=http://h\nurl=http://h/\n", "line 2: there is a line with this URL before it"},
       }) {
    try {
      const Credentials all(one.text, "the.file");
      ADD_FAILURE() << one.text << " was taken";
    } catch (const std::runtime_error& error) {
      const std::string what = error.what();
      EXPECT_NE(what.find(one.why), std::string::npos) << what;
      EXPECT_NE(what.find("'the.file'"), std::string::npos) << what;
      EXPECT_EQ(what.find("cret"), std::string::npos) << what;
    }
  }
  EXPECT_THROW(Credentials("token=" + std::string(5000, 'a'), "file"), std::runtime_error);
}

}  // namespace credentials_test
}  // namespace polaiga::alertmanager
