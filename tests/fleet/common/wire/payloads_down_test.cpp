#include <gtest/gtest.h>

#include "wire/message.h"

namespace polaiga::fleet {
namespace payloads_down_test {

const std::string kId = "0123456789abcdef0123456789abcdef";

TEST(PayloadsDown, AreWhatControllersRead) {
  EXPECT_EQ(ack_payload(kId, 40), R"({"ledger_id":"0123456789abcdef0123456789abcdef","through":40})");
  EXPECT_EQ(replay_payload(kId, 17, 40, "changes-1"),
            R"({"ledger_id":"0123456789abcdef0123456789abcdef","first":17,"last":40,"id":"changes-1"})");
  EXPECT_EQ(list_request_payload(kId, 12, "list-2"),
            R"({"ledger_id":"0123456789abcdef0123456789abcdef","alarms":true,"after":12,"id":"list-2"})");
}

TEST(PayloadsDown, TextsAreWrittenAsJson) {
  EXPECT_EQ(replay_payload(kId, 1, 2, "\"\\\n"),
            R"({"ledger_id":"0123456789abcdef0123456789abcdef","first":1,"last":2,"id":"\"\\\n"})");
}

}  // namespace payloads_down_test
}  // namespace polaiga::fleet
