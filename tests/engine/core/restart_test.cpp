// A restart changes no later record: random events, with restarts at random
// points, come to what they come to without.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "core/recorder.h"
#include "filter/host_tables.h"
#include "ledger/ledger.h"
#include "support/manual_clock.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace restart_test {

#ifdef POLAIGA_SHORT_WALK
constexpr int kSequences = 25;
#else
constexpr int kSequences = 500;
#endif

// What `work` answers, in a process whose library has seen nothing yet.
std::string in_fresh_process(const std::function<std::string()>& work) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) throw std::runtime_error("pipe");
  const int pid = ::fork();
  if (pid == 0) {
    try {
      const std::string answer = work();
      for (std::string_view rest = answer; !rest.empty();) {
        const auto written = ::write(ends[1], rest.data(), rest.size());
        if (written < 0) ::_exit(2);
        rest.remove_prefix(static_cast<std::size_t>(written));
      }
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
      ::_exit(1);
    }
    ::_exit(0);
  }
  ::close(ends[1]);
  std::string answer;
  std::array<char, 65536> buffer{};
  for (;;) {
    const auto count = ::read(ends[0], buffer.data(), buffer.size());
    if (count <= 0) break;
    answer.append(buffer.data(), static_cast<std::size_t>(count));
  }
  ::close(ends[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  EXPECT_EQ(status, 0);
  return answer;
}

// An event, after the host tables were changed if it says so.
struct Step {
  SensorEvent line;
  const HostTables* tables;
};

class Generator {
 public:
  explicit Generator(unsigned seed) : random_(seed) {
    const auto first = read_host_tables(POLAIGA_TABLES_DIR);
    tables_ = {first, {reversed(first.nm), reversed(first.cmc), reversed(first.drive_bp)}};
  }

  std::vector<Step> sequence() {
    std::vector<Step> steps;
    const HostTables* tables = &tables_[0];
    for (int i = pick(3, 80); i > 0; --i) {
      if (pick(0, 19) == 0) tables = &tables_[static_cast<std::size_t>(pick(0, 1))];
      steps.push_back({event(), tables});
    }
    return steps;
  }

  int pick(int least, int most) { return std::uniform_int_distribution<int>(least, most)(random_); }

 private:
  // The same rows from last to first: all of them have other numbers.
  static std::string reversed(const std::string& table) {
    std::vector<std::string> lines;
    std::istringstream input(table);
    for (std::string line; std::getline(input, line);) {
      if (!line.starts_with('#')) lines.push_back(line);
    }
    std::reverse(lines.begin() + 1, lines.end());
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
  }

  template <std::size_t N>
  auto one_of(const char* const (&texts)[N]) {
    return texts[pick(0, N - 1)];
  }
  int one_of(std::initializer_list<int> numbers) {
    return numbers.begin()[pick(0, static_cast<int>(numbers.size()) - 1)];
  }

  SensorEvent event() {
    SensorEvent line;
    fe_sensor_event& event = line.event;
    event.entity_instance = pick(0, 9) == 0 ? one_of({-1, 0, 12, 13, 20, 21, 255, 256, 257}) : pick(1, 3);
    event.event_state = one_of({0, 0, 1, 1, 1, 4, 5, 6, 7});
    const char* sensor = "SENSOR";
    switch (pick(0, 9)) {
      case 0:
        become(line, "fan");
        sensor = one_of({"FAN1_TACH1", "FAN1_TACH2", "FAN2_TACH1", "FAN2_SPEED"});
        event.event_offset = one_of({1, 2, 3, 4, 5, 9});
        break;
      case 1:
        become(line, "ps");
        sensor = one_of({"PSU1_TEMP", "PSU1_POUT", "PSU2_PIN"});
        event.event_offset = one_of({3, 4, 30, 32, 35, 45, 48, 57, 60, 112});
        break;
      case 2:
        become(line, one_of({"add_in", "mem"}));
        event.event_offset = one_of({63, 108, 109, 111, 127, 64, 66, 72, 90, 96});
        break;
      case 3:
        become(line, "caddora");
        event.entity_id = static_cast<std::uint8_t>(212 + pick(0, 3));
        event.event_offset = pick(11, 23);
        break;
      case 4:
        become(line, "storage");
        event.entity_id = static_cast<std::uint8_t>(208 + pick(0, 3));
        event.event_offset = pick(11, 29);
        break;
      case 5:
        become(line, "cpu");
        sensor = one_of({"P1_TEMP_SENS", "P2_TEMP_SENS", "P1_THERMTRIP_N", "UNKNOWN"});
        threshold(event);
        break;
      case 6:
        become(line, "nm");
        event.event_offset = pick(199, 206);
        break;
      case 7:
        become(line, one_of({"cmc", "drive_bp"}));
        sensor = one_of({"HDD_BP1_TEMP", "CMC1_TEMP", "SB_NVME1_TEMP", "UNKNOWN"});
        threshold(event);
        break;
      default:
        become(line, "sys_board");
        sensor = one_of({"SEL_FULLNESS", "SEL_FULLNESS", "P12V_V_MOIN", "P12V_AUX_V_MOIN", "PCH_TEMP_SENS", "UNKNOWN"});
        threshold(event);
        if (pick(0, 1) == 0) event.event_state = pick(0, 1);
        break;
    }
    std::strcpy(event.sensor_name, sensor);
    if (pick(0, 3) == 0) line.time = 1700000000 + pick(0, 1000);
    return line;
  }

  static void become(SensorEvent& line, const char* entity) {
    line.entity = find_entity(entity);
    line.event.entity_id = line.entity->entity_id;
  }

  void threshold(fe_sensor_event& event) {
    event.event_offset = pick(0, 9) == 0 ? pick(0, 130) : pick(114, 119);
    event.reading_type = pick(0, 4) == 0 ? 0 : FE_READING_THRESHOLD;
  }

  std::mt19937 random_;
  std::array<HostTables, 2> tables_;
};

// All that an input came to, but for the stamps of the library's clock.
std::string told(const RecordedInput& input) {
  fe_fault_record record = input.record;
  std::memset(record.created, 0, sizeof record.created);
  record.created_time = 0;
  std::ostringstream text;
  text << std::string_view(reinterpret_cast<const char*>(&record), sizeof record);
  text << "\n" << input.sequence << ' ' << input.at << ' ' << input.reported;
  if (input.reported) text << ' ' << outcome_word(input.outcome);
  for (const Change& change : input.changes) {
    text << "\n"
         << change.number << ' ' << change_word(change.kind) << ' ' << change.fault_dn << ' ' << change.fault << ' '
         << change.alarm << ' ' << severity_word(change.before) << ' ' << severity_word(change.after) << ' '
         << change.other << ' ' << change.shown << ' ' << change.reporters;
  }
  return text.str();
}

std::string told(const Alarms& alarms) {
  std::ostringstream text;
  for (const ActiveFault* fault : alarms.in_order()) {
    text << "\nactive " << fault->fault_dn << ' ' << fault->fault << ' ' << fault->alarm << ' ' << fault->alarm_since
         << ' ' << fault->since << ' ' << fault->updated << ' ' << fault->shown << ' ' << fault->count;
    for (const Report& report : fault->reports) {
      text << "\n  " << report.reporter.entity->name << ' ' << report.reporter.sensor << ' ' << report.reporter.instance
           << ' ' << report.since << ' ' << report.since_at << ' ' << report.last << ' ' << report.last_at << ' '
           << report.count;
    }
  }
  return text.str();
}

constexpr Moment kNow = 1700000500;

class Interrupted {
 public:
  Interrupted(const std::vector<Step>& steps, Generator& generator, const std::string& ledger)
      : steps_(steps), generator_(generator), ledger_(ledger) {
    if (generator.pick(0, 1) == 0) retention_ = {.events = generator.pick(1, 20), .days = 0, .bytes = 0};
  }

  // The events from one restart to the next.
  std::string part(std::size_t begin, std::size_t end, bool last) {
    const auto most = static_cast<std::size_t>(generator_.pick(1, 9));
    return in_fresh_process([&] {
      const test::ManualClock clock(kNow);
      Ledger ledger(ledger_, retention_, kNow);
      Recorder recorder({.most_in_batch = most}, clock, ledger);
      std::string text;
      const HostTables* tables = nullptr;
      for (std::size_t i = begin; i < end; ++i) {
        if (steps_[i].tables != tables) {
          tables = steps_[i].tables;
          recorder.commit();
          recorder.use_tables(*tables, "tables");
        }
        text += told(*recorder.record(SensorEvent(steps_[i].line)).input);
        if (recorder.is_full()) recorder.commit();
      }
      recorder.commit();
      if (last) text += told(recorder.alarms());
      return text;
    });
  }

 private:
  const std::vector<Step>& steps_;
  Generator& generator_;
  const std::string& ledger_;
  Retention retention_{.events = 0, .days = 0, .bytes = 0};
};

std::string uninterrupted(const std::vector<Step>& steps) {
  return in_fresh_process([&] {
    const test::ManualClock clock(kNow);
    Recorder recorder({}, clock);
    std::string text;
    const HostTables* tables = nullptr;
    for (const Step& step : steps) {
      if (step.tables != tables) recorder.use_tables(*(tables = step.tables), "tables");
      text += told(*recorder.record(SensorEvent(step.line)).input);
      recorder.commit();
    }
    return text + told(recorder.alarms());
  });
}

TEST(Restart, ChangesNoLaterRecord) {
  for (unsigned seed = 0; seed < kSequences; ++seed) {
    Generator generator(seed);
    const std::vector<Step> steps = generator.sequence();
    const engine::test::TempDir dir;
    const std::string ledger = dir.file("ledger.db");
    Interrupted interrupted(steps, generator, ledger);
    std::string text;
    std::size_t begin = 0;
    for (int restarts = generator.pick(1, 4); restarts > 0; --restarts) {
      const auto end =
          static_cast<std::size_t>(generator.pick(static_cast<int>(begin), static_cast<int>(steps.size())));
      text += interrupted.part(begin, end, false);
      begin = end;
    }
    text += interrupted.part(begin, steps.size(), true);
    const std::string expected = uninterrupted(steps);
    ASSERT_EQ(text.size(), expected.size()) << "seed " << seed;
    ASSERT_TRUE(text == expected) << "seed " << seed << ", the first difference is at byte "
                                  << std::mismatch(text.begin(), text.end(), expected.begin()).first - text.begin();
  }
}

}  // namespace restart_test
}  // namespace polaiga::engine
