// /api/v1/alarms beside an engine.
#include <csignal>
#include <nlohmann/json.hpp>

#include "support/web.h"

namespace polaiga::web::test {
namespace alarms_test {

using nlohmann::json;

class AlarmsTest : public WebTest {
 protected:
  void SetUp() override {
    start_engine();
    start_web();
  }

  // The codes of the alarms that are listed, when the server has read this change.
  std::vector<int> codes(const std::string& query, int change) const {
    const Answer answer =
        get_until("/api/v1/alarms" + query, [&](const Answer& got) { return got.json().value("change", 0) >= change; });
    std::vector<int> found;
    const json body = answer.json();
    for (const json& alarm : body.at("alarms")) found.push_back(alarm.at("code"));
    return found;
  }
};

TEST_F(AlarmsTest, WhatIsActiveIsListed) {
  EXPECT_EQ(codes("", 0), std::vector<int>{});
  feed(engine::test::slow(1) + engine::test::slow(2));
  EXPECT_EQ(codes("", 2), (std::vector<int>{395, 395}));
  feed(engine::test::well(1));
  EXPECT_EQ(codes("", 3), std::vector<int>{395});
  const json body = get("/api/v1/alarms").json();
  EXPECT_EQ(body.at("counts"), json::parse(R"({"critical":0,"major":0,"minor":1,"warning":0,"indeterminate":0})"));
  EXPECT_EQ(body.at("missed"), 1);
  EXPECT_EQ(body.at("found"), 1);
  EXPECT_EQ(body.at("alarms").at(0).at("dn"), "sys/rack-unit-1/fan-module-1-2/fan-1");
}

TEST_F(AlarmsTest, AlarmsAreSelected) {
  feed(engine::test::slow(1) + engine::test::slow(2) +
       R"({"entity":"fan","sensor":"FAN1_TACH1","instance":3,"offset":4,"state":5})"
       "\n");
  ASSERT_EQ(codes("", 3).size(), 3U);
  EXPECT_EQ(codes("?severity=major", 3), std::vector<int>{396});
  EXPECT_EQ(codes("?under=sys/rack-unit-1/fan-module-1-2", 3), std::vector<int>{395});
  EXPECT_EQ(codes("?text=MODULE-1-3", 3), std::vector<int>{396});
  EXPECT_EQ(codes("?text=f0395&limit=1&skip=1", 3), std::vector<int>{395});
  EXPECT_EQ(codes("?limit=1&skip=2", 3), std::vector<int>{396});
  EXPECT_EQ(codes("?entity=ps", 3), std::vector<int>{});
  EXPECT_EQ(codes("?shelved=true", 3), std::vector<int>{});
}

TEST_F(AlarmsTest, WhatIsNotUnderstoodIsRefused) {
  const std::pair<const char*, const char*> kRows[] = {
      {"?severity=bad",
       "The parameter 'severity' is 'bad'; it may be indeterminate, warning, minor, major or critical."},
      {"?limit=-1", "The parameter 'limit' is '-1'; it may be a whole number from 0 to 10000."},
      {"?older_than=2", "The parameter 'older_than' is '2'; it may be a whole number with s, m, h or d, such as 2h."},
      {"?state=no", "The parameter 'state' is 'no'; it may be none, acknowledged, closed, shelved or unshelved."},
      {"?all=maybe", "The parameter 'all' is 'maybe'; it may be true or false."},
  };
  for (const auto& [query, detail] : kRows) {
    const Answer answer = get(std::string("/api/v1/alarms") + query);
    EXPECT_EQ(answer.status, 400) << query;
    EXPECT_EQ(answer.header("content-type"), "application/problem+json") << query;
    EXPECT_EQ(answer.json().at("detail"), detail) << query;
  }
}

// What was active at a time that the ledger does not know of any more.
TEST_F(AlarmsTest, ATimeThatIsNotKeptIsRefused) {
  stop_engine(SIGTERM);
  engine_ = std::make_unique<Child>(with_control("--keep-events 1"), dir_);
  for (int fan = 1; fan <= 3; ++fan) feed(engine::test::slow(fan) + engine::test::well(fan));
  EXPECT_TRUE(engine::test::comes_true([this] { return get("/api/v1/alarms?at=1970-01-02T00:00:00Z").status == 400; }));
  const std::string detail = get("/api/v1/alarms?at=1970-01-02T00:00:00Z").json().at("detail");
  EXPECT_TRUE(detail.starts_with("The ledger reaches back to ")) << detail;
  EXPECT_TRUE(detail.ends_with("Z; what was before is not kept any more.")) << detail;
  EXPECT_EQ(get("/api/v1/alarms?at=2100-01-01T00:00:00Z").status, 200);
}

}  // namespace alarms_test
}  // namespace polaiga::web::test
