#include <gtest/gtest.h>

#include "support/spoiled.h"

namespace polaiga::fleet {
namespace message_test {

using test::complaint;
using test::expect_complaints;
using test::kLedger;
using test::kRack;
using test::parse_as;
using test::with;

const std::string kOnline =
    R"({"state":"online","site":"lab","controller":"rack-1","version":"1.0.0",)"
    R"("ledger_id":"0123456789abcdef0123456789abcdef","number":17,"oldest_number":3,"told":16,"engine":true,)"
    R"("at":"2025-03-12T09:03:00Z"})";
const std::string kStopped =
    R"({"state":"offline","site":"lab","controller":"rack-1","version":"1.0.0","reason":"stopped",)"
    R"("at":"2025-03-12T09:03:00Z"})";
const std::string kLost = R"({"state":"offline","site":"lab","controller":"rack-1","version":"1.0.0","reason":"lost"})";
const std::string kDone = R"({"ledger_id":"0123456789abcdef0123456789abcdef","done":true,"through":40,"previous":38,)"
                          R"("site":"lab","controller":"rack-1","version":"1.0.0","replay":"changes-1"})";
const std::string kRefused =
    R"({"refused":"4 requests wait already","site":"lab","controller":"rack-1","version":"1.0.0","replay":"x"})";
const std::string kActed =
    R"({"id":"fleet-17","done":false,"why":"Alarm 3 is over","site":"lab","controller":"rack-1","version":"1.0.0"})";

TEST(StatusMessages, Online) {
  const auto status = parse_as<StatusMessage>(Kind::kStatus, kOnline);
  EXPECT_TRUE(status.is_online);
  EXPECT_FALSE(status.is_lost);
  EXPECT_EQ(status.ledger_id, kLedger);
  EXPECT_EQ(status.number, 17);
  EXPECT_EQ(status.oldest_number, 3);
  EXPECT_EQ(status.told, 16);
  EXPECT_TRUE(status.is_engine_answering);
  EXPECT_EQ(status.at, 1741770180);
  EXPECT_EQ(status.version, "1.0.0");
}

TEST(StatusMessages, WithoutALedger) {
  std::string payload = kOnline;
  for (const char* name : {"/ledger_id", "/number", "/oldest_number", "/told"}) payload = with(payload, name, "");
  const auto status = parse_as<StatusMessage>(Kind::kStatus, payload);
  EXPECT_TRUE(status.is_online);
  EXPECT_EQ(status.ledger_id, "");
  EXPECT_EQ(status.told, 0);
}

TEST(StatusMessages, Offline) {
  const auto stopped = parse_as<StatusMessage>(Kind::kStatus, kStopped);
  EXPECT_FALSE(stopped.is_online);
  EXPECT_FALSE(stopped.is_lost);
  EXPECT_EQ(stopped.at, 1741770180);
  const auto lost = parse_as<StatusMessage>(Kind::kStatus, kLost);
  EXPECT_FALSE(lost.is_online);
  EXPECT_TRUE(lost.is_lost);
  EXPECT_EQ(lost.at, 0);
}

TEST(StatusMessages, WrongMembers) {
  const test::Spoiled online[] = {
      {"/state", "", "The member 'state' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/state", R"("busy")", "The member 'state' must be online or offline"},
      {"/version", "", "The member 'version' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/ledger_id", "7", "The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f"},
      {"/number", "", "The member 'number' must be a whole number, 0 or more"},
      {"/oldest_number", "-1", "The member 'oldest_number' must be a whole number, 0 or more"},
      {"/told", "1.5", "The member 'told' must be a whole number, 0 or more"},
      {"/engine", "", "The member 'engine' must be true or false"},
      {"/at", "", "The member 'at' must be a time as 2025-01-31T23:59:59Z"},
  };
  expect_complaints(Kind::kStatus, kOnline, online);
  const test::Spoiled stopped[] = {
      {"/reason", "", "The member 'reason' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/reason", R"("tired")", "The member 'reason' must be stopped or lost"},
      {"/at", "7", "The member 'at' must be a time as 2025-01-31T23:59:59Z"},
  };
  expect_complaints(Kind::kStatus, kStopped, stopped);
}

TEST(Replayed, Done) {
  const auto done = parse_as<ReplayDone>(Kind::kReplayed, kDone);
  EXPECT_EQ(done.ledger_id, kLedger);
  EXPECT_EQ(done.replay, "changes-1");
  EXPECT_EQ(done.through, 40);
  EXPECT_EQ(done.previous, 38);
  EXPECT_EQ(parse_as<ReplayDone>(Kind::kReplayed, with(kDone, "/previous", "")).previous, std::nullopt);
  const test::Spoiled cases[] = {
      {"/done", "false", "The member 'done' must be true"},
      {"/through", "", "The member 'through' must be a whole number, 0 or more"},
      {"/previous", "41", "The member 'previous' must be at most 'through'"},
      {"/replay", "", "The member 'replay' must be a text of at most 64 bytes, in UTF-8 and without NUL"},
      {"/ledger_id", "", "The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f"},
  };
  expect_complaints(Kind::kReplayed, kDone, cases);
}

TEST(Replayed, Refused) {
  const auto refused = parse_as<ReplayRefused>(Kind::kReplayed, kRefused);
  EXPECT_EQ(refused.replay, "x");
  EXPECT_EQ(refused.why, "4 requests wait already");
  EXPECT_EQ(parse_as<ReplayRefused>(Kind::kReplayed, with(kRefused, "/replay", "")).replay, "");
  const std::string long_id = "\"" + std::string(65, 'x') + "\"";
  const test::Spoiled cases[] = {
      {"/refused", "7", "The member 'refused' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/replay", long_id.c_str(), "The member 'replay' must be a text of at most 64 bytes, in UTF-8 and without NUL"},
  };
  expect_complaints(Kind::kReplayed, kRefused, cases);
}

TEST(Acted, DoneOrNot) {
  const auto refused = parse_as<ActedMessage>(Kind::kActed, kActed);
  EXPECT_EQ(refused.id, "fleet-17");
  EXPECT_FALSE(refused.is_done);
  EXPECT_EQ(refused.why, "Alarm 3 is over");
  const auto done = parse_as<ActedMessage>(Kind::kActed, with(with(kActed, "/done", "true"), "/why", ""));
  EXPECT_TRUE(done.is_done);
  EXPECT_EQ(done.why, "");
  const test::Spoiled cases[] = {
      {"/id", "", "The member 'id' must be a text of at most 64 bytes, in UTF-8 and without NUL"},
      {"/id", R"("")", "The member 'id' must be a text that is not empty"},
      {"/done", "", "The member 'done' must be true or false"},
      {"/why", "", "The member 'why' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
  };
  expect_complaints(Kind::kActed, kActed, cases);
}

TEST(Messages, WhatIsNoMessage) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "The message is not JSON in UTF-8"},
      {"17", "The message is not a JSON object"},
      {"[]", "The message is not a JSON object"},
      {"{", "The message is not JSON in UTF-8"},
      {kOnline + "x", "The message is not JSON in UTF-8"},
      {"{\"state\":\"\xFF\"}", "The message is not JSON in UTF-8"},
      {R"({"state":"\ud800"})", "The message is not JSON in UTF-8"},
      {std::string("{\"a\":\"\0\"}", 9), "The message is not JSON in UTF-8"},
      {std::string(65537, ' '), "The message has 65537 bytes; at most 65536 are allowed"},
      {std::string(65536, '['), "The message is not JSON in UTF-8"},
      {"{}", "The member 'site' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {R"({"site":"lab","site":"lab"})", "The member 'site' comes twice"},
  };
  for (const auto& [payload, why] : cases) EXPECT_EQ(complaint(Kind::kStatus, payload), why) << payload.substr(0, 80);
}

// A low half of a pair that stands alone is no character.
TEST(Messages, HalfACharacterIsRefused) {
  EXPECT_NE(complaint(Kind::kActed,
                      with(kActed, "/why", "\"?\"").replace(with(kActed, "/why", "\"?\"").find('?'), 1, R"(\udc00)")),
            "none");
}

TEST(Messages, AnotherSenderThanItsRoutingKey) {
  const test::Spoiled cases[] = {
      {"/site", R"("other")", "The member 'site' is 'other', but the routing key names 'lab'"},
      {"/site", "", "The member 'site' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/controller", R"("rack-2")", "The member 'controller' is 'rack-2', but the routing key names 'rack-1'"},
      {"/controller", "1", "The member 'controller' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
  };
  expect_complaints(Kind::kStatus, kOnline, cases);
}

TEST(Messages, KindsThatControllersDoNotSend) {
  EXPECT_EQ(complaint(Kind::kAck, kOnline), "Controllers send no message of the kind 'ack'");
  EXPECT_EQ(complaint(Kind::kReplay, kOnline), "Controllers send no message of the kind 'replay'");
  EXPECT_EQ(complaint(Kind::kAction, kOnline), "Controllers send no message of the kind 'action'");
}

TEST(Messages, AMemberOfAnObjectThatComesTwice) {
  EXPECT_EQ(complaint(Kind::kChange, R"({"site":"lab","controller":"rack-1","gap":{"first":1,"first":2,"last":3},)"
                                     R"("ledger_id":"0123456789abcdef0123456789abcdef","previous":0})"),
            "The member 'gap.first' comes twice");
}

// A complaint goes into a header and a log.
TEST(Messages, AComplaintIsShortAndCanBeShown) {
  const std::string name = "x\\u001b" + std::string(1000, 'y');
  const std::string twice = complaint(Kind::kStatus, "{\"" + name + "\":1,\"" + name + "\":2}");
  EXPECT_LE(twice.size(), 200U);
  EXPECT_EQ(twice.find('\x1b'), std::string::npos);
  const std::string site =
      complaint(Kind::kStatus, with(kOnline, "/site", R"("\u001b[2J)" + std::string(1000, 'y') + "\""));
  EXPECT_LE(site.size(), 200U);
  EXPECT_EQ(site.find('\x1b'), std::string::npos);
}

}  // namespace message_test
}  // namespace polaiga::fleet
