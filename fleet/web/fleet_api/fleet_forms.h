// What is known of the fleet, as JSON objects. Members that polaiga-web has, too, have the same names and values here.
#pragma once

#include "questions/alarms.h"
#include "questions/asked_actions.h"
#include "questions/overview.h"
#include "report/json_object.h"

namespace polaiga::web {

engine::JsonObject counts_form(const fleet::AlarmCounts& counts);
engine::JsonObject site_form(const fleet::SiteRow& site);
engine::JsonObject controller_form(const fleet::ControllerRow& controller);
engine::JsonObject group_form(const fleet::GroupRow& group);
engine::JsonObject collector_form(const fleet::CollectorRow& collector);
engine::JsonObject alarm_form(const fleet::AlarmRow& alarm);
engine::JsonObject step_form(const fleet::AlarmStep& step);
engine::JsonObject asked_form(const fleet::AskedAction& action);

}  // namespace polaiga::web
