#include "wire/names.h"

#include <gtest/gtest.h>

namespace polaiga::fleet {
namespace names_test {

TEST(Names, AreLettersDigitsUnderscoresAndHyphens) {
  for (const char* name : {"a", "rack-1", "DC_Nord", "0", "-", "_"}) EXPECT_TRUE(is_fleet_name(name)) << name;
  EXPECT_TRUE(is_fleet_name(std::string(64, 'x')));
  EXPECT_FALSE(is_fleet_name(std::string(65, 'x')));
  for (const char* name : {"", "a.b", "a/b", "a b", "+", "#", "*", "\xC3\xA4", "a\n"}) {
    EXPECT_FALSE(is_fleet_name(name)) << name;
  }
  EXPECT_FALSE(is_fleet_name(std::string_view("a\0b", 3)));
}

TEST(Names, RoutingKeysOfAllKinds) {
  const Sender sender{.site = "lab", .controller = "rack-1"};
  const std::pair<Kind, const char*> keys[] = {
      {Kind::kChange, "polaiga.v1.lab.rack-1.change"},     {Kind::kStatus, "polaiga.v1.lab.rack-1.status"},
      {Kind::kReplayed, "polaiga.v1.lab.rack-1.replayed"}, {Kind::kActed, "polaiga.v1.lab.rack-1.acted"},
      {Kind::kAck, "polaiga.v1.lab.rack-1.ack"},           {Kind::kReplay, "polaiga.v1.lab.rack-1.replay"},
      {Kind::kAction, "polaiga.v1.lab.rack-1.action"}};
  for (const auto& [kind, key] : keys) {
    EXPECT_EQ(routing_key(sender, kind), key);
    const auto route = parse_routing_key(key);
    ASSERT_TRUE(route) << key;
    EXPECT_EQ(route->sender, sender);
    EXPECT_EQ(route->kind, kind);
  }
}

TEST(Names, OtherKeysAreNone) {
  for (const char* key :
       {"", "polaiga.v1", "polaiga.v1.", "polaiga.v1.lab", "polaiga.v1.lab.rack-1", "polaiga.v1.lab.rack-1.",
        "polaiga.v1.lab.rack-1.alarms", "polaiga.v1.lab.rack-1.change.0", "polaiga.v1.lab.rack-1.change.",
        "polaiga.v1.a.b.c.change", "polaiga.v2.lab.rack-1.change", "polaiga.v1..rack-1.change",
        "polaiga.v1.lab..change", "polaiga/v1/lab/rack-1/change", " polaiga.v1.lab.rack-1.change",
        "polaiga.v1.lab.rack 1.change", "polaiga.v1.lab.rack-1.Change"}) {
    EXPECT_FALSE(parse_routing_key(key)) << key;
  }
}

}  // namespace names_test
}  // namespace polaiga::fleet
