#include "redfish/push_addresses.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <sys/resource.h>

#include <cstring>

namespace polaiga::web {
namespace push_addresses_test {

TEST(PushAddressesTest, AddressesThatAreMeantForThisMachineAloneAreRefused) {
  const std::pair<const char*, const char*> kRows[] = {
      {"127.0.0.1", "127.0.0.1 is an address of this machine"},
      {"127.255.255.254", "127.255.255.254 is an address of this machine"},
      {"0.0.0.0", "0.0.0.0 is an address of this machine"},
      {"[::1]", "::1 is an address of this machine"},
      {"::", ":: is an address of this machine"},
      {"169.254.169.254", "169.254.169.254 is an address of the link alone"},
      {"169.254.0.1", "169.254.0.1 is an address of the link alone"},
      {"[fe80::1]", "fe80::1 is an address of the link alone"},
      {"[febf::1]", "febf::1 is an address of the link alone"},
      {"100.100.100.200", "100.100.100.200 is an address of a service that tells a cloud's machines about themselves"},
      {"[fd00:ec2::254]", "fd00:ec2::254 is an address of a service that tells a cloud's machines about themselves"},
      // The same inside of addresses of IPv6.
      {"[::ffff:127.0.0.1]", "127.0.0.1 is an address of this machine"},
      {"[::ffff:169.254.169.254]", "169.254.169.254 is an address of the link alone"},
      {"[::127.0.0.1]", "127.0.0.1 is an address of this machine"},
      {"[64:ff9b::169.254.169.254]", "169.254.169.254 is an address of the link alone"},
      {"[64:ff9b:1::a9fe:a9fe]", "169.254.169.254 is an address of the link alone"},
      {"[2002:7f00:1::1]", "127.0.0.1 is an address of this machine"},
  };
  for (const auto& [host, why] : kRows) EXPECT_EQ(why_not_pushed_to(host), why) << host;
}

TEST(PushAddressesTest, OthersAreNot) {
  for (const char* const host : {"10.1.2.3", "192.168.200.17", "172.31.255.1", "203.0.113.9", "128.0.0.1",
                                 "169.253.1.1", "100.100.100.201", "[2001:db8::1]", "[fd00:ec2::253]", "[fec0::1]",
                                 "[::ffff:203.0.113.9]", "[64:ff9b::203.0.113.9]", "[2002:cb00:7109::1]"}) {
    EXPECT_EQ(why_not_pushed_to(host), "") << host;
  }
}

TEST(PushAddressesTest, NamesAreLookedAtWhenAConnectionIsMade) {
  EXPECT_EQ(why_not_pushed_to("localhost"), "");
  EXPECT_EQ(why_not_pushed_to(""), "");
}

TEST(PushAddressesTest, TheMachinesOwnAddressesAreRefused) {
  ifaddrs* list = nullptr;
  ASSERT_EQ(::getifaddrs(&list), 0);
  std::size_t count = 0;
  for (const ifaddrs* one = list; one != nullptr; one = one->ifa_next) {
    if (one->ifa_addr == nullptr || (one->ifa_addr->sa_family != AF_INET && one->ifa_addr->sa_family != AF_INET6))
      continue;
    EXPECT_NE(why_not_pushed_to(*one->ifa_addr), "") << one->ifa_name;
    ++count;
  }
  ::freeifaddrs(list);
  EXPECT_GE(count, 1U);
}

TEST(PushAddressesTest, NoneIsTakenWhenTheMachinesOwnCannotBeListed) {
  rlimit limit = {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  const std::string why = why_not_pushed_to("203.0.113.9");
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_NE(why, "");
}

TEST(PushAddressesTest, WhatIsNoInternetAddressIsRefused) {
  sockaddr address = {};
  address.sa_family = AF_UNIX;
  EXPECT_EQ(why_not_pushed_to(address), "It is no internet address");
}

}  // namespace push_addresses_test
}  // namespace polaiga::web
