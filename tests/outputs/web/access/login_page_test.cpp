#include "access/login_page.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace login_page_test {

TEST(LoginPageTest, TextIsNeverMarkup) {
  const std::string hostile = "\"><script>alert(1)</script>";
  const std::string page = login_page({.name = hostile, .next = hostile, .problem = hostile});
  EXPECT_EQ(page.find("<script"), std::string::npos);
  std::size_t count = 0;
  for (std::size_t at = page.find("&quot;&gt;&lt;script&gt;"); at != std::string::npos;
       at = page.find("&quot;&gt;&lt;script&gt;", at + 1))
    ++count;
  EXPECT_EQ(count, 3U);
}

TEST(LoginPageTest, FieldsHaveLabelsAndProblemsAreAnnounced) {
  const std::string plain = login_page({});
  for (const char* const part :
       {"<html lang=\"en\">", "<label for=\"name\">", "id=\"name\"", "<label for=\"password\">", "id=\"password\"",
        "type=\"password\"", "autocomplete=\"current-password\"", "method=\"post\" action=\"/login\"",
        "<button type=\"submit\">"}) {
    EXPECT_NE(plain.find(part), std::string::npos) << part;
  }
  EXPECT_EQ(plain.find("role=\"alert\""), std::string::npos);
  EXPECT_NE(login_page({.problem = "No."}).find("<p class=\"problem\" role=\"alert\">No.</p>"), std::string::npos);
}

TEST(LoginPageTest, NothingIsInlineThatThePolicyForbids) {
  const std::string page = login_page({.name = "anna", .next = "/", .problem = "No."});
  for (const char* const part : {"<style", "style=", "<script", "onload", "http:", "https:"}) {
    EXPECT_EQ(page.find(part), std::string::npos) << part;
  }
  EXPECT_NE(login_style().find("prefers-color-scheme: dark"), std::string_view::npos);
  EXPECT_EQ(login_style().find("url("), std::string_view::npos);
}

}  // namespace login_page_test
}  // namespace polaiga::web
