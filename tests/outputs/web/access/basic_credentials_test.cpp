#include "access/basic_credentials.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace basic_credentials_test {

TEST(BasicCredentialsTest, NameAndPasswordAreRead) {
  const struct {
    const char* header;
    const char* name;
    const char* password;
  } kRows[] = {
      {"Basic YW5uYTpjb3JyZWN0IGhvcnNl", "anna", "correct horse"},
      {"basic YW5uYTpjb3JyZWN0IGhvcnNl", "anna", "correct horse"},
      {"Basic YTphOmI6YzpkOmU=", "a", "a:b:c:d:e"},  // a colon in a password
      {"Basic w6RuOm1pdCDDvCB1bmQgw7Y=", "än", "mit ü und ö"},
  };
  for (const auto& [header, name, password] : kRows) {
    const auto read = parse_basic(header);
    ASSERT_TRUE(read) << header;
    EXPECT_EQ(read->name, name);
    EXPECT_EQ(read->password.view(), password);
  }
}

TEST(BasicCredentialsTest, WhatIsWrongIsNothing) {
  const std::pair<const char*, std::string> kRows[] = {
      {"nothing", ""},
      {"no credentials", "Basic "},
      {"another scheme", "Bearer YW5uYTpjb3JyZWN0IGhvcnNl"},
      {"no space", "BasicYW5uYTpjb3JyZWN0IGhvcnNl"},
      {"two spaces", "Basic  YW5uYTpjb3JyZWN0IGhvcnNl"},
      {"a space amid it", "Basic YW5uYTpj b3JyZWN0IGhvcnNl"},
      {"a space after it", "Basic YW5uYTpjb3JyZWN0IGhvcnNl "},
      {"no padding", "Basic YTphOmI6YzpkOmU"},
      {"bits that stand for nothing", "Basic YTphOmI6YzpkOmV="},
      {"padding amid it", "Basic YW5=YTpjb3JyZWN0IGhvcnNl"},
      {"the alphabet of addresses", "Basic w6RuOm1pdCDDvCB1bmQgw7_-"},
      {"no colon", "Basic YW5uYWNvcnJlY3Rob3JzZQ=="},
      {"no name", "Basic OmNvcnJlY3QgaG9yc2U="},
      {"a short password", "Basic YW5uYTpob3JzZQ=="},
      {"a control character", "Basic YW5uYTpjb3JyZWN0CmhvcnNl"},
      {"two headers", "Basic YW5uYTpjb3JyZWN0IGhvcnNl, Basic YW5uYTpjb3JyZWN0IGhvcnNl"},
      {"too long", "Basic " + std::string(264, 'Y')},
  };
  for (const auto& [what, header] : kRows) EXPECT_FALSE(parse_basic(header)) << what;
}

}  // namespace basic_credentials_test
}  // namespace polaiga::web
