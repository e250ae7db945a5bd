// What the tests of the commands that ask a ledger share.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/ledger_of.h"
#include "support/program.h"

namespace polaiga::engine::test {

inline const std::string kSlowerText =
    "FAN1_TACH1: Fan speed for fan-1 is lower critical : Check the air intake to the server";
inline const std::string kHotText =
    "FP_TEMP: Front Panel Thermal Threshold at upper non recoverable levels: Check Cooling";

inline bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// With a ledger of the story, which is meant if no other is named.
class Queries : public ::testing::Test {
 protected:
  void SetUp() override { write_ledger(path_, kStory); }

  Ended ask(const std::string& arguments) const {
    return shell_.run("POLAIGA_LEDGER='" + path_ + "' $POLAIGA " + arguments);
  }

  void expect_failure(const std::string& arguments, const std::string& complaint) const {
    const Ended got = ask(arguments);
    EXPECT_EQ(got.status, 2) << arguments;
    EXPECT_EQ(got.out, "") << arguments;
    EXPECT_TRUE(contains(got.err, complaint)) << arguments << ": " << got.err;
  }

  void expect_answer(const std::string& arguments, const std::string& answer) const {
    const Ended got = ask(arguments);
    EXPECT_EQ(got.status, 0) << arguments;
    EXPECT_EQ(got.err, "") << arguments;
    EXPECT_EQ(got.out, answer) << arguments;
  }

  // Random, and part of each alarm's id.
  std::string ledger_id() const { return nlohmann::json::parse(ask("tail --no-follow -n 1 --json").out)["ledger_id"]; }

  Shell shell_;
  std::string path_ = shell_.dir().file("ledger.db");
};

// Riser sensors of the board share a fault. An event of one of them, at a second.
inline EventAt riser(int at, int number, int offset, int state) {
  return {at, R"({"entity":"sys_board","sensor":"RISER)" + std::to_string(number) + R"(_INLET_TMP","offset":)" +
                  std::to_string(offset) + R"(,"state":)" + std::to_string(state) + "}"};
}
inline const std::string kBoard = "sys/rack-unit-1/board";
inline const std::string kWarm = kBoard + "/fault-F0410";
inline const std::string kTooHot = kBoard + "/fault-F0409";

inline std::string warm_text(int number) {
  return "RISER" + std::to_string(number) + "_INLET_TMP: Riser " + std::to_string(number) +
         " inlet temperature has crossed upper non-critical threshold: Check device cooling";
}

// With a ledger that the test writes.
class RiserQueries : public Queries {
 protected:
  void SetUp() override {}
};

// A ledger that keeps few events: what is past the limit goes with the next batches.
inline void write_short_ledger(const std::string& path) {
  write_ledger(path, kStory, {.events = 2, .days = 0});
  write_ledger(path, {{480, kStory[7].line}, {540, kStory[7].line}}, {.events = 2, .days = 0});
}

}  // namespace polaiga::engine::test
