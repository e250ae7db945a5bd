// Random inputs with restarts and kills between, against a model.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <random>
#include <string>

#include "core/recorder.h"
#include "support/manual_clock.h"
#include "support/temp_dir.h"

namespace polaiga::engine::test {

// A recorder with its ledger, and a model of them, which the test keeps up with every input. The clock is the test's.
template <class Model>
class RandomWalk : public ::testing::Test {
 protected:
  explicit RandomWalk(const Recorder::Options& options = {}) : options_(options) {}

  int pick(int least, int most) { return std::uniform_int_distribution<>(least, most)(random_); }

  // Begins a walk with a new ledger. The same seed makes the same walk.
  void begin(unsigned seed) {
    random_.seed(seed);
    model_ = committed_ = {};
    for (const auto& file : std::filesystem::directory_iterator(dir_.path())) std::filesystem::remove(file.path());
    start();
  }

  void stop() {
    recorder_.reset();
    ledger_.reset();
  }

  void commit() {
    recorder_->commit();
    committed_ = model_;
  }

  // A process that is killed loses what it has not committed.
  void restart(bool kill) {
    if (kill) {
      model_ = committed_;
    } else {
      commit();
    }
    stop();
    clock_.pass(pick(0, 30));
    start();
  }

 private:
  void start() {
    ledger_.emplace(path_, Retention{.events = 0, .days = 0, .bytes = 0}, clock_.wall());
    recorder_ = std::make_unique<Recorder>(options_, clock_, *ledger_);
    recorder_->use_tables(tables_, POLAIGA_TABLES_DIR);
  }

  TempDir dir_;
  Recorder::Options options_;
  HostTables tables_ = read_host_tables(POLAIGA_TABLES_DIR);
  std::mt19937 random_;
  std::optional<Ledger> ledger_;

 protected:
  std::string path_ = dir_.file("ledger.db");
  ManualClock clock_{1'800'000'000};
  std::unique_ptr<Recorder> recorder_;
  Model model_;
  Model committed_;
};

}  // namespace polaiga::engine::test
