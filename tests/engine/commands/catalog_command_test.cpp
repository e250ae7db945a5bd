#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "support/program.h"

namespace polaiga::engine::test {
namespace catalog_command_test {

using nlohmann::json;

TEST(CatalogCommand, Json) {
  const Shell shell;
  const Ended got = shell.run("$POLAIGA catalog --json");
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.err, "");
  std::istringstream lines(got.out);
  int faults = 0;
  int links = 0;
  for (std::string line; std::getline(lines, line); ++faults) {
    const json fault = json::parse(line);
    EXPECT_FALSE(fault["behaviours"].empty());
    if (fault["filter"] != "ne") continue;
    ++links;
    EXPECT_EQ(fault["code"], 717);
    EXPECT_EQ(fault["behaviours"][0]["raised_by"][0]["events"], "126: any but 0");
    EXPECT_EQ(fault["behaviours"][0]["objects"][0]["dn"], "sys/rack-unit-1/mgmt/if-1");
  }
  EXPECT_EQ(links, 1);
  EXPECT_GT(faults, 100);
}

TEST(CatalogCommand, TextOfTheTablesOfTheUser) {
  const Shell shell;
  const std::string tables = shell.dir().file("tables");
  const Ended got = shell.run("cp -r '" POLAIGA_TABLES_DIR "' '" + tables + "' && sed -i s/HDD_BP1_TEMP/BAY_TEMP/ '" +
                              tables + "/drive_bp.tsv' && $POLAIGA catalog --tables '" + tables + "'");
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.err, "");
  EXPECT_EQ(got.out.substr(0, 10), "sys_board\n");
  EXPECT_EQ(got.out.find("HDD_BP1_TEMP"), std::string::npos);
  EXPECT_NE(
      got.out.find(
          "\n      sys/rack-unit-1/drive-backplane-1  (BAY_TEMP)\n"
          "        SENSOR: Drive backplane temperature is {lower / upper} non-recoverable: Check server cooling\n"),
      std::string::npos);
}

// An entry is told with the faults whose code it names; one for any code, with those that
// have an object that it fits.
TEST(CatalogCommand, WhatTheSiteSays) {
  const Shell shell;
  const std::string tables = shell.dir().file("tables");
  const std::string rows =
      "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n"
      "F0717\tsys/rack-unit-9/**\tcritical\tyes\t90m\tNobody can log in.\tWalk there.\n"
      "*\tsys/rack-unit-1/mgmt/if-*\t-\tno\t-\t-\t-\n";
  shell.dir().write("alarms.tsv", rows);
  const std::string prepare = "cp -r '" POLAIGA_TABLES_DIR "' '" + tables + "' && cp '" +
                              shell.dir().file("alarms.tsv") + "' '" + tables + "' && ";
  const Ended text = shell.run(prepare + "$POLAIGA catalog --tables '" + tables + "'");
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_NE(text.out.find("\n    for sys/rack-unit-9/**: critical, notified, respond within 1h 30m\n"
                          "      consequence: Nobody can log in.\n"
                          "      advice: Walk there.\n"
                          "    for sys/rack-unit-1/mgmt/if-*: not notified\n"
                          "    raised "),
            std::string::npos);
  const Ended lines = shell.run("$POLAIGA catalog --json --tables '" + tables + "'");
  std::istringstream stream(lines.out);
  int told = 0;
  for (std::string line; std::getline(stream, line);) {
    const json fault = json::parse(line);
    EXPECT_EQ(fault.contains("profile"), fault["filter"] == "ne") << fault["name"];
    if (!fault.contains("profile")) continue;
    ++told;
    EXPECT_EQ(fault["severity"], "warning") << "the fault's own";
    EXPECT_EQ(fault["profile"], json::parse(R"([
      {"dn": "sys/rack-unit-9/**", "severity": "critical", "notify": true, "respond_within": 5400,
       "consequence": "Nobody can log in.", "advice": "Walk there."},
      {"dn": "sys/rack-unit-1/mgmt/if-*", "notify": false}])"));
  }
  EXPECT_EQ(told, 1);
}

TEST(CatalogCommand, NoTables) {
  const Ended got = Shell().run("$POLAIGA catalog --tables /nowhere");
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.out, "");
  EXPECT_EQ(got.err, "polaiga: /nowhere/nm.tsv: cannot open: No such file or directory\n");
}

}  // namespace catalog_command_test
}  // namespace polaiga::engine::test
