// A walk over what the filters can be asked: every offset and state around the
// known ones, with every sensor that a filter knows and one that it does not,
// from a library that remembers nothing and from one that remembers what
// suppresses or moves a fault. No text may be cut, and every record must hang
// together.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <polaiga/filters.h>
#include <polaiga/services.h>
#include <polaiga/tables.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/filter_test.h"
#include "support/library_memory.h"

// The host's sensors.
namespace {
constexpr fe_sensor_map_row sensor_row(std::string_view name, std::uint8_t number) {
  fe_sensor_map_row row{.sensor_name = {},
                        .entity_id = 15,
                        .row_number = number,
                        .subtype = 1,
                        .sensor_class = 0,
                        .base_code = 1301,
                        .cause_id = 215,
                        .fault_name = "fltBackplaneThermalNonCritical",
                        .cause = "thermal-problem",
                        .dn = "sys/rack-unit-1/board/bp-1",
                        .rn = "bp-1",
                        .descr_format = "%s: Backplane temperature is %s: Check cooling",
                        .threshold_codes = {1302, 1303, 1304, 1305, 1306}};
  std::copy(name.begin(), name.end(), row.sensor_name);
  return row;
}
}  // namespace
fe_sensor_map_row ent_drive_bp_map[] = {
    sensor_row("HDD_BP1_TEMP", 1),   sensor_row("SB_NVME1_TEMP", 2), sensor_row("IOE_NVME1_TEMP", 3),
    sensor_row("IOE_NVME2_TEMP", 4), sensor_row("HDD_BP2_TEMP", 5),
};
std::int32_t ent_drive_bp_map_sz = std::size(ent_drive_bp_map);
fe_sensor_map_row ent_cmc_map[] = {sensor_row("CMC_TEMP", 1)};
std::int32_t ent_cmc_map_sz = std::size(ent_cmc_map);
fe_nm_map_row ent_nm_map[] = {
    {.event_offset = 201,
     .entity_id = 15,
     .instance = 1,
     .subtype = 1,
     .reserved = 0,
     .code = 1311,
     .cause_id = 214,
     .fault_name = "fltNodeManagerLost",
     .cause = "equipment-inoperable",
     .dn = "sys/rack-unit-1/nm-1",
     .rn = "nm-1",
     .descr = "Node manager: Connection lost: Restart it"},
    {.event_offset = 202,
     .entity_id = 15,
     .instance = 2,
     .subtype = 1,
     .reserved = 0,
     .code = 1312,
     .cause_id = 214,
     .fault_name = "fltNodeManagerBusy",
     .cause = "equipment-inoperable",
     .dn = "sys/rack-unit-1/nm-1",
     .rn = "nm-1",
     .descr = "A text without what a clear needs"},
};
std::int32_t ent_nm_map_sz = std::size(ent_nm_map);

