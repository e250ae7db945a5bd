#include "controller/controller.h"

#include <gtest/gtest.h>

#include "support/fake_controller.h"

namespace polaiga::ipmi {
namespace controller_test {

// A session that expects requests byte by byte, and answers them so.
struct Exchange {
  NetFn function;
  std::uint8_t command;
  std::vector<std::uint8_t> request;
  Answer answer;
};
class Script : public Session {
 public:
  explicit Script(std::vector<Exchange> exchanges) : exchanges_(std::move(exchanges)) {}
  ~Script() override { EXPECT_EQ(next_, exchanges_.size()) << "not all was asked"; }

  Answer ask(NetFn function, std::uint8_t command, std::span<const std::uint8_t> data) override {
    if (next_ == exchanges_.size()) throw std::logic_error("more was asked than expected");
    const auto& exchange = exchanges_[next_++];
    EXPECT_EQ(function, exchange.function);
    EXPECT_EQ(command, exchange.command);
    EXPECT_EQ(std::vector<std::uint8_t>(data.begin(), data.end()), exchange.request);
    return exchange.answer;
  }

 private:
  std::vector<Exchange> exchanges_;
  std::size_t next_ = 0;
};

std::string message_of(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

void complain_not(const std::string& what) { ADD_FAILURE() << what; }

TEST(Controller, ReadsWhatTheLogIsLike) {
  Script script({{NetFn::kStorage,
                  0x40,
                  {},
                  {0, {0x51, 0x02, 0x01, 0x34, 0x12, 0x04, 0x03, 0x02, 0x01, 0x44, 0x33, 0x22, 0x11, 0x80}}},
                 {NetFn::kStorage,
                  0x40,
                  {},
                  {0, {0x51, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x7F}}}});
  Controller controller(script);
  EXPECT_EQ(controller.log_info(), (LogInfo{0x0102, 0x1234, 0x01020304, 0x11223344, true}));
  EXPECT_EQ(controller.log_info(), (LogInfo{0, 0xFFFF, 0xFFFFFFFF, 0, false}));
}

TEST(Controller, ReadsAnEntryOfTheLog) {
  Script script(
      {{NetFn::kStorage,
        0x43,
        {0x00, 0x00, 0x34, 0x12, 0x00, 0xFF},
        {0,
         {0x78, 0x56, 0x34, 0x12, 0x02, 0x80, 0x43, 0x6D, 0x38, 0x20, 0x00, 0x04, 0x04, 0x31, 0x01, 0x57, 0x1A, 0x2B}}},
       {NetFn::kStorage, 0x43, {0x00, 0x00, 0x35, 0x12, 0x00, 0xFF}, {0xCB, {}}},
       {NetFn::kStorage, 0x43, {0x00, 0x00, 0x36, 0x12, 0x00, 0xFF}, {0xC9, {}}}});
  Controller controller(script);
  const auto entry = controller.log_entry(0x1234);
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->next_id, 0x5678);
  EXPECT_EQ(entry->record.id, 0x1234);
  EXPECT_EQ(entry->record.event->key.number, 0x31);
  EXPECT_EQ(controller.log_entry(0x1235), std::nullopt);
  EXPECT_EQ(controller.log_entry(0x1236), std::nullopt);
}

TEST(Controller, FollowsTheChainOfTheLog) {
  FakeController fake;
  Controller controller(fake);
  EXPECT_EQ(controller.log_entry(Controller::kFirstRecord), std::nullopt);
  fake.add(FakeEvent{.sensor = 1});
  fake.next_record_id = 9;
  fake.add(FakeEvent{.sensor = 2});
  fake.next_record_id = 4;
  fake.add(FakeEvent{.sensor = 3});
  EXPECT_EQ(controller.log_entry(Controller::kFirstRecord)->next_id, 9);
  EXPECT_EQ(controller.log_entry(9)->next_id, 4);
  EXPECT_EQ(controller.log_entry(4)->next_id, Controller::kLastRecord);
  EXPECT_EQ(controller.log_entry(Controller::kLastRecord)->record.id, 4);
  fake.follows[4] = 4;
  EXPECT_EQ(controller.log_entry(4)->next_id, Controller::kLastRecord) << "a record that names itself is the last";
}

TEST(Controller, AsksAgainWhenTheControllerIsBusy) {
  FakeController fake;
  Controller controller(fake);
  fake.add(FakeEvent{});
  fake.answer_next(NetFn::kStorage, 0x43, {0xC0, {}}, 3);
  EXPECT_TRUE(controller.log_entry(1));
  fake.answer_next(NetFn::kStorage, 0x43, {0x81, {}}, 4);
  EXPECT_THROW(controller.log_entry(1), ControllerGone) << "the log is being erased";
  EXPECT_EQ(fake.asked(NetFn::kStorage, 0x43), 8);
}

TEST(Controller, DoesNotBelieveAnswersThatMakeNoSense) {
  FakeController fake;
  fake.add(FakeEvent{});
  fake.add_sensor({.number = 1, .name = "T"});
  Controller controller(fake);
  fake.answer_next(NetFn::kStorage, 0x40, {0, std::vector<std::uint8_t>(13, 0)});
  EXPECT_EQ(message_of([&] { controller.log_info(); }),
            "the controller answers Get SEL Info with 13 bytes of data, and there must be 14");
  fake.answer_next(NetFn::kStorage, 0x40, {0xFF, {}});
  EXPECT_EQ(message_of([&] { controller.log_info(); }), "the controller answers Get SEL Info with completion code FFh");
  fake.answer_next(NetFn::kStorage, 0x43, {0, std::vector<std::uint8_t>(17, 0)});
  EXPECT_THROW(controller.log_entry(1), ControllerGone);
  fake.answer_next(NetFn::kStorage, 0x20, {0, {0x51}});
  EXPECT_THROW(controller.repository_info(), ControllerGone);
  const Sensor sensor{.key = {0x20, 0, 1}, .name = "T", .reading_type = kThresholdReading};
  fake.answer_next(NetFn::kSensor, 0x2D, {0, {}});
  EXPECT_FALSE(controller.state(sensor));
}

TEST(Controller, SaysWhichPrivilegeIsMissing) {
  FakeController fake;
  Controller controller(fake);
  fake.answer_next(NetFn::kStorage, 0x40, {0xD4, {}});
  EXPECT_THROW(controller.log_info(), ControllerRefuses);
  fake.answer_next(NetFn::kStorage, 0x23, {0xD4, {}});
  EXPECT_THROW(controller.sensors(complain_not), ControllerRefuses);
}

TEST(Controller, ReadsWhatTheRepositoryIsLike) {
  Script script({{NetFn::kStorage,
                  0x20,
                  {},
                  {0, {0x51, 0x02, 0x01, 0x34, 0x12, 0x04, 0x03, 0x02, 0x01, 0x44, 0x33, 0x22, 0x11, 0x02}}}});
  EXPECT_EQ(Controller(script).repository_info(), (RepositoryInfo{0x0102, 0x01020304, 0x11223344}));
}

// A full record of 49 bytes: a header of 5, and 44 that follow.
std::vector<std::uint8_t> record_of_49_bytes() { return full_sdr(0x0007, {.number = 0x31, .name = "T"}); }

Answer piece(std::uint16_t next, const std::vector<std::uint8_t>& record, std::size_t offset, std::size_t size) {
  Answer answer{0, {static_cast<std::uint8_t>(next & 0xFFU), static_cast<std::uint8_t>(next >> 8U)}};
  const auto begin = record.begin() + static_cast<std::ptrdiff_t>(offset);
  answer.data.insert(answer.data.end(), begin, begin + static_cast<std::ptrdiff_t>(size));
  return answer;
}

Exchange repository_of_one() {
  return {NetFn::kStorage, 0x20, {}, {0, {0x51, 0x01, 0x00, 0x00, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0x02}}};
}

TEST(Controller, ReadsRecordsOfSensorsInPieces) {
  const auto record = record_of_49_bytes();
  Script script({repository_of_one(),
                 {NetFn::kStorage, 0x22, {}, {0, {0xCD, 0xAB}}},
                 {NetFn::kStorage, 0x23, {0xCD, 0xAB, 0x00, 0x00, 0, 5}, piece(0xFFFF, record, 0, 5)},
                 {NetFn::kStorage, 0x23, {0xCD, 0xAB, 0x00, 0x00, 5, 32}, piece(0xFFFF, record, 5, 32)},
                 {NetFn::kStorage, 0x23, {0xCD, 0xAB, 0x00, 0x00, 37, 12}, piece(0xFFFF, record, 37, 12)}});
  const auto sensors = Controller(script).sensors(complain_not);
  ASSERT_EQ(sensors.size(), 1);
  EXPECT_EQ(sensors[0].name, "T");
  EXPECT_EQ(sensors[0].key.number, 0x31);
}

TEST(Controller, ReadsSmallerPiecesWhenItMust) {
  const auto record = record_of_49_bytes();
  Script script(
      {repository_of_one(),
       {NetFn::kStorage, 0x22, {}, {0, {0x01, 0x00}}},
       {NetFn::kStorage, 0x23, {0x01, 0x00, 0x00, 0x00, 0, 5}, piece(0xFFFF, record, 0, 5)},
       {NetFn::kStorage, 0x23, {0x01, 0x00, 0x00, 0x00, 5, 32}, {0xCA, {}}},
       {NetFn::kStorage, 0x23, {0x01, 0x00, 0x00, 0x00, 5, 16}, piece(0xFFFF, record, 5, 15)},  // too few bytes
       {NetFn::kStorage, 0x23, {0x01, 0x00, 0x00, 0x00, 5, 8}, piece(0xFFFF, record, 5, 8)},
       {NetFn::kStorage, 0x23, {0x01, 0x00, 0x00, 0x00, 13, 8}, piece(0xFFFF, record, 13, 8)},
       {NetFn::kStorage, 0x23, {0x01, 0x00, 0x00, 0x00, 21, 8}, piece(0xFFFF, record, 21, 8)},
       {NetFn::kStorage, 0x23, {0x01, 0x00, 0x00, 0x00, 29, 8}, piece(0xFFFF, record, 29, 8)},
       {NetFn::kStorage, 0x23, {0x01, 0x00, 0x00, 0x00, 37, 8}, piece(0xFFFF, record, 37, 8)},
       {NetFn::kStorage, 0x23, {0x01, 0x00, 0x00, 0x00, 45, 4}, piece(0xFFFF, record, 45, 4)}});
  EXPECT_EQ(Controller(script).sensors(complain_not).at(0).name, "T");
}

TEST(Controller, EndsWhenNoPieceIsSmallEnough) {
  FakeController fake;
  fake.add_sensor({.number = 1, .name = "T"});
  fake.longest_piece = 3;
  EXPECT_EQ(message_of([&] { Controller(fake).sensors(complain_not); }),
            "the controller answers Get SDR with completion code CAh");
  fake.longest_piece = 4;
  EXPECT_EQ(Controller(fake).sensors(complain_not).size(), 1);
}

TEST(Controller, ReadsARecordAgainWhenItsReservationIsCancelled) {
  const auto record = record_of_49_bytes();
  Script script({repository_of_one(),
                 {NetFn::kStorage, 0x22, {}, {0, {0x01, 0x00}}},
                 {NetFn::kStorage, 0x23, {0x01, 0x00, 0x00, 0x00, 0, 5}, piece(0xFFFF, record, 0, 5)},
                 {NetFn::kStorage, 0x23, {0x01, 0x00, 0x00, 0x00, 5, 32}, {0xC5, {}}},
                 {NetFn::kStorage, 0x22, {}, {0, {0x02, 0x00}}},
                 {NetFn::kStorage, 0x23, {0x02, 0x00, 0x00, 0x00, 0, 5}, piece(0xFFFF, record, 0, 5)},
                 {NetFn::kStorage, 0x23, {0x02, 0x00, 0x00, 0x00, 5, 32}, piece(0xFFFF, record, 5, 32)},
                 {NetFn::kStorage, 0x23, {0x02, 0x00, 0x00, 0x00, 37, 12}, piece(0xFFFF, record, 37, 12)}});
  EXPECT_EQ(Controller(script).sensors(complain_not).at(0).name, "T");
}

TEST(Controller, GivesUpWhenReservationsAreCancelledAllTheTime) {
  FakeController fake;
  fake.add_sensor({.number = 1, .name = "T"});
  fake.cancels = 19;
  EXPECT_EQ(Controller(fake).sensors(complain_not).size(), 1);
  fake.cancels = 20;
  EXPECT_THROW(Controller(fake).sensors(complain_not), ControllerGone);
}

class Complaints {
 public:
  std::function<void(const std::string&)> take() {
    return [this](const std::string& what) { all_.push_back(what); };
  }
  const std::vector<std::string>& all() const { return all_; }

