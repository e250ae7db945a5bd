#include "follow/state_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "support/full_state.h"
#include "support/rows.h"
#include "support/small_disk.h"
#include "support/temp_dir.h"

namespace polaiga::ipmi {
namespace state_file_test {

using engine::test::TempDir;
using test::Texts;

class StateFileTest : public ::testing::Test {
 protected:
  State load(const StateFile& file) {
    return file.load([this](const std::string& text) { told_.push_back(text); });
  }
  State numbered(std::uint64_t readings) {
    State state = test::full_state();
    state.readings = readings;
    return state;
  }

  TempDir dir_;
  std::string path_ = dir_.file("state");
  Texts told_;
};

TEST_F(StateFileTest, WhatWasSavedIsLoaded) {
  {
    StateFile file(path_);
    EXPECT_EQ(load(file), State());
    file.save(numbered(1));
    file.save(numbered(2));
    EXPECT_EQ(load(file), numbered(2));
  }
  EXPECT_EQ(load(StateFile(path_)), numbered(2));
  struct stat status = {};
  ASSERT_EQ(::stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  EXPECT_EQ(told_, Texts{});
}

TEST_F(StateFileTest, OneProgramAtATime) {
  const StateFile file(path_);
  try {
    const StateFile other(path_);
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "another polaiga-ipmi uses the state file '" + path_ +
                                "'; give each of them a file of its own with --state");
  }
  // Others in the same directory do not matter.
  const StateFile neighbour(dir_.file("other"));
}

TEST_F(StateFileTest, DamagedStateFileIsSetAsideAndTheOneBeforeIsTaken) {
  StateFile file(path_);
  file.save(numbered(1));
  file.save(numbered(2));
  std::string text = dir_.read("state");
  text[text.size() / 2] = static_cast<char>(text[text.size() / 2] ^ 0x55);
  dir_.write("state", text);
  State want = numbered(1);
  want.position.wants_new_epoch = true;
  EXPECT_EQ(load(file), want);
  ASSERT_EQ(told_.size(), 1U);
  EXPECT_EQ(told_[0], "the state file '" + path_ + "' is damaged: its checksum is wrong; it is kept as '" + path_ +
                          ".damaged'. The state that was saved before it is taken, and what came since is read again");
  EXPECT_EQ(dir_.read("state.damaged"), text);
  // It is the same after another start.
  EXPECT_EQ(load(file), want);
  EXPECT_EQ(told_.size(), 1U);
}

TEST_F(StateFileTest, DamagedStateFileWithoutOneBeforeBeginsAnew) {
  StateFile file(path_);
  file.save(numbered(1));
  dir_.write("state", "");
  EXPECT_EQ(load(file), State());
  ASSERT_EQ(told_.size(), 1U);
  EXPECT_NE(told_[0].find("is damaged: its end is missing; it is kept as '" + path_ + ".damaged'"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(path_));
  EXPECT_EQ(load(file), State());
  EXPECT_EQ(told_.size(), 1U);
}

TEST_F(StateFileTest, AFileBehindALinkIsKeptAsAnyOther) {
  std::filesystem::create_directory(dir_.file("elsewhere"));
  std::filesystem::create_symlink(dir_.file("elsewhere/state"), path_);
  dir_.write("elsewhere/state", "");
  StateFile file(path_);
  file.save(numbered(1));
  file.save(numbered(2));
  EXPECT_TRUE(std::filesystem::is_symlink(path_));
  dir_.write("elsewhere/state", "damaged");
  State want = numbered(1);
  want.position.wants_new_epoch = true;
  EXPECT_EQ(load(file), want);
  EXPECT_EQ(dir_.read("state.damaged"), "damaged");
}

TEST_F(StateFileTest, WhoDeletesTheFileBeginsAnew) {
  StateFile file(path_);
  file.save(numbered(1));
  file.save(numbered(2));
  std::filesystem::remove(path_);
  EXPECT_EQ(load(file), State());
}

TEST_F(StateFileTest, ADirectoryThatIsNotThere) {
  EXPECT_THROW(StateFile(dir_.file("none") + "/state"), std::runtime_error);
}

TEST_F(StateFileTest, AFullDiskLeavesTheStateAsItIs) {
  const engine::test::SmallDisk disk(dir_, 1);
  StateFile file(disk.file("state"));
  file.save(numbered(1));
  disk.fill(0);
  State large = numbered(2);
  for (int i = 0; i < 200; ++i) large.pending.emplace_back(100, 'x');
  EXPECT_THROW(file.save(large), std::runtime_error);
  EXPECT_EQ(load(file), numbered(1));
  disk.make_room();
  file.save(large);
  EXPECT_EQ(load(file), large);
}

}  // namespace state_file_test
}  // namespace polaiga::ipmi
