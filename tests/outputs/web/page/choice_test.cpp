#include "page/choice.h"

#include <gtest/gtest.h>

#include <cstring>
#include <span>

#include "page/files.h"

namespace polaiga::web {
namespace choice_test {

using engine::ActiveRow;
using engine::Severity;

constexpr engine::Moment kNow = 86400 + 100;

ActiveRow row(engine::ChangeNumber number, const char* dn, Severity severity, engine::Moment since) {
  ActiveRow row;
  row.fault.alarm = number;
  row.fault.dn = dn;
  row.fault.fault_dn = std::string(dn) + "/fault-F0001";
  row.fault.name = "fltEquipmentFanDegraded";
  row.fault.severity = severity;
  row.alarm_since = since;
  row.fault.updated = since;
  std::strncpy(row.shown.record.descr, "Fan is slow", sizeof row.shown.record.descr - 1);
  std::strncpy(row.shown.event.event.event.sensor_name, "FAN1_TACH1",
               sizeof row.shown.event.event.event.sensor_name - 1);
  return row;
}

std::vector<ActiveRow> rows() {
  std::vector<ActiveRow> all = {
      row(1, "sys/rack/fan-1", Severity::kMinor, 100), row(2, "sys/rack/psu-1", Severity::kCritical, 50),
      row(3, "sys/rack/psu-10", Severity::kMinor, 200), row(4, "sys/rack/disk-1", Severity::kWarning, 300),
      row(5, "sys/rack/disk-2", Severity::kMajor, 10)};
  all[0].standing.acknowledged = 7;
  all[0].state_by.emplace();
  all[0].state_by->action.emplace();
  all[0].state_by->action->person = "Anna";
  all[3].standing.shelved = 8;
  all[4].is_out_of_service = true;
  return all;
}

std::vector<engine::ChangeNumber> numbers(const char* target) {
  const std::vector<ActiveRow> all = rows();
  std::vector<engine::ChangeNumber> found;
  for (const ActiveRow* one : chosen(read_choice(parse_target(target)), all, kNow)) found.push_back(one->fault.alarm);
  return found;
}

struct ChoiceCase {
  const char* target;
  std::vector<engine::ChangeNumber> wanted;
};

class ChoiceTest : public testing::TestWithParam<ChoiceCase> {};

TEST_P(ChoiceTest, ChoosesAndOrders) { EXPECT_EQ(numbers(GetParam().target), GetParam().wanted) << GetParam().target; }

using Numbers = std::vector<engine::ChangeNumber>;

INSTANTIATE_TEST_SUITE_P(
    Addresses, ChoiceTest,
    testing::Values(ChoiceCase{"/", Numbers{2, 3, 1}},  // the worst first, then the newest; none that is silenced
                    ChoiceCase{"/?severity=minor", Numbers{3, 1}}, ChoiceCase{"/?severity=minor-up", Numbers{2, 3, 1}},
                    ChoiceCase{"/?severity=major-up", Numbers{2}}, ChoiceCase{"/?state=all", Numbers{2, 5, 3, 1, 4}},
                    ChoiceCase{"/?state=new", Numbers{2, 3}}, ChoiceCase{"/?state=acknowledged", Numbers{1}},
                    ChoiceCase{"/?state=shelved", Numbers{4}}, ChoiceCase{"/?state=out-of-service", Numbers{5}},
                    ChoiceCase{"/?state=closed", Numbers{}}, ChoiceCase{"/?state=chattering", Numbers{}},
                    ChoiceCase{"/?state=stale", Numbers{2, 5}},
                    ChoiceCase{"/?under=sys/rack/psu-1", Numbers{2}},  // and not psu-10
                    ChoiceCase{"/?under=sys/rack/psu-1/fault-F0001", Numbers{2}},
                    ChoiceCase{"/?under=sys/rack", Numbers{2, 3, 1}}, ChoiceCase{"/?text=PSU", Numbers{2, 3}},
                    ChoiceCase{"/?text=f0001", Numbers{2, 3, 1}}, ChoiceCase{"/?text=fan+is+slow", Numbers{2, 3, 1}},
                    ChoiceCase{"/?text=anna", Numbers{1}}, ChoiceCase{"/?text=nothing", Numbers{}},
                    ChoiceCase{"/?text=tach1", Numbers{2, 3, 1}}, ChoiceCase{"/?order=newest", Numbers{3, 1, 2}},
                    ChoiceCase{"/?order=oldest", Numbers{2, 1, 3}}, ChoiceCase{"/?order=object", Numbers{1, 2, 3}},
                    // What means nothing counts as none.
                    ChoiceCase{"/?severity=bad&state=bad&order=bad&other=1&skip=x", Numbers{2, 3, 1}},
                    ChoiceCase{"/?severity=cleared", Numbers{2, 3, 1}}));

// The scripts draw the form anew, from words of their own.
TEST(ChoiceTest, OffersTheSameAsTheScripts) {
  std::string_view script;
  for (const EmbeddedFile& file : page_files()) {
    if (file.name == "choice.js") script = file.content;
  }
  const std::pair<const char*, std::span<const Option>> lists[] = {
      {"severity_options", severity_options()}, {"state_options", state_options()}, {"order_options", order_options()}};
  for (const auto& [name, options] : lists) {
    const std::size_t begin = script.find(name);
    ASSERT_NE(begin, std::string_view::npos) << name;
    std::string text(script.substr(begin, script.find(';', begin) - begin));
    std::erase(text, '\n');
    for (std::size_t at = 0; (at = text.find("  ")) != std::string::npos;) text.erase(at, 1);
    std::string wanted = std::string(name) + " = [";
    for (const Option& option : options) {
      wanted.append(wanted.ends_with("[") ? "['" : ", ['").append(option.word).append("', '").append(option.label) +=
          "']";
    }
    EXPECT_EQ(text, wanted + "]");
  }
}

TEST(ChoiceTest, ReadsHowManyToSkip) {
  EXPECT_EQ(read_choice(parse_target("/?skip=200")).skip, 200U);
  EXPECT_EQ(read_choice(parse_target("/?skip=-1")).skip, 0U);
}

}  // namespace choice_test
}  // namespace polaiga::web