namespace polaiga::test {
namespace {

constexpr std::int32_t kFirstOffset = -1;
constexpr std::int32_t kLastOffset = 1100;
constexpr std::int32_t kFirstState = -1;
constexpr std::int32_t kLastState = 8;
constexpr int kSomeByte = 0x5A;

// Standard output goes nowhere while this lives: one filter traces every event.
class Silence {
 public:
  Silence() : kept_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
  }
  ~Silence() {
    std::fflush(stdout);
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  int kept_;
};

// Builds in which an event takes long leave out offsets that mean nothing to any filter.
std::vector<std::int32_t> all_offsets() {
  std::vector<std::int32_t> offsets;
  for (std::int32_t offset = kFirstOffset; offset <= kLastOffset; ++offset) {
#ifdef POLAIGA_SHORT_WALK
    if (offset > 130 && offset != 201 && offset != 202 && offset != 883) continue;
#endif
    offsets.push_back(offset);
  }
  return offsets;
}

struct Step {
  std::int32_t offset;
  std::int32_t state;
};

// What one filter is asked.
struct Walk {
  const char* filter;
  const char* rows = nullptr;  // exported tables that list its sensors
  const char* row_count = nullptr;
  const char* list = nullptr;
  std::vector<std::string> sensors = {};  // further ones
  std::vector<std::uint8_t> entity_ids = {7};
  std::vector<std::uint8_t> subtypes = {2};
  std::vector<std::uint32_t> reading_types = {FE_READING_THRESHOLD};
  std::vector<std::vector<Step>> before = {};  // events of the same sensor that are remembered
  std::vector<std::int32_t> platforms = {0};
  std::vector<std::int32_t> instances = {1, 12, INT_MIN};
  bool rn_may_be_cut = false;
  bool always_rejects = false;
};

std::ostream& operator<<(std::ostream& out, const Walk& walk) { return out << walk.filter; }

template <std::size_t N>
bool whole(const char (&field)[N], std::size_t longest = N - 2) {
  return strnlen(field, N) <= longest;
}

bool is_moment(std::string_view text) {
  constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:dd";
  if (text.size() != kForm.size()) return false;
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    if (kForm[i] == 'd' ? std::isdigit(static_cast<unsigned char>(text[i])) == 0 : text[i] != kForm[i]) return false;
  }
  return true;
}

template <std::size_t N>
bool only_some_byte(const std::uint8_t (&bytes)[N]) {
  for (const std::uint8_t byte : bytes) {
    if (byte != kSomeByte) return false;
  }
  return true;
}

// The caller's record: texts are empty, reserved bytes are not.
fe_fault_record fresh_record() {
  fe_fault_record record = {};
  std::memset(record.reserved1, kSomeByte, sizeof record.reserved1);
  std::memset(record.reserved2, kSomeByte, sizeof record.reserved2);
  std::memset(record.reserved3, kSomeByte, sizeof record.reserved3);
  std::memset(record.reserved4, kSomeByte, sizeof record.reserved4);
  std::memset(record.reserved5, kSomeByte, sizeof record.reserved5);
  return record;
}

// What is wrong with an answer; null when nothing is.
const char* fault_of(std::int32_t result, const fe_fault_record& record, const Walk& walk) {
  if (result != 0 && result != -1) return "result";
  if (!whole(record.dn)) return "dn is cut";
  if (!whole(record.fault_dn)) return "fault_dn is cut";
  if (!whole(record.rn, walk.rn_may_be_cut ? FE_RN_SIZE - 1 : FE_RN_SIZE - 2)) return "rn is cut";
  if (!whole(record.code_text)) return "code_text is cut";
  if (!whole(record.descr)) return "descr is cut";
  if (!whole(record.created)) return "created is cut";
  if (!whole(record.cause)) return "cause is cut";
  if (!whole(record.clear_cause)) return "clear_cause is cut";
  if (!whole(record.name)) return "name is cut";
  if (!only_some_byte(record.reserved1) || !only_some_byte(record.reserved2) || !only_some_byte(record.reserved3) ||
      !only_some_byte(record.reserved4) || !only_some_byte(record.reserved5)) {
    return "reserved bytes were written";
  }
  if (record.oid_len > FE_OID_SIZE) return "oid_len";
  if (record.created[0] != '\0' && (!is_moment(record.created) || record.created_time != kNow)) return "created";
  if (result != 0) return nullptr;
  if (walk.always_rejects) return "an answer of 0";
  if (record.created[0] == '\0') return "no time";
  char text[1024];
  std::snprintf(text, sizeof text, "F%04d", static_cast<std::int32_t>(record.code));
  if (std::strcmp(record.code_text, text) != 0) return "code_text";
  std::snprintf(text, sizeof text, "%s/fault-%s", record.dn, record.code_text);
  if (std::strcmp(record.fault_dn, text) != 0) return "fault_dn";
  return nullptr;
}

class WalkTest : public ::testing::TestWithParam<Walk> {
 protected:
  WalkTest() : filter_(library_.get<fe_fault_filter>(GetParam().filter)), memory_(library_.symbol(GetParam().filter)) {
    reset_host();
  }

