#include "publisher/report.h"

#include <gtest/gtest.h>

namespace polaiga::output {
namespace report_test {

const std::string kId(32, 'a');

TEST(ReportRequest, HasAllThatIsKnown) {
  const Report report{.publisher = "mqtt",
                      .peer = "broker.example:8883",
                      .ledger_id = kId,
                      .through = 17,
                      .is_connected = true,
                      .told = 3,
                      .lost = 2,
                      .cut = 1,
                      .last_success = 1'700'000'000,
                      .last_error_at = 1'700'000'060,
                      .last_error = "the broker \"hangs\""};
  EXPECT_EQ(report_request(report), R"({"do":"cursor","publisher":"mqtt","through":17,"ledger_id":")" + kId +
                                        R"(","peer":"broker.example:8883","connected":true,"told":3,"lost":2,"cut":1,)"
                                        R"("last_success":"2023-11-14T22:13:20Z","last_error":"the broker \"hangs\"",)"
                                        R"("last_error_at":"2023-11-14T22:14:20Z"})"
                                        "\n");
}

TEST(ReportRequest, WhatIsNotKnownIsLeftOut) {
  EXPECT_EQ(report_request({.publisher = "snmp", .peer = "unix:/run/x", .ledger_id = kId, .last_error = ""}),
            R"({"do":"cursor","publisher":"snmp","through":0,"ledger_id":")" + kId +
                R"(","peer":"unix:/run/x","connected":false,"told":0,"lost":0,"cut":0})"
                "\n");
}

// The engine refuses texts that cannot be shown or are too long, and a cursor must not stand because of a long error.
TEST(ReportRequest, TextsAreSuchAsTheEngineTakes) {
  const auto request = [](const std::string& peer, const std::string& error) {
    return report_request({.publisher = "snmp", .peer = peer, .ledger_id = kId, .last_error = error});
  };
  const std::string begin = R"({"do":"cursor","publisher":"snmp","through":0,"ledger_id":")" + kId + "\"";
  const std::string counts = R"(,"connected":false,"told":0,"lost":0,"cut":0)";
  EXPECT_EQ(request("a\nb\x1b[2J", "\xFF"), begin + R"(,"peer":"a?b?[2J")" + counts +
                                                R"(,"last_error":"?"})"
                                                "\n");
  EXPECT_EQ(request("", "  "), begin + counts + "}\n");
  EXPECT_EQ(request(std::string(256, 'p'), std::string(512, 'e')), begin + R"(,"peer":")" + std::string(256, 'p') +
                                                                       "\"" + counts + R"(,"last_error":")" +
                                                                       std::string(512, 'e') + "\"}\n");
  EXPECT_EQ(request(std::string(300, 'p'), std::string(511, 'e') + "\u00e4"),
            begin + R"(,"peer":")" + std::string(256, 'p') + "\"" + counts + R"(,"last_error":")" +
                std::string(511, 'e') + "\"}\n");
}

}  // namespace report_test
}  // namespace polaiga::output
