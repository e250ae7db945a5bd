#include "api/api.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <limits>

#include "api/actions.h"
#include "api/alarm_parameters.h"
#include "api/changes.h"
#include "app/program.h"
#include "base/quantities.h"
#include "http/answers.h"
#include "report/json_forms.h"
#include "report/measured.h"
#include "report/measures_forms.h"

namespace polaiga::web {
namespace {

using engine::ActiveRow;
using engine::ChangeNumber;
using engine::JsonArray;
using engine::JsonObject;
using engine::LedgerReader;
using engine::Severity;
using engine::StoredAlarm;

Response nothing_here() { return problem(404, "There is nothing at this address."); }

// The ledger was not read yet, or cannot be read.
struct NoView : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// How many alarms there are of each severity, but for what is silenced.
JsonObject counts_form(const std::vector<ActiveRow>& active) {
  std::array<std::size_t, 6> counts{};
  for (const ActiveRow& row : active) {
    if (!row.is_silenced()) ++counts.at(static_cast<std::size_t>(row.fault.severity));
  }
  JsonObject form;
  for (std::size_t i = counts.size() - 1; i > 0; --i) {
    form.add(engine::severity_word(static_cast<Severity>(i)), counts.at(i));
  }
  return form;
}

JsonArray alarm_forms(const std::vector<StoredAlarm>& alarms, const std::string& ledger_id, LedgerReader& reader) {
  JsonArray forms;
  for (const StoredAlarm& alarm : alarms) forms.add(engine::alarm_form(alarm, ledger_id, reader.profile()));
  return forms;
}

// What damaged rows were left out, a sentence each.
void add_left_out(JsonObject& body, const std::vector<std::string>& left_out) {
  if (left_out.empty()) return;
  JsonArray list;
  for (const std::string& one : left_out) list.add(one);
  body.add("left_out", list);
}

}  // namespace

Response Api::answer(const Request& request, const Caller& caller) {
  const std::vector<std::string>& path = request.target.path;
  if (path.size() < 3 || path[1] != "v1") return nothing_here();
  const bool is_about_caller = path[2] == "me" && path.size() == 3;  // also for whoever has to log in first
  if (!caller.may_see() && !is_about_caller) return problem(401, "Log in first.");
  try {
    if (path[2] == "actions" && path.size() == 3) return answer_action(site_, request, caller);
    if (!is_question(request)) return not_allowed("GET, HEAD");
    return route(request, caller);
  } catch (const BadQuery& bad) {
    return problem(400, std::string(bad.what()) + ".");
  } catch (const NoView& none) {
    return problem(503, std::string(none.what()) + ".");
  } catch (const ProgramFailed& failed) {
    return problem(503, std::string(failed.what()) + ".");
  }
}

Response Api::route(const Request& request, const Caller& caller) {
  const std::vector<std::string>& path = request.target.path;
  const std::string& what = path[2];
  if (what == "alarms" && path.size() == 4) return alarm(request, path[3]);
  if (path.size() != 3) return nothing_here();
  if (what == "alarms") {
    const Target& target = request.target;
    const bool passes = target.find("older_than") || target.find("newer_than") || target.find("at");  // with time
    if (passes) return alarms(request);
    return lists_.answer(request, view()->version, [this](const Request& question) { return alarms(question); });
  }
  if (what == "history") return history(request);
  if (what == "missed") return missed(request);
  if (what == "explain") return explain(request);
  if (what == "stats") return stats(request);
  if (what == "catalog") return catalog(request);
  if (what == "maintenance") return maintenance(request);
  if (what == "status") return status(request);
  if (what == "changes") return answer_changes(site_, request);
  if (what == "me") return me(request, caller);
  if (what == "openapi.json") return description(request);
  return nothing_here();
}

std::shared_ptr<const View> Api::view() const {
  auto view = site_.live.view();
  if (!view) throw NoView(site_.live.problem().value_or("The ledger was not read yet; ask again in a second"));
  return view;
}

// Counts tell of all that is active; the list has what was asked for.
Response Api::alarms(const Request& request) {
  const AlarmQuery query = read_alarm_query(request.target);
  const auto current = view();
  const engine::Overview& now = current->of;
  std::vector<ActiveRow> past;
  std::vector<std::string> left_out = current->left_out;
  if (query.at) {
    past = site_.readers.ask([&](LedgerReader& reader) {
      const auto gone_until = reader.reach().gone_until;
      if (gone_until && *query.at < *gone_until) {
        throw BadQuery("The ledger reaches back to " + engine::format_moment(*gone_until) +
                       "; what was before is not kept any more");
      }
      std::vector<ActiveRow> rows = reader.active({}, query.at);
      left_out = reader.left_out();
      return rows;
    });
  }
  const std::vector<ActiveRow>& active = query.at ? past : now.active;
  const engine::Selection selection = query.selection.at(query.at.value_or(std::time(nullptr)));
  JsonArray list;
  std::size_t found = 0;
  for (const ActiveRow& row : active) {
    if (!query.has(row) || !engine::has(selection, row)) continue;
    if (++found <= query.skip || found > query.skip + query.limit) continue;
    list.add(engine::active_row_form(row, now.ledger_id, *now.profile));
  }
  JsonObject body;
  body.add("ledger_id", now.ledger_id)
      .add("change", now.number)
      .add("counts", counts_form(active))
      .add("missed", now.missed)
      .add("found", found);
  add_left_out(body, left_out);
  body.add("alarms", list);
  return json_content(request, body.line());
}

Response Api::alarm(const Request& request, const std::string& name) {
  expect_only(request.target, {});
  return site_.readers.ask([&](LedgerReader& reader) {
    const std::string ledger_id = reader.ledger_id();
    const std::size_t dash = name.rfind('-');
    const bool is_id = dash != std::string::npos;
    const auto number = engine::parse_whole_number(is_id ? name.substr(dash + 1) : name);
    const bool is_here = !is_id || name.substr(0, dash) == ledger_id;
    const auto alarm = number && *number > 0 && is_here ? reader.alarm(*number) : std::nullopt;
    if (!alarm) return problem(404, "The ledger has no alarm of this number, or does not keep it any more.");
    return json_content(request, engine::alarm_form(*alarm, ledger_id, reader.profile()).line());
  });
}

Response Api::history(const Request& request) {
  expect_only(request.target, {"limit", "before", "fault_dn"});
  const std::int64_t limit = limit_parameter(request.target);
  const std::string fault_dn(request.target.find("fault_dn").value_or(""));
  const auto before = number_parameter(request.target, "before", 0, kMostNumber);
  if (before && !fault_dn.empty()) throw BadQuery("The parameters 'before' and 'fault_dn' do not go together");
  return site_.readers.ask([&](LedgerReader& reader) {
    const auto alarms = fault_dn.empty()
                            ? reader.history_before(before.value_or(std::numeric_limits<ChangeNumber>::max()), limit)
                            : reader.history(fault_dn, limit);
    JsonObject body;
    const std::string ledger_id = reader.ledger_id();
    body.add("ledger_id", ledger_id);
    if (fault_dn.empty() && alarms.size() == static_cast<std::size_t>(limit)) {
      body.add("next",
               "/api/v1/history?limit=" + std::to_string(limit) + "&before=" + std::to_string(alarms.front().number));
    }
    add_left_out(body, reader.left_out());
    body.add("alarms", alarm_forms(alarms, ledger_id, reader));
    return json_content(request, body.line());
  });
}

Response Api::missed(const Request& request) {
  expect_only(request.target, {"limit"});
  const std::int64_t limit = limit_parameter(request.target);
  return site_.readers.ask([&](LedgerReader& reader) {
    const engine::MissedCount count = reader.count_missed();
    const auto alarms = reader.missed(limit);
    const std::string ledger_id = reader.ledger_id();
    JsonObject body;
    body.add("ledger_id", ledger_id).add("missed", count.alarms).add("through", count.through);
    add_left_out(body, reader.left_out());
    body.add("alarms", alarm_forms(alarms, ledger_id, reader));
    return json_content(request, body.line());
  });
}

// The filters run in a program of its own: they keep state, and what they are bound to must not change here.
Response Api::explain(const Request& request) {
  expect_only(request.target, {"fault_dn"});
  const auto fault_dn = request.target.find("fault_dn");
  if (!fault_dn || fault_dn->empty()) throw BadQuery("The parameter 'fault_dn' is missing: the DN of a fault");
  ProgramAnswer said =
      run_program({site_.program, "explain", "--json", "--ledger", site_.ledger, "--", std::string(*fault_dn)});
  if (!said.output.empty() && said.status <= 1) return json_content(request, std::move(said.output));
  if (said.status == 1) return problem(404, "The ledger has no history of this fault.");
  return problem(503, "The fault cannot be explained: " + said.complaint + ".");
}

Response Api::stats(const Request& request) {
  expect_only(request.target, {"under", "newer_than"});
  engine::MeasuredWhat what;
  what.under = request.target.find("under").value_or("");
  if (const auto text = request.target.find("newer_than")) {
    what.newer_than = engine::parse_age(*text);
    if (!what.newer_than) throw BadQuery("The parameter 'newer_than' is no whole number with s, m, h or d, such as 7d");
  }
  return site_.readers.ask([&](LedgerReader& reader) {
    const engine::Measured measured = engine::measure(reader, what, std::time(nullptr));
    return json_content(request, engine::measures_form(measured, reader.ledger_id()).line());
  });
}

Response Api::catalog(const Request& request) {
  expect_only(request.target, {});
  const Body lines = faults_.lines();
  const std::lock_guard lock(catalog_mutex_);
  if (!catalog_) {
    std::string text = "{\"faults\":[";
    for (const char c : *lines) text += c == '\n' ? ',' : c;
    if (text.ends_with(',')) text.pop_back();
    catalog_ = std::make_shared<const std::string>(text + "]}\n");
  }
  return content(request, catalog_, "application/json");
}

Response Api::maintenance(const Request& request) {
  expect_only(request.target, {});
  const auto current = view();
  JsonArray list;
  for (const engine::StoredMaintenance& one : current->of.maintenance) list.add(engine::maintenance_form(one));
  JsonObject body;
  body.add("ledger_id", current->of.ledger_id).add("maintenance", list);
  return json_content(request, body.line());
}

Response Api::status(const Request& request) const {
  expect_only(request.target, {});
  const EngineSaid said = site_.engine.said();
  const auto current = site_.live.view();
  JsonObject ledger;
  ledger.add("path", site_.ledger);
  if (current) ledger.add("id", current->of.ledger_id).add("change", current->of.number);
  if (const auto problem = site_.live.problem()) ledger.add("problem", *problem);
  JsonObject body;
  body.add("ledger", ledger);
  if (current) add_left_out(body, current->left_out);
  if (!said.status) body.add("silence", said.silence);
  std::string text = body.text();
  text.pop_back();
  return json_content(request, text + ",\"engine\":" + said.status.value_or("null") + "}\n");
}

Response Api::me(const Request& request, const Caller& caller) const {
  expect_only(request.target, {});
  JsonObject body;
  body.add("name", caller.name).add("role", role_name(caller.role));
  if (const auto token = site_.gate.csrf(request)) body.add("csrf", *token);
  Response response = json_content(request, body.line());
  response.headers.emplace_back("Vary", "Cookie, Authorization");
  return response;
}

Response Api::description(const Request& request) const {
  expect_only(request.target, {});
  return content(request, description_, "application/json");
}

}  // namespace polaiga::web
