#include "report/measures_forms.h"

#include <algorithm>
#include <array>
#include <span>
#include <vector>

#include "base/printable.h"
#include "base/text_width.h"
#include "report/json_forms.h"
#include "report/shown.h"

namespace polaiga::engine {
namespace {

constexpr std::size_t kBarWidth = 20;
constexpr std::size_t kShareBarWidth = 10;
constexpr std::size_t kMostListed = 10;  // in text
constexpr std::string_view kIndent = "  ";
constexpr Moment kMinute = 60;

// The worst severity comes first.
constexpr Severity kOfActive[] = {Severity::kCritical, Severity::kMajor, Severity::kMinor, Severity::kWarning,
                                  Severity::kIndeterminate};

std::uint64_t active_of(const Measures& measures, Severity severity) {
  return measures.active_by_severity.at(static_cast<std::size_t>(severity));
}

constexpr std::array kStates{OperatorState::kNone, OperatorState::kAcknowledged, OperatorState::kClosed,
                             OperatorState::kShelved, OperatorState::kUnshelved};

std::uint64_t active_of(const Measures& measures, OperatorState state) {
  return measures.active_by_state.at(static_cast<std::size_t>(state));
}

std::string indented(std::string_view text) { return std::string(kIndent).append(text); }

std::string with_tenth(std::uint64_t tenths) { return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10); }

std::uint64_t rounded_share(std::uint64_t part, std::uint64_t whole, std::uint64_t parts) {
  return whole == 0 ? 0 : (part * parts + whole / 2) / whole;
}

std::string cut_line(const std::string& line, Room room) { return (room ? cut_to_width(line, *room) : line) + "\n"; }

// As in "Floods: 2 (more than 10 new alarms in 10 minutes)".
std::string heading(const std::string& what, std::size_t count, const std::string& remark, Room room) {
  const std::string number = count == 0 ? "none" : std::to_string(count);
  return "\n" + cut_line(what + ": " + number + " (" + remark + ")", room);
}

std::string asked_for(const Measured& measured, Room room) {
  Rows rows{{"At", format_moment(measured.now)}, {"Since", format_moment(measured.since)}};
  if (!measured.under.empty()) rows.push_back({"Under", printable(measured.under)});
  constexpr std::size_t kWhat = 1;
  return aligned(rows, {.room = room, .giving_way = {{kWhat, 12, true}}});
}

std::string active_text(const Measures& measures, BarStyle style, Room room) {
  Rows rows{{"Active alarms", std::to_string(measures.active), ""}};
  std::uint64_t most = 0;
  for (const Severity severity : kOfActive) most = std::max(most, active_of(measures, severity));
  for (const Severity severity : kOfActive) {
    const std::uint64_t count = active_of(measures, severity);
    rows.push_back({indented(severity_word(severity)), std::to_string(count), bar(count, most, kBarWidth, style)});
  }
  for (const OperatorState state : kStates) {
    const std::uint64_t count = active_of(measures, state);
    if (state == OperatorState::kNone || count == 0) continue;
    rows.push_back({indented(operator_state_word(state)), std::to_string(count), bar(count, most, kBarWidth, style)});
  }
  constexpr std::size_t kBar = 2;
  return "\n" + aligned(rows, {.room = room, .giving_way = {{kBar, 0}}});
}

std::string new_text(const Measured& measured, BarStyle style, Room room) {
  struct Line {
    const char* time;
    std::uint64_t alarms;
    Moment seconds;
  };
  const Measures& measures = measured.measures;
  const std::array<Line, 4> lines{{{"last 10 minutes", measures.in_ten_minutes, kTenMinutes},
                                   {"last hour", measures.in_hour, kOneHour},
                                   {"last day", measures.in_day, kOneDay},
                                   {"whole time", measures.new_alarms, measured.now - measured.since}}};
  // In tenths of an alarm.
  const auto rate = [](const Line& line) {
    return rounded_share(line.alarms, static_cast<std::uint64_t>(std::max(line.seconds, kTenMinutes)),
                         static_cast<std::uint64_t>(10 * kTenMinutes));
  };
  const std::uint64_t most = rate(*std::ranges::max_element(lines, {}, rate));
  Rows rows{{"New alarms", "ALARMS", "IN 10 MIN", ""}};
  for (const Line& line : lines) {
    rows.push_back({indented(line.time), std::to_string(line.alarms), with_tenth(rate(line)),
                    bar(rate(line), most, kBarWidth, style)});
  }
  constexpr std::size_t kBar = 3;
  return "\n" + aligned(rows, {.room = room, .giving_way = {{kBar, 0}}});
}

std::string mean_text(const MeanTime& mean) {
  return mean.alarms == 0 ? "unknown" : duration_text(mean.seconds) + " (of " + plural(mean.alarms, "alarm") + ")";
}

std::string means_text(const Measures& measures, Room room) {
  const Rows rows{{indented("to acknowledge"), mean_text(measures.to_acknowledge)},
                  {indented("to clear"), mean_text(measures.to_clear)}};
  constexpr std::size_t kMean = 1;
  return "\nMean time\n" + aligned(rows, {.room = room, .giving_way = {{kMean, 12}}});
}

std::string floods_text(const std::vector<Flood>& floods, BarStyle style, Room room) {
  std::string text = heading("Floods", floods.size(),
                             "more than " + std::to_string(kMostBeforeFlood) + " new alarms in 10 minutes", room);
  if (floods.empty()) return text;
  const std::size_t left_out = floods.size() - std::min(floods.size(), kMostListed);
  const std::uint64_t most = std::ranges::max_element(floods, {}, &Flood::alarms)->alarms;
  Rows rows{{indented("BEGAN"), "ENDED", "ALARMS", ""}};
  for (std::size_t i = left_out; i < floods.size(); ++i) {
    const Flood& flood = floods[i];
    rows.push_back({indented(format_moment(flood.began)), flood.ended ? format_moment(*flood.ended) : "goes on",
                    std::to_string(flood.alarms), bar(flood.alarms, most, kBarWidth, style)});
  }
  constexpr std::size_t kEnded = 1;
  constexpr std::size_t kBar = 3;
  text += aligned(rows, {.room = room, .giving_way = {{kBar, 0}, {kEnded, 0}}});
  if (left_out > 0) text += cut_line(indented("and " + std::to_string(left_out) + " before them"), room);
  return text;
}

std::string more_text(std::size_t count, Room room) {
  if (count <= kMostListed) return "";
  return cut_line(indented("and " + std::to_string(count - kMostListed) + " more; --json tells of all"), room);
}

// The cells that end a line about a fault.
void add_fault(std::vector<std::string>& row, const FaultOfObject& fault) {
  row.insert(row.end(), {code_text(fault.code), printable(fault.dn), printable(fault.name)});
}

// As in "10 minutes" and "90 seconds".
std::string within_text(Moment seconds) {
  const bool in_minutes = seconds % kMinute == 0;
  return plural(static_cast<std::uint64_t>(in_minutes ? seconds / kMinute : seconds), in_minutes ? "minute" : "second");
}

std::string chattering_text(const std::vector<Chattering>& chattering, const ChatteringLimit& limit, Room room) {
  std::string text =
      heading("Chattering", chattering.size(),
              "raised again more than " + plural(limit.times, "time") + " in " + within_text(limit.within), room);
  if (chattering.empty()) return text;
  Rows rows{{indented("AGAIN"), "RAISES", "LAST", "CODE", "OBJECT", "NAME"}};
  for (const Chattering& one : std::span(chattering).first(std::min(chattering.size(), kMostListed))) {
    rows.push_back({indented(std::to_string(one.most_again)), std::to_string(one.raises), format_moment(one.last)});
    add_fault(rows.back(), one.fault);
  }
  constexpr std::size_t kRaises = 1;
  constexpr std::size_t kLast = 2;
  constexpr std::size_t kObject = 4;
  constexpr std::size_t kName = 5;
  text += aligned(
      rows,
      {.room = room,
       .giving_way = {{kName, 12}, {kObject, 24, true}, {kName, 0}, {kLast, 0}, {kObject, 12, true}, {kRaises, 0}}});
  return text + more_text(chattering.size(), room);
}

std::string stale_text(const std::vector<Stale>& stale, Moment now, Room room) {
  std::string text = heading("Stale", stale.size(), "active, and no report for over a day", room);
  if (stale.empty()) return text;
  Rows rows{{indented("NO REPORT FOR"), "CREATED", "SEVERITY", "CODE", "OBJECT", "NAME"}};
  for (const Stale& one : std::span(stale).first(std::min(stale.size(), kMostListed))) {
    rows.push_back({indented(duration_text(now - one.reported)), format_moment(one.created),
                    std::string(severity_word(one.severity))});
    add_fault(rows.back(), one.fault);
  }
  constexpr std::size_t kCreated = 1;
  constexpr std::size_t kSeverity = 2;
  constexpr std::size_t kObject = 4;
  constexpr std::size_t kName = 5;
  text += aligned(
      rows, {.room = room,
             .giving_way = {
                 {kName, 12}, {kObject, 24, true}, {kName, 0}, {kCreated, 0}, {kSeverity, 0}, {kObject, 12, true}}});
  return text + more_text(stale.size(), room);
}

std::string worst_text(const Measures& measures, BarStyle style, Room room) {
  std::string text =
      heading("Worst offenders", measures.worst.size(), "of " + plural(measures.new_alarms, "new alarm"), room);
  if (measures.worst.empty()) return text;
  Rows rows{{indented("ALARMS"), "SHARE", "", "CODE", "OBJECT", "NAME"}};
  for (const Offender& one : measures.worst) {
    rows.push_back({indented(std::to_string(one.alarms)),
                    with_tenth(rounded_share(one.alarms, measures.new_alarms, 1000)) + "%",
                    bar(one.alarms, measures.worst.front().alarms, kShareBarWidth, style)});
    add_fault(rows.back(), one.fault);
  }
  constexpr std::size_t kShare = 1;
  constexpr std::size_t kBar = 2;
  constexpr std::size_t kObject = 4;
  constexpr std::size_t kName = 5;
  return text +
         aligned(rows,
                 {.room = room,
                  .giving_way = {
                      {kName, 12}, {kObject, 24, true}, {kBar, 0}, {kName, 0}, {kObject, 12, true}, {kShare, 0}}});
}

JsonObject fault_form(const FaultOfObject& fault) {
  return JsonObject().add("dn", fault.dn).add("code", fault.code).add("name", fault.name);
}

JsonObject active_form(const Measures& measures) {
  JsonObject by_severity;
  for (const Severity severity : kOfActive) by_severity.add(severity_word(severity), active_of(measures, severity));
  JsonObject by_state;
  for (const OperatorState state : kStates) by_state.add(operator_state_word(state), active_of(measures, state));
  return JsonObject().add("alarms", measures.active).add("severity", by_severity).add("operator_state", by_state);
}

JsonObject mean_form(const MeanTime& mean) {
  JsonObject object;
  object.add("alarms", mean.alarms);
  if (mean.alarms > 0) object.add("seconds", mean.seconds);
  return object;
}

JsonArray floods_form(const std::vector<Flood>& floods) {
  JsonArray array;
  for (const Flood& flood : floods) {
    JsonObject object;
    object.add("began", format_moment(flood.began));
    if (flood.ended) object.add("ended", format_moment(*flood.ended));
    array.add(object.add("alarms", flood.alarms));
  }
  return array;
}

JsonArray chattering_form(const std::vector<Chattering>& chattering) {
  JsonArray array;
  for (const Chattering& one : chattering) {
    array.add(fault_form(one.fault)
                  .add("raised_again", one.most_again)
                  .add("raises", one.raises)
                  .add("last", format_moment(one.last)));
  }
  return array;
}

JsonArray stale_form(const std::vector<Stale>& stale, std::string_view ledger_id) {
  JsonArray array;
  for (const Stale& one : stale) {
    array.add(JsonObject()
                  .add("alarm", alarm_id(ledger_id, one.alarm))
                  .add_members_of(fault_form(one.fault))
                  .add("severity", severity_word(one.severity))
                  .add("created", format_moment(one.created))
                  .add("reported", format_moment(one.reported)));
  }
  return array;
}

JsonArray worst_form(const Measures& measures) {
  JsonArray array;
  for (const Offender& one : measures.worst) {
    array.add(fault_form(one.fault)
                  .add("alarms", one.alarms)
                  .add("share_permille", rounded_share(one.alarms, measures.new_alarms, 1000)));
  }
  return array;
}

}  // namespace

