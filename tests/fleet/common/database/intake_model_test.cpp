// Several collectors that take the same messages at once, in any order.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <random>
#include <thread>

#include "database/intake.h"
#include "state/controller_state.h"
#include "support/sent.h"
#include "support/test_postgres.h"

namespace polaiga::fleet {
namespace intake_model_test {

using engine::ChangeKind;
using Random = std::mt19937;
using namespace sent;

constexpr int kControllers = 6;
constexpr ChangeNumber kChanges = 200;  // of each controller
constexpr std::size_t kLatest = 30;     // of the changes that a batch may have

std::size_t below(std::size_t end, Random& random) {
  return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
}

// Changes that a controller may really make: alarms are raised, refreshed, acknowledged and cleared.
std::vector<ChangeMessage> make_changes(Random& random) {
  std::vector<ChangeMessage> changes;
  std::vector<ChangeNumber> active;
  for (ChangeNumber number = 1; number <= kChanges; ++number) {
    const std::size_t what = below(6, random);
    if (active.empty() || what < 2) {
      active.push_back(number);
      changes.push_back(raised(number));
      continue;
    }
    const auto alarm = active.begin() + static_cast<std::ptrdiff_t>(below(active.size(), random));
    if (what == 2) {
      changes.push_back(cleared(number, *alarm));
      active.erase(alarm);
    } else {
      changes.push_back(change(number, what == 3 ? ChangeKind::kAcknowledged : ChangeKind::kRefreshed, *alarm));
    }
  }
  return changes;
}

std::string controller_name(std::size_t number) { return "rack-" + std::to_string(number); }

// Takes random batches of the messages until all are in the database.
void take_at_random(const std::string& url, const std::vector<std::vector<ChangeMessage>>& sent, std::uint32_t seed,
                    std::atomic<std::uint64_t>& changes) {
  Random random(seed);
  Database database(url, "intake_model_test");
  Intake intake(database);
  std::vector<ChangeNumber> through(sent.size(), 0);  // by the acknowledgements
  while (std::ranges::any_of(through, [](ChangeNumber number) { return number < kChanges; })) {
    std::vector<Received> batch;
    for (std::size_t i = below(40, random); i < 40; ++i) {
      const std::size_t controller = below(sent.size(), random);
      // From a few before those that are wanted, up to some that are early.
      const auto first = static_cast<std::size_t>(std::max<ChangeNumber>(0, through[controller] - 5));
      const std::size_t end = std::min(first + kLatest, static_cast<std::size_t>(kChanges));
      const std::size_t from = first + below(end - first, random);
      for (std::size_t n = from; n < std::min(end, from + 1 + below(8, random)); ++n) {
        batch.push_back({sender(controller_name(controller)), sent[controller][n]});
      }
    }
    const Taken taken = intake.take(batch);
    changes += taken.changes;
    for (const Answer& answer : taken.answers) {
      if (answer.kind != Kind::kAck) continue;
      const auto controller = static_cast<std::size_t>(std::stoi(answer.sender.controller.substr(5)));
      const std::size_t at = answer.payload.find("\"through\":") + 10;
      through[controller] = std::max(through[controller], ChangeNumber{std::stoll(answer.payload.substr(at))});
    }
  }
}

// What the alarms are after all changes, taken one after the other.
std::string fold(const std::vector<std::vector<ChangeMessage>>& sent) {
  std::map<std::pair<std::string, ChangeNumber>, AlarmState> alarms;
  for (std::size_t controller = 0; controller < sent.size(); ++controller) {
    for (const ChangeMessage& change : sent[controller]) {
      AlarmState& alarm = alarms[{controller_name(controller), change.alarm}];
      alarm.number = change.alarm;
      apply(change, alarm);
    }
  }
  std::string text;
  for (const auto& [name, alarm] : alarms) {
    text += name.first + "|" + std::to_string(name.second) + "|" + std::to_string(alarm.last_change) + "|" +
            std::to_string(alarm.count) + "|" + (alarm.is_acknowledged ? "t" : "f") + "|" + alarm.end + "\n";
  }
  return text;
}

TEST(IntakeModel, EachChangeIsTakenOnceByWhomever) {
  Random random(20260101);
  TestDatabase test;
  std::vector<std::vector<ChangeMessage>> sent;
  for (int i = 0; i < kControllers; ++i) sent.push_back(make_changes(random));
  std::atomic<std::uint64_t> changes = 0;
  std::vector<std::thread> threads;
  for (std::uint32_t seed = 1; seed <= 3; ++seed) {
    threads.emplace_back([&, seed] { take_at_random(test.url("polaiga_collector"), sent, seed, changes); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(changes, kControllers * kChanges);
  EXPECT_EQ(test.sql("select count(*), count(distinct (ledger_no, number)), min(number), max(number) from change"),
            "1200|1200|1|200\n");
  EXPECT_EQ(test.sql("select c.name, a.number, a.last_change, a.count, a.is_acknowledged, a.ended from alarm a join "
                     "controller c using (controller_id) order by c.name, a.number"),
            fold(sent));
}

}  // namespace intake_model_test
}  // namespace polaiga::fleet
