// Takes the past out of a ledger, the oldest inputs first, and gives the space
// back. It works in small steps, so that no batch waits long for it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "filter/filter_state.h"
#include "ledger/retention.h"
#include "ledger/tables.h"

namespace polaiga::engine {

class Pruner {
 public:
  // `most_pages` is the most that the database's file may have; 0 sets no limit.
  // Throws SqlError and LedgerError.
  Pruner(Database& db, const Retention& retention, std::int64_t most_pages);

  // What came last.
  struct Position {
    Sequence last_sequence = 0;
    ChangeNumber last_change = 0;
    Moment arrived = 0;
    std::int64_t age = 0;
  };

  // Takes out what is past the retention, as far as one batch of so many inputs
  // allows; answers whether there is more to take out. Throws SqlError.
  bool prune(const Position& now, std::size_t inputs);

  // Takes out so much that there is room for `pages` pages, whatever it takes.
  // Answers whether it could.
  bool make_room(const Position& now, std::int64_t pages);

  // Whether what is needed alone takes more than the limit.
  bool is_too_full() const { return is_too_full_; }

  const LedgerRow& watermark() const { return watermark_; }
  std::int64_t pages();       // of the file
  std::int64_t used_pages();  // the same without those that are free

  // What is in the ledger now.
  void filter_state_changed(const std::map<Slot, std::vector<Sequence>>& changed);
  void cursors_changed();

 private:
  struct Statements {
    explicit Statements(const Database& db);
    Statement pages;
    Statement free_pages;
    Statement events;
    Statement changes;
    Statement next_change;
    Statement drop_event;
    Statement drop_change;
    Statement drop_fault;
    Statement fault;
    Statement drop_step;
    Statement drop_steps;
    Statement drop_alarm;
    Statement drop_alarm_actions;
    Statement drop_actions;
    Statement drop_shown_again;
    Statement needed;
    Statement era_of;
    Statement next_era;
    Statement standing;
    Statement drop_standing;
    Statement drop_era_standing;
    Insert<StandingRow> add_standing;
    Statement move_watermark;
    Statement survivors;
    Statement said;
    Statement epoch_of;
    Statement next_epoch;
    Statement forms;
    Statement subjects;
    Statement drop_form;
    Statement drop_subject;
    Statement drop_era;
    Statement least_cursor;
  };

  bool is_past(std::int64_t parts);
  static Sequence last_prunable(const Position& now);
  Sequence through_count(const Position& now, std::size_t inputs) const;
  Sequence through_age(const Position& now, std::int64_t most);
  Sequence held_by_cursors(const Position& now);
  Sequence base_era();
  std::int64_t part(Sequence last) const;
  void step(Sequence through, std::int64_t most);
  ChangeNumber drop_changes(const std::vector<EventRow>& events, Sequence through, Sequence era, bool era_goes,
                            std::set<Sequence>& left);
  std::int64_t drop_unneeded(Sequence from, Sequence end, Sequence base);
  std::optional<StandingRow> standing_of(Sequence era, ChangeNumber fault);
  void drop_ended(const ChangeRow& change, std::set<Sequence>& left);
  bool is_needed(const EventRow& event, Sequence base);
  std::int64_t sweep(Sequence era, Sequence end, Sequence base);
  std::int64_t sweep_epoch(Sequence epoch, Sequence end);
  static void drop_others(Statement& rows, Statement& drop, const std::unordered_set<Sequence>& kept);
  bool sweep_next();
  bool give_back();

  Database& db_;
  Retention retention_;
  std::int64_t most_pages_;
  Statements sql_;
  LedgerRow watermark_;
  std::map<Slot, std::vector<Sequence>> filter_state_;
  std::unordered_set<Sequence> remembered_;  // the inputs in it, made anew when it changed
  bool remembered_is_old_ = true;
  std::optional<ChangeNumber> least_cursor_;
  Sequence swept_ = 0;       // the era that was swept last
  Sequence sweep_from_ = 0;  // the next is swept when the watermark is here
  bool is_too_full_ = false;
  bool has_former_ids_ = false;
  bool dropped_alarm_actions_ = false;  // actions may be needed no more
};

}  // namespace polaiga::engine
