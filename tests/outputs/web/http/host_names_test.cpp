#include "http/host_names.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace polaiga::web {
namespace host_names_test {

TEST(HostOfTest, TheHostIsReadFromTheHeader) {
  const struct {
    const char* header;
    const char* host;
  } kRows[] = {
      {"localhost", "localhost"},
      {"LocalHost:8080", "localhost"},
      {"localhost.", "localhost"},
      {"localhost.:80", "localhost"},
      {"localhost:", "localhost"},
      {"127.0.0.1:65535", "127.0.0.1"},
      {"[::1]", "::1"},
      {"[0:0:0:0:0:0:0:1]:8080", "0:0:0:0:0:0:0:1"},
      {"xn--bcher-kva.example", "xn--bcher-kva.example"},
  };
  for (const auto& [header, host] : kRows) EXPECT_EQ(host_of(header), host) << header;
}

TEST(HostOfTest, WhatIsNotWellFormedIsNone) {
  for (const std::string header :
       {"",         ".",   ":80",  "a b",    "a, b", "a/b", "user@a",      "a:80:90", "a:http", "a:-1",
        "a:123456", "::1", "[::1", "[::1]x", "[a]",  "[]",  "[127.0.0.1]", "a\tb",    "\xff",   "<a>"}) {
    EXPECT_FALSE(host_of(header)) << header;
  }
  EXPECT_TRUE(host_of(std::string(253, 'a')));
  EXPECT_FALSE(host_of(std::string(254, 'a')));
}

Peer over_tcp() {
  Peer peer;
  peer.address = "127.0.0.1";
  return peer;
}

Peer over_tls() {
  Peer peer;
  peer.address = "192.0.2.7";
  peer.is_encrypted = true;
  return peer;
}

Peer at_socket() {
  Peer peer;
  peer.user = 1000;
  return peer;
}

class HostNamesTest : public ::testing::Test {
 protected:
  // The status of the refusal; 0: none.
  static int refused(const HostNames& names, const std::string& host, const Peer& peer = over_tcp()) {
    Request request;
    request.headers = {{"host", host}};
    request.peer = peer;
    const auto response = names.refuse(request);
    return response ? response->status : 0;
  }
};

TEST_F(HostNamesTest, OnlyNamesOfThisMachineAreRight) {
  const HostNames names({"Alarms.Example", "[2001:DB8::1]", "192.0.2.1"});
  const struct {
    const char* host;
    int refused;
  } kRows[] = {
      {"localhost", 0},
      {"localhost:8080", 0},
      {"127.0.0.1:8080", 0},
      {"127.1.2.3", 0},
      {"[::1]:8080", 0},
      {"[0::1]", 0},
      {"alarms.example:8080", 0},
      {"ALARMS.example.", 0},
      {"[2001:db8::1]", 0},
      {"192.0.2.1:80", 0},
      {"evil.example", 421},
      {"alarms.example.evil.example", 421},
      {"localhost.evil.example:8080", 421},
      {"127.0.0.1.evil.example", 421},
      {"10.0.0.1", 421},
      {"128.0.0.1", 421},
      {"[::2]", 421},
      {"0.0.0.0", 421},
      {"2130706433", 421},
      {"a b", 400},
      {"", 400},
  };
  for (const auto& [host, status] : kRows) EXPECT_EQ(refused(names, host), status) << host;
  EXPECT_EQ(refused(HostNames(), "alarms.example"), 421);
}

TEST_F(HostNamesTest, WhereNoPageOfAnotherSiteCanComeFromAnyNameIsRight) {
  EXPECT_EQ(refused(HostNames(), "evil.example", at_socket()), 0);
  EXPECT_EQ(refused(HostNames(), "evil.example", over_tls()), 0);
  EXPECT_EQ(refused(HostNames(), "a b", at_socket()), 400);
  Request none;
  none.peer.address = "127.0.0.1";
  EXPECT_FALSE(HostNames().refuse(none)) << "HTTP/1.0 need not have the header";
}

TEST_F(HostNamesTest, TheRefusalSaysWhatToDo) {
  Request request;
  request.headers = {{"host", "alarms.example:8080"}};
  request.peer.address = "127.0.0.1";
  const auto response = HostNames().refuse(request);
  ASSERT_TRUE(response);
  EXPECT_NE(response->body->find("start it with --host alarms.example."), std::string::npos) << *response->body;
}

TEST_F(HostNamesTest, ANameWithAPortOrNoNameIsNoOption) {
  for (const char* name : {"", "a:80", "[::1]:80", "a b", "http://a", "::1", "a:"}) {
    EXPECT_THROW(HostNames({name}), std::runtime_error) << name;
  }
}

}  // namespace host_names_test
}  // namespace polaiga::web
