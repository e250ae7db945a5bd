#include "app/catalog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <semaphore>

#include "app/program.h"

namespace polaiga::web {
namespace catalog_test {

TEST(CatalogTest, ItIsMadeBeforeAnybodyAsks) {
  std::promise<bool> begun;
  Catalog catalog([&](bool is_awaited, const std::stop_token& /*stop*/) {
    begun.set_value(is_awaited);
    return std::string("{}\n");
  });
  EXPECT_FALSE(begun.get_future().get()) << "nobody has asked yet";
  EXPECT_EQ(*catalog.lines(), "{}\n");
  EXPECT_EQ(catalog.lines(), catalog.lines()) << "it is made once";
}

TEST(CatalogTest, ThePauseEndsWhenSomebodyAsks) {
  std::promise<bool> begun;
  Catalog catalog(
      [&](bool is_awaited, const std::stop_token& /*stop*/) {
        begun.set_value(is_awaited);
        return std::string("{}\n");
      },
      std::chrono::hours(1));
  EXPECT_EQ(*catalog.lines(), "{}\n");
  EXPECT_TRUE(begun.get_future().get()) << "somebody waits for it";
}

TEST(CatalogTest, AfterThePauseItIsMadeThoughNobodyAsks) {
  std::promise<bool> begun;
  const Catalog catalog(
      [&](bool is_awaited, const std::stop_token& /*stop*/) {
        begun.set_value(is_awaited);
        return std::string("{}\n");
      },
      std::chrono::milliseconds(1));
  EXPECT_FALSE(begun.get_future().get()) << "nobody has asked yet";
}

TEST(CatalogTest, TheEndDoesNotWaitForThePause) {
  const auto begin = std::chrono::steady_clock::now();
  {
    const Catalog catalog([](bool, const std::stop_token&) { return std::string(); }, std::chrono::hours(1));
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::minutes(1));
}

TEST(CatalogTest, WhatFailedIsMadeAnewWhenItIsAskedFor) {
  std::atomic<int> times = 0;
  Catalog catalog([&](bool is_awaited, const std::stop_token& /*stop*/) -> std::string {
    EXPECT_EQ(is_awaited, times > 0);
    if (++times <= 2) throw ProgramFailed("polaiga cannot be run");
    return "{}\n";
  });
  int refused = 0;
  Body lines;
  while (!lines) {
    try {
      lines = catalog.lines();
    } catch (const ProgramFailed& failed) {
      EXPECT_STREQ(failed.what(), "polaiga cannot be run");
      ++refused;
    }
  }
  EXPECT_EQ(*lines, "{}\n");
  EXPECT_EQ(times, 3);
  EXPECT_GE(refused, 1);
}

TEST(CatalogTest, WhoWaitsForItDoesNotKeepAllThreadsBusy) {
  std::binary_semaphore go(0);
  Catalog catalog([&](bool /*is_awaited*/, const std::stop_token& /*stop*/) {
    go.acquire();
    return std::string("{}\n");
  });
  std::atomic<int> refused = 0;
  std::vector<std::jthread> readers;
  std::atomic<int> told = 0;
  constexpr int kReaders = 6;
  constexpr int kMayWait = 2;
  for (int i = 0; i < kReaders; ++i) {
    readers.emplace_back([&] {
      try {
        told += *catalog.lines() == "{}\n" ? 1 : 0;
      } catch (const ProgramFailed&) {
        if (++refused == kReaders - kMayWait) go.release();
      }
    });
  }
  readers.clear();  // waits for them
  EXPECT_EQ(refused, kReaders - kMayWait);
  EXPECT_EQ(told, kMayWait);
}

TEST(CatalogTest, TheEndDoesNotWaitForIt) {
  std::promise<void> begun;
  std::atomic<int> status = 0;
  {
    const Catalog catalog([&](bool /*is_awaited*/, std::stop_token stop) {
      begun.set_value();
      ProgramAnswer answer = run_program({"sleep", "1000"}, {.in_background = true, .stop = std::move(stop)});
      status = answer.status;
      return std::move(answer.output);
    });
    begun.get_future().wait();
  }
  EXPECT_EQ(status, -1) << "the program was killed";
}

TEST(CatalogTest, WhoWaitsForItIsAnsweredWhenItIsStopped) {
  std::promise<void> begun;
  Catalog catalog([&](bool /*is_awaited*/, std::stop_token stop) -> std::string {
    begun.set_value();
    if (run_program({"sleep", "1000"}, {.in_background = true, .stop = std::move(stop)}).status != 0) {
      throw ProgramFailed("it was stopped");
    }
    return "{}\n";
  });
  begun.get_future().wait();
  auto reader = std::async(std::launch::async, [&] { return catalog.lines(); });
  catalog.stop();
  EXPECT_THROW(reader.get(), ProgramFailed);
}

}  // namespace catalog_test
}  // namespace polaiga::web
