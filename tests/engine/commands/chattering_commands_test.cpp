// What the commands tell of a fault that is chattering.
#include <nlohmann/json.hpp>

#include "support/queries.h"

namespace polaiga::engine::test {
namespace chattering_commands_test {

using nlohmann::json;

const std::string kThird = "sys/rack-unit-1/psu-3/fault-F0378";

EventAt supply(Moment at, int state) {
  return {at,
          R"({"entity":"ps","sensor":"PS3_STATUS","instance":3,"offset":30,"state":)" + std::to_string(state) + "}"};
}

// The supply is taken out and put back three times, and taken out twice more. With the fourth time it chatters.
class ChatteringCommands : public Queries {
 protected:
  void SetUp() override {
    write({supply(0, 1), supply(1, 0), supply(2, 1), supply(3, 0), supply(4, 1), supply(5, 0), supply(6, 1),
           supply(7, 0), supply(8, 1)});
  }
  void write(const std::vector<EventAt>& events) const {
    write_ledger(path_, events, {}, ChatteringLimit{.times = 2, .within = 60});
  }
};

TEST_F(ChatteringCommands, Active) {
  expect_answer("active",
                "SINCE                 SEVERITY  CODE   REPORTERS  OBJECT                 STATE                 "
                "DESCRIPTION\n"
                "2025-01-01T00:00:08Z  warning   F0378  1          sys/rack-unit-1/psu-3  chattering, 5 raises  "
                "PS3_STATUS: Power Supply 3 missing: reseat or replace PS 3\n");
  EXPECT_EQ(json::parse(ask("active --json").out)["chattering"],
            (json{{"since", "2025-01-01T00:00:06Z"}, {"raises", 5}}));
}

TEST_F(ChatteringCommands, Tail) {
  const std::string text = ask("tail --no-follow -n 4").out;
  EXPECT_TRUE(contains(text, "     7  2025-01-01T00:00:06Z  warning ")) << text;
  EXPECT_TRUE(contains(text, "replace PS 3  (raised)\n")) << text;
  EXPECT_TRUE(contains(text,
                       "     8  2025-01-01T00:00:06Z  warning   F0378  sys/rack-unit-1/psu-3  "
                       "(chattering, 4 raises)\n"))
      << text;
  EXPECT_TRUE(contains(text, "(cleared, chattering)\n")) << text;
  EXPECT_TRUE(contains(text, "(raised, chattering)\n")) << text;
  write({supply(1000, 0)});
  EXPECT_TRUE(contains(ask("tail --no-follow -n 2").out,
                       "    11  2025-01-01T00:16:40Z  warning   F0378  sys/rack-unit-1/psu-3  "
                       "(settled after 5 raises)\n"))
      << ask("tail --no-follow -n 2").out;
}

TEST_F(ChatteringCommands, Explain) {
  const std::string text = ask("explain " + kThird).out;
  EXPECT_TRUE(contains(text, "\nchattering since 2025-01-01T00:00:06Z, raised 5 times\n")) << text;
  EXPECT_TRUE(contains(text, "F0378  raised, chattering\n")) << text;
  const json told = json::parse(ask("explain --json " + kThird).out);
  EXPECT_EQ(told["chattering"], (json{{"since", "2025-01-01T00:00:06Z"}, {"raises", 5}}));
  write({supply(1000, 0)});
  EXPECT_FALSE(contains(ask("explain " + kThird).out, "chattering since"));
  EXPECT_TRUE(contains(ask("explain " + kThird).out, "settled after 5 raises\n")) << ask("explain " + kThird).out;
}

TEST_F(ChatteringCommands, ItIsToldAlsoWhenTheFaultIsClear) {
  write({supply(20, 0)});
  expect_answer("active", "No faults are active.\n");
  EXPECT_TRUE(contains(ask("explain " + kThird).out, "\nchattering since 2025-01-01T00:00:06Z, raised 5 times\n"));
}

TEST_F(ChatteringCommands, StatsWithOtherNumbers) {
  EXPECT_TRUE(contains(ask("stats").out, "\nChattering: none (raised again more than 5 times in 10 minutes)\n"));
  EXPECT_TRUE(
      contains(ask("stats --chattering 3/1m").out, "\nChattering: 1 (raised again more than 3 times in 1 minute)\n"));
  EXPECT_TRUE(contains(ask("stats --chattering 4/90s").out,
                       "\nChattering: none (raised again more than 4 times in 90 seconds)\n"));
}

TEST_F(ChatteringCommands, TheLedgerIsSound) { EXPECT_EQ(ask("verify").status, 0) << ask("verify").out; }

}  // namespace chattering_commands_test
}  // namespace polaiga::engine::test
