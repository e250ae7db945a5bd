// What the engine adds to the filters, and that nothing of it grows: every figure
// with its limit, as a ratio of this run wherever there is one.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "control/control_client.h"
#include "core/recorder.h"
#include "figures.h"
#include "filter/host_tables.h"
#include "intake/event_parser.h"
#include "ledger/change_feed.h"
#include "ledger/ledger.h"
#include "ledger/reader.h"
#include "running_engine.h"

namespace polaiga::engine {
namespace {

using Steady = std::chrono::steady_clock;

double seconds(const std::function<void()>& work) {
  const auto start = Steady::now();
  work();
  return std::chrono::duration<double>(Steady::now() - start).count();
}

std::vector<std::string> day() {
  std::ifstream file(POLAIGA_DAY);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line + "\n");
  if (lines.empty()) throw std::runtime_error("there is no day");
  return lines;
}

std::vector<SensorEvent> parsed(const std::vector<std::string>& lines) {
  std::vector<SensorEvent> events;
  for (const std::string& line : lines) events.push_back(parse_sensor_event(line));
  return events;
}

// The program on a file of events, its output thrown away; answers the most memory
// that it took, in KiB.
long run_program(const std::string& arguments, const std::string& input) {
  const int pid = ::fork();
  if (pid == 0) {
    const std::string command =
        std::string("exec ") + POLAIGA_PROGRAM + " " + arguments + " <" + input + " >/dev/null 2>/dev/null";
    ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    ::_exit(127);
  }
  int status = 0;
  struct rusage usage = {};
  if (::wait4(pid, &status, 0, &usage) != pid || status != 0) throw std::runtime_error("failed: " + arguments);
  return usage.ru_maxrss;
}

class Bench : Figures {
 public:
  // Those of the parts that are named; all when none is.
  int run(const std::vector<std::string>& names) {
    StandardOutput::divert(Others::kDiscarded);  // the filters' traces
    const std::pair<const char*, void (Bench::*)()> kParts[] = {
        {"memory", &Bench::memory},  // first: what this process has itself would count for the program's
        {"replay", &Bench::replay_beside_filters},
        {"ledger", &Bench::ledger_rate},
        {"active", &Bench::many_active_faults},
        {"million", &Bench::million_events},
        {"flash", &Bench::bytes_written},
        {"operators", &Bench::operators},
    };
    for (const auto& [name, part] : kParts) {
      if (names.empty() || std::ranges::find(names, name) != names.end()) (this->*part)();
    }
    return missed() == 0 ? 0 : 1;
  }

 private:
  std::string log_of(std::size_t events, const char* name) {
    const std::string path = place_.file(name);
    std::ofstream file(path);
    for (std::size_t i = 0; i < events; ++i) file << day_[i % day_.size()];
    return path;
  }

  void replay_beside_filters() {
    constexpr std::size_t kEvents = 110'000;
    const std::string log = log_of(kEvents, "replay.jsonl");
    const std::vector<SensorEvent> events = parsed(day_);
    fe_fault_record record = {};
    const auto call_all = [&] {
      for (std::size_t i = 0; i < kEvents; ++i) {
        const SensorEvent& line = events[i % events.size()];
        fe_sensor_event event = line.event;
        fe_fault_record* out = &record;
        line.entity->filter(&event, &out);
      }
    };
    // Turn and turn about; the quickest of each counts, since the others were made to wait.
    double bare_time = seconds(call_all);
    double replay_time = seconds([&] { run_program("replay -", log); });
    for (int turn = 1; turn < 5; ++turn) {
      bare_time = std::min(bare_time, seconds(call_all));
      replay_time = std::min(replay_time, seconds([&] { run_program("replay -", log); }));
    }
    const double bare = kEvents / bare_time;
    const double replayed = kEvents / replay_time;
    note("filters in a bare loop, calls a second", bare);
    note("replay, events a second", replayed);
    at_least("replay beside the bare loop", replayed / bare, 0.5);
  }

  void ledger_rate() {
    constexpr std::size_t kEvents = 220'000;
    const std::string log = log_of(kEvents, "ledger.jsonl");
    const std::string arguments = "run --ledger " + place_.file("rate.db");
    at_least("run with its ledger, 1000 events a second",
             kEvents / seconds([&] { run_program(arguments, log); }) / 1000, 40);
  }

  // Microseconds for an event of one of so many faults, which it refreshes, or
  // clears and raises again.
  double time_among(int faults) {
    constexpr int kEvents = 100'000;
    const SystemClock clock;
    Ledger ledger(place_.file(("among" + std::to_string(faults) + ".db").c_str()), {.bytes = 0}, clock.wall());
    Recorder recorder({}, clock, ledger);
    recorder.use_tables(read_host_tables(POLAIGA_TABLES_DIR), POLAIGA_TABLES_DIR);
    const auto give = [&](int unit, int state) {
      SensorEvent event = parse_sensor_event(R"({"entity":"mem","sensor":"DIMM","offset":66,"state":1})");
      event.event.entity_instance = unit;
      event.event.event_state = state;
      recorder.record(std::move(event));
      if (recorder.is_full()) recorder.commit();
    };
    // Each raises and clears once before: what records repeat is stored by then.
    for (int unit = 1; unit <= faults; ++unit) {
      for (const int state : {1, 0, 1}) give(unit, state);
    }
    if (recorder.alarms().size() != static_cast<std::size_t>(faults)) throw std::runtime_error("faults are missing");
    std::mt19937 random(1);
    const double taken = seconds([&] {
      for (int i = 0; i < kEvents / 2; ++i) {
        const int unit = 1 + static_cast<int>(random() % static_cast<unsigned>(faults));
        give(unit, i % 2);
        give(unit, 1);
      }
      recorder.commit();
    });
    return taken / kEvents * 1e6;
  }

