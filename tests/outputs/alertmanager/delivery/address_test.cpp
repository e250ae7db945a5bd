#include "delivery/address.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace polaiga::alertmanager {
namespace address_test {

struct Good {
  const char* text;
  const char* url;
  const char* peer;
};

TEST(AddressTest, TheseAreTaken) {
  for (const Good& one : {
           Good{"http://h", "http://h", "http://h"},
           Good{"http://h/", "http://h", "http://h"},
           Good{"http://127.0.0.1:9093", "http://127.0.0.1:9093", "http://127.0.0.1:9093"},
           Good{"https://am.example:443/prefix//", "https://am.example:443/prefix", "https://am.example:443/prefix"},
           Good{"https://[::1]:9093/a%20b", "https://[::1]:9093/a%20b", "https://[::1]:9093/a%20b"},
           Good{"http://[fe80::1]", "http://[fe80::1]", "http://[fe80::1]"},
       }) {
    const Address address = parse_address(one.text, Query::kRefused);
    EXPECT_EQ(address.url, one.url) << one.text;
    EXPECT_EQ(address.peer, one.peer) << one.text;
    EXPECT_EQ(address.is_secure, std::string_view(one.text).starts_with("https")) << one.text;
  }
}

TEST(AddressTest, ParametersAreNotShown) {
  const Address address = parse_address("https://h/hook/?token=secret&a=b", Query::kAllowed);
  EXPECT_EQ(address.url, "https://h/hook/?token=secret&a=b");
  EXPECT_EQ(address.peer, "https://h/hook");
}

TEST(AddressTest, TheseAreRefused) {
  struct Bad {
    std::string text;
    const char* why;
  };
  const std::vector<Bad> all = {
      {"", "begins with http:// or https://"},
      {"h:9093", "begins with http:// or https://"},
      {"ftp://h", "begins with http:// or https://"},
      {"HTTP://h", "begins with http:// or https://"},
      {"http:///path", "no host"},
      {"http://:9093", "no host"},
      {"http://user:pw@h", "must not hold a user"},
      {"http://h/?token=1", "part behind ?"},
      {"http://h/#x", "part behind #"},
      {"http://h:0", "from 1 to 65535"},
      {"http://h:", "from 1 to 65535"},
      {"http://h:65536", "from 1 to 65535"},
      {"http://h:9093x", "from 1 to 65535"},
      {"http://h:-1", "from 1 to 65535"},
      {"http://[::1", "no IPv6"},
      {"http://[]", "no IPv6"},
      {"http://[::g]", "no IPv6"},
      {"http://[::1]9093", "behind an address in brackets"},
      {"http://h ost", "without blanks"},
      {"http://h\n", "without blanks"},
      {"http://h\\@evil", "must not hold a user"},
      {"http://h\\x", "a host consists of"},
      {"http://m\xc3\xbcnchen", "without blanks"},
      {"http://h/%2", "two hexadecimal digits"},
      {"http://h/%zz", "two hexadecimal digits"},
      {"http://h/{}", "a path consists of"},
      {"http://h/a@b", "a path consists of"},
      {"http://" + std::string(2048, 'a'), "at most 2048 bytes"},
  };
  for (const Bad& one : all) {
    try {
      parse_address(one.text, Query::kRefused);
      ADD_FAILURE() << one.text << " was taken";
    } catch (const std::runtime_error& error) {
      EXPECT_NE(std::string(error.what()).find(one.why), std::string::npos) << one.text << ": " << error.what();
      EXPECT_EQ(std::string(error.what()).find("pw"), std::string::npos);
    }
  }
}

// The digests are those of sha256sum.
TEST(AddressTest, ThePublisherIsNamedByTheUrl) {
  EXPECT_EQ(publisher_name("alertmanager", parse_address("http://127.0.0.1:9093", Query::kRefused)),
            "alertmanager-138c1373f6b0");
  EXPECT_EQ(publisher_name("alertmanager", parse_address("http://127.0.0.1:9093/", Query::kRefused)),
            "alertmanager-138c1373f6b0");
  EXPECT_EQ(publisher_name("webhook", parse_address("https://h/hook?a=b", Query::kAllowed)), "webhook-37f22d84d39f");
}

}  // namespace address_test
}  // namespace polaiga::alertmanager
