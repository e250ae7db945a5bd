#include "api/api.h"

#include <array>
#include <ctime>

#include "api/alarm_parameters.h"
#include "http/answers.h"
#include "report/json_forms.h"

namespace polaiga::web {
namespace {

using engine::ActiveRow;
using engine::JsonArray;
using engine::JsonObject;
using engine::Severity;

}  // namespace

Response Api::answer(const Request& request, const Caller& caller) {
  if (!caller.may_see()) return problem(401, "Log in first.");
  const std::vector<std::string>& path = request.target.path;
  if (path.size() < 3 || path[1] != "v1") return problem(404, "There is nothing at this address.");
  try {
    if (path[2] == "alarms" && path.size() == 3) return alarms(request);
  } catch (const BadQuery& bad) {
    return problem(400, std::string(bad.what()) + ".");
  }
  return problem(404, "There is nothing at this address.");
}

// Counts tell of all that is active but for what is silenced; the list has what was asked for.
Response Api::alarms(const Request& request) {
  if (!is_question(request)) return not_allowed("GET, HEAD");
  const AlarmQuery query = read_alarm_query(request.target);
  const auto view = site_.live.view();
  if (!view) return problem(503, site_.live.problem().value_or("The ledger was not read yet") + ".");
  const engine::Overview& now = view->of;
  const engine::Selection selection = query.selection.at(std::time(nullptr));
  std::array<std::size_t, 6> counts{};
  JsonArray list;
  std::size_t found = 0;
  for (const ActiveRow& row : now.active) {
    if (!row.is_silenced()) ++counts.at(static_cast<std::size_t>(row.fault.severity));
    if (!query.has(row) || !engine::has(selection, row)) continue;
    if (++found <= query.skip || found > query.skip + query.limit) continue;
    list.add(engine::active_row_form(row, now.ledger_id, *now.profile));
  }
  JsonObject by_severity;
  for (std::size_t i = counts.size() - 1; i > 0; --i) {
    by_severity.add(engine::severity_word(static_cast<Severity>(i)), counts.at(i));
  }
  JsonObject body;
  body.add("ledger_id", now.ledger_id)
      .add("change", now.number)
      .add("counts", by_severity)
      .add("missed", now.missed)
      .add("found", found)
      .add("alarms", list);
  return json_content(request, body.line());
}

}  // namespace polaiga::web
