#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "support/program.h"

namespace polaiga::engine::test {
namespace {

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

TEST(CatalogCommand, NoTables) {
  const Ended got = Shell().run("$POLAIGA catalog --tables /nowhere");
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.out, "");
  EXPECT_EQ(got.err, "polaiga: /nowhere/nm.tsv: cannot open: No such file or directory\n");
}

}  // namespace
}  // namespace polaiga::engine::test
