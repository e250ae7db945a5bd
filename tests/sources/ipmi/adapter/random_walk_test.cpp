// A controller whose sensors change, whose log is cleared and wraps, and which goes away; an engine that drops
// connections; a disk that fills up; and an adapter that is killed at any of its steps, and begins again with its state
// file. In the end the engine knows what is true, and each step of a ladder came once.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <random>

#include "adapter/adapter.h"
#include "follow/engine_connection.h"
#include "support/fake_controller.h"
#include "support/fake_engine.h"
#include "support/manual_clock.h"
#include "support/rows.h"
#include "support/temp_dir.h"

namespace polaiga::ipmi {
namespace random_walk_test {

using namespace std::chrono_literals;

#ifdef POLAIGA_SHORT_WALK
constexpr unsigned kWalks = 10;
#else
constexpr unsigned kWalks = 100;
#endif
constexpr int kSteps = 300;

struct Killed {};

// Burns down with each step of the adapter, and kills it at its end. 0: it does not burn.
struct Fuse {
  int left = 0;
  void burn() {
    if (left > 0 && --left == 0) throw Killed();
  }
};

class KilledSession final : public Session {
 public:
  KilledSession(Session& to, Fuse& fuse) : to_(to), fuse_(fuse) {}
  Answer ask(NetFn function, std::uint8_t command, std::span<const std::uint8_t> data) override {
    fuse_.burn();
    Answer answer = to_.ask(function, command, data);
    fuse_.burn();
    return answer;
  }

 private:
  Session& to_;
  Fuse& fuse_;
};

class KilledStore final : public StateStore {
 public:
  KilledStore(StateFile& to, Fuse& fuse, const bool& is_full) : to_(to), fuse_(fuse), is_full_(is_full) {}
  void save(const State& state) override {
    fuse_.burn();
    if (is_full_) throw std::runtime_error("the disk is full");
    to_.save(state);
    fuse_.burn();
  }

 private:
  StateFile& to_;
  Fuse& fuse_;
  const bool& is_full_;
};

class KilledSink final : public EventSink {
 public:
  KilledSink(EngineConnection& to, Fuse& fuse) : to_(to), fuse_(fuse) {}
  std::size_t deliver(const std::deque<std::string>& lines, std::size_t sendable) override {
    fuse_.burn();
    const std::size_t done = to_.deliver(lines, sendable);
    fuse_.burn();
    return done;
  }

 private:
  EngineConnection& to_;
  Fuse& fuse_;
};

// One step of a ladder: an event that leads from a level to another.
struct Move {
  const char* event;
  int from;
  int to;
};
const std::map<std::string, std::vector<Move>> kLadders = {
    {"TEMP", {{"117/4", 0, 1}, {"118/5", 1, 2}, {"119/6", 2, 3}, {"119/5", 3, 2}, {"118/4", 2, 1}, {"117/0", 1, 0}}},
    {"FULL", {{"117/1", 0, 1}, {"118/1", 1, 2}, {"119/1", 2, 3}, {"119/1", 3, 2}, {"118/1", 2, 1}, {"117/0", 1, 0}}},
    {"failure", {{"883/1", 0, 1}, {"883/0", 1, 0}}},
    {"present", {{"30/1", 0, 1}, {"30/0", 1, 0}}},
    {"ecc", {{"72/1", 0, 1}, {"72/0", 1, 0}}},
};

// The sensors by their numbers.
constexpr std::uint8_t kTemp1 = 1;
constexpr std::uint8_t kTemp2 = 2;
constexpr std::uint8_t kSupply = 3;
constexpr std::uint8_t kSupplyTemp = 4;
constexpr std::uint8_t kMemory = 5;

class Walk {
 public:
  explicit Walk(unsigned seed) : random_(seed) {
    fake_.device_guid = Guid{1};
    fake_.add_sensor({.number = kTemp1, .name = "TEMP1"});
    fake_.add_sensor({.number = kTemp2, .name = "TEMP2"});
    fake_.add_sensor({.number = kSupply, .name = "PS1", .sensor_type = 0x08, .reading_type = 0x6F});
    fake_.add_sensor({.number = kSupplyTemp, .name = "PS1TEMP"});
    fake_.add_sensor({.number = kMemory, .name = "ECC1", .sensor_type = 0x0C, .reading_type = 0x6F});
    set(kSupply, 0, true);
    fake_.log_capacity = 12 + any(30);
    fake_.log_wraps = any(2) == 0;
    fake_.last_record_id = static_cast<std::uint16_t>(60 + any(40));
  }

