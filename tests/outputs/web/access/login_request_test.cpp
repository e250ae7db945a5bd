#include "access/login_request.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace login_request_test {

constexpr const char* kForm = "application/x-www-form-urlencoded";
constexpr const char* kJson = "application/json";

TEST(LoginRequestTest, FormsAndJsonAreRead) {
  const struct {
    const char* type;
    const char* body;
    const char* name;
    const char* password;
    const char* next;
    bool is_form;
  } kRows[] = {
      {kForm, "name=anna&password=correct+horse", "anna", "correct horse", "", true},
      {kForm, "password=%26%3D%2B&name=%C3%A4&next=%2F%3Fa%3Db", "ä", "&=+", "/?a=b", true},
      {"Application/X-WWW-Form-Urlencoded; charset=utf-8", "name=a&password=b", "a", "b", "", true},
      {kJson, R"({"name":"anna","password":"correct horse"})", "anna", "correct horse", "", false},
      {"application/json;charset=utf-8", R"( {"password":"\u00e4","name":"a"} )", "a", "ä", "", false},
  };
  for (const auto& [type, body, name, password, next, is_form] : kRows) {
    const auto login = parse_login(type, body);
    ASSERT_TRUE(login) << body;
    EXPECT_EQ(login->name, name);
    EXPECT_EQ(login->password.view(), password);
    EXPECT_EQ(login->next, next);
    EXPECT_EQ(login->is_form, is_form);
  }
}

TEST(LoginRequestTest, WhatIsWrongIsNothing) {
  const struct {
    const char* type;
    std::string body;
  } kRows[] = {
      {kForm, ""},
      {kForm, "name=anna"},
      {kForm, "name=&password=correct"},
      {kForm, "name=anna&password=a&password=b"},
      {kForm, "name=anna&password=a&role=operator"},
      {kForm, "name=anna&password=%zz"},
      {kForm, "name=anna&password=%00"},
      {kForm, "name=anna&password=%ff"},
      {kForm, "name=anna&password=" + std::string(4000, 'a')},
      {kForm, R"({"name":"anna","password":"correct horse"})"},
      {kJson, "name=anna&password=correct+horse"},
      {kJson, ""},
      {kJson, "[]"},
      {kJson, "null"},
      {kJson, R"({"name":"anna"})"},
      {kJson, R"({"name":"anna","password":1})"},
      {kJson, R"({"name":["anna"],"password":"correct horse"})"},
      {kJson, R"({"name":"anna","password":"correct horse","role":"operator"})"},
      {kJson, R"({"name":"anna","password":"correct horse"} x)"},
      {kJson, std::string(3999, '[')},
      {kJson, R"({"name":"anna","password":")" + std::string(4000, 'a') + "\"}"},
      {"text/plain", "name=anna&password=correct+horse"},
      {"", "name=anna&password=correct+horse"},
      {"application/jsonx", R"({"name":"anna","password":"correct horse"})"},
  };
  for (const auto& [type, body] : kRows) EXPECT_FALSE(parse_login(type, body)) << type << " " << body;
}

TEST(LoginRequestTest, FieldsOfFormsAreFound) {
  EXPECT_EQ(find_form_field(kForm, "a=1&csrf=x%20y", "csrf"), "x y");
  EXPECT_EQ(find_form_field(kForm, "a=1", "csrf"), std::nullopt);
  EXPECT_EQ(find_form_field(kForm, "csrf=1&csrf=2", "csrf"), std::nullopt);
  EXPECT_EQ(find_form_field("text/plain", "csrf=1", "csrf"), std::nullopt);
}

TEST(LoginRequestTest, AfterALoginTheBrowserStaysHere) {
  const std::pair<std::string, const char*> kRows[] = {
      {"/", "/"},
      {"/alarms/12?under=sys%2Frack&text=a+b", "/alarms/12?under=sys%2Frack&text=a%20b"},
      {"/a%2Fb/", "/a%2Fb/"},
      {"", "/"},
      {"//other.example", "/"},
      {"//other.example/a", "/"},
      {"/%2F/other.example", "/%2F/other.example"},
      {"/\\other.example", "/%5Cother.example"},
      {"https://other.example", "/"},
      {"javascript:alert(1)", "/"},
      {"/..//other.example", "/"},
      {"/a\r\nSet-Cookie: b", "/"},
      {"/login?next=/login", "/"},
      {"/logout", "/"},
      {"/" + std::string(1000, 'a'), "/"},
  };
  for (const auto& [next, address] : kRows) EXPECT_EQ(return_address(next), address) << next;
}

}  // namespace login_request_test
}  // namespace polaiga::web
