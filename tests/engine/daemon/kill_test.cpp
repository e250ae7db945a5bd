// An engine that is killed at any moment loses no event that it acknowledged,
// applies none twice, and goes on as if nothing had happened.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <thread>

#include "ledger/sqlite.h"
#include "support/program.h"

namespace polaiga::engine {
namespace kill_test {

using namespace std::chrono_literals;
using nlohmann::json;

constexpr std::size_t kMostInARun = 120;
constexpr std::size_t kMostAtOnce = 1000;
#ifdef POLAIGA_SHORT_WALK
constexpr int kDays = 4;
#else
constexpr int kDays = 12;
#endif

// The day's events over and over, each with a name of its own.
std::vector<std::string> named_events() {
  std::vector<std::string> lines;
  for (int day = 0; day < kDays; ++day) {
    std::ifstream file(POLAIGA_DAY);
    for (std::string line; std::getline(file, line);) {
      line.insert(1, "\"id\":\"event " + std::to_string(lines.size()) + "\",");
      lines.push_back(line + "\n");
    }
  }
  return lines;
}

class Killing : public testing::Test {
 protected:
  Killing() { ::signal(SIGPIPE, SIG_IGN); }

  // Runs an engine on the events from `first` on, and kills it when it has
  // acknowledged some of them, or lets it come to the end. Answers how many.
  std::size_t run(std::size_t first, std::size_t enough) {
    std::filesystem::remove(shell_.dir().file("out"));
    test::Child engine("\"$POLAIGA\" run --ledger " + shell_.dir().file("ledger.db"), shell_.dir());
    std::thread feed([&, pauses = std::mt19937(random_())]() mutable {
      try {
        // More than it will take, now and then. But not all: a busy machine may let it take all of them before it
        // kills.
        const std::size_t more = pauses() % 4 == 0 ? kMostAtOnce : pauses() % kMostInARun;
        const std::size_t end = std::min(events_.size(), first + enough + more);
        for (std::size_t i = first; i < end; ++i) {
          engine.send(events_[i]);
          if (pauses() % 20 == 0) std::this_thread::sleep_for(std::chrono::microseconds(pauses() % 1000));
        }
      } catch (const std::exception&) {  // it was killed
      }
    });
    while (acknowledged() < enough && first + acknowledged() < events_.size() && !engine.has_ended()) {
      std::this_thread::sleep_for(200us);
    }
    if (random_() % 2 == 0) std::this_thread::sleep_for(std::chrono::microseconds(random_() % 3000));
    engine.kill(SIGKILL);
    feed.join();
    const test::Ended got = engine.wait();
    EXPECT_EQ(got.status, 128 + SIGKILL) << got.err;
    check_answers(first);
    return acknowledged();
  }

  std::size_t acknowledged() const {
    const std::string answers = shell_.dir().read("out");
    return static_cast<std::size_t>(std::ranges::count(answers, '\n'));
  }

  // The events are numbered in their order, whether they were new or not.
  void check_answers(std::size_t first) {
    std::istringstream answers(shell_.dir().read("out"));
    for (std::string line; std::getline(answers, line) && !answers.eof();) {
      const json answer = json::parse(line);
      ASSERT_EQ(answer.at("seq").get<std::size_t>(), ++first);
      duplicates_ += answer.contains("duplicate") ? 1 : 0;
    }
  }

  test::Shell shell_;
  std::vector<std::string> events_ = named_events();
  std::mt19937 random_{20261120};
  int duplicates_ = 0;
};

// Of the ledger, and of a replay of the same events at once.
std::vector<std::string> records_of(const std::string& ledger) {
  const Database db(ledger, Access::kRead);
  Statement rows(
      db,
      "SELECT change, fault_dn, descr, disposition, cause_id, clear_cause_id, clear_cause, code, clear_code, "
      "fault_key FROM records ORDER BY seq");
  std::vector<std::string> records;
  while (rows.step()) {
    std::string text;
    for (int column = 0; column < 10; ++column) text.append(rows.text(column)).append("|");
    records.push_back(text);
  }
  return records;
}

std::vector<std::string> replayed_records(const test::Shell& shell, const std::vector<std::string>& events) {
  std::string input;
  for (const std::string& event : events) input += event;
  std::istringstream output(shell.run("\"$POLAIGA\" replay --json -", input).out);
  std::vector<std::string> records;
  for (std::string line; std::getline(output, line);) {
    const json told = json::parse(line);
    if (!told.contains("record")) continue;  // the summary, or an input without a record
    std::string text = told.at("change").get<std::string>() + "|";
    for (const char* name : {"fault_dn", "descr", "disposition", "cause_id", "clear_cause_id", "clear_cause", "code",
                             "clear_code", "fault_key"}) {
      const json& value = told.at("record").at(name);
      text += value.is_string() ? value.get<std::string>() : value.dump();
      text += "|";
    }
    records.push_back(text);
  }
  return records;
}

TEST_F(Killing, LosesNothingAndAppliesNothingTwice) {
  std::size_t done = 0;
  std::size_t kills = 0;
  while (done < events_.size()) {
    const std::size_t now = run(done, 1 + random_() % kMostInARun);
    ASSERT_GT(now, 0U);
    done += now;
    ++kills;
  }
  const std::string ledger = shell_.dir().file("ledger.db");
  const Database db(ledger, Access::kRead);
  Statement counted(db, "SELECT count(*), count(DISTINCT id), max(seq) FROM event");
  ASSERT_TRUE(counted.step());
  EXPECT_EQ(counted.number<std::size_t>(0), events_.size());
  EXPECT_EQ(counted.number<std::size_t>(1), events_.size());
  EXPECT_EQ(counted.number<std::size_t>(2), events_.size());
  Statement order(db, "SELECT count(*) FROM event WHERE id <> 'event ' || (seq - 1)");
  ASSERT_TRUE(order.step());
  EXPECT_EQ(order.integer(0), 0);
  EXPECT_EQ(records_of(ledger), replayed_records(shell_, events_));
  std::printf("%zu kills; %d events had been written but not acknowledged\n", kills, duplicates_);
}

}  // namespace kill_test
}  // namespace polaiga::engine
