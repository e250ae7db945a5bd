#include "app/application.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace polaiga::web {
namespace application_test {

class Endless final : public Stream {
 public:
  std::string next() override { return "more"; }
  bool is_over() const override { return false; }
};

class StreamPart final : public Part {
 public:
  Response answer(const Request& /*request*/, const Caller& caller) override {
    name = caller.name;
    Response response;
    response.stream = std::make_unique<Endless>();
    return response;
  }

  Response refused(const Request& /*request*/, Response response) override {
    response.headers.emplace_back("X-Form", "of the part");
    return response;
  }

  std::string name;
};

class SwitchedGate final : public Gate {
 public:
  std::variant<Caller, Response> admit(const Request& request) override {
    if (request.target.path.back() == "refused") return Response{.status = 401};
    return Caller{.name = "anna", .role = Role::kViewer};
  }
  bool holds(const Caller& caller) override { return is_open && caller.name == "anna"; }

  bool is_open = true;
};

class ApplicationTest : public ::testing::Test {
 protected:
  ApplicationTest() { application_.add("stream", part_); }
  Response answer(const std::string& target) {
    Request request;
    request.target = parse_target(target);
    return application_.answer(request);
  }

  SwitchedGate gate_;
  Application application_{gate_, HostNames()};
  StreamPart part_;
};

TEST_F(ApplicationTest, TheGateIsAskedBeforeAnyPart) {
  EXPECT_EQ(answer("/refused").status, 401);
  EXPECT_EQ(answer("/other").status, 404);
  EXPECT_EQ(part_.name, "");
  EXPECT_EQ(answer("/stream").status, 200);
  EXPECT_EQ(part_.name, "anna");
}

TEST_F(ApplicationTest, APartGivesItsFormToARefusalOfTheGate) {
  const auto has_form = [](const Response& response) {
    return std::ranges::any_of(response.headers, [](const auto& header) { return header.first == "X-Form"; });
  };
  const Response refused = answer("/stream/refused");
  EXPECT_EQ(refused.status, 401);
  EXPECT_TRUE(has_form(refused));
  EXPECT_EQ(part_.name, "") << "the part has not answered";
  EXPECT_FALSE(has_form(answer("/other/refused")));
}

TEST_F(ApplicationTest, ARequestForAnotherHostReachesNeitherGateNorPart) {
  Request request;
  request.target = parse_target("/stream");
  request.peer.address = "127.0.0.1";
  request.headers = {{"host", "evil.example"}};
  EXPECT_EQ(application_.answer(request).status, 421);
  request.target = parse_target("/refused");
  EXPECT_EQ(application_.answer(request).status, 421);
  EXPECT_EQ(part_.name, "");
}

TEST_F(ApplicationTest, AStreamEndsWithTheRightToReadIt) {
  const Response open = answer("/stream");
  EXPECT_EQ(open.stream->next(), "more");
  EXPECT_FALSE(open.stream->is_over());
  const Response closed = answer("/stream");
  gate_.is_open = false;
  EXPECT_EQ(closed.stream->next(), "");
  EXPECT_TRUE(closed.stream->is_over());
}

}  // namespace application_test
}  // namespace polaiga::web