std::string measures_text(const Measured& measured, BarStyle style, Room room) {
  const Measures& measures = measured.measures;
  return asked_for(measured, room) + active_text(measures, style, room) + new_text(measured, style, room) +
         means_text(measures, room) + floods_text(measures.floods, style, room) +
         chattering_text(measures.chattering, measured.chattering, room) +
         stale_text(measures.stale, measured.now, room) + worst_text(measures, style, room);
}

JsonObject measures_form(const Measured& measured, std::string_view ledger_id) {
  const Measures& measures = measured.measures;
  JsonObject object;
  object.add("ledger_id", ledger_id).add("at", format_moment(measured.now)).add("since", format_moment(measured.since));
  if (!measured.under.empty()) object.add("under", measured.under);
  return object.add("active", active_form(measures))
      .add("new", JsonObject()
                      .add("last_10_minutes", measures.in_ten_minutes)
                      .add("last_hour", measures.in_hour)
                      .add("last_day", measures.in_day)
                      .add("whole_time", measures.new_alarms))
      .add("mean_time_to_acknowledge", mean_form(measures.to_acknowledge))
      .add("mean_time_to_clear", mean_form(measures.to_clear))
      .add("floods", floods_form(measures.floods))
      .add("chattering", chattering_form(measures.chattering))
      .add("stale", stale_form(measures.stale, ledger_id))
      .add("worst_offenders", worst_form(measures));
}

}  // namespace polaiga::engine
