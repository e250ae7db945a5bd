#include "access/origin.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace origin_test {

TEST(OriginTest, RequestsOfOtherSitesAreTold) {
  const struct {
    const char* origin;
    const char* fetch_site;
    const char* host;
    bool is_other;
  } kRows[] = {
      {"", "", "a:80", false},  // a program
      {"http://a:80", "", "a:80", false},
      {"https://a", "", "a", false},
      {"https://A.Example", "same-origin", "a.example", false},
      {"http://[::1]:80", "", "[::1]:80", false},
      {"http://b", "", "a", true},
      {"http://a.b", "", "a", true},
      {"http://a:81", "", "a:80", true},
      {"http://a", "", "", true},
      {"http://", "", "", true},
      {"ftp://a", "", "a", true},
      {"a", "", "a", true},
      {"http://a, http://b", "", "a", true},
      {"null", "", "a", true},
      {"null", "none", "a", true},
      {"null", "same-origin", "a", false},  // a form of a page that sends no referrer
      {"http://b", "same-origin", "a", true},
      {"", "same-origin", "a", false},
      {"", "none", "a", false},
      {"", "same-site", "a", true},
      {"", "cross-site", "a", true},
      {"http://a", "cross-site", "a", true},
  };
  for (const auto& [origin, fetch_site, host, is_other] : kRows) {
    EXPECT_EQ(is_from_other_site(origin, fetch_site, host), is_other) << origin << " " << fetch_site << " " << host;
  }
}

}  // namespace origin_test
}  // namespace polaiga::web
