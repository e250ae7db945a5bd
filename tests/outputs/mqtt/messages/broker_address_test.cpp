#include "messages/broker_address.h"

#include <gtest/gtest.h>

#include <vector>

namespace polaiga::mqtt {
namespace broker_address_test {

struct Case {
  std::string text;
  std::string host;        // empty: it is none
  std::uint16_t port = 0;  // 0: none is given
};

TEST(BrokerAddress, Forms) {
  const std::vector<Case> cases{
      {"mqtt.example", "mqtt.example"},
      {"mqtt.example:8883", "mqtt.example", 8883},
      {"192.0.2.7:1", "192.0.2.7", 1},
      {"h:65535", "h", 65535},
      {"2001:db8::7", "2001:db8::7"},
      {"::1", "::1"},
      {"[2001:db8::7]", "2001:db8::7"},
      {"[2001:db8::7]:1884", "2001:db8::7", 1884},
      {"fe80::1%eth0", "fe80::1%eth0"},
      {"", ""},
      {":1883", ""},
      {"h:", ""},
      {"h:0", ""},
      {"h:01", ""},
      {"h:65536", ""},
      {"h:-1", ""},
      {"h:18x", ""},
      {"[::1", ""},
      {"[::1]x", ""},
      {"[::1]:", ""},
      {"[host]:1", ""},
      {"-h", ""},
      {"a b", ""},
      {"user@h", ""},
      {"mqtt://h", ""},
      {std::string(254, 'h'), ""},
  };
  for (const Case& one : cases) {
    const auto found = parse_broker_address(one.text);
    ASSERT_EQ(found.has_value(), !one.host.empty()) << one.text;
    if (!found) continue;
    EXPECT_EQ(found->host, one.host) << one.text;
    EXPECT_EQ(found->port.value_or(0), one.port) << one.text;
  }
}

TEST(BrokerAddress, IsShownWithItsPort) {
  EXPECT_EQ(parse_broker_address("h")->text(1883), "h:1883");
  EXPECT_EQ(parse_broker_address("h:7")->text(1883), "h:7");
  EXPECT_EQ(parse_broker_address("::1")->text(8883), "[::1]:8883");
}

}  // namespace broker_address_test
}  // namespace polaiga::mqtt
