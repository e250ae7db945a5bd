#include "control/output_status.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace output_status_test {

const std::string kAll =
    R"({"publisher":"mqtt","through":15,"behind":2,"updated":"2027-01-15T08:00:00Z","silent_s":3,)"
    R"("peer":"mqtt.example:8883","connected":true,"told":15,"lost":0,"cut":1,"last_success":"2027-01-15T07:59:58Z",)"
    R"("last_error":"no route","last_error_at":"2027-01-15T07:00:00Z"})";
const std::string kLeast = R"({"publisher":"snmp","through":0,"behind":17,"updated":"2027-01-15T08:00:00Z"})";

std::string status_of(const std::string& publishers) {
  return R"({"last_number":17,"publishers":[)" + publishers + "]}";
}

TEST(OutputStatus, IsReadAndWrittenInTheSameMembers) {
  const auto outputs = outputs_in(status_of(kAll + "," + kLeast));
  ASSERT_TRUE(outputs);
  ASSERT_EQ(outputs->size(), 2U);
  EXPECT_EQ(output_form((*outputs)[0]).text(), kAll);
  EXPECT_EQ(output_form((*outputs)[1]).text(), kLeast);
  EXPECT_EQ((*outputs)[0].through, 15);
  EXPECT_EQ((*outputs)[0].behind, 2);
  EXPECT_EQ((*outputs)[0].last_success, 1'799'999'998);
}

TEST(OutputStatus, ThereMayBeNone) {
  const auto outputs = outputs_in(status_of(""));
  ASSERT_TRUE(outputs);
  EXPECT_TRUE(outputs->empty());
}

TEST(OutputStatus, WhatIsNoStatusIsRefused) {
  for (const std::string& line :
       {std::string(), std::string("[]"), std::string("{}"), std::string(R"({"error":"no"})"),
        std::string(R"({"publishers":{}})"), status_of("7"), status_of("{}"),
        status_of(R"({"publisher":7,"through":0,"behind":0,"updated":"2027-01-15T08:00:00Z"})"),
        status_of(R"({"publisher":"a","through":-1,"behind":0,"updated":"2027-01-15T08:00:00Z"})"),
        status_of(R"({"publisher":"a","through":9223372036854775808,"behind":0,"updated":"2027-01-15T08:00:00Z"})"),
        status_of(R"({"publisher":"a","through":0,"updated":"2027-01-15T08:00:00Z"})"),
        status_of(R"({"publisher":"a","through":0,"behind":0,"updated":"today"})")}) {
    EXPECT_FALSE(outputs_in(line)) << line;
  }
}

TEST(OutputStatus, WhatIsOfAnotherKindIsLeftOut) {
  const auto outputs = outputs_in(status_of(
      R"({"publisher":"a","through":0,"behind":0,"updated":"2027-01-15T08:00:00Z","peer":7,"connected":"yes","told":-1,)"
      R"("lost":1.5,"cut":"1","silent_s":true,"last_success":"today","last_error":[],"last_error_at":1})"));
  ASSERT_TRUE(outputs);
  EXPECT_EQ(output_form(outputs->at(0)).text(),
            R"({"publisher":"a","through":0,"behind":0,"updated":"2027-01-15T08:00:00Z"})");
}

TEST(OutputStatus, Complaints) {
  EXPECT_EQ(complaint_in(R"({"ok":true})"), "");
  EXPECT_EQ(complaint_in(R"({"error":"There is no publisher 'a'"})"), "There is no publisher 'a'");
  for (const char* line :
       {"", "7", "{}", R"({"ok":false})", R"({"ok":true,"x":1})", R"({"error":""})", R"({"error":7})"}) {
    EXPECT_EQ(complaint_in(line), std::nullopt) << line;
  }
}

TEST(OutputStatus, State) {
  struct Row {
    std::optional<std::int64_t> silent;
    std::optional<bool> connected;
    const char* state;
  };
  for (const Row& row :
       {Row{std::nullopt, std::nullopt, "not heard yet"}, Row{0, true, "connected"}, Row{30, true, "connected"},
        Row{31, true, "not heard for 31s"}, Row{3'725, false, "not heard for 1h 2m"}, Row{30, false, "not connected"},
        Row{3, std::nullopt, "runs"}}) {
    OutputStatus output;
    output.silent = row.silent;
    output.connected = row.connected;
    EXPECT_EQ(state_text(output), row.state);
  }
}

}  // namespace output_status_test
}  // namespace polaiga::engine
