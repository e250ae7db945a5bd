// The active alarms in pages. An alarm stays in its page until it is over, so a change rewrites that page and no other.
//
// The pages are sent in rounds: first those that have changed, then the index, which names the number of each page,
// then the empty pages, which are removed. The picture must not change during a round. So whoever finds in every page
// the number that the index has for it has the picture at the index's number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <vector>

#include "broker/link.h"
#include "messages/payloads.h"
#include "messages/topics.h"
#include "model/alarm_profile.h"
#include "model/change.h"
#include "picture/output_alarm.h"

namespace polaiga::mqtt {

class AlarmPages {
 public:
  // A page is filled up to this, so that its alarms may grow a little where they are.
  static constexpr std::size_t kFilledUpTo = kMostPayloadBytes - std::size_t{4} * 1024;

  // The index of so many still fits into a message. Alarms beyond are left out.
  static constexpr std::size_t kMostPages = 1500;

  // With `is_told` false no alarm is told, and what the broker has of an earlier run is removed, the index included.
  AlarmPages(Origin origin, const Topics& topics, bool is_told = true)
      : origin_(std::move(origin)),
        topics_(topics),
        is_told_(is_told),
        must_take_all_(is_told),
        must_send_index_(is_told) {}

  // Every alarm may be another one.
  void take_all();
  // These may have changed, come or gone.
  void take(std::span<const engine::ChangeNumber> touched);
  // The broker may have forgotten what it was sent, and a round may have been cut off.
  void send_all_again();
  // The broker has an index with these pages, ascending; those that are not used any more are removed.
  void remove_unused(std::span<const std::size_t> kept);

  // How many alarms were placed in pages.
  std::size_t placed() const { return page_of_.size(); }

  bool has_changed() const { return must_take_all_ || !touched_.empty() || must_send_index_ || !unused_.empty(); }

  // Begins a round.
  void begin_round(const Picture& picture);
  // The next message of the round; nothing: it was the last one.
  std::optional<Message> next(const Picture& picture);

 private:
  struct Page {
    std::map<engine::ChangeNumber, std::uint32_t> alarms;  // with their bytes
    std::size_t bytes = kPageBytes;
    engine::ChangeNumber number = 0;  // that it was sent with
  };

  void place(engine::ChangeNumber alarm, std::size_t bytes);
  void take_out(engine::ChangeNumber alarm);
  void write_anew(std::size_t page);
  void place_all(const Picture& picture);
  Message index(const Picture& picture) const;

  Origin origin_;
  const Topics& topics_;
  bool is_told_;
  std::vector<Page> pages_;
  std::map<engine::ChangeNumber, std::size_t> page_of_;
  std::set<engine::ChangeNumber> touched_;
  bool must_take_all_;
  bool must_send_index_;
  std::set<std::size_t> changed_;  // pages with alarms that are to be sent
  std::set<std::size_t> unused_;   // pages that the broker may have, and that are to be removed
  std::size_t first_with_room_ = 0;
  // The round.
  std::deque<std::size_t> to_send_;
  std::vector<std::size_t> to_remove_;
  std::size_t removed_ = 0;  // of these
  bool must_end_with_index_ = false;
};

}  // namespace polaiga::mqtt
