#include "controller/saved_log.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "controller/controller.h"
#include "controller/freeipmi_session.h"
#include "support/simulator.h"

namespace polaiga::ipmi {
namespace saved_log_test {

using engine::test::TempDir;

void complain_not(const std::string& what) { ADD_FAILURE() << what; }

class Complaints {
 public:
  std::function<void(const std::string&)> take() {
    return [this](const std::string& what) { all_.push_back(what); };
  }
  const std::vector<std::string>& all() const { return all_; }

 private:
  std::vector<std::string> all_;
};

std::vector<SelRecord> parse(std::string_view contents, std::span<const Sensor> sensors = {}) {
  return parse_saved_log(contents, "a.log", sensors, complain_not);
}

std::string error_of(std::string_view contents, std::span<const Sensor> sensors = {}) {
  try {
    parse(contents, sensors);
  } catch (const BadSavedFile& error) {
    return error.what();
  }
  return "";
}

// A record of a fan (lower critical, assertion), and one of a maker's own.
constexpr SelBytes kFan = {0x34, 0x12, 0x02, 0x80, 0x43, 0x6D, 0x38, 0x20,
                           0x00, 0x04, 0x04, 0x01, 0x01, 0x52, 0x28, 0x30};
constexpr SelBytes kMakers = {0x35, 0x12, 0xE0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};

std::string text_of(const SelBytes& bytes) { return {bytes.begin(), bytes.end()}; }

TEST(SavedLog, AsBytes) {
  const auto records = parse(text_of(kFan) + text_of(kMakers));
  ASSERT_EQ(records.size(), 2);
  EXPECT_EQ(records[0].bytes, kFan);
  EXPECT_EQ(records[0].id, 0x1234);
  EXPECT_EQ(records[0].event->key.number, 1);
  EXPECT_EQ(records[1].bytes, kMakers);
  EXPECT_FALSE(records[1].event);
}

TEST(SavedLog, AsBytesThatAreCut) {
  EXPECT_EQ(error_of(text_of(kFan) + text_of(kMakers).substr(0, 3)),
            "a.log: byte 16: 3 bytes are left, and a record has 16; the file was cut, or is no log of ipmitool sel "
            "writeraw or ipmi-sel");
}

TEST(SavedLog, AsBytesThatAreNoRecords) {
  auto other = kFan;
  other[2] = 0x03;
  Complaints complaints;
  EXPECT_EQ(parse_saved_log(text_of(other) + text_of(kFan), "a.log", {}, complaints.take()).size(), 1);
  EXPECT_EQ(complaints.all(),
            (std::vector<std::string>{"a.log: byte 0: a record of type 03h, which there is not, is left out"}));
  EXPECT_THROW(parse_saved_log(text_of(other), "a.log", {}, complaints.take()), BadSavedFile);
}

TEST(SavedLog, AsHexadecimal) {
  const auto records = parse(
      "RID:[34][12] RT:[02] TS:[80][43][6D][38] GID:[20][00] ER:[04] ST:[04] SN:[01] EDIR:[01] ED1: [52] ED2: [28] "
      "ED3: "
      "[30]\r\n"
      "\n"
      "RID:[35][12] RT:[E0] TS:[01][02][03][04] GID:[05][06] ER:[07] ST:[08] SN:[09] EDIR:[0A] ED1: [0B] ED2: [0c] "
      "ED3: "
      "[0D]");
  ASSERT_EQ(records.size(), 2);
  EXPECT_EQ(records[0].bytes, kFan);
  EXPECT_EQ(records[0].time, 0x386D4380);
  EXPECT_EQ(records[1].bytes, kMakers);
}

TEST(SavedLog, AsHexadecimalThatIsWrong) {
  const std::string good =
      "RID:[34][12] RT:[02] TS:[80][43][6D][38] GID:[20][00] ER:[04] ST:[04] SN:[01] EDIR:[01] ED1: [52] ED2: [28] "
      "ED3: "
      "[30]";
  ASSERT_EQ(error_of(good), "");
  for (std::size_t size = 5; size < good.size(); ++size) {
    EXPECT_EQ(error_of(good + "\n" + good.substr(0, size) + "\n"),
              "a.log:2: this is no whole line of ipmi-sel --hex-dump");
  }
  EXPECT_EQ(error_of(good + "x"), "a.log:1: this is no whole line of ipmi-sel --hex-dump");
  EXPECT_EQ(error_of("RID:[3G]" + good.substr(8)), "a.log:1: this is no whole line of ipmi-sel --hex-dump");
  EXPECT_EQ(error_of(good + "\nsomething else\n"), "a.log:2: this is no line of ipmi-sel --hex-dump");
}

std::vector<Sensor> board() {
  return {{.key = {0x20, 0, 0x31}, .name = "FAN1_TACH1", .sensor_type = 0x04, .reading_type = kThresholdReading},
          {.key = {0x20, 0, 0x40}, .name = "PSU1_STATUS", .sensor_type = 0x08, .reading_type = kSensorSpecificReading},
          {.key = {0x20, 0, 0x50}, .name = "TWICE", .sensor_type = 0x01, .reading_type = kThresholdReading},
          {.key = {0x20, 0, 0x51}, .name = "TWICE", .sensor_type = 0x01, .reading_type = kThresholdReading}};
}

TEST(SavedLog, AsATable) {
  const auto sensors = board();
  const auto records = parse(
      "Caching SDR repository information: /home/anna/.freeipmi/sdr-cache/sdr-cache-bmc1.example\n"
      "ID | Date        | Time     | Name             | Type         | Event Direction   | Event\n"
      "258| Jan-01-2000 | 00:00:00 | FAN1_TACH1       | Fan          | Assertion Event   | Lower Critical - going low "
      "; "
      "Sensor Reading = 4000.00 RPM ; Threshold = 4800.00 RPM\n"
      "3  | PostInit    | PostInit | PSU1_STATUS      | Power Supply | Deassertion Event | Presence detected\n"
      "4  | N/A         | N/A      | N/A              | N/A          | N/A               | OEM defined = 01h 02h\n",
      sensors);
  ASSERT_EQ(records.size(), 2);
  const SelBytes fan = {0x02, 0x01, 0x02, 0x80, 0x43, 0x6D, 0x38, 0x20, 0, 0x04, 0x04, 0x31, 0x01, 0x02, 0xFF, 0xFF};
  EXPECT_EQ(records[0].bytes, fan);
  EXPECT_EQ(records[0].time, 0x386D4380);
  const SelBytes supply = {0x03, 0, 0x02, 0xFF, 0xFF, 0xFF, 0xFF, 0x20, 0, 0x04, 0x08, 0x40, 0xEF, 0x00, 0xFF, 0xFF};
  EXPECT_EQ(records[1].bytes, supply);
  EXPECT_EQ(records[1].time, std::nullopt);
}

TEST(SavedLog, AsATableWithMoreColumnsAndCommas) {
  const auto sensors = board();
  const auto records = parse(
      "ID,Date,Time,Name,Type,State,Event Direction,Event\n"
      "1,Dec-31-1999,23:59:59,PSU1_STATUS,Power Supply,Critical,Assertion Event,Power Supply input out-of-range, but "
      "present\n",
      sensors);
  ASSERT_EQ(records.size(), 1);
  EXPECT_EQ(records[0].time, 0x386D437F);
  EXPECT_EQ(records[0].event->offset, 5);
}

constexpr const char* kHeader = "ID | Date | Time | Name | Type | Event Direction | Event\n";

TEST(SavedLog, AsATableLeavesOutWhatItCannotKnow) {
  const auto sensors = board();
  Complaints complaints;
  const auto records =
      parse_saved_log(std::string(kHeader) +
                          "1 | N/A | N/A | Sensor #9 | Fan | Assertion Event | State Asserted\n"
                          "2 | N/A | N/A | TWICE | Temperature | Assertion Event | Upper Critical - going "
                          "high\n"
                          "3 | N/A | N/A | FAN1_TACH1 | Fan | Assertion Event | Presence detected\n",
                      "a.log", sensors, complaints.take());
  EXPECT_TRUE(records.empty());
  EXPECT_EQ(complaints.all(),
            (std::vector<std::string>{
                "a.log:2: the SDR file has no sensor 'Sensor #9'; the line is left out",
                "a.log:3: the SDR file has several sensors 'TWICE'; the line is left out",
                "a.log:4: sensor 'FAN1_TACH1' has no event 'Presence detected'; the line is left out"}));
}

TEST(SavedLog, AsATableThatIsWrong) {
  const auto sensors = board();
  const auto error = [&sensors](const std::string& line) { return error_of(kHeader + line, sensors); };
  EXPECT_EQ(error("1 | N/A | N/A | FAN1_TACH1 | Fan\n"), "a.log:2: there are 5 columns, and the table has 7");
  EXPECT_EQ(error("x | N/A | N/A | FAN1_TACH1 | Fan | Assertion Event | State Asserted\n"),
            "a.log:2: 'x' is no id of a record");
  EXPECT_EQ(error("65536 | N/A | N/A | FAN1_TACH1 | Fan | Assertion Event | State Asserted\n"),
            "a.log:2: '65536' is no id of a record");
  EXPECT_EQ(error("1 | N/A | N/A | FAN1_TACH1 | Fan | Up | State Asserted\n"),
            "a.log:2: 'Up' is no direction of an event; there are Assertion Event and Deassertion Event");
  EXPECT_EQ(error_of("ID | Date | Time | Name | Type | Event\n"),
            "a.log:1: the table has no column \"Event Direction\", so it does not tell what is over; print the log by "
            "ipmi-sel --hex-dump, or by ipmi-sel -v");
  EXPECT_EQ(error_of("ID | Date | Time | Type | Event Direction | Event\n"),
            "a.log:1: the table has no column \"Name\"");
}

TEST(SavedLog, AsATableWithTimesThatAreNone) {
  const auto sensors = board();
  for (const auto* time : {"Foo-01-2000 | 00:00:00", "anF-01-2000 | 00:00:00", "Jan-32-2000 | 00:00:00",
                           "Jan-01-2000 | 24:00:00", "PreInit | PreInit", " | "}) {
    const auto line =
        "1 | " + std::string(time) + " | FAN1_TACH1 | Fan | Assertion Event | Lower Critical - going low\n";
    const auto records = parse(kHeader + line, sensors);
    ASSERT_EQ(records.size(), 1) << time;
    EXPECT_EQ(records[0].time, std::nullopt) << time;
  }
}

TEST(SavedLog, ThatIsNone) {
  const std::string none =
      "a.log: this is no log that the program understands; save one by ipmitool sel writeraw FILE, or by ipmi-sel "
      "--hex-dump > FILE";
  EXPECT_EQ(error_of(""), none);
  EXPECT_EQ(error_of("\n\n"), none);
  EXPECT_EQ(error_of("0x04 0x04 0x01 0x01 0x54 0x38 0x40 # Fan #0x01 Lower Non-recoverable going low\n"), none);
}

TEST(SavedSensors, OneAfterTheOther) {
  const std::string other("\x01\x00\x51\x12\x02xx", 7);
  const std::string event_only =
      std::string("\x02\x00\x51\x03\x0D\x20\x00\x03\x22\x01\x0F\x03\x00\x00\x00\x00\xC1P", 18);
  const auto sensors = parse_saved_sensors(other + event_only, "a.sdr", complain_not);
  ASSERT_EQ(sensors.size(), 1);
  EXPECT_EQ(sensors[0].name, "P");
  EXPECT_EQ(sensors[0].key, (SensorKey{0x20, 0, 3}));

  Complaints complaints;
  std::string bad = event_only;
  bad[16] = '\xC2';
  EXPECT_EQ(parse_saved_sensors(other + bad + event_only + event_only, "a.sdr", complaints.take()).size(), 1);
  EXPECT_EQ(complaints.all(),
            (std::vector<std::string>{"a.sdr: byte 7: the record is left out: its id string goes on behind its end",
                                      "a.sdr: byte 43: the record is left out: sensor number 3 has a record already"}));
}

TEST(SavedSensors, ThatAreCut) {
  const auto error = [](const std::string& contents) -> std::string {
    try {
      parse_saved_sensors(contents, "a.sdr", complain_not);
    } catch (const BadSavedFile& bad) {
      return bad.what();
    }
    return "";
  };
  EXPECT_EQ(error(std::string("\x01\x00\x51\x12\x02xx\x01\x00\x51", 10)),
            "a.sdr: byte 7: 3 bytes are left, and the record has 5; the file was cut, or is none of ipmitool sdr dump");
  EXPECT_EQ(error(std::string("\x01\x00\x51\x12\x03xx", 7)),
            "a.sdr: byte 0: 7 bytes are left, and the record has 8; the file was cut, or is none of ipmitool sdr dump");
  EXPECT_EQ(error(""), "");
}

TEST(SavedFile, IsReadUpToALimit) {
  const TempDir dir;
  EXPECT_EQ(read_saved_file(dir.write("small", "text")), "text");
  EXPECT_EQ(read_saved_file(dir.write("empty", "")), "");
  EXPECT_THROW(read_saved_file(dir.file("none")), BadSavedFile);
  dir.write("large", "");
  std::filesystem::resize_file(dir.file("large"), 16 << 20);
  EXPECT_EQ(read_saved_file(dir.file("large")).size(), 16 << 20);
  std::filesystem::resize_file(dir.file("large"), (16 << 20) + 1);
  EXPECT_THROW(read_saved_file(dir.file("large")), BadSavedFile);
  EXPECT_THROW(read_saved_file("/dev/zero"), BadSavedFile);
}

// What the programs themselves save of a simulated controller is what is read from it.
class SavedByPrograms : public testing::Test {
 protected:
  void SetUp() override {
    FreeIpmiSession session({.target = simulator_.target(),
                             .user = std::string(Simulator::kUser),
                             .password = std::string(Simulator::kPassword),
                             .workarounds = {"opensesspriv"}});
    Controller controller(session);
    sensors_ = controller.sensors(complain_not);
    for (auto id = Controller::kFirstRecord; id != Controller::kLastRecord;) {
      const auto entry = controller.log_entry(id);
      ASSERT_TRUE(entry);
      log_.push_back(entry->record.bytes);
      id = entry->next_id;
    }
    ASSERT_EQ(log_.size(), 2);
  }