  void run() {
    for (int i = 0; i < kSteps && !::testing::Test::HasFatalFailure(); ++i) {
      act();
      go_on();
    }
    finish();
  }

 private:
  unsigned any(unsigned below) { return static_cast<unsigned>(random_() % below); }

  // A sensor changes, and the log says so, most of the time.
  void set(std::uint8_t sensor, unsigned offset, bool is_asserted, bool is_logged = true) {
    const unsigned bit = 1U << offset;
    bits_[sensor] = static_cast<std::uint16_t>(is_asserted ? bits_[sensor] | bit : bits_[sensor] & ~bit);
    fake_.set_state(sensor, bits_[sensor]);
    const bool is_threshold = sensor == kTemp1 || sensor == kTemp2 || sensor == kSupplyTemp;
    if (!is_logged) return;
    fake_.clock += any(2);
    fake_.add(FakeEvent{.sensor = sensor,
                        .sensor_type = static_cast<std::uint8_t>(is_threshold        ? 0x01
                                                                 : sensor == kMemory ? 0x0C
                                                                                     : 0x08),
                        .reading_type = is_threshold ? kThresholdReading : kSensorSpecificReading,
                        .offset = static_cast<std::uint8_t>(offset),
                        .is_deasserted = !is_asserted});
  }

  void change() {
    const auto sensor = static_cast<std::uint8_t>(1 + any(5));
    const bool is_logged = sensor == kMemory || any(10) != 0;
    static constexpr unsigned kThresholds[] = {7, 9, 11};
    const unsigned offset = sensor == kSupply ? any(2) : sensor == kMemory ? 1 : kThresholds[any(3)];
    set(sensor, offset, (bits_[sensor] >> offset & 1U) == 0, is_logged);
  }

  void act() {
    for (unsigned i = any(4); i > 0; --i) change();
    switch (any(40)) {
      case 0:
        fake_.clock += 1;
        fake_.clear_log();
        break;
      case 1:
        fake_.gone_after = static_cast<int>(any(20));
        break;
      case 2:
        fake_.restart();
        for (const std::uint8_t sensor : {kTemp1, kTemp2, kSupply, kSupplyTemp}) bits_[sensor] = 0;
        fake_.set_state(kMemory, bits_[kMemory]);
        break;
      case 3:
        fake_.clock = static_cast<std::uint32_t>(clock_.wall());
        break;
      case 4:
        engine_.leave();
        break;
      case 5:
        is_full_ = true;
        break;
      case 6:
        fake_.device_guid = Guid{static_cast<std::uint8_t>(1 + any(2))};
        break;
      case 7:
        stop();
        break;
      default:
        break;
    }
    if (any(6) == 0) {
      fake_.gone_after.reset();
      is_full_ = false;
    }
    if (any(4) == 0) listen();
    if (any(5) == 0) fuse_.left = static_cast<int>(1 + any(80));
  }

  void listen() {
    engine_.leave();
    engine_.listen();
  }

  void take() {
    switch (any(8)) {
      case 0:
        return;
      case 1:
        engine_.drop();
        return;
      case 2:  // it takes some, and ends before it says so
        engine_.take(1 + any(3), [this](const std::string& line) {
          engine_.apply(line);
          return std::string();
        });
        engine_.drop();
        return;
      default:
        engine_.take(1 + any(20));
    }
  }

  void go_on() {
    for (unsigned i = 1 + any(30); i > 0; --i) {
      try {
        if (!adapter_) start();
        adapter_->go_on();
      } catch (const Killed&) {
        ++kills;
        stop();
      }
      take();
      clock_.pass(std::chrono::milliseconds(100 + any(900)));
    }
  }

  void start() {
    file_ = std::make_unique<StateFile>(dir_.file("state"));
    connection_ = std::make_unique<EngineConnection>(dir_.file("sock"), clock_, [](auto, const std::string&) {});
    store_ = std::make_unique<KilledStore>(*file_, fuse_, is_full_);
    sink_ = std::make_unique<KilledSink>(*connection_, fuse_);
    State state = file_->load([](const std::string& text) { ADD_FAILURE() << text; });
    adapter_ = std::make_unique<Adapter>(std::move(state),
                                         Adapter::Parts{.open = [this]() -> std::unique_ptr<Session> {
                                                          return std::make_unique<KilledSession>(fake_, fuse_);
                                                        },
                                                        .store = *store_,
                                                        .sink = *sink_,
                                                        .clock = clock_,
                                                        .tell = [](auto, const std::string&) {},
                                                        .random = [this] { return random_(); }},
                                         Adapter::How{.poll = 2s, .with_history = false});
    adapter_->use_rows(test::rows());
  }
  // All that is not in the state file is forgotten.
  void stop() {
    adapter_.reset();
    sink_.reset();
    store_.reset();
    connection_.reset();
    file_.reset();
  }

