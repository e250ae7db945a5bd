#include "adapter/adapter.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>

#include "follow/engine_connection.h"
#include "follow/state_text.h"
#include "standard/hexadecimal.h"
#include "support/fake_controller.h"
#include "support/fake_engine.h"
#include "support/manual_clock.h"
#include "support/rows.h"
#include "support/small_disk.h"
#include "support/temp_dir.h"

namespace polaiga::ipmi {
namespace adapter_test {

using test::Texts;
using namespace std::chrono_literals;

constexpr std::uint8_t kSpecific = kSensorSpecificReading;

// The commands that change nothing in a controller: what it is, its log, its SDRs and its sensors. A reservation is
// only for reading an SDR in pieces.
const std::set<FakeController::Command> kReads = {
    {NetFn::kApplication, 0x08}, {NetFn::kApplication, 0x37}, {NetFn::kStorage, 0x40}, {NetFn::kStorage, 0x43},
    {NetFn::kStorage, 0x20},     {NetFn::kStorage, 0x22},     {NetFn::kStorage, 0x23}, {NetFn::kSensor, 0x20},
    {NetFn::kSensor, 0x21},      {NetFn::kSensor, 0x22},      {NetFn::kSensor, 0x2D}};

// A session that leads to a controller of the test, which outlives it.
class Line final : public Session {
 public:
  explicit Line(Session& to) : to_(to) {}
  Answer ask(NetFn function, std::uint8_t command, std::span<const std::uint8_t> data) override {
    return to_.ask(function, command, data);
  }

 private:
  Session& to_;
};

class AdapterTest : public ::testing::Test {
 protected:
  AdapterTest() {
    fake_.device_guid = Guid{1};
    fake_.add_sensor({.number = 1, .name = "TEMP1"});
    fake_.add_sensor({.number = 2, .name = "PS1", .sensor_type = 0x08, .reading_type = kSpecific});
    fake_.add_sensor({.number = 3, .name = "PS1TEMP"});
    fake_.add_sensor({.number = 4, .name = "ECC1", .sensor_type = 0x0C, .reading_type = kSpecific});
    fake_.set_state(2, 0x0001);
    start();
  }
  // Whatever happens, nothing is changed in the controller.
  void TearDown() override {
    for (const auto& [function, command] : fake_.commands()) {
      EXPECT_TRUE(kReads.contains({function, command}))
          << "command " << hex(command) << " of network function " << hex(static_cast<std::uint8_t>(function));
    }
  }

  void start(std::string state = "state", bool with_history = false) {
    stop();
    file_ = std::make_unique<StateFile>(state.starts_with('/') ? state : dir_.file(state));
    const auto tell = [this](engine::Priority, const std::string& text) { told_.push_back(text); };
    connection_ = std::make_unique<EngineConnection>(dir_.file("sock"), clock_, tell);
    Adapter::Parts parts{.open = [this]() -> std::unique_ptr<Session> {
                           ++opened_;
                           if (fake_.refuses) throw ControllerRefuses(*fake_.refuses);
                           if (fake_.gone) throw ControllerGone(*fake_.gone);
                           return std::make_unique<Line>(fake_);
                         },
                         .store = *file_,
                         .sink = *connection_,
                         .clock = clock_,
                         .tell = tell,
                         .random = [this] { return random_ += 2; }};
    State loaded = file_->load([this](const std::string& text) { told_.push_back(text); });
    adapter_ = std::make_unique<Adapter>(std::move(loaded), std::move(parts),
                                         Adapter::How{.poll = 2s, .with_history = with_history});
    adapter_->use_rows(test::rows());
  }
  // As if it were killed.
  void stop() {
    adapter_.reset();
    connection_.reset();
    file_.reset();
  }

