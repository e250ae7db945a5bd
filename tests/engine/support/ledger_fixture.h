// What the tests of those who read a ledger share: an engine that writes one.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine::test {

class LedgerFixture : public testing::Test {
 protected:
  // Begins the ledger, or goes on with it as after a restart.
  void open(const Retention& retention) {
    engine_.reset();
    engine_.emplace(path_, retention);
  }

  TempDir dir_;
  const std::string path_ = dir_.file("ledger.db");
  std::optional<LedgerWithAlarms> engine_;
};

}  // namespace polaiga::engine::test
