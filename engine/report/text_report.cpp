#include "report/text_report.h"

#include <algorithm>

#include "base/printable.h"
#include "model/dictionary.h"
#include "report/shown.h"

namespace polaiga::engine {
namespace {

constexpr std::size_t kTimeWidth = 20;
constexpr std::size_t kCodeWidth = 5;

std::string consequence(const Reported& reported) {
  std::string tail = reported.outcome.superseded ? "supersedes " + code_text(reported.record.clear_code) : "";
  switch (reported.outcome.change) {
    case Change::kRaised:
      return tail;
    case Change::kRefreshed:
      return tail.empty() ? "still active" : "still active, " + tail;
    case Change::kCleared:
      return std::string("clears ") + reported.record.code_text;
    case Change::kAlreadyClear:
      return "was not active";
  }
  return tail;
}

std::string count(std::uint64_t number, std::string_view what) {
  return std::to_string(number) + " " + std::string(what);
}

}  // namespace

std::string TextReport::record(const Reported& reported) const {
  constexpr std::size_t kUsual = 256;
  const fe_fault_record& record = reported.record;
  std::string line;
  line.reserve(kUsual);
  add_padded(line, reported.time ? format_moment(*reported.time) : record.created, kTimeWidth);
  line += kGap;
  add_shown(line, severity_of(record), coloured_);
  line += kGap;
  add_padded(line, record.code_text, kCodeWidth);
  line += kGap;
  add_printable(line, record.dn);
  line += kGap;
  add_description(line, record.descr);
  if (const std::string what = consequence(reported); !what.empty()) line.append("  (").append(what).append(")");
  line += '\n';
  return line;
}

std::string TextReport::summary(const ActiveFaults& faults, const LineCounts& counts) const {
  const auto active = faults.in_order();
  std::string text = "\n";
  text += active.empty() ? "No faults are active.\n" : plural(active.size(), "active fault") + ":\n";
  std::size_t dn_width = 0;
  for (const ActiveFault* fault : active) dn_width = std::max(dn_width, printable(fault->record.dn).size());
  for (const ActiveFault* fault : active) {
    const fe_fault_record& record = fault->record;
    text += kGap;
    text += padded(format_moment(fault->since), kTimeWidth);
    text += kGap;
    text += shown(severity_of(record), coloured_);
    text += kGap;
    text += padded(record.code_text, kCodeWidth);
    text += kGap;
    text += padded(printable(record.dn), dn_width);
    text += kGap;
    text += shown_description(record.descr);
    text += '\n';
  }
  const FaultCounts& changes = faults.counts();
  text += '\n';
  text += plural(counts.events, "event") + ": " + count(changes.raised, "raised") + ", " +
          count(changes.refreshed, "refreshed") + ", " + count(changes.cleared, "cleared") + ", " +
          count(changes.already_clear, "already clear") + ", " + count(counts.of_no_interest, "of no interest") + "\n" +
          plural(changes.superseded, "fault") + " superseded, " + plural(counts.bad_lines, "bad line") + "\n";
  return text;
}

}  // namespace polaiga::engine
