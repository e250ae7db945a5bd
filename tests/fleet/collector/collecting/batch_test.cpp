#include "collecting/batch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace polaiga::fleet {
namespace batch_test {

constexpr const char* kChangeKey = "polaiga.v1.lab.rack-1.change";
constexpr const char* kStatusKey = "polaiga.v1.lab.rack-1.status";
constexpr const char* kStopped =
    R"({"site":"lab","controller":"rack-1","version":"1.0.0","state":"offline","reason":"stopped"})";
constexpr const char* kLedger = "0123456789abcdef0123456789abcdef";

std::string maintenance(int number, const std::string& kind) {
  return std::string(R"({"ledger_id":")") + kLedger + R"(","number":)" + std::to_string(number) + R"(,"previous":)" +
         std::to_string(number - 1) + R"(,"change":")" + kind +
         R"(","at":"2025-03-12T10:00:00Z","seq":10,"dn":"sys","action":{"person":"root","comment":"swap"},)"
         R"("site":"lab","controller":"rack-1","version":"1.0.0"})";
}

TEST(Batch, BeginsEmpty) {
  const Batch batch;
  EXPECT_EQ(batch.messages, 0);
  EXPECT_EQ(batch.last_tag, 0);
}

TEST(Batch, TakesWhatIsUnderstood) {
  Batch batch;
  batch.add({.tag = 4, .routing_key = kStatusKey, .body = kStopped});
  batch.add({.tag = 5, .routing_key = kChangeKey, .body = maintenance(7, "out_of_service")});
  EXPECT_EQ(batch.messages, 2);
  EXPECT_EQ(batch.last_tag, 5);
  EXPECT_TRUE(batch.dead_letters.empty());
  ASSERT_EQ(batch.received.size(), 2);
  EXPECT_EQ(batch.received[0].sender, (Sender{.site = "lab", .controller = "rack-1"}));
  ASSERT_TRUE(std::holds_alternative<StatusMessage>(batch.received[0].message));
  ASSERT_TRUE(std::holds_alternative<ChangeMessage>(batch.received[1].message));
  EXPECT_EQ(std::get<ChangeMessage>(batch.received[1].message).number, 7);
}

struct Bad {
  std::string routing_key;
  std::string body;
  std::string reason;
};

TEST(Batch, MakesDeadLettersOfTheRest) {
  const std::string kKey =
      "The routing key is none of a controller: polaiga.v1.SITE.CONTROLLER.KIND, whose names have 1 to 64 letters, "
      "digits, '_' and '-'";
  const std::vector<Bad> cases{
      {"polaiga.v1.a.b.c.status", kStopped, kKey},
      {"polaiga.v1.lab..status", kStopped, kKey},
      {"polaiga.v2.lab.rack-1.status", kStopped, kKey},
      {"polaiga.v1.lab.rack-1.mood", kStopped, kKey},
      {"", kStopped, kKey},
      {"polaiga.v1.lab.rack-1.ack", kStopped, "Controllers send no message of the kind 'ack'"},
      {"polaiga.v1.lab.rack-2.status", kStopped,
       "The member 'controller' is 'rack-1', but the routing key names 'rack-2'"},
      {kStatusKey, "", "The message is not JSON in UTF-8"},
      {kStatusKey, "{", "The message is not JSON in UTF-8"},
      {kStatusKey, "\"\xff\"", "The message is not JSON in UTF-8"},
      {kStatusKey, "[]", "The message is not a JSON object"},
      {kStatusKey, std::string(65537, ' '), "The message has 65537 bytes; at most 65536 are allowed"},
  };
  for (const auto& [routing_key, body, reason] : cases) {
    Batch batch;
    batch.add({.tag = 9, .routing_key = routing_key, .body = body});
    EXPECT_EQ(batch.messages, 1) << reason;
    EXPECT_EQ(batch.last_tag, 9) << reason;
    EXPECT_TRUE(batch.received.empty()) << reason;
    ASSERT_EQ(batch.dead_letters.size(), 1) << reason;
    EXPECT_EQ(batch.dead_letters[0].reason, reason);
    EXPECT_EQ(batch.dead_letters[0].routing_key, routing_key);
    EXPECT_EQ(batch.dead_letters[0].body, body);
  }
}

TEST(Batch, AGapTakesThePlaceOfAChangeThatIsNotUnderstood) {
  Batch batch;
  batch.add({.tag = 1, .routing_key = kChangeKey, .body = maintenance(7, "teleported")});
  ASSERT_EQ(batch.dead_letters.size(), 1);
  EXPECT_EQ(batch.dead_letters[0].reason, "The member 'change' must be a change that this version knows");
  ASSERT_EQ(batch.received.size(), 1);
  ASSERT_TRUE(std::holds_alternative<GapMessage>(batch.received[0].message));
  EXPECT_EQ(std::get<GapMessage>(batch.received[0].message),
            (GapMessage{.ledger_id = kLedger, .first = 7, .last = 7, .previous = 6}));
  EXPECT_EQ(batch.received[0].sender, (Sender{.site = "lab", .controller = "rack-1"}));
}

TEST(Batch, WhatIsPassedOverIsAcknowledgedAndNotLookedAt) {
  Batch batch;
  batch.pass_over({.tag = 3, .routing_key = kStatusKey, .body = "{"});
  EXPECT_EQ(batch.messages, 1);
  EXPECT_EQ(batch.passed_over, 1);
  EXPECT_EQ(batch.last_tag, 3);
  EXPECT_TRUE(batch.received.empty());
  EXPECT_TRUE(batch.dead_letters.empty());
}

}  // namespace batch_test
}  // namespace polaiga::fleet