  void event(std::uint8_t sensor, std::uint8_t offset, bool is_deasserted = false,
             std::uint8_t reading = kThresholdReading, std::uint8_t type = 0x01) {
    fake_.clock += 1;
    fake_.add(FakeEvent{.sensor = sensor,
                        .sensor_type = type,
                        .reading_type = reading,
                        .offset = offset,
                        .is_deasserted = is_deasserted});
  }
  // A threshold event with the reading that goes with it.
  void hot(std::uint8_t offset = 7) {
    event(1, offset);
    states_[1] = static_cast<std::uint16_t>(states_[1] | 1U << offset);
    fake_.set_state(1, states_[1]);
  }
  void cool(std::uint8_t offset = 7) {
    event(1, offset, true);
    states_[1] = static_cast<std::uint16_t>(states_[1] & ~(1U << offset));
    fake_.set_state(1, states_[1]);
  }

  // Lets so many seconds pass, while the engine answers.
  void pass(int seconds = 2) {
    for (int i = 0; i < seconds * 10; ++i) {
      adapter_->go_on();
      engine_.take();
      adapter_->go_on();
      clock_.pass(100ms);
    }
  }
  // What the engine has applied since the last call, as in "TEMP1 117/4".
  Texts applied() {
    Texts texts;
    for (; seen_ < engine_.applied.size(); ++seen_) {
      const auto event = nlohmann::json::parse(engine_.applied[seen_]);
      texts.push_back(event["sensor"].get<std::string>() + " " + std::to_string(event["offset"].get<int>()) + "/" +
                      std::to_string(event["state"].get<int>()));
    }
    return texts;
  }
  nlohmann::json last() const { return nlohmann::json::parse(engine_.applied.back()); }
  bool was_told(const std::string& words) const {
    return std::ranges::any_of(told_, [&](const std::string& text) { return text.find(words) != std::string::npos; });
  }

