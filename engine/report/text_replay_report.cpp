#include "report/text_replay_report.h"

#include <utility>

#include "base/printable.h"
#include "model/dictionary.h"
#include "model/record_text.h"
#include "report/change_text.h"
#include "report/shown.h"

namespace polaiga::engine {
namespace {

constexpr std::size_t kTimeWidth = 20;
constexpr std::size_t kCodeWidth = 5;

std::string count(std::uint64_t number, std::string_view what) {
  return std::to_string(number) + " " + std::string(what);
}

std::string counts_text(const LineCounts& lines, const AlarmCounts& changes) {
  return plural(lines.events, "event") + ": " + count(changes.raised, "raised") + ", " +
         count(changes.refreshed, "refreshed") + ", " + count(changes.partly_cleared, "partly cleared") + ", " +
         count(changes.cleared, "cleared") + ", " + count(changes.superseded, "superseded") + ", " +
         count(changes.withdrawn, "withdrawn") + ", " + count(changes.merged, "merged") + "\n" +
         count(changes.already_clear, "already clear") + ", " + count(changes.not_tracked, "not tracked") + ", " +
         count(lines.of_no_interest, "of no interest") + ", " + plural(lines.bad_lines, "bad line") + "\n";
}

// Of the fault that the record raised or refreshed, where the alarm profile has a say,
// too; else the record's own.
Severity severity_shown(const RecordedInput& input) {
  for (const Change& change : input.changes) {
    if (change.kind == ChangeKind::kRaised || change.kind == ChangeKind::kRefreshed) return change.after;
  }
  return severity_of(input.record);
}

}  // namespace

std::string TextReplayReport::input(const RecordedInput& input) const {
  return input.reported ? record_line(input) : withdrawal_lines(input);
}

std::string TextReplayReport::record_line(const RecordedInput& input) const {
  constexpr std::size_t kUsual = 256;
  const fe_fault_record& record = input.record;
  std::string line;
  line.reserve(kUsual);
  const auto& time = input.event.time;
  add_padded(line, time ? format_moment(*time) : printable(field_text(record.created)), kTimeWidth);
  line += kGap;
  add_shown(line, severity_shown(input), coloured_);
  line += kGap;
  add_padded(line, printable(field_text(record.code_text)), kCodeWidth);
  line += kGap;
  if (room_) {
    add_fitted(line,
               {.object = printable(field_text(record.dn)),
                .description = shown_description(field_text(record.descr)),
                .remark = consequence_text(input)},
               room_);
    return line;
  }
  // As add_fitted() has it, without copies: most replays are long, and not for a terminal.
  add_printable(line, field_text(record.dn));
  line += kGap;
  add_description(line, field_text(record.descr));
  line.append("  (").append(consequence_text(input)).append(")\n");
  return line;
}

// The filter reported nothing, but had faults withdrawn.
std::string TextReplayReport::withdrawal_lines(const RecordedInput& input) const {
  std::string lines;
  for (const Change& change : input.changes) {
    const auto [dn, code] = parts_of(change.fault_dn);
    std::string line;
    add_padded(line, format_moment(input.event.time.value_or(input.at)), kTimeWidth);
    line += kGap;
    add_shown(line, change.after, coloured_);
    line += kGap;
    add_padded(line, printable(code), kCodeWidth);
    line += kGap;
    add_fitted(line, {.object = printable(dn), .description = "", .remark = change_text(change)}, room_);
    lines += line;
  }
  return lines;
}

std::string TextReplayReport::summary(const Alarms& alarms, const KeptRecords& records,
                                      const LineCounts& counts) const {
  const auto active = alarms.in_order();
  std::string text = "\n";
  text += active.empty() ? "No faults are active.\n" : plural(active.size(), "active fault") + ":\n";
  Rows rows;
  for (const ActiveFault* fault : active) {
    const fe_fault_record& record = records.shown(*fault);
    std::string description = shown_description(field_text(record.descr));
    if (fault->reports.size() > 1) description += "  (" + std::to_string(fault->reports.size()) + " report it)";
    rows.push_back({"", format_moment(fault->since), shown(fault->severity, coloured_),
                    padded(printable(field_text(record.code_text)), kCodeWidth), printable(field_text(record.dn)),
                    std::move(description)});
  }
  constexpr std::size_t kObject = 4;
  constexpr std::size_t kDescription = 5;
  text += aligned(rows, {.room = room_, .giving_way = {{kDescription, 12}, {kObject, 12, true}, {kDescription, 4}}});
  return text + "\n" + counts_text(counts, alarms.counts());
}

}  // namespace polaiga::engine