  // Sends one event and looks at the answer.
  void send(Event event, Step step) {
    event.offset = step.offset;
    event.state = step.state;
    const fe_sensor_event sent = bytes_of(event);
    fe_sensor_event read = sent;
    fe_fault_record record = fresh_record();
    fe_fault_record* out = &record;
    const std::int32_t result = filter_(&read, &out);
    host().log.clear();
    host().cleaned_up.clear();
    host().cleanup_arguments.clear();
    const char* fault = fault_of(result, record, GetParam());
    if (fault == nullptr && out != &record) fault = "the caller's pointer was written";
    // The documented cases in which an event is written to.
    if (read.event_state == 0) read.event_state = sent.event_state;
    if (read.entity_instance == 0) read.entity_instance = sent.entity_instance;
    if (fault == nullptr && std::memcmp(&read, &sent, sizeof sent) != 0) fault = "the event was written";
    ++(result == 0 ? filled_ : rejected_);
    if (fault == nullptr) return;
    std::ostringstream text;
    text << fault << ": '" << event.sensor << "' offset " << step.offset << " state " << step.state << " instance "
         << event.instance << " entity " << int{event.entity_id} << '/' << int{event.entity_subtype} << " reading "
         << event.reading_type << "\n  " << record.dn << "\n  " << record.rn << "\n  " << record.fault_dn << "\n  "
         << record.descr << '\n';
    faults_ += text.str();
  }

  // All offsets and states, each from what is remembered after the steps before it.
  void walk(const Event& event) {
    LibraryMemory::Image nothing;
    memory_.save(nothing);
    LibraryMemory::Image remembered;
    std::vector<std::vector<Step>> befores = GetParam().before;
    befores.emplace_back();
    for (const auto& before : befores) {
      memory_.restore(nothing);
      for (const Step& step : before) send(event, step);
      memory_.save(remembered);
      for (const std::int32_t offset : offsets_) {
        if (!faults_.empty()) return;
        for (std::int32_t state = kFirstState; state <= kLastState; ++state) {
          send(event, {offset, state});
          memory_.restore(remembered);
        }
      }
    }
    memory_.restore(nothing);
  }

  // Every sensor that the filter knows by name, and one that it does not.
  std::vector<std::string> sensors_of(const Walk& walk) const {
    std::vector<std::string> sensors = walk.sensors;
    if (walk.rows != nullptr) {
      const auto* row = library_.get<const fe_sensor_map_row>(walk.rows);
      for (const auto* end = row + *library_.get<const std::int32_t>(walk.row_count); row != end; ++row) {
        sensors.emplace_back(row->sensor_name);
      }
    }
    if (walk.list != nullptr) {
      for (const auto* row = library_.get<const fe_exceptional_row>(walk.list); row->id != -1; ++row) {
        sensors.emplace_back(row->sensor_name);
      }
    }
    sensors.emplace_back("NO_SUCH_SENSOR_NAME");
    std::sort(sensors.begin(), sensors.end());
    sensors.erase(std::unique(sensors.begin(), sensors.end()), sensors.end());
    return sensors;
  }