  void run(const std::string& command) const {
    const auto ended = shell_.run("export HOME='" + shell_.dir().path().string() + "' TZ=UTC; " + command);
    ASSERT_EQ(ended.status, 0) << ended.err << ended.out;
  }
  void ipmitool(const std::string& what) const {
    run("ipmitool -I lanplus -C 3 -L user -H 127.0.0.1 -p " + std::to_string(simulator_.port()) + " -U " +
        std::string(Simulator::kUser) + " -P " + std::string(Simulator::kPassword) + " " + what);
  }
  void ipmi_sel(const std::string& options) const {
    run("ipmi-sel -D LAN_2_0 -I 3 -W opensesspriv -l user -h " + simulator_.target() + " -u " +
        std::string(Simulator::kUser) + " -p " + std::string(Simulator::kPassword) + " " + options + " > '" +
        file("log") + "'");
  }
  std::string file(const std::string& name) const { return shell_.dir().file(name); }

  std::vector<SelBytes> logged(std::span<const Sensor> sensors = {}) const {
    std::vector<SelBytes> all;
    for (const auto& record : parse_saved_log(read_saved_file(file("log")), "log", sensors, complain_not)) {
      all.push_back(record.bytes);
    }
    return all;
  }

  Simulator simulator_;
  engine::test::Shell shell_;
  std::vector<Sensor> sensors_;
  std::vector<SelBytes> log_;
};

TEST_F(SavedByPrograms, AsBytes) {
  ipmitool("sel writeraw '" + file("log") + "'");
  EXPECT_EQ(logged(), log_);
}

TEST_F(SavedByPrograms, AsHexadecimal) {
  ipmi_sel("--hex-dump");
  EXPECT_EQ(logged(), log_);
}

TEST_F(SavedByPrograms, AsATable) {
  // The table does not tell event data, nor a time that was not set.
  auto log = log_;
  log[0] = {0x05, 0, 0x02, 0xFF, 0xFF, 0xFF, 0xFF, 0x20, 0, 0x04, 0x04, 0x01, 0x01, 0x04, 0xFF, 0xFF};
  for (const auto* options : {"-v", "-vv", "-v --output-event-state", "-v --comma-separated-output"}) {
    ipmi_sel(options);
    EXPECT_EQ(logged(sensors_), log) << options;
  }
  ipmi_sel("");
  EXPECT_THROW(logged(sensors_), BadSavedFile);
}

TEST_F(SavedByPrograms, Sensors) {
  ipmitool("sdr dump '" + file("sdr") + "'");
  const auto saved = parse_saved_sensors(read_saved_file(file("sdr")), "sdr", complain_not);
  ASSERT_EQ(saved.size(), 3);
  for (std::size_t i = 0; i < saved.size(); ++i) {
    EXPECT_EQ(saved[i].key, sensors_[i].key);
    EXPECT_EQ(saved[i].name, sensors_[i].name);
    EXPECT_EQ(saved[i].entity_id, sensors_[i].entity_id);
    EXPECT_EQ(saved[i].reading_type, sensors_[i].reading_type);
    EXPECT_EQ(saved[i].is_event_only, sensors_[i].is_event_only);
  }
}

}  // namespace saved_log_test
}  // namespace polaiga::ipmi
