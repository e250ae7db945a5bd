#include "redfish/subscription_store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "support/small_disk.h"
#include "support/temp_dir.h"

namespace polaiga::web {
namespace subscription_store_test {

using engine::test::TempDir;

Subscription to(const std::string& destination) {
  Subscription made;
  made.destination = destination;
  made.headers = {{"Authorization", "hush"}};
  made.cursor = {"abc", 7};
  return made;
}

TEST(SubscriptionStoreTest, SubscriptionsSurvive) {
  const TempDir dir;
  const std::string path = dir.path().string();
  {
    SubscriptionStore store(path);
    EXPECT_EQ(store.add(to("http://a.example/"))->id, "1");
    EXPECT_EQ(store.add(to("http://b.example/"))->id, "2");
    EXPECT_TRUE(store.remove("1"));
    EXPECT_FALSE(store.remove("1"));
    EXPECT_TRUE(store.set_suspended("2", true));
    EXPECT_FALSE(store.set_suspended("1", true));
    store.advance("2", {"abc", 9});
    store.flush();
    store.advance("2", {"abc", 11});  // which the file does not learn
  }
  struct stat about = {};
  ASSERT_EQ(::stat(dir.file("redfish-subscriptions.json").c_str(), &about), 0);
  EXPECT_EQ(about.st_mode & 0777U, 0600U);
  SubscriptionStore store(path);
  ASSERT_EQ(store.all().size(), 1U);
  const auto found = store.find("2");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->destination, "http://b.example/");
  EXPECT_EQ(found->headers.front().second, "hush");
  EXPECT_EQ(found->cursor, (EventCursor{"abc", 9}));
  EXPECT_TRUE(found->is_suspended);
  EXPECT_EQ(store.add(to("http://c.example/"))->id, "3") << "an id is never used again";
}

TEST(SubscriptionStoreTest, TheirNumberIsBounded) {
  const TempDir dir;
  SubscriptionStore store(dir.path().string());
  for (std::size_t i = 0; i < SubscriptionStore::kMost; ++i) EXPECT_TRUE(store.add(to("http://a.example/")));
  EXPECT_FALSE(store.add(to("http://a.example/")));
}

TEST(SubscriptionStoreTest, ADamagedFileIsNotReplaced) {
  const TempDir dir;
  dir.write("redfish-subscriptions.json", R"({"last":1,"subscriptions":[{"id":"1"}]})");
  EXPECT_THROW(SubscriptionStore(dir.path().string()), std::runtime_error);
  EXPECT_EQ(dir.read("redfish-subscriptions.json"), R"({"last":1,"subscriptions":[{"id":"1"}]})");
}

TEST(SubscriptionStoreTest, WhatCannotBeWrittenDidNotHappen) {
  const TempDir dir;
  const std::string path = dir.path().string();
  SubscriptionStore store(path);
  ASSERT_TRUE(store.add(to("http://a.example/")));
  // A directory in the place of the new file keeps everybody from writing it.
  std::filesystem::create_directory(dir.file("redfish-subscriptions.json.new"));
  EXPECT_THROW(store.add(to("http://b.example/")), std::system_error);
  EXPECT_THROW(store.remove("1"), std::system_error);
  EXPECT_THROW(store.set_suspended("1", true), std::system_error);
  EXPECT_EQ(store.all().size(), 1U);
  EXPECT_FALSE(store.find("1")->is_suspended);
  // What was delivered stays delivered as long as the server runs, and is written when that is possible.
  store.advance("1", {"abc", 8});
  EXPECT_THROW(store.flush(), std::system_error);
  EXPECT_EQ(store.find("1")->cursor.number, 8);
  EXPECT_THROW(store.flush(), std::system_error) << "it is tried again";
  std::filesystem::remove(dir.file("redfish-subscriptions.json.new"));
  EXPECT_TRUE(store.flush());
  EXPECT_EQ(SubscriptionStore(path).find("1")->cursor.number, 8);
}

TEST(SubscriptionStoreTest, ADiskThatIsFullIsLeftAsItWas) {
  const TempDir dir;
  const engine::test::SmallDisk disk(dir, 1);
  const std::string path = disk.file("");
  SubscriptionStore store(path);
  ASSERT_TRUE(store.add(to("http://a.example/")));
  disk.fill(0);
  try {
    store.add(to("http://b.example/"));
    FAIL() << "it was stored";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::errc::no_space_on_device);
  }
  EXPECT_FALSE(std::filesystem::exists(disk.file("redfish-subscriptions.json.new")));
  EXPECT_EQ(SubscriptionStore(path).all().size(), 1U);
  disk.make_room();
  EXPECT_EQ(store.add(to("http://b.example/"))->destination, "http://b.example/");
  EXPECT_EQ(SubscriptionStore(path).all().size(), 2U);
}

TEST(SubscriptionStoreTest, NothingIsWrittenWhenNothingHasChanged) {
  const TempDir dir;
  SubscriptionStore store(dir.path().string());
  ASSERT_TRUE(store.add(to("http://a.example/")));
  dir.write("redfish-subscriptions.json", "as it was");
  store.advance("1", {"abc", 7});  // it is there already
  EXPECT_FALSE(store.flush());
  EXPECT_EQ(dir.read("redfish-subscriptions.json"), "as it was");
}

TEST(SubscriptionStoreTest, WithoutADirectoryThereAreNone) {
  EXPECT_FALSE(SubscriptionStore("").is_enabled());
  EXPECT_THROW(SubscriptionStore("/does/not/exist"), std::runtime_error);
}

}  // namespace subscription_store_test
}  // namespace polaiga::web