  Library library_;
  fe_fault_filter* filter_;
  const std::vector<std::int32_t> offsets_ = all_offsets();
  LibraryMemory memory_;
  std::string faults_;  // what was wrong
  long filled_ = 0;
  long rejected_ = 0;
};

TEST_P(WalkTest, AnswersEveryEvent) {
  const Walk& walk_of_filter = GetParam();
  const std::vector<std::string> sensors = sensors_of(walk_of_filter);
  {
    const Silence silence;
    for (const std::int32_t platform : walk_of_filter.platforms) {
      g_platform = platform;
      for (const std::string& sensor : sensors) {
        for (const std::uint8_t entity_id : walk_of_filter.entity_ids) {
          for (const std::uint8_t subtype : walk_of_filter.subtypes) {
            for (const std::uint32_t reading_type : walk_of_filter.reading_types) {
              for (const std::int32_t instance : walk_of_filter.instances) {
                walk({.sensor = sensor.c_str(),
                      .instance = instance,
                      .entity_id = entity_id,
                      .entity_subtype = subtype,
                      .group = instance,
                      .reading_type = reading_type});
              }
            }
          }
        }
      }
    }
  }
  EXPECT_EQ(faults_, "");
  EXPECT_GT(rejected_, 0);
  if (walk_of_filter.always_rejects) {
    EXPECT_EQ(filled_, 0);
  } else {
    EXPECT_GT(filled_, 0);
  }
  RecordProperty("events", static_cast<int>(filled_ + rejected_));
  std::cout << walk_of_filter.filter << ": " << filled_ << " faults, " << rejected_ << " events rejected\n";
}

// Steps after which later events are suppressed or moved.
const std::vector<std::vector<Step>> kLogIsFilling = {
    {{117, 1}}, {{117, 1}, {118, 1}}, {{119, 1}}, {{117, 1}, {119, 1}}, {{119, 1}, {119, 1}}};

const Walk kWalks[] = {
    {.filter = "process_sys_board_fault",
     .rows = "ent_map",
     .row_count = "ent_map_sz",
     .list = "exceptional_sensor_map"},
    {.filter = "process_sys_board_fault",
     .rows = "ent_map",
     .row_count = "ent_map_sz",
     .reading_types = {0},
     .instances = {1}},
    {.filter = "process_sys_board_fault",
     .rows = "ent_map",
     .row_count = "ent_map_sz",
     .before = kLogIsFilling,
     .instances = {1}},
    {.filter = "process_cpu_fault",
     .rows = "ent_cpu_map",
     .row_count = "ent_cpu_map_sz",
     .list = "exceptional_sensor_map_cpu"},
    {.filter = "process_cpu_fault",
     .rows = "ent_cpu_map",
     .row_count = "ent_cpu_map_sz",
     .reading_types = {0},
     .instances = {1}},
    {.filter = "process_fan_fault",
     .list = "exceptional_fan_sensor_map",
     .sensors = {"TACH2"},
     .before = {{{1, 1}}, {{2, 1}}}},
    {.filter = "process_ps_fault",
     .rows = "ent_ps_map",
     .row_count = "ent_ps_map_sz",
     .sensors = {"PSU3_POUT"},
     .before = {{{30, 1}}, {{112, 1}}}},
    {.filter = "process_mem_fault"},
    {.filter = "process_fw_bios_post_fault", .always_rejects = true},
    {.filter = "process_pci_fault", .subtypes = {0, 1}},
    {.filter = "process_add_in_fault", .before = {{{63, 1}}}, .platforms = {0, 11}},
    {.filter = "process_caddora_fault",
     .entity_ids = {212, 213, 214, 215, 7},
     .before = {{{12, 1}}, {{18, 1}}, {{19, 1}}, {{20, 1}}}},
    {.filter = "process_storage_fault",
     .entity_ids = {208, 209, 210, 211, 7},
     .subtypes = {2, 3},
     .before = {{{12, 1}}, {{18, 1}}, {{19, 1}}, {{20, 1}}},
     .platforms = {11},
     .rn_may_be_cut = true},
    {.filter = "process_drive_bp_fault",
     .sensors = {"HDD_BP1_TEMP", "SB_NVME1_TEMP", "IOE_NVME1_TEMP", "IOE_NVME2_TEMP", "HDD_BP2_TEMP"}},
    {.filter = "process_chassis_fault"},
    {.filter = "process_front_panel_fault"},
    {.filter = "process_nm_fault"},
    {.filter = "process_ne_fault"},
    {.filter = "process_cmc_fault", .sensors = {"CMC_TEMP"}},
};

INSTANTIATE_TEST_SUITE_P(Filters, WalkTest, ::testing::ValuesIn(kWalks));

}  // namespace
}  // namespace polaiga::test
