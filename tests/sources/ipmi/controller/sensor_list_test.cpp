#include "controller/sensor_list.h"

#include <gtest/gtest.h>

#include "support/fake_controller.h"

namespace polaiga::ipmi {
namespace sensor_list_test {

TEST(SensorList, TakesEachSensorOnce) {
  std::vector<std::string> complaints;
  const std::function<void(const std::string&)> complain = [&complaints](const std::string& what) {
    complaints.push_back(what);
  };
  SensorList list(complain);
  list.add(full_sdr(1, {.number = 1, .name = "ONE"}), "the first");
  list.add(std::vector<std::uint8_t>{1, 0, 0x51, 0x12, 0}, "another");
  list.add(std::vector<std::uint8_t>{1, 0}, "the third");
  list.add(event_only_sdr(1, {.number = 1, .name = "AGAIN"}), "the fourth");
  auto elsewhere = full_sdr(2, {.number = 1, .name = "ELSEWHERE"});
  elsewhere[5] = 0x2C;
  list.add(elsewhere, "the fifth");
  const auto sensors = list.take();
  ASSERT_EQ(sensors.size(), 2);
  EXPECT_EQ(sensors[0].name, "ONE");
  EXPECT_EQ(sensors[1].name, "ELSEWHERE");
  EXPECT_EQ(complaints, (std::vector<std::string>{"the third is left out: it has 2 bytes, and its header alone has 5",
                                                  "the fourth is left out: sensor number 1 has a record already"}));
}

}  // namespace sensor_list_test
}  // namespace polaiga::ipmi