  void many_active_faults() {
    const double few = time_among(100);
    const double many = time_among(20'000);
    note("an event among 100 active faults, ns", few * 1000);
    note("an event among 20,000 active faults, ns", many * 1000);
    at_most("an event among 20,000 beside one among 100", many / few, 1.5);
  }

  // Tells the system to forget what it has read of a file.
  static void forget_pages(const std::string& file) {
    ::sync();
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED) != 0) throw std::runtime_error("posix_fadvise");
    ::close(fd);
  }

  void million_events() {
    constexpr double kMilliseconds = 1000;
    const std::string file = place_.file("million.db");
    const std::string engine = "run --chattering 0 --keep-events 0 --keep-bytes 0 --ledger " + file;
    run_program(engine, log_of(1'000'000, "million.jsonl"));
    note("bytes of the ledger for an event", static_cast<double>(std::filesystem::file_size(file)) / 1e6);
    forget_pages(file);
    at_most("start-up with a million events, cold, s", seconds([&] { run_program(engine, "/dev/null"); }), 2);

    LedgerReader reader(file);
    const std::vector<StoredChange> last = reader.latest({}, 1).changes;
    const std::string fault_dn = last.at(0).change.fault_dn;
    // The quickest of some turns counts, since the others were made to wait.
    const auto question = [&](const std::string& what, double limit, const std::function<void()>& ask) {
      double quickest = seconds(ask);
      for (int turn = 1; turn < 5; ++turn) quickest = std::min(quickest, seconds(ask));
      at_most(what.c_str(), quickest * kMilliseconds, limit);
    };
    question("history of a fault, ms", 100, [&] { reader.history(fault_dn, 20); });
    question("explain, ms", 100, [&] { reader.explain(fault_dn); });
    question("missed, the latest 100, ms", 100, [&] { reader.missed(100); });
    for (const int part : {1, 2, 3}) {
      const Moment at = moment_of(file, Sequence{250'000} * part);
      question("active --at, after " + std::to_string(part) + "/4, ms", 100, [&] { reader.active({}, at); });
    }
    ChangeFeed feed(file);
    for (const int part : {0, 1, 2, 3}) {
      const ChangeNumber number = last.at(0).change.number / 4 * part;
      question("the next 1000 changes, after " + std::to_string(part) + "/4, ms", 10, [&] {
        if (feed.next(number, 1000).changes.size() != 1000) throw std::runtime_error("changes are missing");
      });
    }
    std::filesystem::remove(file);
    std::filesystem::remove(place_.file("million.jsonl"));
  }

  static Moment moment_of(const std::string& file, Sequence sequence) {
    const Database db(file, Access::kRead);
    Statement row(db, "SELECT coalesce(at, time, arrived, received) FROM event WHERE seq = ?");
    if (!row.with(sequence).step()) throw std::runtime_error("an event is missing");
    return row.integer(0);
  }

  static double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values.at(values.size() / 2);
  }

  static std::string slow_fan(int unit) {
    return R"({"entity":"fan","sensor":"FAN1_TACH1","instance":)" + std::to_string(unit) +
           R"(,"offset":3,"state":1})"
           "\n";
  }

  static std::int64_t integer(const std::string& file, const std::string& sql) {
    const Database db(file, Access::kRead);
    Statement row(db, sql);
    if (!row.step()) throw std::runtime_error("no answer: " + sql);
    return row.integer(0);
  }

  // One selection of ten thousand alarms, and the events beside what operators do.
  void operators() {
    constexpr int kAlarms = 10'000;
    constexpr int kRounds = 5;
    const std::string file = place_.file("operators.db");
    const RunningEngine engine(file);
    std::string all;
    for (int unit = 1; unit <= kAlarms; ++unit) all += slow_fan(unit);
    engine.send(all);

    const std::string names = "--ledger " + file + " --control " + engine.control();
    std::vector<double> times;
    for (int round = 0; round < kRounds; ++round) {
      const std::int64_t before = integer(file, "SELECT max(seq) FROM event");
      times.push_back(seconds([&] { run_program("ack --all --comment seen " + names, "/dev/null"); }));
      // One input, and so one transaction, since an input is never divided.
      const std::string of_all = "SELECT count(*) FROM change WHERE seq = " + std::to_string(before + 1);
      if (integer(file, "SELECT max(seq) FROM event") != before + 1 || integer(file, of_all) != kAlarms) {
        throw std::runtime_error("the alarms were not acknowledged by one input");
      }
      run_program("unack --all " + names, "/dev/null");
    }
    at_most("10,000 alarms acknowledged by a selection, s", median(times), 2);
    rate_beside_actions(engine);
    std::filesystem::remove(file);
  }

  // Rounds with and without actions follow each other, so that both of a pair meet the same machine.
  void rate_beside_actions(const RunningEngine& engine) {
    constexpr int kEvents = 100'000;
    constexpr int kRounds = 7;
    constexpr std::chrono::milliseconds kBetweenActions(100);
    std::string lines;
    for (int i = 0; i < kEvents; ++i) lines += slow_fan(i % 100 + 1);
    std::vector<double> alone;
    std::vector<double> beside;
    std::vector<double> ratios;
    std::size_t actions = 0;
    engine.send(lines);  // what comes again and again is stored by then
    for (int round = 0; round < kRounds; ++round) {
      alone.push_back(kEvents / seconds([&] { engine.send(lines); }));
      std::atomic<bool> is_over = false;
      std::exception_ptr failure;
      std::thread operators([&] {
        try {
          ControlClient client(engine.control());
          for (; !is_over; ++actions) {
            const std::string action = actions % 2 == 0 ? "acknowledge" : "unacknowledge";
            const std::string answer = client.ask(R"({"do":")" + action + R"(","alarms":"1,+1,+1"})" + "\n");
            if (answer.find("\"changes\":3") == std::string::npos) throw std::runtime_error(answer);
            std::this_thread::sleep_for(kBetweenActions);
          }
        } catch (...) {
          failure = std::current_exception();
        }
      });
      beside.push_back(kEvents / seconds([&] { engine.send(lines); }));
      is_over = true;
      operators.join();
      if (failure) std::rethrow_exception(failure);
      ratios.push_back(beside.back() / alone.back());
    }
    note("events a second at the socket", median(alone));
    note("the same beside ten actions a second", median(beside));
    note("actions in that time", static_cast<double>(actions));
    at_least("events beside actions, of those without", median(ratios), 0.9);
  }

  // Bytes that this process has given to files so far.
  static double bytes_given() {
    std::ifstream io("/proc/self/io");
    for (std::string name; io >> name;) {
      double value = 0;
      io >> value;
      if (name == "wchar:") return value;
    }
    throw std::runtime_error("/proc/self/io");
  }

  // What flash bears for an event: alone, and in batches of a hundred.
  void bytes_written() {
    constexpr int kBatches = 1000;
    const std::vector<SensorEvent> events = parsed(day_);
    for (const std::size_t size : {std::size_t{1}, std::size_t{100}}) {
      const SystemClock clock;
      Ledger ledger(place_.file(("flash" + std::to_string(size) + ".db").c_str()), {.bytes = 8 << 20}, clock.wall());
      Recorder recorder({.most_in_batch = size}, clock, ledger);
      recorder.use_tables(read_host_tables(POLAIGA_TABLES_DIR), POLAIGA_TABLES_DIR);
      std::size_t given = 0;
      const auto give = [&](int batches) {
        for (int i = 0; i < batches; ++i) {
          while (!recorder.is_full()) recorder.record(SensorEvent(events[given++ % events.size()]));
          recorder.commit();
        }
      };
      give(static_cast<int>(events.size() / size) + 1);  // what all days have in common is written once
      const double before = bytes_given();
      give(kBatches);
      note(("bytes written for an event, in batches of " + std::to_string(size)).c_str(),
           (bytes_given() - before) / static_cast<double>(kBatches * size));
    }
  }

  // The ledger drops what is old in steps of many thousand inputs, so its size goes
  // up and down. The short run ends as many inputs after such a step as the long one.
  void memory() {
    constexpr std::size_t kLong = 10'000'000;
    constexpr std::size_t kStep = 524'288;
    constexpr std::size_t kShort = kLong % kStep + kStep;
    const std::string arguments = "run --keep-events 20000 --keep-bytes 0 --ledger " + place_.file("flat.db");
    const long short_run = run_program(arguments, log_of(kShort, "short.jsonl"));
    const auto file_size = std::filesystem::file_size(place_.file("flat.db"));
    const long long_run = run_program(arguments, log_of(kLong, "long.jsonl"));
    note("memory of 562,816 events, KiB", static_cast<double>(short_run));
    note("memory of ten million events, KiB", static_cast<double>(long_run));
    at_most("memory of ten million events beside that", static_cast<double>(long_run) / static_cast<double>(short_run),
            1.1);
    at_most("the ledger's file after them beside that",
            static_cast<double>(std::filesystem::file_size(place_.file("flat.db"))) / static_cast<double>(file_size),
            1.1);
  }

  std::vector<std::string> day_ = day();
  Place place_;
};

}  // namespace
}  // namespace polaiga::engine

int main(int argc, char** argv) {
  try {
    return polaiga::engine::Bench().run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "engine_bench: %s\n", error.what());
    return 2;
  }
}
