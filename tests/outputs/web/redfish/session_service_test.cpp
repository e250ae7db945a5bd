#include "redfish/session_service.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "http/answers.h"
#include "redfish/errors.h"

namespace polaiga::web {
namespace session_service_test {

using nlohmann::json;

// Has a session of a browser of ann's and one of bob's; the password of all is "hush".
class Desk final : public SessionDesk {
 public:
  std::variant<Sessions::Opened, Response> open_session(const Request& /*request*/, std::string_view name,
                                                        std::string_view password) override {
    if (password != "hush") return problem(401, "The name or the password is wrong.");
    facts_.push_back({.id = "3", .name = std::string(name), .kind = TokenKind::kHeader, .address = "", .created = 7});
    return Sessions::Opened{.facts = facts_.back(), .token = "secret"};
  }
  std::vector<SessionFacts> sessions() override { return facts_; }
  bool end_session(std::string_view id) override {
    return std::erase_if(facts_, [&](const SessionFacts& one) { return one.id == id; }) > 0;
  }
  std::chrono::seconds session_idle_limit() const override { return std::chrono::seconds(90); }

 private:
  std::vector<SessionFacts> facts_{
      {.id = "1", .name = "ann", .kind = TokenKind::kCookie, .address = "10.1.2.3", .created = 0},
      {.id = "2", .name = "bob", .kind = TokenKind::kHeader, .address = "", .created = 5}};
};

class SessionServiceTest : public ::testing::Test {
 protected:
  std::vector<std::string> seen_by(const Caller& caller) const {
    std::vector<std::string> uris;
    const json body = json::parse(service_.sessions(caller, {}).line());
    for (const json& one : body.at("Members")) uris.push_back(one.at("@odata.id"));
    return uris;
  }
  Response log_in(const std::string& body) {
    Request request;
    request.method = Method::kPost;
    request.target = parse_target("/redfish/v1/SessionService/Sessions");
    request.body = body;
    return service_.log_in(request);
  }

  const Caller viewer_{.name = "bob", .role = Role::kViewer};
  const Caller operator_{.name = "carol", .role = Role::kOperator};
  Desk desk_;
  SessionService service_{&desk_};
};

TEST_F(SessionServiceTest, ViewersKnowOfTheirOwnSessionsAlone) {
  const std::string first = "/redfish/v1/SessionService/Sessions/1";
  const std::string second = "/redfish/v1/SessionService/Sessions/2";
  EXPECT_EQ(seen_by(viewer_), (std::vector{second}));
  EXPECT_EQ(seen_by(operator_), (std::vector{first, second}));
  EXPECT_FALSE(service_.session(viewer_, "1"));
  EXPECT_FALSE(service_.log_out(viewer_, "1"));
  EXPECT_TRUE(service_.session(operator_, "1")) << "nobody has ended it";
  EXPECT_TRUE(service_.log_out(viewer_, "2"));
  EXPECT_TRUE(service_.log_out(operator_, "1"));
  EXPECT_FALSE(service_.log_out(operator_, "1"));
  EXPECT_TRUE(seen_by(operator_).empty());
}

TEST_F(SessionServiceTest, ASessionTellsWhoOpenedItHow) {
  EXPECT_EQ(json::parse(service_.session(operator_, "1")->line()), json::parse(R"({
    "@odata.id":"/redfish/v1/SessionService/Sessions/1","@odata.type":"#Session.v1_8_0.Session","Id":"1",
    "Name":"Session of ann","UserName":"ann","SessionType":"WebUI","CreatedTime":"1970-01-01T00:00:00Z",
    "ClientOriginIPAddress":"10.1.2.3"})"));
  const json other = json::parse(service_.session(operator_, "2")->line());
  EXPECT_EQ(other.at("SessionType"), "Redfish");
  EXPECT_FALSE(other.contains("ClientOriginIPAddress")) << "it was opened over a Unix socket";
}

TEST_F(SessionServiceTest, ALoginIsAnsweredWithTheToken) {
  const Response response = log_in(R"({"UserName":"dora","Password":"hush"})");
  EXPECT_EQ(response.status, 201);
  const auto header = [&](const std::string& name) {
    const auto found = std::ranges::find(response.headers, name, &std::pair<std::string, std::string>::first);
    return found == response.headers.end() ? std::string() : found->second;
  };
  EXPECT_EQ(header("X-Auth-Token"), "secret");
  EXPECT_EQ(header("Location"), "/redfish/v1/SessionService/Sessions/3");
  EXPECT_EQ(header("Cache-Control"), "no-store");
  EXPECT_EQ(response.body->find("secret"), std::string::npos);
}

TEST_F(SessionServiceTest, ALoginThatIsNotRightIsRefused) {
  const Response wrong = log_in(R"({"UserName":"dora","Password":"wrong"})");
  EXPECT_EQ(wrong.status, 401);
  EXPECT_EQ(json::parse(*wrong.body).at("error").at("code"), "Base.1.18.ResourceAtUriUnauthorized");
  const std::pair<const char*, Reason> kRows[] = {
      {"", Reason::kMalformed},
      {R"({"UserName":"dora"})", Reason::kPropertyMissing},
      {R"({"Password":"hush"})", Reason::kPropertyMissing},
      {R"({"UserName":"dora","Password":["hush"]})", Reason::kPropertyType},
      {R"({"UserName":"dora","Password":"hush","Token":"x"})", Reason::kPropertyUnknown},
  };
  for (const auto& [body, reason] : kRows) {
    try {
      log_in(body);
      ADD_FAILURE() << "it was taken: " << body;
    } catch (const Refusal& refusal) {
      EXPECT_EQ(refusal.reason, reason) << body;
      EXPECT_EQ(refusal_response(refusal).body->find("hush"), std::string::npos) << "the password is told";
    }
  }
}

TEST_F(SessionServiceTest, WithoutUsersNobodyLogsIn) {
  SessionService none(nullptr);
  EXPECT_EQ(json::parse(none.service().line()).at("ServiceEnabled"), false);
  EXPECT_EQ(json::parse(none.sessions(viewer_, {}).line()).at("Members@odata.count"), 0);
  EXPECT_FALSE(none.session(operator_, "1"));
  EXPECT_FALSE(none.log_out(operator_, "1"));
  EXPECT_THROW(none.log_in({}), Refusal);
  EXPECT_EQ(json::parse(service_.service().line()).at("SessionTimeout"), 90);
}

}  // namespace session_service_test
}  // namespace polaiga::web
