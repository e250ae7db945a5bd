#include "access/forwarded.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace forwarded_test {

TEST(ForwardedTest, TheLastAddressIsTheOneThatTheProxyHasSeen) {
  const std::pair<std::string_view, const char*> kRows[] = {
      {"192.0.2.1", "192.0.2.1"},
      {"198.51.100.7, 192.0.2.1", "192.0.2.1"},
      {"anything, 192.0.2.1 ", "192.0.2.1"},
      {"192.0.2.1,2001:db8::1", "2001:db8::1"},
      {"", ""},
      {"192.0.2.1,", ""},
      {"192.0.2.1, unknown", ""},
      {"192.0.2", ""},
      {"192.0.2.1:8080", ""},
      {"[2001:db8::1]", ""},
      {std::string_view("192.0.2.1\0x", 11), ""},
  };
  for (const auto& [header, address] : kRows) EXPECT_EQ(forwarded_address(header), address) << header;
}

}  // namespace forwarded_test
}  // namespace polaiga::web
