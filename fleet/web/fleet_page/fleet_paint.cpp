#include "fleet_page/fleet_paint.h"

#include <algorithm>
#include <array>

#include "page/elements.h"
#include "report/shown.h"

namespace polaiga::web {
namespace {

using engine::Severity;
using fleet::AlarmRow;
using fleet::ControllerRow;

struct Tab {
  std::string_view path;
  std::string_view title;
};
constexpr std::array<Tab, 5> kTabs = {{{"", "Fleet"},
                                       {"alarms", "Alarms"},
                                       {"history", "History"},
                                       {"actions", "Actions"},
                                       {"collectors", "Collectors"}}};

struct Choice {
  std::string_view word;
  std::string_view label;
};
constexpr std::array<Choice, 5> kSeverities = {{{"", "any severity"},
                                                {"critical", "critical"},
                                                {"major", "major and worse"},
                                                {"minor", "minor and worse"},
                                                {"warning", "warning and worse"}}};
constexpr std::array<Choice, 4> kStates = {
    {{"", "any state"}, {"new", "new"}, {"silenced", "silenced"}, {"all", "all, silenced ones, too"}}};
constexpr std::array<Choice, 2> kOrders = {{{"", "worst first"}, {"newest", "newest first"}}};

// A table that may be wider than the screen and have no link: keys can move it only when it can have the focus.
constexpr const char* kScrolled = R"(<div class="scroll" tabindex="0" role="region" )";

Markup select(const Markup::Tag& beginning, std::span<const Choice> choices, std::string_view chosen) {
  Markup markup;
  markup.tag(beginning);
  for (const Choice& one : choices) {
    markup.tag(R"(<option value=")").text(one.word).tag(one.word == chosen ? Markup::Tag(R"(" selected>)") : R"(">)");
    markup.text(one.label).tag("</option>");
  }
  return markup.tag("</select>");
}

Markup all_tabs(std::string_view title) {
  Markup markup;
  markup.tag(R"(<nav id="tabs" aria-label="Views"><ul>)");
  for (const Tab& tab : kTabs) {
    markup.tag(R"(<li><a href="/)").text(tab.path).tag(R"(")");
    if (tab.title == title) markup.tag(R"( aria-current="page")");
    markup.tag(">").text(tab.title).tag("</a></li>");
  }
  return markup.tag("</ul></nav>");
}

void add_controller_link(Markup& markup, std::string_view site, std::string_view name) {
  markup.tag(R"(<a href="/controller/)").text(site).tag("/").text(name).tag(R"(">)").text(name).tag("</a>");
}

// The name of a fault in words: fltEquipmentFanMissing becomes "Equipment fan missing". The same as in files/text.js.
std::string words_of(std::string_view name) {
  if (name.starts_with("flt")) name.remove_prefix(3);
  std::string words;
  for (const char c : name) {
    const bool is_large = 'A' <= c && c <= 'Z';
    if (is_large && !words.empty()) words += ' ';
    words += is_large && !words.empty() ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return words;
}

std::string code_of(std::int64_t code) { return engine::code_text(static_cast<std::uint32_t>(code)); }

std::string state_words(const AlarmRow& alarm) {
  std::string words;
  const auto add = [&words](const std::string& more) { words += (words.empty() ? "" : ", ") + more; };
  if (alarm.is_out_of_service) add("out of service");
  if (alarm.state != engine::OperatorState::kNone) {
    const bool tells_who = !alarm.acknowledged_by.empty() && alarm.state != engine::OperatorState::kShelved;
    add(std::string(engine::operator_state_word(alarm.state)) + (tells_who ? " by " + alarm.acknowledged_by : ""));
  }
  if (alarm.raises > 0) add("chattering, " + std::to_string(alarm.raises) + " raises");
  if (alarm.reporters > 1) add(std::to_string(alarm.reporters) + " sensors report this");
  return words;
}

bool is_new(const AlarmRow& alarm) {
  const bool is_open = alarm.state == engine::OperatorState::kNone || alarm.state == engine::OperatorState::kUnshelved;
  return is_open && alarm.ended.empty() && !alarm.is_out_of_service;
}

Severity shown_severity(const AlarmRow& alarm) { return alarm.ended.empty() ? alarm.severity : alarm.worst; }

void add_pair(Markup& markup, Markup::Tag name, std::string_view value) {
  if (!value.empty()) markup.tag("<dt>").tag(name).tag("</dt><dd>").text(value).tag("</dd>");
}

// Silent controllers count as the worst, since nothing is known of them.
bool is_before(const ControllerRow* one, const ControllerRow* other) {
  const auto rank = [](const ControllerRow* controller) {
    return std::pair(controller->counts.worst(), controller->silent_since.has_value());
  };
  return rank(one) > rank(other);
}

}  // namespace

std::string group_words(const fleet::GroupRow& group) {
  const engine::Moment span = group.last_created - group.first_created;
  std::string words = group.description.empty() ? words_of(group.name) : group.description;
  words += " on " + std::to_string(group.controllers) + " servers of " + group.site;
  return words + (span > 0 ? " within " + age_text(span) : " at the same time");
}

std::string FleetPaint::framed(std::string_view title, const Markup& header, const Markup& main) const {
  std::string page(html_);
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

std::string FleetPaint::of_view(std::string_view title, const fleet::Overview& overview, const Markup& main) const {
  Markup header;
  header.tag(R"(<div class="line"><a class="brand" href="/">polaiga</a> <span class="site">)");
  header.number(overview.controllers.size()).tag(" controllers, ").number(overview.sites.size());
  header.tag(R"( sites</span><span class="live" id="live"><span class="dot"></span>as of )").text(exact_text(now_));
  header.tag(R"(</span><span class="me" id="me">)").text(caller_.name);
  header.tag(R"(</span></div><ul class="counts" id="counts" aria-label="Active alarms by severity">)");
  for (std::size_t i = overview.counts.of_severity.size() - 1; i > 0; --i) {
    const auto severity = static_cast<Severity>(i);
    const std::uint64_t count = overview.counts.of_severity.at(i);
    if (severity == Severity::kIndeterminate && count == 0) continue;
    header.tag(R"(<li><a href="/alarms?severity=)").text(engine::severity_word(severity)).tag(R"(" class="count s-)");
    header.text(engine::severity_word(severity)).tag(count == 0 ? Markup::Tag(R"( none">)") : R"(">)");
    header.add(shape(severity)).tag("<b>").number(count).tag("</b> ").text(engine::severity_word(severity));
    header.tag("</a></li>");
  }
  header.tag(R"(<li class="more"><a href="/alarms?state=new" class="count"><b>)")
      .number(overview.counts.unacknowledged);
  header.tag(R"(</b> new</a></li><li><a href="/alarms?state=silenced" class="count"><b>)");
  header.number(overview.counts.silenced).tag(R"(</b> silenced</a></li><li><a href="/?silent=1" class="count"><b>)");
  header.number(overview.silent).tag("</b> silent controllers</a></li></ul>");
  return framed(title, header.add(all_tabs(title)), main);
}

std::string FleetPaint::problem(std::string_view title, std::string_view detail) const {
  Markup header;
  header.tag(R"(<div class="line"><a class="brand" href="/">polaiga</a></div>)").add(all_tabs(""));
  Markup main;
  main.tag("<h1>").text(title).tag(R"(</h1><p id="problem">)").text(detail).tag("</p>");
  return framed(title, header, main);
}

Markup FleetPaint::row(const AlarmRow& alarm, bool tells_place) const {
  const Severity severity = shown_severity(alarm);
  Markup markup;
  markup.tag(R"(<li data-id=")").text(std::to_string(alarm.id)).tag(R"("><a class="row s-)");
  markup.text(engine::severity_word(severity)).tag(R"(" href="/alarm/)").text(std::to_string(alarm.id)).tag(R"(">)");
  markup.add(severity_mark(severity));
  if (tells_place) {
    markup.tag(R"(<span class="obj">)").text(alarm.site).tag(" / ").text(alarm.controller).tag("</span>");
  } else {
    markup.add(object(alarm.dn));
  }
  markup.tag(R"(<span class="age">)").add(time_ago(alarm.created, now_)).tag(R"(</span><span class="state">)");
  if (is_new(alarm)) markup.tag(R"(<b class="new">new</b>)");
  markup.text(alarm.ended.empty() ? alarm.acknowledged_by : alarm.ended).tag(R"(</span><span class="descr">)");
  markup.text(alarm.description.empty() ? words_of(alarm.name) : alarm.description).tag("</span>");
  std::string words = state_words(alarm);
  if (tells_place) words = std::string(alarm.dn) + (words.empty() ? "" : ", " + words);
  if (alarm.cleared) words += (words.empty() ? "" : ", ") + ("lasted " + age_text(*alarm.cleared - alarm.created));
  if (!words.empty()) markup.tag(R"(<span class="words">)").text(words).tag("</span>");
  return markup.tag("</a></li>");
}

Markup FleetPaint::list(std::span<const AlarmRow> alarms, bool tells_place) const {
  Markup markup;
  markup.tag(R"(<ol class="alarms" id="list">)");
  for (const AlarmRow& alarm : alarms) markup.add(row(alarm, tells_place));
  return markup.tag("</ol>");
}

Markup FleetPaint::group_item(const fleet::GroupRow& group) const {
  Markup markup;
  markup.tag(R"(<li class="group s-)").text(engine::severity_word(group.worst)).tag(R"(" data-group=")");
  markup.text(std::to_string(group.number)).tag(R"(" data-new=")").text(std::to_string(group.unacknowledged));
  markup.tag(R"(">)").add(severity_mark(group.worst)).tag(R"( <a href="/group/)").text(std::to_string(group.number));
  markup.tag(R"(">)").text(group_words(group)).tag(R"(</a> <span class="dim">)");
  markup.number(group.active).tag(" of ").number(group.alarms).tag(" alarms active, ").number(group.unacknowledged);
  markup.tag(" new, ").add(time_ago(group.first_created, now_)).tag(" ago</span></li>");
  return markup;
}

Markup FleetPaint::controller_line(const ControllerRow& controller) const {
  Markup markup;
  const Severity worst = controller.counts.worst();
  markup.tag("<tr><td>").add(severity_mark(worst)).tag(R"(</td><td>)");
  add_controller_link(markup, controller.site, controller.name);
  markup.tag("</td><td>").text(controller.site).tag(R"(</td><td class="num">)").number(controller.counts.all());
  markup.tag(R"(</td><td class="num">)").number(controller.counts.unacknowledged).tag("</td><td>");
  if (controller.silent_since)
    markup.tag(R"(<b class="silent">silent</b> for )").add(time_ago(*controller.silent_since, now_));
  return markup.tag("</td></tr>");
}

std::string FleetPaint::fleet(const fleet::Overview& overview, const ListQuery& query) const {
  const bool is_silent_only = query.query.find("silent=1") != std::string::npos;
  std::vector<const ControllerRow*> rows;
  for (const ControllerRow& one : overview.controllers) {
    if (!query.filter.site.empty() && one.site != query.filter.site) continue;
    if (is_silent_only && !one.silent_since) continue;
    if (query.filter.least && one.counts.worst() < *query.filter.least) continue;
    rows.push_back(&one);
  }
  std::stable_sort(rows.begin(), rows.end(), is_before);
  Markup main;
  main.tag(R"(<h1 class="vh">All controllers</h1><div data-live="groups">)");
  if (!overview.groups.empty()) {
    main.tag(R"(<h2>Together</h2><ul class="groups" id="groups">)");
    for (const fleet::GroupRow& group : overview.groups) main.add(group_item(group));
    main.tag("</ul>");
  }
  main.tag(
      R"(</div><section id="grid" aria-label="Picture of all controllers" hidden></section><div data-live="sites">)");
  main.tag(R"(<h2>Sites</h2><div class="scroll"><table id="sites"><thead><tr><th>Worst</th><th>Site</th>)");
  main.tag(R"(<th class="num">Controllers</th><th class="num">Silent</th><th class="num">Alarms</th>)");
  main.tag(R"(<th class="num">New</th><th class="num">Behind</th></tr></thead><tbody>)");
  for (const fleet::SiteRow& site : overview.sites) {
    main.tag("<tr><td>").add(severity_mark(site.counts.worst())).tag(R"(</td><td><a href="/?site=)").text(site.name);
    main.tag(R"(">)").text(site.name).tag(R"(</a></td><td class="num">)").number(site.controllers);
    main.tag(R"(</td><td class="num">)").number(site.silent).tag(R"(</td><td class="num">)").number(site.counts.all());
    main.tag(R"(</td><td class="num">)").number(site.counts.unacknowledged).tag(R"(</td><td class="num">)");
    main.number(site.behind).tag("</td></tr>");
  }
  main.tag(R"(</tbody></table></div></div><div data-live="controllers"><h2>Controllers)");
  if (!query.filter.site.empty()) main.tag(" of ").text(query.filter.site);
  main.tag(R"(, the worst first</h2><div class="scroll"><table id="controllers"><thead><tr><th>Worst</th>)");
  main.tag(R"(<th>Controller</th><th>Site</th><th class="num">Alarms</th><th class="num">New</th><th>Heard</th>)");
  main.tag("</tr></thead><tbody>");
  const std::size_t skip =
      static_cast<std::size_t>(query.skip) < rows.size() ? static_cast<std::size_t>(query.skip) : 0;
  const std::size_t end = std::min(rows.size(), skip + kMostControllers);
  for (std::size_t i = skip; i < end; ++i) main.add(controller_line(*rows[i]));
  main.tag("</tbody></table></div>");
  if (rows.empty()) main.tag(R"(<p class="quiet">There are no such controllers.</p>)");
  if (end < rows.size()) {
    main.tag(R"(<p class="pages"><a href="/?)").text(query.query).tag(R"(&amp;skip=)").text(std::to_string(end));
    main.tag(R"(">Next )").number(std::min(kMostControllers, rows.size() - end)).tag(" of ").number(rows.size());
    main.tag("</a></p>");
  }
  return of_view("Fleet", overview, main.tag("</div>"));
}

std::string FleetPaint::alarms(const fleet::Overview& overview, const ListQuery& query,
                               const fleet::ActiveAlarms& active) const {
  const fleet::AlarmFilter& filter = query.filter;
  const std::string_view severity = filter.least ? engine::severity_word(*filter.least) : "";
  const std::string_view state = filter.is_all              ? "all"
                                 : filter.is_silenced       ? "silenced"
                                 : filter.is_unacknowledged ? "new"
                                                            : "";
  Markup main;
  main.tag(R"(<h1 class="vh">Active alarms</h1><form class="filter" action="/alarms" role="search">)");
  main.tag(R"(<input type="search" name="text" aria-label="Text" placeholder="Text, DN or code" value=")");
  main.text(filter.text).tag(R"("><input name="site" aria-label="Site" placeholder="Site" size="12" value=")");
  main.text(filter.site);
  main.tag(R"("><input name="controller" aria-label="Controller" placeholder="Controller" size="14" value=")");
  main.text(filter.controller).tag(R"(">)");
  main.add(select(R"(<select name="severity" aria-label="Severity">)", kSeverities, severity));
  main.add(select(R"(<select name="state" aria-label="State">)", kStates, state));
  main.add(select(R"(<select name="order" aria-label="Order">)", kOrders,
                  query.order == fleet::AlarmOrder::kNewest ? "newest" : ""));
  main.tag(R"(<button class="apply">Show</button><span class="shown" data-live="shown">)");
  if (active.is_more) main.tag("more than ");
  main.number(static_cast<std::uint64_t>(active.found)).tag(R"( found</span></form><div data-live="list">)");
  if (active.rows.empty()) main.tag(R"(<p class="quiet">No active alarm fits.</p>)");
  main.add(list(active.rows, true));
  const std::int64_t end = query.skip + std::ssize(active.rows);
  if (std::ssize(active.rows) == kMostListed && (active.is_more || end < active.found)) {
    main.tag(R"(<p class="pages"><a href="/alarms?)").text(query.query).tag(R"(&amp;skip=)").text(std::to_string(end));
    main.tag(R"(">Next ones</a></p>)");
  }
  return of_view("Alarms", overview, main.tag("</div>"));
}

std::string FleetPaint::history(const fleet::Overview& overview, const ListQuery& query,
                                const std::vector<AlarmRow>& alarms) const {
  Markup main;
  main.tag(R"(<div data-live="list"><h1>History</h1><p>All alarms that are kept, the latest first.</p>)");
  if (alarms.empty()) main.tag(R"(<p class="quiet">There are no alarms.</p>)");
  main.add(list(alarms, true));
  if (std::ssize(alarms) == kMostListed) {
    main.tag(R"(<p class="pages"><a href="/history?)").text(query.query).tag("&amp;before=");
    main.text(std::to_string(alarms.back().id)).tag(R"(">Older ones</a></p>)");
  }
  return of_view("History", overview, main.tag("</div>"));
}

std::string FleetPaint::collectors(const fleet::Overview& overview) const {
  Markup main;
  main.tag(R"(<div data-live="list"><h1>Collectors</h1>)").tag(kScrolled);
  main.tag(R"(aria-label="Collectors"><table><thead><tr><th>Collector</th>)");
  main.tag(R"(<th>Heard</th><th class="num">Queues</th><th class="num">Messages</th><th class="num">Changes</th>)");
  main.tag(R"(<th class="num">Repeats</th><th class="num">Early</th><th class="num">Dead letters</th>)");
  main.tag("<th>Last problem</th></tr></thead><tbody>");
  for (const fleet::CollectorRow& one : overview.collectors) {
    main.tag("<tr><td>").text(one.name).tag("</td><td>").add(time_ago(one.heard, now_)).tag(R"(</td><td class="num">)");
    main.text(std::to_string(one.queues)).tag(R"(</td><td class="num">)").number(one.messages);
    main.tag(R"(</td><td class="num">)").number(one.changes).tag(R"(</td><td class="num">)").number(one.repeats);
    main.tag(R"(</td><td class="num">)").number(one.early).tag(R"(</td><td class="num">)").number(one.dead_letters);
    main.tag("</td><td>").text(one.last_problem).tag("</td></tr>");
  }
  main.tag("</tbody></table></div>");
  if (overview.collectors.empty()) main.tag(R"(<p class="quiet">No collector has told of itself yet.</p>)");
  return of_view("Collectors", overview, main.tag("</div>"));
}

std::string FleetPaint::actions(const fleet::Overview& overview, const std::vector<fleet::AskedAction>& actions) const {
  Markup main;
  main.tag(
      R"(<div data-live="list"><h1>Actions</h1><p>What operators asked for, the latest first. Controllers do it; alarms of silent controllers are acted upon at once.</p>)");
  main.tag(kScrolled).tag(R"(aria-label="Actions"><table><thead><tr><th>State</th><th>Controller</th>)");
  main.tag("<th>Request</th><th>By</th>");
  main.tag("<th>Asked</th><th>Until</th></tr></thead><tbody>");
  for (const fleet::AskedAction& one : actions) {
    main.tag("<tr><td>").text(one.state);
    if (!one.why.empty()) main.tag(": ").text(one.why);
    main.tag("</td><td>").text(one.site).tag(" / ");
    add_controller_link(main, one.site, one.controller);
    main.tag("</td><td>").text(one.request).tag("</td><td>").text(one.person).tag("</td><td>");
    main.add(time_ago(one.asked, now_)).tag("</td><td>").add(exact_time(one.expires)).tag("</td></tr>");
  }
  main.tag("</tbody></table></div>");
  if (actions.empty()) main.tag(R"(<p class="quiet">There are none yet.</p>)");
  return of_view("Actions", overview, main.tag("</div>"));
}

std::string FleetPaint::controller(const fleet::Overview& overview, const ControllerRow& controller,
                                   const fleet::ActiveAlarms& active, const std::vector<AlarmRow>& history) const {
  Markup main;
  main.tag(R"(<div data-live="list"><h1>)").text(controller.name).tag(R"( <span class="dim">of )");
  main.text(controller.site).tag("</span></h1>");
  if (controller.silent_since) {
    main.tag(R"(<p class="silent-note"><b class="silent">silent</b> since )").add(exact_time(*controller.silent_since));
    main.tag(": its alarms are shown as of ").add(exact_time(controller.heard)).tag(".</p>");
  } else {
    main.tag("<p>As of ")
        .add(exact_time(controller.heard))
        .tag(controller.is_engine_answering ? Markup::Tag(".</p>") : ". Its engine does not answer.</p>");
  }
  if (controller.behind() > 0) {
    main.tag("<p>").number(static_cast<std::uint64_t>(controller.behind()));
    main.tag(" of its changes are not here yet; they were asked for.</p>");
  }
  if (controller.is_list_wanted) main.tag("<p>The list of its active alarms was asked for and is not here yet.</p>");
  main.tag("<h2>Active alarms</h2>");
  if (active.rows.empty()) main.tag(R"(<p class="quiet">No alarm is active.</p>)");
  main.add(list(active.rows, false));
  if (active.found > std::ssize(active.rows)) {
    main.tag(R"(<p class="pages"><a href="/alarms?state=all&amp;site=)").text(controller.site);
    main.tag("&amp;controller=").text(controller.name).tag(R"(">All )");
    main.number(static_cast<std::uint64_t>(active.found)).tag("</a></p>");
  }
  main.tag(R"(<h2>History</h2><ol class="alarms" id="past">)");
  bool is_any = false;
  for (const AlarmRow& alarm : history) {
    if (alarm.ended.empty()) continue;
    main.add(row(alarm, false));
    is_any = true;
  }
  main.tag("</ol>");
  if (!is_any) main.tag(R"(<p class="quiet">No alarm that is over is among the latest.</p>)");
  main.tag(R"(<p class="pages"><a href="/history?site=)").text(controller.site).tag("&amp;controller=");
  main.text(controller.name).tag(R"(">All of its history</a></p>)");
  return of_view(controller.name, overview, main.tag("</div>"));
}

std::string FleetPaint::alarm(const fleet::Overview& overview, const AlarmRow& alarm,
                              const std::vector<fleet::AlarmStep>& steps) const {
  const Severity severity = shown_severity(alarm);
  Markup main;
  main.tag(R"(<div data-live="list"><article class="alarm s-)")
      .text(engine::severity_word(severity))
      .tag(R"(" data-id=")");
  main.text(std::to_string(alarm.id)).tag(R"(" data-state=")").text(engine::operator_state_word(alarm.state));
  main.tag(R"(" data-over=")").text(alarm.ended).tag(R"("><h1>)");
  main.text(alarm.description.empty() ? words_of(alarm.name) : alarm.description).tag("</h1><p>");
  main.add(severity_mark(severity)).tag(" on ");
  add_controller_link(main, alarm.site, alarm.controller);
  main.tag(" of ").text(alarm.site).tag("</p><dl><dt>Raised</dt><dd>").add(exact_time(alarm.created)).tag("</dd>");
  if (alarm.cleared) {
    main.tag("<dt>Ended</dt><dd>").add(exact_time(*alarm.cleared)).tag(", ").text(alarm.ended).tag("</dd>");
  }
  add_pair(main, "Object", alarm.dn);
  add_pair(main, "Fault", code_of(alarm.code) + " " + alarm.name);
  add_pair(main, "Cause", alarm.cause);
  add_pair(main, "Reported by", alarm.sensor);
  add_pair(main, "State", state_words(alarm).empty() ? "not acknowledged" : state_words(alarm));
  if (alarm.group) {
    main.tag(R"(<dt>Group</dt><dd><a href="/group/)").text(std::to_string(*alarm.group));
    main.tag(R"(">began together with others</a></dd>)");
  }
  main.tag(R"(</dl><h2>Its changes, the latest first</h2>)");
  if (steps.empty()) main.tag(R"(<p class="quiet">None is kept.</p>)");
  main.tag(R"(<ol class="plain">)");
  for (const fleet::AlarmStep& step : steps) {
    main.tag("<li>").add(exact_time(step.at)).tag(" ").text(step.kind);
    if (step.after != step.before && step.after != Severity::kCleared) main.tag(" ").add(severity_mark(step.after));
    if (!step.person.empty()) main.tag(" by ").text(step.person);
    if (!step.comment.empty()) main.tag(": \u201C").text(step.comment).tag("\u201D");
    main.tag("</li>");
  }
  main.tag("</ol></article></div>");
  return of_view("Alarm", overview, main);
}

std::string FleetPaint::group(const fleet::Overview& overview, const ListQuery& query, const fleet::GroupRow& group,
                              const std::vector<AlarmRow>& alarms) const {
  Markup main;
  main.tag(R"(<div data-live="list"><h1>)").text(group_words(group)).tag("</h1><p>").text(code_of(group.code));
  main.tag(" ").text(group.name).tag("; the first began ").add(exact_time(group.first_created));
  main.tag(R"(.</p><ul class="groups">)").add(group_item(group)).tag("</ul><h2>Its alarms, the latest first</h2>");
  main.add(list(alarms, true));
  if (std::ssize(alarms) == kMostListed) {
    main.tag(R"(<p class="pages"><a href="/group/)").text(std::to_string(group.number)).tag("?").text(query.query);
    main.tag("&amp;before=").text(std::to_string(alarms.back().id)).tag(R"(">Older ones</a></p>)");
  }
  return of_view("Group", overview, main.tag("</div>"));
}

}  // namespace polaiga::web
