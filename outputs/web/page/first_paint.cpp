#include "page/first_paint.h"

#include <algorithm>

#include "model/change.h"
#include "model/operator_action.h"
#include "model/record_text.h"
#include "page/choice.h"
#include "page/elements.h"
#include "page/filter_form.h"
#include "report/shown.h"

namespace polaiga::web {
namespace {

using engine::ActiveRow;
using engine::StoredAlarm;

std::string state_words(const ActiveRow& row) {
  const std::string person(person_of(row));
  std::string words;
  const auto add = [&words](const std::string& more) { words += (words.empty() ? "" : ", ") + more; };
  const engine::OperatorState state = row.standing.state();
  if (row.is_out_of_service) add("out of service");
  if (state == engine::OperatorState::kShelved) add("shelved" + (person.empty() ? "" : " by " + person));
  if (state == engine::OperatorState::kAcknowledged || state == engine::OperatorState::kClosed) {
    add(std::string(engine::operator_state_word(state)) + (person.empty() ? "" : " by " + person));
  }
  if (row.chattering) add("chattering, " + std::to_string(row.chattering->raises) + " raises");
  if (row.fault.reporters > 1) add(std::to_string(row.fault.reporters) + " sensors report this");
  return words;
}

// The same as in files/alarms.js.
Markup::Tag why_empty(const Choice& choice, const engine::Overview& overview) {
  if (overview.active.empty()) return "No alarm is active.";
  if (choice.is_filtered()) return "No active alarm fits the filter.";
  return "No alarm is active, but for those that are silenced.";
}

// What operators have made of the alarm.
std::string_view state_word(const engine::AlarmStanding& standing) {
  const engine::OperatorState state = standing.state();
  return state == engine::OperatorState::kNone ? "not acknowledged" : engine::operator_state_word(state);
}

Markup action_line(const engine::AlarmAction& action) {
  Markup line;
  line.text(engine::change_word(action.kind));
  if (action.action) {
    if (!action.action->person.empty()) line.tag(" by ").text(action.action->person);
    if (action.action->on_behalf_of) line.tag(" for ").text(*action.action->on_behalf_of);
    if (action.action->comment) line.tag(": \u201C").text(*action.action->comment).tag("\u201D");
  }
  return line;
}

}  // namespace

Markup FirstPaint::row(const ActiveRow& row) const {
  Markup markup;
  markup.tag(R"(<li><a class="row s-)").text(engine::severity_word(row.fault.severity)).tag(R"(" href="/alarm/)");
  markup.text(std::to_string(row.fault.alarm)).tag(R"(">)").add(severity_mark(row.fault.severity));
  markup.add(object(row.fault.dn)).tag(R"(<span class="age">)").add(time_ago(row.alarm_since, now_)).tag("</span>");
  markup.tag(R"(<span class="state">)");
  if (is_new(row)) markup.tag(R"(<b class="new">new</b>)");
  markup.text(person_of(row)).tag(R"(</span><span class="descr">)");
  markup.text(engine::field_text(row.shown.record.descr)).tag("</span>");
  if (const std::string words = state_words(row); !words.empty()) {
    markup.tag(R"(<span class="words">)").text(words).tag("</span>");
  }
  return markup.tag("</a></li>");
}

std::string FirstPaint::alarms(const PaintOf& of, const Target& target) const {
  const Choice choice = read_choice(target);
  const auto list = chosen(choice, of.overview.active, now_);
  Markup main;
  main.tag(R"(<h1 class="vh">Active alarms</h1>)").add(filter_form(choice, list.size(), of.overview.active.size()));
  if (list.empty()) {
    main.tag(R"(<p class="quiet">)").tag(why_empty(choice, of.overview)).tag("</p>");
  }
  // An address beyond the end, from when there were more alarms, shows the first ones.
  const std::size_t first = choice.skip < list.size() ? choice.skip : 0;
  const std::size_t count = std::min<std::size_t>(kMostListed, list.size() - first);
  main.tag(R"(<ol class="alarms" id="list">)");
  for (std::size_t i = first; i < first + count; ++i) main.add(row(*list[i]));
  main.tag("</ol>");
  if (const std::size_t rest = list.size() - first - count; rest > 0) {
    main.tag(R"(<p class="pages"><a href=")").text(list_address(choice, first + count)).tag(R"(">Next )");
    main.number(std::min<std::size_t>(kMostListed, rest)).tag("</a></p>");
  }
  return frame_.of_view("Alarms", of, main);
}

Markup FirstPaint::over_row(const StoredAlarm& alarm) const {
  Markup markup;
  markup.tag(R"(<li><a class="row s-)").text(engine::severity_word(alarm.worst)).tag(R"(" href="/alarm/)");
  markup.text(std::to_string(alarm.number)).tag(R"(">)").add(severity_mark(alarm.worst)).add(object(alarm.dn));
  markup.tag(R"(<span class="age">)").add(time_ago(alarm.created, now_)).tag(R"(</span><span class="state">)");
  markup.text(alarm.ended ? engine::change_word(alarm.ending) : "active").tag(R"(</span><span class="descr">)");
  if (!alarm.steps.empty()) {
    markup.text(engine::code_text(alarm.steps.back().code)).tag(" ").text(alarm.steps.back().name);
  }
  markup.tag("</span>");
  if (alarm.ended) {
    markup.tag(R"(<span class="words">lasted )").text(age_text(alarm.ended_at - alarm.created)).tag("</span>");
  }
  return markup.tag("</a></li>");
}

Markup FirstPaint::over_list(const std::vector<StoredAlarm>& alarms) const {
  Markup list;
  list.tag(R"(<ol class="alarms" id="list">)");
  for (std::size_t i = alarms.size(); i > 0; --i) list.add(over_row(alarms[i - 1]));
  return list.tag("</ol>");
}

std::string FirstPaint::missed(const PaintOf& of, const std::vector<StoredAlarm>& alarms) const {
  Markup main;
  main.tag("<h1>Missed</h1><p>Alarms that came and went, and that nobody acknowledged.</p>");
  if (alarms.empty()) main.tag(R"(<p class="quiet">No alarm was missed.</p>)");
  if (alarms.size() < of.overview.missed) {
    main.tag("<p>These are the latest ").number(alarms.size()).tag(" of ").number(of.overview.missed).tag(".</p>");
  }
  return frame_.of_view("Missed", of, main.add(over_list(alarms)));
}

std::string FirstPaint::history(const PaintOf& of, const std::vector<StoredAlarm>& alarms) const {
  Markup main;
  main.tag("<h1>History</h1><p>All alarms that the ledger keeps, the latest first.</p>");
  if (alarms.empty()) main.tag(R"(<p class="quiet">There are no alarms.</p>)");
  main.add(over_list(alarms));
  if (std::ssize(alarms) == kMostListed) {
    main.tag(R"(<p class="pages"><a href="/history?before=)").text(std::to_string(alarms.front().number));
    main.tag(R"(">Older ones</a></p>)");
  }
  return frame_.of_view("History", of, main);
}

std::string FirstPaint::maintenance(const PaintOf& of) const {
  Markup main;
  main.tag("<h1>Maintenance</h1><p>Objects that are out of service, with all below them.</p>");
  if (of.overview.maintenance.empty()) main.tag(R"(<p class="quiet">No object is out of service.</p>)");
  main.tag(R"(<ul class="plain">)");
  for (const engine::StoredMaintenance& one : of.overview.maintenance) {
    main.tag("<li><b>").text(one.maintenance.dn).tag("</b> until ").text(exact_text(one.maintenance.until));
    if (one.action) {
      main.tag(", by ").text(one.action->on_behalf_of.value_or(one.action->person));
      if (one.action->comment) main.tag(": \u201C").text(*one.action->comment).tag("\u201D");
    }
    main.tag("</li>");
  }
  return frame_.of_view("Maintenance", of, main.tag("</ul>"));
}

std::string FirstPaint::alarm(const PaintOf& of, const StoredAlarm& alarm) const {
  Markup main;
  main.tag(R"(<article class="alarm s-)").text(engine::severity_word(alarm.severity)).tag(R"("><h1>)");
  main.text(alarm.steps.empty() ? std::string_view(alarm.dn) : std::string_view(alarm.steps.back().name));
  main.tag("</h1><p>").add(severity_mark(alarm.severity)).tag(" ").text(alarm.dn).tag("</p><dl><dt>Raised</dt><dd>");
  main.add(exact_time(alarm.created)).tag("</dd><dt>State</dt><dd>").text(state_word(alarm.standing));
  main.tag(alarm.is_out_of_service ? Markup::Tag(", out of service</dd>") : Markup::Tag("</dd>"));
  if (alarm.ended) {
    main.tag("<dt>Ended</dt><dd>").add(exact_time(alarm.ended_at)).tag(", ").text(engine::change_word(alarm.ending));
    main.tag("</dd>");
  }
  for (const ActiveRow& row : of.overview.active) {
    if (row.fault.alarm != alarm.number) continue;
    main.tag("<dt>Description</dt><dd>")
        .text(engine::field_text(row.shown.record.descr))
        .tag("</dd><dt>Reported by</dt>");
    main.tag("<dd>").text(engine::field_text(row.shown.event.event.event.sensor_name)).tag("</dd>");
  }
  main.tag(R"(</dl><h2>Its way</h2><ol class="plain">)");
  for (const engine::StoredFault& step : alarm.steps) {
    main.tag("<li>")
        .add(severity_mark(step.severity))
        .tag(" ")
        .text(engine::code_text(step.code))
        .tag(" ")
        .text(step.name);
    main.tag(", since ").add(exact_time(step.since));
    if (step.ended) main.tag(", ").text(engine::change_word(step.ending)).tag(" ").add(exact_time(step.ended_at));
    main.tag("</li>");
  }
  main.tag("</ol><h2>What people did</h2>");
  if (alarm.actions.empty()) main.tag(R"(<p class="quiet">Nothing yet.</p>)");
  main.tag(R"(<ol class="plain">)");
  for (const engine::AlarmAction& action : alarm.actions) {
    main.tag("<li>").add(exact_time(action.at)).tag(" ").add(action_line(action)).tag("</li>");
  }
  return frame_.of_view("Alarm", of, main.tag("</ol></article>"));
}

std::string FirstPaint::scripted(const PaintOf& of, std::string_view title) const {
  Markup main;
  main.tag(R"(<h1 class="vh">)")
      .text(title)
      .tag("</h1><noscript><p>This view is drawn by scripts, which this browser ");
  main.tag(R"(does not run. Without them there are the <a href="/">alarms</a>, the <a href="/history">history</a>, )");
  main.tag(R"(the <a href="/missed">missed alarms</a> and the <a href="/maintenance">objects out of service</a>.</p>)");
  return frame_.of_view(title, of, main.tag("</noscript>"));
}

}  // namespace polaiga::web
