// How fast messages are taken into the fleet's database: fleet_database_bench. It starts a PostgreSQL of its own, which
// writes to the disk with each commit.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "database/intake.h"
#include "support/sent.h"
#include "support/test_postgres.h"

namespace {

using namespace polaiga::fleet;

constexpr std::size_t kControllers = 2000;
constexpr std::size_t kBatch = 500;
constexpr int kBatches = 80;
constexpr std::size_t kBodyBytes = 700;  // of a usual change

Sender sender_of(std::size_t number) {
  return sent::sender("rack-" + std::to_string(number), "site-" + std::to_string(number % 20));
}

// Of four changes one raises an alarm, two refresh it and the last one clears it.
ChangeMessage next_change(polaiga::engine::ChangeNumber number) {
  const auto alarm = number - (number - 1) % 4;
  ChangeMessage change = number == alarm       ? sent::raised(number)
                         : number == alarm + 3 ? sent::cleared(number, alarm)
                                               : sent::change(number, polaiga::engine::ChangeKind::kRefreshed, alarm);
  change.body.resize(kBodyBytes, ' ');
  return change;
}

// Controllers `first`, `first` + `step` and so on are this one's.
void take_all(const std::string& url, std::size_t first, std::size_t step, std::atomic<std::uint64_t>& taken) {
  Database database(url, "bench");
  Intake intake(database);
  std::mt19937 random(static_cast<std::uint32_t>(first));
  std::uniform_int_distribution<std::size_t> any(0, kControllers / step - 1);
  std::vector<polaiga::engine::ChangeNumber> numbers(kControllers, 0);
  for (int i = 0; i < kBatches; ++i) {
    std::vector<Received> batch;
    for (std::size_t n = 0; n < kBatch; ++n) {
      const std::size_t controller = any(random) * step + first;
      batch.push_back({sender_of(controller), next_change(++numbers[controller])});
    }
    taken += intake.take(batch).changes;
  }
}

void measure(std::size_t intakes) {
  TestDatabase test;
  const std::string url = test.url("polaiga_collector");
  {
    Database database(url, "bench");
    Intake intake(database);
    std::vector<Received> statuses;
    for (std::size_t i = 0; i < kControllers; ++i) statuses.push_back({sender_of(i), sent::online(0)});
    intake.take(statuses);
    test.sql("update ledger set is_list_wanted = false");
    test.sql("analyze");
  }
  std::atomic<std::uint64_t> taken = 0;
  const auto begin = std::chrono::steady_clock::now();
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < intakes; ++i) {
    threads.emplace_back([&url, &taken, i, intakes] { take_all(url, i, intakes, taken); });
  }
  for (std::thread& thread : threads) thread.join();
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
  std::printf("%zu at once: %llu changes of %zu controllers in batches of %zu: %.0f a second, %.1f ms a batch\n",
              intakes, static_cast<unsigned long long>(taken), kControllers, kBatch,
              static_cast<double>(taken) / took.count(), took.count() * 1000 / kBatches);
}

}  // namespace

int main() {
  {
    TestDatabase any;
    for (const char* const setting : {"fsync", "synchronous_commit", "full_page_writes", "autovacuum"}) {
      any.sql(std::string("alter system set ") + setting + " = on");
    }
    any.sql("select pg_reload_conf()");
  }
  for (const std::size_t intakes : {1, 2}) measure(intakes);
  return 0;
}
