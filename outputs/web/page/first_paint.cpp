#include "page/first_paint.h"

#include <unistd.h>

#include <array>
#include <charconv>

#include "model/change.h"
#include "model/dictionary.h"
#include "model/moment.h"
#include "model/operator_action.h"
#include "model/record_text.h"
#include "page/choice.h"

namespace polaiga::web {
namespace {

using engine::ActiveRow;
using engine::Moment;
using engine::Severity;
using engine::StoredAlarm;

struct View {
  std::string_view path;
  std::string_view title;
  bool is_scripted;
};

constexpr std::array<View, 7> kViews = {{{"", "Alarms", false},
                                         {"objects", "Objects", true},
                                         {"timeline", "Timeline", true},
                                         {"missed", "Missed", false},
                                         {"statistics", "Statistics", true},
                                         {"catalog", "Catalog", true},
                                         {"health", "Health", true}}};

constexpr std::array<std::pair<std::string_view, std::string_view>, 9> kSeverities = {
    {{"", "any severity"},
     {"critical", "critical"},
     {"major", "major"},
     {"minor", "minor"},
     {"warning", "warning"},
     {"indeterminate", "indeterminate"},
     {"major-up", "major and worse"},
     {"minor-up", "minor and worse"},
     {"warning-up", "warning and worse"}}};

constexpr std::array<std::pair<std::string_view, std::string_view>, 9> kStates = {{{"", "any state"},
                                                                                   {"new", "new"},
                                                                                   {"acknowledged", "acknowledged"},
                                                                                   {"closed", "closed"},
                                                                                   {"chattering", "chattering"},
                                                                                   {"stale", "stale"},
                                                                                   {"shelved", "shelved"},
                                                                                   {"out-of-service", "out of service"},
                                                                                   {"all", "silenced ones, too"}}};

constexpr std::array<std::pair<std::string_view, std::string_view>, 4> kOrders = {
    {{"", "worst first"}, {"newest", "newest first"}, {"oldest", "oldest first"}, {"object", "by object"}}};

// The shapes are those of files/marks.js.
Markup mark(Severity severity) {
  Markup mark;
  mark.tag("<svg class=\"mark\" viewBox=\"0 0 16 16\" aria-hidden=\"true\">");
  switch (severity) {
    case Severity::kCritical:
      mark.tag("<path d=\"M8 0 16 8 8 16 0 8z\"/>");
      break;
    case Severity::kMajor:
      mark.tag("<path d=\"M8 1 16 15H0z\"/>");
      break;
    case Severity::kMinor:
      mark.tag("<circle cx=\"8\" cy=\"8\" r=\"7\"/>");
      break;
    case Severity::kWarning:
      mark.tag("<circle class=\"open\" cx=\"8\" cy=\"8\" r=\"6\"/>");
      break;
    case Severity::kIndeterminate:
      mark.tag("<path class=\"open\" d=\"M2 2H14V14H2z\"/>");
      break;
    case Severity::kCleared:
      mark.tag("<path class=\"open\" d=\"M2 8 6.5 13 14 3\"/>");
      break;
  }
  return mark.tag("</svg>");
}

Markup severity_mark(Severity severity) {
  Markup markup;
  markup.tag("<span class=\"sev s-").text(engine::severity_word(severity)).tag("\">");
  return markup.add(mark(severity)).text(engine::severity_word(severity)).tag("</span>");
}

// Objects without what all of them have in common; the whole DN is in the title.
std::string_view short_object(std::string_view dn) {
  constexpr std::string_view kRack = "sys/rack-unit-1/";
  constexpr std::string_view kRoot = "sys/";
  if (dn.starts_with(kRack)) return dn.substr(kRack.size());
  return dn.starts_with(kRoot) ? dn.substr(kRoot.size()) : dn;
}

std::string age_text(Moment seconds) {
  constexpr Moment kMinute = 60;
  constexpr Moment kHour = 60 * kMinute;
  constexpr Moment kDay = 24 * kHour;
  if (seconds < kMinute) return std::to_string(std::max<Moment>(seconds, 0)) + " s";
  if (seconds < 2 * kHour) return std::to_string(seconds / kMinute) + " min";
  if (seconds < 2 * kDay) return std::to_string(seconds / kHour) + " h";
  return std::to_string(seconds / kDay) + " d";
}

// 2025-03-12 09:12:20 UTC
std::string exact_text(Moment moment) {
  std::string text = engine::format_moment(moment);
  text.replace(10, 1, " ");
  return text.replace(19, 1, " UTC");
}

std::string host_name() {
  std::array<char, 256> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

std::string code_text(std::uint32_t code) {
  std::string digits = std::to_string(code);
  if (digits.size() < 4) digits.insert(0, 4 - digits.size(), '0');
  return "F" + digits;
}

template <std::size_t N>
Markup select(Markup::Tag begin, const std::array<std::pair<std::string_view, std::string_view>, N>& options,
              std::string_view chosen) {
  Markup markup;
  markup.tag(begin);
  for (const auto& [value, label] : options) {
    markup.tag("<option value=\"").text(value).tag(value == chosen ? Markup::Tag("\" selected>") : Markup::Tag("\">"));
    markup.text(label).tag("</option>");
  }
  return markup.tag("</select>");
}

Markup filter_form(const Choice& choice, std::size_t shown, std::size_t of) {
  Markup form;
  form.tag("<form class=\"filter\" id=\"filter\" action=\"/\" method=\"get\" role=\"search\">")
      .tag(
          "<input type=\"search\" name=\"text\" aria-label=\"Filter: text, DN or code\" "
          "placeholder=\"filter: text, DN or code\" autocomplete=\"off\" maxlength=\"200\" value=\"")
      .text(choice.text)
      .tag("\">")
      .add(select("<select name=\"severity\" aria-label=\"Severity\">", kSeverities, choice.severity))
      .add(select("<select name=\"state\" aria-label=\"State\">", kStates, choice.state))
      .tag(
          "<input type=\"search\" name=\"under\" aria-label=\"Object: a DN, with all below it\" placeholder=\"object\" "
          "autocomplete=\"off\" maxlength=\"500\" value=\"")
      .text(choice.under)
      .tag("\">")
      .add(select("<select name=\"order\" aria-label=\"Order\">", kOrders, choice.order))
      .tag("<button type=\"submit\">Filter</button><span class=\"shown\" id=\"shown\">")
      .number(shown)
      .tag(" of ")
      .number(of)
      .tag(" shown</span></form>");
  return form;
}

// The address of the same list from another row on.
std::string list_address(const Choice& choice, std::size_t skip) {
  std::string address = "/?";
  const auto add = [&address](std::string_view name, std::string_view value) {
    if (!value.empty()) address.append(name).append("=").append(percent_encoded(value)).append("&");
  };
  add("text", choice.text);
  add("severity", choice.severity);
  add("state", choice.state);
  add("under", choice.under);
  add("order", choice.order);
  return address + "skip=" + std::to_string(skip);
}

Markup object(std::string_view dn) {
  Markup markup;
  return markup.tag("<span class=\"obj\" title=\"").text(dn).tag("\">").text(short_object(dn)).tag("</span>");
}

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

Markup action_line(const engine::AlarmAction& action) {
  Markup line;
  line.text(engine::change_word(action.kind));
  if (action.action) {
    if (!action.action->person.empty()) line.tag(" by ").text(action.action->person);
    if (action.action->on_behalf_of) line.tag(" for ").text(*action.action->on_behalf_of);
    if (action.action->comment) line.tag(": \xE2\x80\x9C").text(*action.action->comment).tag("\xE2\x80\x9D");
  }
  return line;
}

// A moment that is told as such.
Markup at(Moment moment) {
  Markup time;
  time.tag("<time datetime=\"").text(engine::format_moment(moment)).tag("\">").text(exact_text(moment));
  return time.tag("</time>");
}

}  // namespace

std::optional<std::int64_t> number_of(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number <= 0) return std::nullopt;
  return number;
}

Markup FirstPaint::time(Moment moment) const {
  Markup time;
  const std::string exact = exact_text(moment);
  time.tag("<time datetime=\"").text(engine::format_moment(moment)).tag("\" title=\"").text(exact).tag("\">");
  return time.text(age_text(now_ - moment)).tag("<span class=\"vh\"> ago, ").text(exact).tag("</span></time>");
}

Markup FirstPaint::header(const PaintOf& of) const {
  const engine::Overview& overview = of.overview;
  std::array<std::size_t, 6> counts{};
  std::size_t fresh = 0;
  std::size_t shelved = 0;
  for (const ActiveRow& row : overview.active) {
    if (!row.is_silenced()) ++counts.at(static_cast<std::size_t>(row.fault.severity));
    if (is_new(row)) ++fresh;
    if (row.standing.shelved != 0) ++shelved;
  }
  Markup markup;
  markup.tag("<div class=\"line\"><a class=\"brand\" href=\"/\">polaiga</a> <span class=\"site\">")
      .text(host_name())
      .tag("</span><span class=\"live\" id=\"live\"><span class=\"dot\"></span>as of ")
      .text(exact_text(now_))
      .tag(" \xC2\xB7 change <span class=\"num\">")
      .number(overview.number)
      .tag("</span>")
      .tag(of.engine_runs ? Markup::Tag("") : Markup::Tag(" \xC2\xB7 engine is not running"))
      .tag("</span><span class=\"me\" id=\"me\">")
      .text(of.caller.name)
      .tag("</span></div><ul class=\"counts\" id=\"counts\" aria-label=\"Active alarms by severity\">");
  for (std::size_t i = counts.size() - 1; i > 0; --i) {
    const auto severity = static_cast<Severity>(i);
    if (severity == Severity::kIndeterminate && counts.at(i) == 0) continue;
    markup.tag("<li><a href=\"/?severity=").text(engine::severity_word(severity)).tag("\" class=\"count s-");
    markup.text(engine::severity_word(severity)).tag(counts.at(i) == 0 ? Markup::Tag(" none\">") : Markup::Tag("\">"));
    markup.add(mark(severity)).tag("<b>").number(counts.at(i)).tag("</b> ").text(engine::severity_word(severity));
    markup.tag("</a></li>");
  }
  markup.tag("<li class=\"more\"><a href=\"/?state=new\" class=\"count\"><b>").number(fresh);
  markup.tag("</b> new</a></li><li><a href=\"/?state=shelved\" class=\"count\"><b>").number(shelved);
  markup.tag("</b> shelved</a></li>");
  if (!overview.maintenance.empty()) {
    markup.tag("<li><a href=\"/maintenance\" class=\"count\"><b>").number(overview.maintenance.size());
    markup.tag("</b> out of service</a></li>");
  }
  return markup.tag("</ul>");
}

std::string FirstPaint::framed(std::string_view title, const Markup& header, const Markup& main) const {
  std::string page(frame_);
  const auto put = [&page](std::string_view place, const std::string& html) {
    const std::size_t at = page.find(place);
    if (at != std::string::npos) page.replace(at, place.size(), html);
  };
  // From the end to the beginning, so that no place is looked for in what was put in.
  put("<!--main-->", main.html());
  put("<!--header-->", header.html());
  put("<!--title-->", escaped(title));
  return page;
}

std::string FirstPaint::of_view(std::string_view title, const PaintOf& of, const Markup& main) const {
  Markup top = header(of);
  Markup tabs;
  tabs.tag("<nav id=\"tabs\" aria-label=\"Views\"><ul>");
  for (const View& view : kViews) {
    tabs.tag("<li><a href=\"/").text(view.path).tag("\"");
    if (view.title == title) tabs.tag(" aria-current=\"page\"");
    tabs.tag(">").text(view.title);
    if (view.path == "missed" && of.overview.missed > 0) tabs.tag(" <b>").number(of.overview.missed).tag("</b>");
    tabs.tag("</a></li>");
  }
  tabs.tag("</ul></nav>");
  return framed(title, top.add(tabs), main);
}

Markup FirstPaint::row(const ActiveRow& row) const {
  Markup markup;
  markup.tag("<li><a class=\"row s-").text(engine::severity_word(row.fault.severity)).tag("\" href=\"/alarm/");
  markup.text(std::to_string(row.fault.alarm)).tag("\">").add(severity_mark(row.fault.severity));
  markup.add(object(row.fault.dn)).tag("<span class=\"age\">").add(time(row.alarm_since)).tag("</span>");
  markup.tag("<span class=\"state\">");
  if (is_new(row)) markup.tag("<b class=\"new\">new</b>");
  markup.text(person_of(row)).tag("</span><span class=\"descr\">");
  markup.text(engine::field_text(row.shown.record.descr)).tag("</span>");
  if (const std::string words = state_words(row); !words.empty()) {
    markup.tag("<span class=\"words\">").text(words).tag("</span>");
  }
  return markup.tag("</a></li>");
}

std::string FirstPaint::alarms(const PaintOf& of, const Target& target) const {
  const Choice choice = read_choice(target);
  const auto list = chosen(choice, of.overview.active, now_);
  Markup main;
  main.tag("<h1 class=\"vh\">Active alarms</h1>").add(filter_form(choice, list.size(), of.overview.active.size()));
  if (list.empty()) {
    main.tag(choice.is_filtered() ? Markup::Tag("<p class=\"quiet\">No active alarm fits the filter.</p>")
                                  : Markup::Tag("<p class=\"quiet\">No alarm is active.</p>"));
  }
  const auto most = static_cast<std::size_t>(kMostListed);
  main.tag("<ol class=\"alarms\" id=\"list\">");
  for (std::size_t i = choice.skip; i < list.size() && i < choice.skip + most; ++i) main.add(row(*list[i]));
  main.tag("</ol>");
  if (choice.skip < list.size() && list.size() - choice.skip > most) {
    main.tag("<p class=\"pages\"><a href=\"").text(list_address(choice, choice.skip + most)).tag("\">Next ");
    main.number(std::min(most, list.size() - choice.skip - most)).tag("</a></p>");
  }
  return of_view("Alarms", of, main);
}

Markup FirstPaint::over_row(const StoredAlarm& alarm) const {
  Markup markup;
  const Severity severity = alarm.worst;
  markup.tag("<li><a class=\"row s-").text(engine::severity_word(severity)).tag("\" href=\"/alarm/");
  markup.text(std::to_string(alarm.number)).tag("\">").add(severity_mark(severity)).add(object(alarm.dn));
  markup.tag("<span class=\"age\">").add(time(alarm.created)).tag("</span><span class=\"state\">");
  markup.text(alarm.ended ? engine::change_word(alarm.ending) : "active").tag("</span><span class=\"descr\">");
  if (!alarm.steps.empty()) {
    markup.text(code_text(alarm.steps.back().code)).tag(" ").text(alarm.steps.back().name);
  }
  markup.tag("</span>");
  if (alarm.ended) {
    markup.tag("<span class=\"words\">lasted ").text(age_text(alarm.ended_at - alarm.created)).tag("</span>");
  }
  return markup.tag("</a></li>");
}

std::string FirstPaint::missed(const PaintOf& of, const std::vector<StoredAlarm>& alarms) const {
  Markup main;
  main.tag("<h1>Missed</h1><p>Alarms that came and went, and that nobody acknowledged.</p>");
  if (alarms.empty()) main.tag("<p class=\"quiet\">No alarm was missed.</p>");
  main.tag("<ol class=\"alarms\" id=\"list\">");
  for (auto alarm = alarms.rbegin(); alarm != alarms.rend(); ++alarm) main.add(over_row(*alarm));
  return of_view("Missed", of, main.tag("</ol>"));
}

std::string FirstPaint::history(const PaintOf& of, const std::vector<StoredAlarm>& alarms) const {
  Markup main;
  main.tag("<h1>History</h1><p>All alarms that the ledger keeps, the latest first.</p>");
  if (alarms.empty()) main.tag("<p class=\"quiet\">There are no alarms.</p>");
  main.tag("<ol class=\"alarms\" id=\"list\">");
  for (auto alarm = alarms.rbegin(); alarm != alarms.rend(); ++alarm) main.add(over_row(*alarm));
  main.tag("</ol>");
  if (std::ssize(alarms) == kMostListed) {
    main.tag("<p class=\"pages\"><a href=\"/history?before=").text(std::to_string(alarms.front().number));
    main.tag("\">Older ones</a></p>");
  }
  return of_view("History", of, main);
}

std::string FirstPaint::maintenance(const PaintOf& of) const {
  Markup main;
  main.tag("<h1>Maintenance</h1><p>Objects that are out of service, with all below them.</p>");
  if (of.overview.maintenance.empty()) main.tag("<p class=\"quiet\">No object is out of service.</p>");
  main.tag("<ul class=\"plain\">");
  for (const engine::StoredMaintenance& one : of.overview.maintenance) {
    main.tag("<li><b>").text(one.maintenance.dn).tag("</b> until ").text(exact_text(one.maintenance.until));
    if (one.action) {
      main.tag(", by ").text(one.action->on_behalf_of.value_or(one.action->person));
      if (one.action->comment) main.tag(": \xE2\x80\x9C").text(*one.action->comment).tag("\xE2\x80\x9D");
    }
    main.tag("</li>");
  }
  return of_view("Maintenance", of, main.tag("</ul>"));
}

std::string FirstPaint::alarm(const PaintOf& of, const StoredAlarm& alarm) const {
  Markup main;
  main.tag("<article class=\"alarm s-").text(engine::severity_word(alarm.severity)).tag("\"><h1>");
  main.text(alarm.steps.empty() ? std::string_view(alarm.dn) : std::string_view(alarm.steps.back().name));
  main.tag("</h1><p>").add(severity_mark(alarm.severity)).tag(" ").text(alarm.dn).tag("</p><dl><dt>Raised</dt><dd>");
  main.add(at(alarm.created)).tag("</dd><dt>State</dt><dd>").text(engine::operator_state_word(alarm.standing.state()));
  main.tag(alarm.is_out_of_service ? Markup::Tag(", out of service</dd>") : Markup::Tag("</dd>"));
  if (alarm.ended) {
    main.tag("<dt>Ended</dt><dd>").add(at(alarm.ended_at)).tag(", ").text(engine::change_word(alarm.ending));
    main.tag("</dd>");
  }
  for (const ActiveRow& row : of.overview.active) {
    if (row.fault.alarm != alarm.number) continue;
    main.tag("<dt>Description</dt><dd>")
        .text(engine::field_text(row.shown.record.descr))
        .tag("</dd><dt>Reported by</dt>");
    main.tag("<dd>").text(engine::field_text(row.shown.event.event.event.sensor_name)).tag("</dd>");
  }
  main.tag("</dl><h2>Its way</h2><ol class=\"plain\">");
  for (const engine::StoredFault& step : alarm.steps) {
    main.tag("<li>").add(severity_mark(step.severity)).tag(" ").text(code_text(step.code)).tag(" ").text(step.name);
    main.tag(", since ").add(at(step.since));
    if (step.ended) main.tag(", ").text(engine::change_word(step.ending)).tag(" ").add(at(step.ended_at));
    main.tag("</li>");
  }
  main.tag("</ol><h2>What people did</h2>");
  if (alarm.actions.empty()) main.tag("<p class=\"quiet\">Nothing yet.</p>");
  main.tag("<ol class=\"plain\">");
  for (const engine::AlarmAction& action : alarm.actions) {
    main.tag("<li>").add(at(action.at)).tag(" ").add(action_line(action)).tag("</li>");
  }
  return of_view("Alarm", of, main.tag("</ol></article>"));
}

std::optional<std::string_view> FirstPaint::scripted_view(std::string_view path) {
  for (const View& view : kViews) {
    if (view.is_scripted && view.path == path) return view.title;
  }
  return std::nullopt;
}

std::string FirstPaint::scripted(const PaintOf& of, std::string_view title) const {
  Markup main;
  main.tag("<h1 class=\"vh\">").text(title).tag("</h1><noscript><p>This view is drawn by scripts, which this browser ");
  main.tag("does not run. Without them there are the <a href=\"/\">alarms</a>, the <a href=\"/history\">history</a>, ");
  main.tag(
      "the <a href=\"/missed\">missed alarms</a> and the <a href=\"/maintenance\">objects out of service</a>.</p>");
  return of_view(title, of, main.tag("</noscript>"));
}

std::string FirstPaint::problem(std::string_view title, std::string_view detail) const {
  Markup header;
  header.tag("<div class=\"line\"><a class=\"brand\" href=\"/\">polaiga</a></div>");
  Markup main;
  main.tag("<h1>").text(title).tag("</h1><p>").text(detail).tag("</p>");
  return framed(title, header, main);
}

}  // namespace polaiga::web