  engine::test::TempDir dir_;
  engine::test::ManualClock clock_{1'800'000'100};
  FakeController fake_;
  test::FakeEngine engine_{dir_.file("sock")};
  Texts told_;
  std::map<std::uint8_t, std::uint16_t> states_;
  std::uint64_t random_ = 0;
  int opened_ = 0;
  std::size_t seen_ = 0;
  std::unique_ptr<StateFile> file_;
  std::unique_ptr<EngineConnection> connection_;
  std::unique_ptr<Adapter> adapter_;
};

TEST_F(AdapterTest, ARecordBecomesAnEventWithinTwoSeconds) {
  pass(10);
  EXPECT_EQ(applied(), Texts{});
  hot();
  pass(2);
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4"}));
  EXPECT_EQ(last()["id"], "sel:0000000000000003:" + hexadecimal(fake_.log().back()) + "/1");
  EXPECT_EQ(last()["time"], engine::format_moment(fake_.clock));
  cool();
  pass(2);
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/0"}));
  EXPECT_TRUE(adapter_->is_done());
}

TEST_F(AdapterTest, AtTheFirstStartThePresentStateIsTold) {
  hot(7);
  hot(9);
  cool(9);
  event(4, 1, false, kSpecific, 0x0C);
  pass();
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4"}));
  EXPECT_EQ(last()["id"], "now:0000000000000003:1/1");
  EXPECT_FALSE(last().contains("time"));
}

TEST_F(AdapterTest, WithHistoryTheLogIsTold) {
  hot(7);
  hot(9);
  cool(9);
  event(4, 1, false, kSpecific, 0x0C);
  start("state", true);
  pass();
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4", "TEMP1 118/5", "TEMP1 118/4", "ECC1 72/1"}));
}

TEST_F(AdapterTest, MissedDeassertionEndsWithinAMinute) {
  pass();
  hot();
  pass();
  applied();
  fake_.set_state(1, 0);
  pass(62);
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/0"}));
}

TEST_F(AdapterTest, MissedDeassertionIsFoundAtOnceAtAStart) {
  pass();
  hot();
  pass();
  stop();
  fake_.set_state(1, 0);
  start();
  pass(1);
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4", "TEMP1 117/0"}));
}

TEST_F(AdapterTest, ReadingsUnavailableChangeNothing) {
  pass();
  hot();
  pass();
  applied();
  fake_.set_unavailable(1);
  fake_.remove_reading(2);
  pass(130);
  EXPECT_EQ(applied(), Texts{});
}

TEST_F(AdapterTest, Rebooted) {
  pass();
  hot();
  event(4, 1, false, kSpecific, 0x0C);
  pass();
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4", "ECC1 72/1"}));
  // No record tells that the sensor has no state now, and the clock is not set.
  fake_.next_record_id = 500;
  event(9, 1);
  pass();
  fake_.restart();
  fake_.next_record_id = 300;
  fake_.set_state(2, 0x0001);
  event(9, 1);
  pass(2);
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/0"}));
}

TEST_F(AdapterTest, TimeUnsetOrJumping) {
  pass();
  fake_.clock = 3600;
  hot();
  pass();
  EXPECT_FALSE(last().contains("time"));
  fake_.clock = 0xFFFFFFFE;
  cool();
  pass();
  EXPECT_EQ(last()["id"].get<std::string>().substr(0, 4), "sel:");
  EXPECT_FALSE(last().contains("time"));
  // Many controllers count local time.
  fake_.clock = static_cast<std::uint32_t>(clock_.wall() + 14 * 3600);
  hot();
  pass();
  EXPECT_EQ(last()["time"], engine::format_moment(fake_.clock));
  fake_.clock = static_cast<std::uint32_t>(clock_.wall() + 26 * 3600);
  cool();
  pass();
  EXPECT_FALSE(last().contains("time"));
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4", "TEMP1 117/0", "TEMP1 117/4", "TEMP1 117/0"}));
}

TEST_F(AdapterTest, LogCleared) {
  pass();
  hot();
  pass();
  applied();
  fake_.clock += 5;
  fake_.clear_log();
  pass();
  EXPECT_EQ(applied(), Texts{});
  hot(9);
  pass();
  EXPECT_EQ(applied(), (Texts{"TEMP1 118/5"}));
  EXPECT_TRUE(was_told("it was cleared"));
}

TEST_F(AdapterTest, Replaced) {
  pass();
  hot();
  event(4, 1, false, kSpecific, 0x0C);
  pass();
  applied();
  stop();
  fake_.device_guid = Guid{2};
  fake_.clear_log();
  fake_.next_record_id = 1;
  fake_.set_state(1, 0);
  event(3, 7);
  fake_.set_state(3, 0x0080);
  start();
  pass();
  // The memory's fault is told by records alone, so it stays.
  EXPECT_EQ(applied(), (Texts{"PS1TEMP 117/4", "TEMP1 117/0"}));
  EXPECT_TRUE(was_told("another controller answers"));
}

TEST_F(AdapterTest, SdrChanged) {
  pass();
  hot();
  pass();
  applied();
  fake_.clock += 5;
  fake_.clear_sdrs();
  fake_.add_sensor({.number = 3, .name = "PS1TEMP"});
  fake_.add_sensor({.number = 7, .name = "TEMP7"});
  fake_.set_state(7, 0x0080);
  pass(62);
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/0", "TEMP7 117/4"}));
}

TEST_F(AdapterTest, MissingUnit) {
  pass();
  event(2, 0, true, kSpecific, 0x08);
  fake_.set_state(2, 0);
  pass();
  event(3, 7);
  fake_.set_state(3, 0x0080);
  pass(62);
  EXPECT_EQ(applied(), (Texts{"PS1 30/1"}));
  fake_.set_state(2, 1);
  pass(62);
  EXPECT_EQ(applied(), (Texts{"PS1 30/0", "PS1TEMP 117/4"}));
}

TEST_F(AdapterTest, FullLog) {
  fake_.log_capacity = 20;
  pass();
  const auto fill = [this](std::size_t records) {
    while (fake_.log().size() < records) event(9, 1);
    pass();
    return applied();
  };
  EXPECT_EQ(fill(14), Texts{});
  EXPECT_EQ(fill(15), (Texts{"SEL_FULLNESS 117/1"}));
  EXPECT_EQ(fill(18), (Texts{"SEL_FULLNESS 118/1"}));
  EXPECT_EQ(fill(20), (Texts{"SEL_FULLNESS 119/1"}));
  // It takes no more, so only the readings tell.
  hot();
  pass(62);
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4"}));
  fake_.clear_log();
  pass();
  EXPECT_EQ(applied(), (Texts{"SEL_FULLNESS 119/1", "SEL_FULLNESS 118/1", "SEL_FULLNESS 117/0"}));
}

TEST_F(AdapterTest, AFullRingIsNoFullLog) {
  fake_.log_capacity = 4;
  fake_.log_wraps = true;
  for (int i = 0; i < 4; ++i) event(9, 1);
  pass();
  EXPECT_EQ(applied(), (Texts{"SEL_FULLNESS 117/1", "SEL_FULLNESS 118/1", "SEL_FULLNESS 119/1"}));
  event(9, 1);
  pass();
  EXPECT_EQ(applied(), (Texts{"SEL_FULLNESS 119/1", "SEL_FULLNESS 118/1", "SEL_FULLNESS 117/0"}));
  stop();
  start();
  hot();
  pass();
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4"}));
}

TEST_F(AdapterTest, EngineAway) {
  pass();
  engine_.leave();
  hot();
  pass(20);
  cool();
  pass(20);
  EXPECT_EQ(adapter_->waiting(), 2U);
  EXPECT_EQ(adapter_->status(), "following 4 sensors; 2 events to be told to the engine");
  stop();
  start();
  engine_.listen();
  pass(6);
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4", "TEMP1 117/0"}));
  EXPECT_EQ(adapter_->status(), "following 4 sensors");
}

TEST_F(AdapterTest, AnEngineThatIsAwayForLongStopsTheReading) {
  fake_.log_capacity = 10'000;
  pass();
  engine_.leave();
  for (int i = 0; i < 1000; ++i) {
    hot();
    cool();
  }
  pass(20);
  const std::size_t waiting = adapter_->waiting();
  EXPECT_GE(waiting, Adapter::kMostPending);
  EXPECT_LT(waiting, Adapter::kMostPending + Following::kMostAtOnce + 10);
  EXPECT_LT(dir_.read("state").size(), 1024U * 1024U);
  engine_.listen();
  pass(20);
  EXPECT_EQ(applied().size(), 2000U);
}

TEST_F(AdapterTest, EngineRefusesALine) {
  pass();
  hot();
  hot(9);
  adapter_->go_on();
  clock_.pass(2);
  adapter_->go_on();
  int count = 0;
  engine_.take(10, [&](const std::string& line) {
    return ++count == 1 ? std::string("{\"error\":\"no\"}\n") : engine_.apply(line);
  });
  pass();
  EXPECT_EQ(applied(), (Texts{"TEMP1 118/5"}));
  EXPECT_TRUE(was_told("the engine does not take an event, which is dropped: no"));
  EXPECT_TRUE(adapter_->is_done());
}

TEST_F(AdapterTest, FullDisk) {
  const engine::test::SmallDisk disk(dir_, 1);
  start(disk.file("state"));
  pass();
  hot();
  pass();
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4"}));
  disk.fill(0);
  cool();
  pass(10);
  // What cannot be saved is not sent.
  EXPECT_EQ(applied(), Texts{});
  EXPECT_EQ(
      std::ranges::count_if(told_, [](const auto& text) { return text.starts_with("the state cannot be saved"); }), 1);
  EXPECT_EQ(adapter_->status(), "the state cannot be saved; 1 event to be told to the engine");
  const int asked = fake_.asked();
  pass(10);
  EXPECT_EQ(fake_.asked(), asked);
  disk.make_room();
  pass(2);
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/0"}));
  EXPECT_TRUE(was_told("the state is saved again"));
  stop();
}

TEST_F(AdapterTest, AFullDiskDoesNotKeepItBusyWhenOnlyAnAcknowledgementIsToBeSaved) {
  const engine::test::SmallDisk disk(dir_, 1);
  start(disk.file("state"));
  pass();
  hot();
  clock_.pass(2s);
  adapter_->go_on();
  disk.fill(0);
  engine_.take();
  adapter_->go_on();
  clock_.pass(2s);
  adapter_->go_on();
  EXPECT_EQ(adapter_->until_next(), 1s);
  disk.make_room();
  stop();
}

TEST_F(AdapterTest, DamagedStateFile) {
  pass();
  hot();
  pass();
  stop();
  std::string text = dir_.read("state");
  text[text.size() / 2] = static_cast<char>(text[text.size() / 2] ^ 1);
  dir_.write("state", text);
  cool();
  hot(9);
  cool(9);
  event(3, 7);
  fake_.set_state(3, 0x0080);
  start();
  pass();
  EXPECT_TRUE(was_told("is damaged"));
  const Texts all = applied();
  // All that was told ends, and what is new is there.
  EXPECT_EQ(all.front(), "TEMP1 117/4");
  EXPECT_EQ(std::ranges::count(all, "TEMP1 117/0"), std::ranges::count(all, "TEMP1 117/4"));
  EXPECT_EQ(std::ranges::count(all, "PS1TEMP 117/4"), 1);
  EXPECT_EQ(adapter_->state().delivered.size(), 1U);
}

// The state before the last was saved while the log was empty.
TEST_F(AdapterTest, DamagedStateFileAfterTheFirstRecord) {
  pass();
  hot();
  clock_.pass(2);
  adapter_->go_on();
  engine_.take();
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4"}));
  stop();
  dir_.write("state", "");
  cool();
  start();
  pass();
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4", "TEMP1 117/0"}));
}

TEST_F(AdapterTest, ControllerAway) {
  pass();
  hot();
  pass();
  applied();
  fake_.gone = "no answer";
  const int before = opened_;
  pass(600);
  EXPECT_EQ(applied(), Texts{});
  EXPECT_EQ(std::ranges::count(told_,
                               "the controller cannot be asked: no answer; it is tried again, at least every "
                               "minute. Its faults stay as they are"),
            1);
  // 1, 2, 4, 8, 16, 32 and then 60 seconds, less a quarter at most.
  EXPECT_GE(opened_ - before, 6 + 8);
  EXPECT_LE(opened_ - before, 7 + 14);
  EXPECT_TRUE(adapter_->has_lost_controller());
  fake_.gone.reset();
  fake_.set_state(1, 0);
  pass(61);
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/0"}));
  EXPECT_TRUE(was_told("the controller answers again"));
}

TEST_F(AdapterTest, ControllerThatGoesAwayAtAnyRequest) {
  for (int answers = 0; answers < 60; ++answers) {
    fake_.gone_after = answers;
    pass(3);
    fake_.gone_after.reset();
    answers % 2 == 0 ? hot() : cool();
    pass(61);
    EXPECT_EQ(applied(), (Texts{answers % 2 == 0 ? "TEMP1 117/4" : "TEMP1 117/0"})) << answers;
  }
}

TEST_F(AdapterTest, WrongPassword) {
  fake_.refuses = "the password is wrong";
  EXPECT_THROW(adapter_->go_on(), ControllerRefuses);
  EXPECT_EQ(opened_, 1);
}

TEST_F(AdapterTest, LyingAnswers) {
  pass();
  applied();
  // Nonsense in place of each answer, one after the other.
  for (const auto& [function, command] : {std::pair{NetFn::kStorage, std::uint8_t{0x40}},
                                          {NetFn::kStorage, 0x43},
                                          {NetFn::kStorage, 0x20},
                                          {NetFn::kStorage, 0x23},
                                          {NetFn::kSensor, 0x2D},
                                          {NetFn::kApplication, 0x08}}) {
    for (const Answer& lie :
         {Answer{0, {}}, Answer{0, {1, 2, 3}}, Answer{0xFF, {}}, Answer{0, std::vector<std::uint8_t>(64, 0xFF)}}) {
      fake_.answer_always(function, command, lie);
      pass(65);
      fake_.answer_always(function, command, {});
      pass(65);
    }
  }
  applied();
  hot();
  pass(2);
  EXPECT_EQ(applied().back(), "TEMP1 117/4");
}

TEST_F(AdapterTest, EndlessChain) {
  for (int i = 0; i < 10; ++i) event(9, 1);
  pass();
  fake_.follows[10] = 3;
  hot();
  pass(20);
  // The record is behind the loop, so the reading tells.
  pass(60);
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4"}));
  EXPECT_TRUE(was_told("which was read before"));
}

TEST_F(AdapterTest, OtherRecordTypesAreLeftOut) {
  pass();
  for (const int type : {0x00, 0x01, 0x03, 0xC0, 0xDF, 0xE0, 0xFF}) {
    SelBytes record{};
    record.fill(0x20);
    record[2] = static_cast<std::uint8_t>(type);
    fake_.add(record);
  }
  hot();
  pass();
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4"}));
}

TEST_F(AdapterTest, ItOnlyReads) {
  fake_.device_guid.reset();
  hot();
  pass(70);
  fake_.clear_log();
  fake_.add_sensor({.number = 7, .name = "TEMP7"});
  hot(9);
  pass(70);
  std::set<FakeController::Command> reads;
  for (const auto& [function, command] : kReads) {
    // A controller without a repository is asked for its own SDRs.
    if (function != NetFn::kSensor || command == 0x2D) reads.insert({function, command});
  }
  EXPECT_EQ(fake_.commands(), reads);
}

TEST_F(AdapterTest, AfterAGapAllStatesAreReadAtOnce) {
  // Idle, it reads four of them with each look at the log.
  for (int number = 10; number < 130; ++number) {
    fake_.add_sensor({.number = static_cast<std::uint8_t>(number), .name = "TEMP" + std::to_string(number)});
  }
  event(9, 1);
  start();
  pass(10);
  fake_.clock += 5;
  fake_.clear_log();
  fake_.set_state(127, 0x0080);
  hot();
  pass(2);
  EXPECT_EQ(applied(), (Texts{"TEMP1 117/4", "TEMP127 117/4"}));
  EXPECT_TRUE(was_told("it was cleared"));
}

TEST_F(AdapterTest, SlowAnswers) {
  pass();
  // Each answer takes most of the time between two looks, and now and then there is none.
  int asked = 0;
  fake_.before_answer = [&] {
    clock_.pass(1500ms);
    if (++asked % 50 != 0) return;
    clock_.pass(6s);
    throw ControllerGone("it did not answer in time");
  };
  Texts all;
  for (int i = 0; i < 30; ++i) {
    i % 2 == 0 ? hot() : cool();
    all.push_back(i % 2 == 0 ? "TEMP1 117/4" : "TEMP1 117/0");
    pass(1);
  }
  pass(60);
  EXPECT_EQ(applied(), all);
  EXPECT_GE(asked, 50);
  // Looks that were late are not made up for.
  fake_.before_answer = [&] { clock_.pass(1500ms); };
  pass(60);
  fake_.before_answer = nullptr;
  const int before = fake_.asked();
  pass(60);
  EXPECT_LE(fake_.asked() - before, 2 * 30 + 31 + 2);
}

TEST_F(AdapterTest, IdleItAsksLittleAndSavesNothing) {
  pass(70);
  const std::string state = dir_.read("state");
  const auto written = std::filesystem::last_write_time(dir_.file("state"));
  const int before = fake_.asked();
  pass(60);
  // Twice for the log in each of 30 polls; each of 3 sensors once; what the repository has.
  EXPECT_LE(fake_.asked() - before, 2 * 30 + 31 + 2);
  EXPECT_EQ(dir_.read("state"), state);
  EXPECT_EQ(std::filesystem::last_write_time(dir_.file("state")), written);
  EXPECT_EQ(opened_, 1) << "one session is for all of it";
}

}  // namespace adapter_test
}  // namespace polaiga::ipmi
