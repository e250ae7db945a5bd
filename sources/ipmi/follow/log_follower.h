// Reads the event log of a controller on from where it was read to.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "follow/state.h"
#include "standard/sel_record.h"

namespace polaiga::ipmi {

// A record that is read for the first time, and its epoch.
struct NewRecord {
  SelRecord record;
  std::uint64_t epoch = 0;
};

struct LogBatch {
  std::vector<NewRecord> records;
  bool has_more = false;       // there are more to be read at once
  bool has_gap = false;        // the place in the log was lost, so records may have been missed
  bool has_restarted = false;  // ids begin again: the controller has started again, or the log is a ring
};

class LogFollower {
 public:
  using Tell = std::function<void(const std::string&)>;
  using NewEpoch = std::function<std::uint64_t()>;  // never 0

  // The position must outlive this.
  LogFollower(Position& position, NewEpoch new_epoch, Tell tell)
      : position_(position), new_epoch_(std::move(new_epoch)), tell_(std::move(tell)) {}

  // Begins with the first record of the log, or behind its last one. If the state has a place in the log already, it is
  // kept and only gets a new epoch.
  void begin(Controller& controller, bool with_history);
  bool has_begun() const { return position_.epoch != 0 && !position_.wants_new_epoch; }

  // Another controller may be there: its log is read from the first record, unless the cursor is in it.
  void distrust() { is_distrusted_ = true; }

  // Reads at most so many records. `info` is what the controller has just told of its log. Throws ControllerGone, and
  // then the position is as it was.
  LogBatch read(Controller& controller, const LogInfo& info, std::size_t most);

 private:
  struct Place {
    Position position;
    std::uint16_t next = Controller::kFirstRecord;
  };

  // Where to read on; sets what it finds out on the way in the batch.
  Place find_place(Controller& controller, const LogInfo& info, LogBatch& batch);
  static std::optional<Place> after_cursor(Controller& controller, const Position& position);
  static std::optional<Place> find_again(Controller& controller, const Position& position);
  bool take(Controller& controller, Place& place, LogBatch& batch);
  std::optional<LogEntry> entry_zero(Controller& controller, const SelBytes& cursor);
  void tell_loop(const Position& position, std::uint16_t to);
  void end_pass() { read_ids_.reset(); }
  void tell_once(bool& is_told, const std::string& text);

  Position& position_;
  NewEpoch new_epoch_;
  Tell tell_;
  bool is_distrusted_ = false;
  // The records of the present pass, from the cursor to the log's end. A pass may take several calls of read().
  std::bitset<0x10000> read_ids_;
  bool loop_told_ = false;
  bool break_told_ = false;
  bool zero_told_ = false;
};

}  // namespace polaiga::ipmi