 private:
  std::vector<std::string> all_;
};

TEST(Controller, LeavesOutRecordsThatItCannotUnderstand) {
  FakeController fake;
  auto bad = full_sdr(0, {.number = 9, .name = "BAD"});
  bad[47] = 0xDF;  // a name of 31 bytes
  fake.add_sdr({0, 0, 0x51, 0x12, 0x02, 0x20, 0x00});
  fake.add_sensor({.number = 1, .name = "ONE"});
  fake.add_sdr(bad);
  fake.add_sensor({.number = 1, .name = "AGAIN"});
  fake.add_sensor({.number = 2, .name = "TWO", .is_event_only = true});
  Complaints complaints;
  const auto sensors = Controller(fake).sensors(complaints.take());
  ASSERT_EQ(sensors.size(), 2);
  EXPECT_EQ(sensors[0].name, "ONE");
  EXPECT_EQ(sensors[1].name, "TWO");
  EXPECT_TRUE(sensors[1].is_event_only);
  EXPECT_EQ(complaints.all(),
            (std::vector<std::string>{
                "record 0003h of the SDR repository is left out: its id string goes on behind its end",
                "record 0004h of the SDR repository is left out: sensor number 1 has a record already"}));
}

TEST(Controller, EndsAChainThatComesBack) {
  for (std::uint16_t next = 0; next <= 3; ++next) {
    FakeController fake;
    for (std::uint8_t number = 1; number <= 3; ++number) fake.add_sensor({.number = number, .name = "T"});
    fake.sdr_follows[3] = next;
    Complaints complaints;
    EXPECT_EQ(Controller(fake).sensors(complaints.take()).size(), 3);
    EXPECT_EQ(complaints.all(),
              (std::vector<std::string>{"the chain of the SDR repository's records comes back to record 000" +
                                        std::to_string(next) + "h; reading ends there"}));
  }
}

TEST(Controller, EndsAChainThatLeadsNowhere) {
  FakeController fake;
  fake.add_sensor({.number = 1, .name = "T"});
  fake.sdr_follows[1] = 0x0102;
  Complaints complaints;
  EXPECT_EQ(Controller(fake).sensors(complaints.take()).size(), 1);
  EXPECT_EQ(complaints.all(),
            (std::vector<std::string>{"there is no record 0102h of the SDR repository; reading ends there"}));
}

TEST(Controller, ReadsAnEmptyRepository) {
  FakeController fake;
  EXPECT_TRUE(Controller(fake).sensors(complain_not).empty());
}

TEST(Controller, EndsARepositoryThatHasNoEnd) {
  FakeController fake;
  for (int i = 0; i < 8193; ++i) fake.add_sdr({0, 0, 0x51, 0x12, 0x00});
  Complaints complaints;
  EXPECT_TRUE(Controller(fake).sensors(complaints.take()).empty());
  EXPECT_EQ(complaints.all(),
            (std::vector<std::string>{"the SDR repository has more than 8192 records; reading ends there"}));
}

TEST(Controller, ReadsTheControllersOwnRecordsWhereThereIsNoRepository) {
  FakeController fake;
  fake.has_repository = false;
  fake.add_sensor({.number = 1, .name = "T"});
  EXPECT_EQ(Controller(fake).sensors(complain_not).at(0).name, "T");
  EXPECT_EQ(Controller(fake).repository_info(), (RepositoryInfo{1, 1'800'000'000, 0}));
  fake.answer_next(NetFn::kSensor, 0x20, {0, {0x03, 0x01}});
  EXPECT_EQ(Controller(fake).repository_info(), (RepositoryInfo{3, 0, 0}));
}

TEST(Controller, ReadsTheStateOfASensor) {
  Script script({{NetFn::kSensor, 0x2D, {0x31}, {0, {0x55, 0xC0, 0xC8, 0x80}}},
                 {NetFn::kSensor, 0x2D, {0x31}, {0xCB, {}}},
                 {NetFn::kSensor, 0x2D, {0x31}, {0, {0x00, 0xE0, 0xC0}}}});
  Controller controller(script);
  Sensor sensor{.key = {0x20, 0, 0x31}, .name = "T", .reading_type = kThresholdReading};
  EXPECT_EQ(controller.state(sensor), (SensorState{true, 1U << 7U}));
  EXPECT_EQ(controller.state(sensor), std::nullopt);
  EXPECT_EQ(controller.state(sensor), SensorState{});
  // These are not asked for.
  sensor.is_event_only = true;
  EXPECT_EQ(controller.state(sensor), std::nullopt);
  sensor.is_event_only = false;
  sensor.key.owner = 0x2C;
  EXPECT_EQ(controller.state(sensor), std::nullopt);
  sensor.key = {0x20, 1, 0x31};
  EXPECT_EQ(controller.state(sensor), std::nullopt);
}

TEST(Controller, TellsItsGuid) {
  const Guid of_controller = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  const Guid of_system = {16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1};
  FakeController fake;
  Controller controller(fake);
  EXPECT_EQ(controller.guid(), std::nullopt);
  fake.system_guid = of_system;
  EXPECT_EQ(controller.guid(), of_system);
  fake.device_guid = of_controller;
  EXPECT_EQ(controller.guid(), of_controller);
  fake.device_guid->fill(0x00);
  EXPECT_EQ(controller.guid(), of_system) << "one that nobody has set is none";
  fake.system_guid->fill(0xFF);
  EXPECT_EQ(controller.guid(), std::nullopt);
}

TEST(Controller, ThatIsBusyIsNoOther) {
  FakeController fake;
  fake.device_guid = Guid{1};
  fake.system_guid = Guid{2};
  fake.answer_next(NetFn::kApplication, 0x08, {0xC0, {}}, 4);
  EXPECT_THROW(Controller(fake).guid(), ControllerGone);
}

TEST(Controller, MayBeGone) {
  FakeController fake;
  fake.gone_after = 1;
  Controller controller(fake);
  EXPECT_NO_THROW(controller.log_info());
  EXPECT_THROW(controller.log_info(), ControllerGone);
  EXPECT_THROW(controller.log_info(), ControllerGone);
}

}  // namespace controller_test
}  // namespace polaiga::ipmi
