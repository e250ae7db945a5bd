#include "fleet_page/grid.h"

#include <gtest/gtest.h>

#include "fleet_page/fleet_paint.h"

namespace polaiga::web {
namespace grid_test {

fleet::ControllerRow controller(const std::string& site, const std::string& name) {
  fleet::ControllerRow row;
  row.site = site;
  row.name = name;
  return row;
}

TEST(GridTest, EachControllerIsARow) {
  fleet::Overview overview;
  overview.controllers = {controller("a", "one"), controller("b", "two"), controller("b", "three")};
  overview.controllers[1].counts.of_severity = {0, 0, 1, 0, 2, 0};
  overview.controllers[1].counts.unacknowledged = 1;
  overview.controllers[2].silent_since = 1700000000;
  overview.sites = fleet::sites_of(overview.controllers);
  EXPECT_EQ(grid_text(overview),
            R"({"sites":["a","b"],"columns":["site","name","worst","alarms","unacknowledged","silent_since"],)"
            R"("rows":[[0,"one",0,0,0,0],[1,"two",4,3,1,0],[1,"three",0,0,0,1700000000]]})"
            "\n");
}

TEST(GridTest, WhatChangesWhileNothingHappensIsNotInIt) {
  fleet::Overview overview;
  overview.controllers = {controller("a", "one")};
  overview.sites = fleet::sites_of(overview.controllers);
  const std::string before = grid_text(overview);
  overview.controllers[0].heard = 1700000000;
  overview.controllers[0].through = 17;
  EXPECT_EQ(grid_text(overview), before);
}

TEST(GridTest, AGroupInWords) {
  fleet::GroupRow group;
  group.site = "hall-b";
  group.description = "Input power lost";
  group.name = "fltPowerSupplyInputLost";
  group.controllers = 212;
  group.first_created = 1700000000;
  group.last_created = 1700000040;
  EXPECT_EQ(group_words(group), "Input power lost on 212 servers of hall-b within 40 s");
  group.description.clear();
  group.last_created = group.first_created;
  EXPECT_EQ(group_words(group), "Power supply input lost on 212 servers of hall-b at the same time");
}

}  // namespace grid_test
}  // namespace polaiga::web
