#include "redfish/errors.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "http/answers.h"

namespace polaiga::web {
namespace {

using nlohmann::json;

std::string header(const Response& response, const std::string& name) {
  for (const auto& [key, value] : response.headers) {
    if (key == name) return value;
  }
  return "";
}

TEST(ErrorsTest, ARefusalHasAMessageOfARegistry) {
  const Response response =
      refusal_response(Refusal(refusals::kPropertyType, {"7", "Context"}, "#/Context", "It is a text."));
  EXPECT_EQ(response.status, 400);
  EXPECT_EQ(header(response, "Content-Type"), "application/json");
  EXPECT_EQ(json::parse(*response.body), json::parse(R"({"error":{
    "code":"Base.1.18.PropertyValueTypeError",
    "message":"The value '7' of the property Context is of another type than the property takes. It is a text.",
    "@Message.ExtendedInfo":[{
      "@odata.type":"#Message.v1_1_1.Message",
      "MessageId":"Base.1.18.PropertyValueTypeError",
      "Message":"The value '7' of the property Context is of another type than the property takes. It is a text.",
      "MessageArgs":["7","Context"],
      "MessageSeverity":"Critical",
      "Resolution":"Send a value of the right type.",
      "RelatedProperties":["#/Context"]}]}})"));
}

TEST(ErrorsTest, WhoMustLogInIsToldHow) {
  EXPECT_EQ(header(refusal_response(Refusal(refusals::kNoSession)), "WWW-Authenticate"), "Basic realm=\"Redfish\"");
}

TEST(ErrorsTest, ErrorsOfOtherPartsGetRedfishsForm) {
  Response other = problem(429, "Wait a moment.");
  other.headers.emplace_back("Retry-After", "7");
  const Response response = in_redfish_form(std::move(other));
  EXPECT_EQ(response.status, 429);
  EXPECT_EQ(header(response, "Retry-After"), "7");
  EXPECT_EQ(header(response, "Content-Type"), "application/json");
  const json body = json::parse(*response.body);
  EXPECT_EQ(body.at("error").at("code"), "Base.1.18.GeneralError");
  EXPECT_EQ(body.at("error").at("message"), "There are too many requests of this kind at the moment. Wait a moment.");
}

TEST(ErrorsTest, ArgumentsAreFilledInOnce) {
  EXPECT_EQ(with_arguments("%2 and %1, 5 % and %3", {"%2", "b"}), "b and %2, 5 % and %3");
}

}  // namespace
}  // namespace polaiga::web
