#include "amqp/settings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace polaiga::fleet {
namespace settings_test {

struct Case {
  std::string url;
  BrokerNode node;
};

TEST(BrokerUrl, Forms) {
  const std::vector<Case> cases{
      {"amqp://h", {.host = "h", .port = 5672}},
      {"amqps://h", {.host = "h", .port = 5671, .is_encrypted = true}},
      {"amqp://h/", {.host = "h", .port = 5672}},
      {"amqp://broker-1.example:5673", {.host = "broker-1.example", .port = 5673}},
      {"amqps://192.0.2.7:1/fleet", {.host = "192.0.2.7", .port = 1, .virtual_host = "fleet", .is_encrypted = true}},
      {"amqp://h:65535/%2F", {.host = "h", .port = 65535}},
      {"amqp://h/a%2fb%20c", {.host = "h", .port = 5672, .virtual_host = "a/b c"}},
      {"amqp://[2001:db8::7]", {.host = "2001:db8::7", .port = 5672}},
      {"amqp://[::1]:7/x", {.host = "::1", .port = 7, .virtual_host = "x"}},
  };
  for (const auto& [url, node] : cases) {
    const auto got = parse_broker_url(url);
    ASSERT_TRUE(got) << url;
    EXPECT_EQ(*got, node) << url;
  }
}

TEST(BrokerUrl, WhatIsNone) {
  for (const std::string url : {"",
                                "h",
                                "h:5672",
                                "http://h",
                                "AMQP://h",
                                "amqp:/h",
                                "amqp://",
                                "amqp:///vhost",
                                "amqp://:5672",
                                "amqp://h:",
                                "amqp://h:0",
                                "amqp://h:65536",
                                "amqp://h:-1",
                                "amqp://h:5672x",
                                "amqp://h:+1",
                                "amqp://a b",
                                "amqp://[::1",
                                "amqp://[]",
                                "amqp://[host]",
                                "amqp://[::1]x",
                                "amqp://::1",
                                "amqp://h/a/b",
                                "amqp://h/a?heartbeat=1",
                                "amqp://h/a#b",
                                "amqp://h/a b",
                                "amqp://h/%",
                                "amqp://h/%2",
                                "amqp://h/%2x",
                                "amqp://h/%00"}) {
    EXPECT_FALSE(parse_broker_url(url)) << url;
  }
}

TEST(BrokerUrl, UsersAndPasswordsDoNotBelongThere) {
  for (const std::string url : {"amqp://anna@h", "amqp://anna:secret@h", "amqp://anna:secret@h:5672/x",
                                "amqp://:secret@h", "amqps://anna:secret@[::1]"}) {
    EXPECT_FALSE(parse_broker_url(url)) << url;
  }
}

TEST(BrokerUrl, HostsHaveAtMost253Bytes) {
  EXPECT_TRUE(parse_broker_url("amqp://" + std::string(253, 'h')));
  EXPECT_FALSE(parse_broker_url("amqp://" + std::string(254, 'h')));
}

TEST(BrokerNode, IsShownWithItsPort) {
  EXPECT_EQ((BrokerNode{.host = "h", .port = 5672, .virtual_host = "x"}).text(), "h:5672");
  EXPECT_EQ((BrokerNode{.host = "::1", .port = 7}).text(), "[::1]:7");
}

}  // namespace settings_test
}  // namespace polaiga::fleet
