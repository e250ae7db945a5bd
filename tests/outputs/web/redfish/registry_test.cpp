#include "redfish/registry.h"

#include <gtest/gtest.h>

#include "redfish/errors.h"

namespace polaiga::web {
namespace registry_test {

using nlohmann::json;

constexpr const char* kCatalog =
    R"({"filter":"fan","code":395,"name":"fltFan","cause":"performance-problem","behaviours":[)"
    R"({"raised_by":[{"events":"1: any","descr":"SENSOR: slow"},{"events":"2: any","descr":"SENSOR: very slow"}]}]})"
    "\n"
    R"({"filter":"other","code":395,"name":"fltOther","cause":"performance-problem","behaviours":[]})"
    "\n";

TEST(RegistryTest, AFaultHasItsRaiseAndItsEnd) {
  const engine::AlarmProfile profile(
      "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n"
      "F0395\t**\t-\tyes\t-\t-\tReplace the fan.\n",
      "profile.tsv");
  const json registry = json::parse(message_registry(kCatalog, profile));
  EXPECT_EQ(registry.at("RegistryPrefix"), "Polaiga");
  const json raised = registry.at("Messages").at("F0395");
  EXPECT_EQ(raised.at("Message"), "The object %1 has the fault F0395: %2.");
  EXPECT_EQ(raised.at("Description"),
            "fltFan or fltOther or fltEquipmentFanPerfThresholdNonCritical, "
            "performance-problem");
  EXPECT_EQ(raised.at("LongDescription"), "SENSOR: slow; SENSOR: very slow");
  EXPECT_EQ(raised.at("MessageSeverity"), "Warning");
  EXPECT_EQ(raised.at("NumberOfArgs"), 2);
  EXPECT_EQ(raised.at("Resolution"), "Replace the fan.");
  EXPECT_FALSE(raised.contains("ClearingLogic"));
  const json over = registry.at("Messages").at("F0395Over");
  EXPECT_EQ(over.at("MessageSeverity"), "OK");
  EXPECT_EQ(over.at("ClearingLogic"), json::parse(R"({"ClearsMessage":["F0395"],"ClearsIf":"SameOriginOfCondition"})"));
  // A fault that the catalog does not tell of has its messages, too.
  EXPECT_TRUE(registry.at("Messages").contains("F0396"));
}

TEST(RegistryTest, ACatalogThatCannotBeMadeIsAskedForAgain) {
  int calls = 0;
  Registry registry([&]() -> std::string {
    if (++calls == 1) throw std::runtime_error("no such program");
    return kCatalog;
  });
  const auto profile = std::make_shared<const engine::AlarmProfile>();
  EXPECT_THROW(registry.text(profile), Refusal);
  const Body made = registry.text(profile);
  EXPECT_EQ(registry.text(profile), made) << "it is kept";
  EXPECT_EQ(calls, 2);
}

}  // namespace registry_test
}  // namespace polaiga::web