  void finish() {
    fuse_.left = 0;
    is_full_ = false;
    fake_.gone_after.reset();
    listen();
    fake_.clock = static_cast<std::uint32_t>(clock_.wall());
    fake_.clear_log();
    set(kSupply, 0, true, false);
    // The log is all that tells of it, and some of its records were not read.
    set(kMemory, 1, any(2) == 0);
    for (int i = 0; i < 600; ++i) {
      if (!adapter_) start();
      adapter_->go_on();
      engine_.take();
      clock_.pass(300ms);
    }
    EXPECT_TRUE(adapter_->is_done());
    check();
    stop();
  }

  static int top(std::uint16_t bits) {
    return (bits & 1U << 11) != 0 ? 3 : (bits & 1U << 9) != 0 ? 2 : (bits & 1U << 7) != 0;
  }

  // Plays all that the engine took. Each event leads on from where its ladder is.
  void check() {
    std::map<std::string, int> levels;
    for (const std::string& line : engine_.applied) {
      const auto event = nlohmann::json::parse(line);
      const std::string sensor = event["sensor"];
      const std::string what =
          std::to_string(event["offset"].get<int>()) + "/" + std::to_string(event["state"].get<int>());
      const std::string ladder = sensor == "SEL_FULLNESS"            ? "FULL"
                                 : sensor == "ECC1"                  ? "ecc"
                                 : sensor == "PS1" && what[0] == '8' ? "failure"
                                 : sensor == "PS1"                   ? "present"
                                                                     : "TEMP";
      int& level = levels[sensor + " " + ladder];
      const auto& moves = kLadders.at(ladder);
      const auto move =
          std::ranges::find_if(moves, [&](const Move& some) { return some.event == what && some.from == level; });
      ASSERT_NE(move, moves.end()) << line << " at level " << level;
      level = move->to;
      ++events;
    }
    EXPECT_EQ(levels["TEMP1 TEMP"], top(bits_[kTemp1]));
    EXPECT_EQ(levels["TEMP2 TEMP"], top(bits_[kTemp2]));
    EXPECT_EQ(levels["PS1TEMP TEMP"], top(bits_[kSupplyTemp]));
    EXPECT_EQ(levels["PS1 failure"], bits_[kSupply] >> 1 & 1);
    EXPECT_EQ(levels["PS1 present"], 0);
    EXPECT_EQ(levels["ECC1 ecc"], bits_[kMemory] >> 1 & 1);
    EXPECT_EQ(levels["SEL_FULLNESS FULL"], 0);
  }

 public:
  int kills = 0;
  std::size_t events = 0;

 private:
  std::mt19937_64 random_;
  engine::test::TempDir dir_;
  engine::test::ManualClock clock_{1'800'000'000};
  FakeController fake_;
  std::array<std::uint16_t, 6> bits_{};
  test::FakeEngine engine_{dir_.file("sock")};
  Fuse fuse_;
  bool is_full_ = false;
  std::unique_ptr<StateFile> file_;
  std::unique_ptr<EngineConnection> connection_;
  std::unique_ptr<KilledStore> store_;
  std::unique_ptr<KilledSink> sink_;
  std::unique_ptr<Adapter> adapter_;
};

TEST(RandomWalkTest, InTheEndTheEngineKnowsWhatIsTrueAndEachStepCameOnce) {
  // Thousands of files are synced, which on a disk takes long and proves no more: what is killed here is no machine.
  if (std::filesystem::is_directory("/dev/shm")) ::setenv("TMPDIR", "/dev/shm", 1);
  int kills = 0;
  std::size_t events = 0;
  for (unsigned seed = 1; seed <= kWalks; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Walk walk(seed);
    walk.run();
    kills += walk.kills;
    events += walk.events;
    if (::testing::Test::HasFailure()) break;
  }
  RecordProperty("kills", kills);
  RecordProperty("events", static_cast<int>(events));
  // A walk that is never killed would prove little.
  EXPECT_GT(kills, static_cast<int>(5 * kWalks));
  EXPECT_GT(events, std::size_t{50} * kWalks);
}

}  // namespace random_walk_test
}  // namespace polaiga::ipmi
