// What the ledger says now, and each change as it comes. A thread of its own keeps it up to date.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ledger/change_feed.h"
#include "ledger/reader.h"
#include "live/notifier.h"

namespace polaiga::web {

struct View {
  engine::Overview of;
  std::uint64_t version = 0;          // grows with each view, also when something changes that makes no change
  std::vector<std::string> left_out;  // damaged rows, a sentence each
};

// A change as it is sent to whoever follows.
struct LiveChange {
  engine::ChangeNumber number = 0;
  std::shared_ptr<const std::string> json;  // as `polaiga tail --json` prints it, without the end of the line
};

struct LiveChanges {
  std::string ledger_id;
  std::vector<LiveChange> changes;
  engine::ChangeNumber through = 0;  // the number to ask for next
  // Changes that are not there any more; who follows has to begin anew with what is active now.
  std::optional<engine::Feed::Gap> gap;
};

class LiveLedger {
 public:
  // The ledger need not be there yet. `tell` is told when it cannot be read, and when it can again.
  LiveLedger(std::string path, std::function<void(const std::string&)> tell);
  ~LiveLedger();
  LiveLedger(const LiveLedger&) = delete;
  LiveLedger& operator=(const LiveLedger&) = delete;

  // Null: the ledger could not be read yet.
  std::shared_ptr<const View> view() const;

  // Why the ledger cannot be read at the moment; nothing: it can.
  std::optional<std::string> problem() const;

  // The changes after `number`, at most `most`, without those that are folded because a fault is chattering. Those that
  // came last are in memory; others are read from the ledger. Throws LedgerError.
  LiveChanges after(engine::ChangeNumber number, std::size_t most);

  // `call` is called by the thread of this object when there is a new view, when the ledger cannot be read any more,
  // and when it can be read again.
  void on_change(std::function<void()> call) { changes_.set(std::move(call)); }

 private:
  void run();
  void open();
  void read_changes();
  std::shared_ptr<const View> read_view();
  void show(std::shared_ptr<const View> view);
  void fail(const std::string& problem);

  std::string path_;
  std::function<void(const std::string&)> tell_;

  mutable std::mutex mutex_;
  std::condition_variable over_;
  std::shared_ptr<const View> view_;
  std::optional<std::string> problem_;
  std::string recent_id_;                  // of the ledger of the recent changes
  std::deque<LiveChange> recent_;          // the latest changes
  engine::ChangeNumber recent_after_ = 0;  // before the first of them
  engine::ChangeNumber read_ = 0;          // up to which they were read
  bool is_over_ = false;

  // Of the thread alone.
  std::optional<engine::ChangeFeed> feed_;
  std::optional<engine::LedgerReader> reader_;
  std::uint64_t version_ = 0;

  std::mutex old_mutex_;
  std::optional<engine::ChangeFeed> old_;  // for changes that are not in memory any more

  Notifier changes_;

  std::thread thread_;  // begins when all else is there
};

}  // namespace polaiga::web
