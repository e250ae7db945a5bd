#include "fleet_api/fleet_forms.h"

#include <nlohmann/json.hpp>

#include "database/action_id.h"

namespace polaiga::web {

using engine::format_moment;
using engine::JsonObject;
using engine::severity_word;

JsonObject counts_form(const fleet::AlarmCounts& counts) {
  JsonObject form;
  for (std::size_t i = counts.of_severity.size() - 1; i > 0; --i) {
    form.add(severity_word(static_cast<engine::Severity>(i)), counts.of_severity.at(i));
  }
  return form;
}

JsonObject site_form(const fleet::SiteRow& site) {
  JsonObject form;
  form.add("site", site.name)
      .add("controllers", site.controllers)
      .add("silent", site.silent)
      .add("worst", severity_word(site.counts.worst()))
      .add("counts", counts_form(site.counts))
      .add("unacknowledged", site.counts.unacknowledged)
      .add("silenced", site.counts.silenced)
      .add("changes", site.changes)
      .add("behind", site.behind);
  return form;
}

JsonObject controller_form(const fleet::ControllerRow& controller) {
  JsonObject form;
  form.add("site", controller.site)
      .add("controller", controller.name)
      .add("worst", severity_word(controller.counts.worst()))
      .add("counts", counts_form(controller.counts))
      .add("unacknowledged", controller.counts.unacknowledged)
      .add("silenced", controller.counts.silenced)
      .add("online", controller.is_online)
      .add("engine_answers", controller.is_engine_answering)
      .add("heard", format_moment(controller.heard));
  if (controller.silent_since) form.add("silent_since", format_moment(*controller.silent_since));
  if (!controller.version.empty()) form.add("version", controller.version);
  if (!controller.ledger_id.empty()) form.add("ledger_id", controller.ledger_id).add("through", controller.through);
  return form.add("behind", controller.behind()).add("list_wanted", controller.is_list_wanted);
}

JsonObject group_form(const fleet::GroupRow& group) {
  JsonObject form;
  form.add("group", group.number)
      .add("site", group.site)
      .add("code", group.code)
      .add("name", group.name)
      .add("description", group.description)
      .add("severity", severity_word(group.worst))
      .add("first_created", format_moment(group.first_created))
      .add("last_created", format_moment(group.last_created))
      .add("alarms", group.alarms)
      .add("controllers", group.controllers)
      .add("active", group.active)
      .add("unacknowledged", group.unacknowledged);
  return form;
}

JsonObject collector_form(const fleet::CollectorRow& collector) {
  JsonObject form;
  form.add("collector", collector.name)
      .add("begun", format_moment(collector.begun))
      .add("heard", format_moment(collector.heard))
      .add("version", collector.version)
      .add("queues", collector.queues)
      .add("messages", collector.messages)
      .add("changes", collector.changes)
      .add("repeats", collector.repeats)
      .add("early", collector.early)
      .add("dead_letters", collector.dead_letters);
  if (!collector.last_problem.empty()) form.add("last_problem", collector.last_problem);
  if (collector.last_problem_at) form.add("last_problem_at", format_moment(*collector.last_problem_at));
  return form;
}

JsonObject alarm_form(const fleet::AlarmRow& alarm) {
  JsonObject form;
  form.add("id", alarm.id).add("site", alarm.site).add("controller", alarm.controller);
  if (!alarm.ledger_id.empty()) {
    form.add("alarm", alarm.ledger_id + "-" + std::to_string(alarm.number)).add("fault", alarm.fault);
  }
  form.add("created", format_moment(alarm.created))
      .add("fault_dn", alarm.fault_dn)
      .add("dn", alarm.dn)
      .add("code", alarm.code)
      .add("name", alarm.name)
      .add("sensor", alarm.sensor)
      .add("description", alarm.description)
      .add("cause", alarm.cause)
      .add("oid", alarm.oid)
      .add("severity", severity_word(alarm.severity))
      .add("worst", severity_word(alarm.worst))
      .add("since", format_moment(alarm.since))
      .add("updated", format_moment(alarm.updated))
      .add("count", alarm.count)
      .add("reporters", alarm.reporters)
      .add("operator_state", engine::operator_state_word(alarm.state))
      .add("out_of_service", alarm.is_out_of_service);
  if (!alarm.acknowledged_by.empty()) form.add("acknowledged_by", alarm.acknowledged_by);
  if (alarm.raises > 0) form.add("chattering", JsonObject().add("raises", alarm.raises));
  if (alarm.group) form.add("group", *alarm.group);
  if (alarm.cleared) form.add("ended", format_moment(*alarm.cleared)).add("ending", alarm.ended);
  return form;
}

JsonObject step_form(const fleet::AlarmStep& step) {
  JsonObject form;
  form.add("number", step.number)
      .add("change", step.kind)
      .add("at", format_moment(step.at))
      .add("before", severity_word(step.before))
      .add("after", severity_word(step.after));
  if (!step.person.empty()) form.add("person", step.person);
  if (!step.comment.empty()) form.add("comment", step.comment);
  return form;
}

JsonObject asked_form(const fleet::AskedAction& action) {
  JsonObject form;
  form.add("id", fleet::action_id(action.number))
      .add("site", action.site)
      .add("controller", action.controller)
      .add("state", action.state)
      .add("person", action.person)
      .add("asked", format_moment(action.asked))
      .add("expires", format_moment(action.expires));
  const auto request = nlohmann::json::parse(action.request, nullptr, false);
  for (const char* const name : {"do", "alarms", "comment"}) {
    const auto member = request.is_object() ? request.find(name) : request.end();
    if (member != request.end() && member->is_string()) form.add(name, member->get<std::string>());
  }
  if (request.is_object() && request.contains("of_fleet")) form.add("of_fleet", true);
  if (action.sent) form.add("sent", format_moment(*action.sent));
  if (action.ended) form.add("ended", format_moment(*action.ended));
  if (!action.why.empty()) form.add("why", action.why);
  return form;
}

}  // namespace polaiga::web
