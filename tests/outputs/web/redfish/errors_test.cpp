#include "redfish/errors.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "http/answers.h"
#include "redfish/messages.h"

namespace polaiga::web {
namespace errors_test {

using nlohmann::json;

std::string header(const Response& response, const std::string& name) {
  for (const auto& [key, value] : response.headers) {
    if (key == name) return value;
  }
  return "";
}

TEST(ErrorsTest, ARefusalHasAMessageOfARegistry) {
  const Response response =
      refusal_response(Refusal(Reason::kPropertyType, {"7", "Context"}, "#/Context", "It is a text."));
  EXPECT_EQ(response.status, 400);
  EXPECT_EQ(header(response, "Content-Type"), "application/json");
  EXPECT_EQ(json::parse(*response.body), json::parse(R"({"error":{
    "code":"Base.1.18.PropertyValueTypeError",
    "message":"The value '7' for the property 'Context' is not a type that the property can accept. It is a text.",
    "@Message.ExtendedInfo":[{
      "@odata.type":"#Message.v1_3_0.Message",
      "MessageId":"Base.1.18.PropertyValueTypeError",
      "Message":"The value '7' for the property 'Context' is not a type that the property can accept. It is a text.",
      "MessageArgs":["7","Context"],
      "MessageSeverity":"Warning",
      "Resolution":"Send a value of the right type.",
      "RelatedProperties":["#/Context"]}]}})"));
}

TEST(ErrorsTest, WhoMustLogInIsToldHow) {
  EXPECT_EQ(header(refusal_response(Refusal(Reason::kNoSession)), "WWW-Authenticate"), "Basic realm=\"polaiga\"");
}

TEST(ErrorsTest, WhoMayTryAgainIsToldWhen) {
  EXPECT_EQ(header(refusal_response(Refusal(Reason::kUnavailable, {"60"})), "Retry-After"), "60");
  // It would not help.
  EXPECT_EQ(header(refusal_response(Refusal(Reason::kServiceDisabled, {"/redfish/v1/x"})), "Retry-After"), "");
}

TEST(ErrorsTest, EachMessageHasItsArguments) {
  for (const RefusalMessage& message : refusal_messages()) {
    const std::string text = message.text;
    for (std::size_t number = 1; number <= 9; ++number) {
      EXPECT_EQ(text.find("%" + std::to_string(number)) != std::string::npos, number <= message.args) << message.id;
    }
    EXPECT_GE(message.status, 400) << message.id;
    const std::string severity = message.severity;
    EXPECT_TRUE(severity == "Warning" || severity == "Critical") << message.id;
  }
  EXPECT_THROW(Refusal(Reason::kMissing), std::logic_error);
  EXPECT_THROW(Refusal(Reason::kInternal, {"more"}), std::logic_error);
}

TEST(ErrorsTest, WhatIsOfOurRegistryIsInIt) {
  const FilledMessage filled = general_message("LogIsKept", {});
  EXPECT_EQ(refusal_message(Reason::kLogIsKept).id, filled.id);
  EXPECT_EQ(refusal_message(Reason::kLogIsKept).text, filled.text);
}

TEST(ErrorsTest, RefusalsOfOtherPartsGetRedfishsForm) {
  struct Row {
    int status;
    Reason unauthorized;
    const char* id;
    const char* message;
  };
  const Row kRows[] = {
      {401, Reason::kNoSession, "Base.1.18.NoValidSession",
       "There is no valid session established with the implementation. Log in first."},
      {401, Reason::kBadLogin, "Base.1.18.ResourceAtUriUnauthorized",
       "While accessing the resource at '/redfish/v1/x', the service received an authorization error 'Unauthorized'. "
       "Log in first."},
      {403, Reason::kNoSession, "Base.1.18.InsufficientPrivilege",
       "There are insufficient privileges for the account or credentials associated with the current session to "
       "perform the requested operation. Log in first."},
      {404, Reason::kNoSession, "Base.1.18.ResourceMissingAtURI",
       "The resource at the URI '/redfish/v1/x' was not found. Log in first."},
      {429, Reason::kNoSession, "Base.1.18.ServiceTemporarilyUnavailable",
       "The service is temporarily unavailable. Retry in 7 seconds. Log in first."},
      {503, Reason::kBadLogin, "Base.1.18.ServiceTemporarilyUnavailable",
       "The service is temporarily unavailable. Retry in 7 seconds. Log in first."},
      {409, Reason::kNoSession, "Base.1.18.GeneralError", "The request is refused. Log in first."},
      {500, Reason::kNoSession, "Base.1.18.InternalError",
       "The request failed due to an internal service error. The service is still operational. Log in first."},
  };
  Request request;
  request.target = parse_target("/redfish/v1/x");
  for (const auto& [status, unauthorized, id, message] : kRows) {
    Response other = problem(status, "Log in first.");
    other.headers.emplace_back("Retry-After", "7");
    other.headers.emplace_back("WWW-Authenticate", "Session realm=\"polaiga\"");
    const Response response = in_redfish_form(request, std::move(other), unauthorized);
    EXPECT_EQ(response.status, status);
    EXPECT_EQ(header(response, "Retry-After"), "7");
    EXPECT_EQ(header(response, "WWW-Authenticate"), "Session realm=\"polaiga\"");
    EXPECT_EQ(header(response, "Content-Type"), "application/json");
    const json body = json::parse(*response.body);
    EXPECT_EQ(body.at("error").at("code"), id) << status;
    EXPECT_EQ(body.at("error").at("message"), message) << status;
  }
}

TEST(ErrorsTest, WhatIsNoRefusalStays) {
  const Response response = in_redfish_form({}, {.status = 303, .headers = {{"Location", "/login"}}});
  EXPECT_EQ(response.status, 303);
  EXPECT_EQ(header(response, "Location"), "/login");
}

TEST(ErrorsTest, ABodyThatIsNoProblemIsNoTrouble) {
  Response other{.status = 401, .body = std::make_shared<const std::string>("{\"detail\":7}")};
  EXPECT_EQ(json::parse(*in_redfish_form({}, std::move(other)).body).at("error").at("message"),
            "There is no valid session established with the implementation.");
}

TEST(ErrorsTest, ArgumentsAreFilledInOnce) {
  EXPECT_EQ(with_arguments("%2 and %1, 5 % and %3", {"%2", "b"}), "b and %2, 5 % and %3");
}

}  // namespace errors_test
}  // namespace polaiga::web
