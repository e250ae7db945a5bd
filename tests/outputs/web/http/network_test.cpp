#include "http/network.h"

#include <gtest/gtest.h>

#include <utility>

namespace polaiga::web {
namespace network_test {

TEST(NetworkTest, OnePersonHasAllAddressesOfANetwork) {
  const std::pair<const char*, const char*> kRows[] = {
      {"192.0.2.7", "192.0.2.7"},
      {"2001:db8:1:2:3:4:5:6", "2001:db8:1:2::"},
      {"2001:db8:1:2:ffff::1", "2001:db8:1:2::"},
      {"2001:db8::1", "2001:db8::"},
      {"::1", "::"},
      {"::ffff:192.0.2.7", "192.0.2.7"},
      {"::ffff:c000:208", "192.0.2.8"},
      {"user 33", "user 33"},
      {"", ""},
  };
  for (const auto& [address, network] : kRows) EXPECT_EQ(network_of(address), network) << address;
}

}  // namespace network_test
}  // namespace polaiga::web
