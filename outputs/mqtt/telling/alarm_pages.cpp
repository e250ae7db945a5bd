#include "telling/alarm_pages.h"

#include <algorithm>
#include <utility>

namespace polaiga::mqtt {

using engine::ChangeNumber;

void AlarmPages::take_all() {
  must_take_all_ = is_told_;
  touched_.clear();
}

void AlarmPages::take(std::span<const ChangeNumber> touched) {
  if (is_told_ && !must_take_all_) touched_.insert(touched.begin(), touched.end());
}

void AlarmPages::send_all_again() {
  for (std::size_t i = 0; i < pages_.size(); ++i) {
    if (!pages_[i].alarms.empty()) changed_.insert(i);
  }
  must_send_index_ = is_told_;
  if (const auto again = std::exchange(to_remove_, {}); !again.empty()) remove_unused(again);
}

void AlarmPages::remove_unused(std::span<const std::size_t> kept) {
  for (const std::size_t page : kept) {
    const bool is_used = page < pages_.size() && !pages_[page].alarms.empty();
    if (!is_used) unused_.insert(page);
  }
  if (!is_told_) must_send_index_ = true;
}

void AlarmPages::write_anew(std::size_t page) {
  must_send_index_ = true;
  if (pages_[page].alarms.empty()) {
    changed_.erase(page);
    unused_.insert(page);
  } else {
    unused_.erase(page);
    changed_.insert(page);
  }
}

void AlarmPages::take_out(ChangeNumber alarm) {
  const auto found = page_of_.find(alarm);
  if (found == page_of_.end()) return;
  const std::size_t at = found->second;
  page_of_.erase(found);
  Page& page = pages_[at];
  const auto bytes = page.alarms.extract(alarm);
  page.bytes -= bytes.mapped();
  first_with_room_ = std::min(first_with_room_, at);
  write_anew(at);
}

void AlarmPages::place(ChangeNumber alarm, std::size_t bytes) {
  if (const auto found = page_of_.find(alarm); found != page_of_.end()) {
    Page& page = pages_[found->second];
    std::uint32_t& before = page.alarms.at(alarm);
    if (page.bytes - before + bytes <= kMostPayloadBytes) {
      page.bytes += bytes - before;
      before = static_cast<std::uint32_t>(bytes);
      write_anew(found->second);
      return;
    }
    take_out(alarm);
  }
  std::size_t at = first_with_room_;
  bool is_full_so_far = true;
  for (; at < pages_.size() && pages_[at].bytes + bytes > kFilledUpTo; ++at) {
    // A page that has no room for the smallest of alarms is not looked at again until one of its alarms is over.
    is_full_so_far = is_full_so_far && pages_[at].bytes + kPageBytes > kFilledUpTo;
    if (is_full_so_far) first_with_room_ = at + 1;
  }
  if (at == kMostPages) return;
  if (at == pages_.size()) pages_.emplace_back();
  pages_[at].alarms.emplace(alarm, static_cast<std::uint32_t>(bytes));
  pages_[at].bytes += bytes;
  page_of_.emplace(alarm, at);
  write_anew(at);
}

void AlarmPages::place_all(const Picture& picture) {
  for (std::size_t i = 0; i < pages_.size(); ++i) {
    if (!pages_[i].alarms.empty()) unused_.insert(i);
  }
  pages_.clear();
  page_of_.clear();
  changed_.clear();
  first_with_room_ = 0;
  for (const auto& [number, alarm] : picture.alarms) {
    place(number, alarm_bytes(alarm, picture.ledger_id, picture.profile));
  }
  must_send_index_ = true;
}

void AlarmPages::begin_round(const Picture& picture) {
  if (std::exchange(must_take_all_, false)) place_all(picture);
  for (const ChangeNumber number : std::exchange(touched_, {})) {
    const auto found = picture.alarms.find(number);
    if (found == picture.alarms.end()) {
      take_out(number);
    } else {
      place(number, alarm_bytes(found->second, picture.ledger_id, picture.profile));
    }
  }
  const auto changed = std::exchange(changed_, {});
  to_send_.assign(changed.begin(), changed.end());
  const auto unused = std::exchange(unused_, {});
  to_remove_.clear();
  removed_ = 0;
  for (const std::size_t page : unused) {
    const bool is_used = page < pages_.size() && !pages_[page].alarms.empty();
    if (!is_used) to_remove_.push_back(page);
  }
  must_end_with_index_ = std::exchange(must_send_index_, false);
}

Message AlarmPages::index(const Picture& picture) const {
  if (!is_told_) return {.topic = topics_.alarms, .payload = "", .is_retained = true};
  std::vector<PageNumber> pages;
  for (std::size_t i = 0; i < pages_.size(); ++i) {
    if (!pages_[i].alarms.empty()) pages.push_back({.page = i, .number = pages_[i].number});
  }
  return {.topic = topics_.alarms,
          .payload = index_payload(origin_, picture.ledger_id, picture.number, picture.alarms.size(), pages),
          .is_retained = true};
}

std::optional<Message> AlarmPages::next(const Picture& picture) {
  if (!to_send_.empty()) {
    const std::size_t at = to_send_.front();
    to_send_.pop_front();
    Page& page = pages_[at];
    page.number = picture.number;
    std::vector<const output::OutputAlarm*> alarms;
    for (const auto& [number, bytes] : page.alarms) alarms.push_back(&picture.alarms.at(number));
    return Message{.topic = topics_.page(at),
                   .payload = page_payload(picture.ledger_id, picture.number, at, alarms, picture.profile),
                   .is_retained = true};
  }
  if (is_told_ && std::exchange(must_end_with_index_, false)) return index(picture);
  if (removed_ < to_remove_.size()) {
    return Message{.topic = topics_.page(to_remove_[removed_++]), .payload = "", .is_retained = true};
  }
  // An index that is removed goes last: as long as it is there, another start finds the pages by it.
  if (std::exchange(must_end_with_index_, false)) return index(picture);
  return std::nullopt;
}

}  // namespace polaiga::mqtt
