#include "redfish/request_body.h"

#include <gtest/gtest.h>

#include "redfish/errors.h"

namespace polaiga::web {
namespace request_body_test {

// The id of the message with which something is refused; "" when it is not.
template <class Act>
std::string refusal_of(Act act) {
  try {
    act();
    return "";
  } catch (const Refusal& refusal) {
    return refusal_message(refusal.reason).id;
  }
}

TEST(RequestBodyTest, ABodyIsSentAsJson) {
  struct Row {
    const char* type;
    const char* body;
    const char* refusal;
  };
  const Row kRows[] = {
      {"application/json", "{}", ""},
      {"Application/JSON ; charset=utf-8", "{}", ""},
      {"", "", ""},
      {"", "{}", "Base.1.18.GeneralError"},
      {"text/plain", "{}", "Base.1.18.GeneralError"},
      {"application/json+x", "{}", "Base.1.18.GeneralError"},
      {"application/x-www-form-urlencoded", "", "Base.1.18.GeneralError"},
  };
  for (const auto& [type, body, refusal] : kRows) {
    Request request;
    if (*type != '\0') request.headers["content-type"] = type;
    request.body = body;
    EXPECT_EQ(refusal_of([&] { expect_json(request); }), refusal) << type;
  }
}

TEST(RequestBodyTest, OnlyObjectsOfModerateSizeAreRead) {
  const std::string kMalformed = "Base.1.18.MalformedJSON";
  const std::pair<std::string, std::string> kRows[] = {
      {R"({"a":{"b":[1]}})", ""},
      {"{}" + std::string(kMostBodyBytes - 2, ' '), ""},
      {"{}" + std::string(kMostBodyBytes - 1, ' '), kMalformed},
      {R"({"a":[[[1]]]})", ""},
      {R"({"a":[[[[1]]]]})", kMalformed},
      {std::string(kMostBodyBytes, '['), kMalformed},
      {"7", kMalformed},
      {"{", kMalformed},
      {"{\"a\":\"\xff\"}", kMalformed},
      {R"({"a":1,"a":2})", "Base.1.18.PropertyDuplicate"},
      {R"({"b":{"a":1,"a":2}})", "Base.1.18.PropertyDuplicate"},
      {R"({"a":1,"b":{"a":2}})", ""},
  };
  for (const auto& [body, refusal] : kRows) {
    EXPECT_EQ(refusal_of([&] { parse_body(body); }), refusal) << body.substr(0, 40);
  }
}

TEST(RequestBodyTest, LongValuesAreToldInBrief) {
  EXPECT_EQ(brief(std::string(300, 'a')), std::string(100, 'a'));
  EXPECT_EQ(brief(nlohmann::json::parse(R"({"a":[1]})")), R"({"a":[1]})");
}

}  // namespace request_body_test
}  // namespace polaiga::web
