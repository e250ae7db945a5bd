#include "base/private_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "support/temp_dir.h"

namespace polaiga::engine {
namespace private_file_test {

using test::TempDir;

class PrivateFileTest : public ::testing::Test {
 protected:
  std::string file(mode_t mode) const {
    std::string path = dir_.write("secret", "text");
    ::chmod(path.c_str(), mode);
    return path;
  }

  static std::string complaint(const std::string& path) {
    try {
      read_private_file(path, "the key");
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  static mode_t mode_of(const std::string& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
  }

  TempDir dir_;
};

TEST_F(PrivateFileTest, OnlyTheOwnerMayReadIt) {
  for (const mode_t mode : {0400U, 0600U, 0700U}) EXPECT_EQ(read_private_file(file(mode), "the key"), "text") << mode;
  for (const mode_t mode : {0604U, 0602U, 0601U, 0620U, 0610U, 0666U}) {
    const std::string path = file(mode);
    EXPECT_EQ(complaint(path),
              "the key '" + path + "' may be read or changed by others than its owner; type: chmod 600 '" + path + "'")
        << mode;
    EXPECT_EQ(read_file(path, "the certificate"), "text");
  }
}

TEST_F(PrivateFileTest, TheGroupRootMayReadItAndNoOther) {
  const std::string path = file(0640);
  ASSERT_EQ(::getuid(), 0U) << "this test changes the group of a file; run it as root";
  ASSERT_EQ(::chown(path.c_str(), 0, 0), 0);
  EXPECT_EQ(read_private_file(path, "the key"), "text");
  ASSERT_EQ(::chown(path.c_str(), 0, 12345), 0);
  EXPECT_NE(complaint(path).find("type: chmod 600"), std::string::npos);
}

TEST_F(PrivateFileTest, SomebodyElseMayNotOwnIt) {
  const std::string path = file(0600);
  ASSERT_EQ(::getuid(), 0U) << "this test changes the owner of a file; run it as root";
  ASSERT_EQ(::chown(path.c_str(), 12345, 0), 0);
  EXPECT_NE(complaint(path).find("; type: chown 0 '" + path + "'"), std::string::npos) << complaint(path);
}

// A process that is not root could not read a file that is given to root.
TEST_F(PrivateFileTest, AFileOfSomebodyElseIsGivenToTheUserOfTheProcess) {
  ASSERT_EQ(::getuid(), 0U) << "this test changes the user of its process; run it as root";
  const std::string path = file(0644);
  ASSERT_EQ(::chmod(dir_.path().c_str(), 0755), 0);
  ASSERT_EQ(::chown(path.c_str(), 12345, 0), 0);
  ASSERT_EQ(::seteuid(23456), 0);
  const std::string said = complaint(path);
  ASSERT_EQ(::seteuid(0), 0);
  EXPECT_NE(said.find("; type: chown 23456 '" + path + "'"), std::string::npos) << said;
  ASSERT_EQ(::chown(path.c_str(), 23456, 0), 0);
  ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
  ASSERT_EQ(::seteuid(23456), 0);
  const std::string then = complaint(path);
  ASSERT_EQ(::seteuid(0), 0);
  EXPECT_EQ(then, "") << "it is read";
}

TEST_F(PrivateFileTest, WhatIsNoFileIsRefused) {
  EXPECT_EQ(complaint(dir_.file("none")), "cannot read the key '" + dir_.file("none") + "': No such file or directory");
  EXPECT_EQ(complaint(dir_.file(".")), "the key '" + dir_.file(".") + "' is no regular file");
  const std::string pipe = dir_.file("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(complaint(pipe), "the key '" + pipe + "' is no regular file");
  const std::string large = file(0600);
  ASSERT_EQ(::truncate(large.c_str(), 2'000'000), 0);
  EXPECT_EQ(complaint(large), "the key '" + large + "' is longer than 1048576 bytes");
}

TEST_F(PrivateFileTest, ItIsReplacedWhole) {
  const std::string path = dir_.file("users");
  replace_private_file(path, "first");
  EXPECT_EQ(mode_of(path), 0600U);
  EXPECT_EQ(dir_.read("users"), "first");
  ::chmod(path.c_str(), 0644);
  replace_private_file(path, "second");
  EXPECT_EQ(mode_of(path), 0600U);
  EXPECT_EQ(dir_.read("users"), "second");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()), {}), 1) << "nothing else is left";
}

TEST_F(PrivateFileTest, ItsOwnerStaysAndALinkLeadsToIt) {
  ASSERT_EQ(::getuid(), 0U) << "this test changes the owner of a file; run it as root";
  const std::string path = file(0600);
  ASSERT_EQ(::chown(path.c_str(), 12345, 23456), 0);
  const std::string link = dir_.file("link");
  ASSERT_EQ(::symlink("secret", link.c_str()), 0);
  replace_private_file(link, "new");
  struct stat status = {};
  ASSERT_EQ(::lstat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 12345U);
  EXPECT_EQ(status.st_gid, 23456U);
  EXPECT_EQ(dir_.read("secret"), "new");
  ASSERT_EQ(::lstat(link.c_str(), &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(PrivateFileTest, NothingIsLeftOfAFailure) {
  EXPECT_THROW(replace_private_file(dir_.file("none/users"), "text"), std::runtime_error);
  std::filesystem::create_directory(dir_.file("directory"));
  EXPECT_THROW(replace_private_file(dir_.file("directory"), "text"), std::runtime_error);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()), {}), 1);
}

TEST_F(PrivateFileTest, ALockKeepsOthersOut) {
  const std::string path = dir_.file("users");
  std::atomic<int> counted = 0;  // two threads that read it at once lose a count
  const auto count = [&] {
    for (int i = 0; i < 200; ++i) {
      const FileLock lock(path);
      const int before = counted;
      std::this_thread::yield();
      counted = before + 1;
    }
  };
  std::thread one(count);
  std::thread other(count);
  one.join();
  other.join();
  EXPECT_EQ(counted, 400);
  EXPECT_THROW(FileLock(dir_.file("none/users")), std::runtime_error);
}

}  // namespace private_file_test
}  // namespace polaiga::engine
