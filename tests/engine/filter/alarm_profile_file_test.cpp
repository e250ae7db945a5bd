#include "filter/alarm_profile_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/temp_dir.h"

namespace polaiga::engine {
namespace alarm_profile_file_test {

const std::string kHeader = "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n";

class AlarmProfileFile : public ::testing::Test {
 protected:
  std::string complaint() const {
    try {
      read_alarm_profile(dir_.path());
    } catch (const TableError& error) {
      const std::string what = error.what();
      const std::string prefix = dir_.file("alarms.tsv");
      EXPECT_EQ(what.substr(0, prefix.size()), prefix);
      return what.substr(prefix.size());
    }
    return "nothing";
  }

  test::TempDir dir_;
};

TEST_F(AlarmProfileFile, ItNeedNotBeThere) {
  EXPECT_EQ(read_alarm_profile(dir_.path()).text(), "");
  EXPECT_EQ(read_alarm_profile(dir_.file("nowhere")).text(), "");
}

TEST_F(AlarmProfileFile, IsReadAsItIs) {
  const std::string text = kHeader + "F0395\tsys\tmajor\tyes\t-\t-\t-\n";
  dir_.write("alarms.tsv", text);
  const AlarmProfile profile = read_alarm_profile(dir_.path());
  EXPECT_EQ(profile.text(), text);
  ASSERT_NE(profile.find(395, "sys"), nullptr);
  EXPECT_EQ(profile.find(395, "sys")->severity, Severity::kMajor);
}

TEST_F(AlarmProfileFile, TheExample) {
  const AlarmProfile profile = read_alarm_profile(POLAIGA_SOURCE_DIR "/examples");
  const ProfileEntry* const fan = profile.find(395, "sys/rack-unit-1/fan-module-1-3/fan-1");
  ASSERT_NE(fan, nullptr);
  EXPECT_EQ(fan->severity, Severity::kWarning);
  EXPECT_FALSE(fan->notify);
  const ProfileEntry* const supply = profile.find(374, "sys/rack-unit-1/psu-1");
  ASSERT_NE(supply, nullptr);
  EXPECT_EQ(supply->respond_within, 14'400);
  EXPECT_NE(profile.find(460, "sys/rack-unit-1/mgmt/log-SEL-0"), nullptr);
  EXPECT_EQ(profile.find(395, "sys/rack-unit-1/board"), nullptr);
}

TEST_F(AlarmProfileFile, Complaints) {
  dir_.write("alarms.tsv", "");
  EXPECT_EQ(complaint(), ":1:1: code: there is no header line");
  dir_.write("alarms.tsv", kHeader + "F0395\tsys\tbad\tyes\t-\t-\t-\n");
  EXPECT_EQ(complaint(), ":2:11: severity: 'bad' is none of indeterminate, warning, minor, major, critical and -");
  dir_.write("alarms.tsv", kHeader + std::string(256 * 1024 - kHeader.size(), '#'));
  EXPECT_EQ(complaint(), "nothing");
  dir_.write("alarms.tsv", kHeader + std::string(256 * 1024 - kHeader.size() + 1, '#'));
  EXPECT_EQ(complaint(), ": the file has more than 262144 bytes");
}

// A link that leads nowhere is a mistake, and not a site without a profile.
TEST_F(AlarmProfileFile, ALinkThatLeadsNowhere) {
  std::filesystem::create_symlink("nowhere", dir_.file("alarms.tsv"));
  EXPECT_EQ(complaint(), ": cannot open: No such file or directory");
}

}  // namespace alarm_profile_file_test
}  // namespace polaiga::engine
