// The views of the page as plain lists, which need no scripts.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "access/caller.h"
#include "fleet_page/list_query.h"
#include "page/markup.h"
#include "questions/alarms.h"
#include "questions/asked_actions.h"
#include "questions/overview.h"

namespace polaiga::web {

class FleetPaint {
 public:
  static constexpr std::int64_t kMostListed = 100;
  static constexpr std::size_t kMostControllers = 200;

  // `html` is the page without its content, files/fleet.html; it and the caller must outlive this.
  FleetPaint(std::string_view html, engine::Moment now, const Caller& caller)
      : html_(html), now_(now), caller_(caller) {}

  std::string fleet(const fleet::Overview& overview, const ListQuery& query) const;
  std::string alarms(const fleet::Overview& overview, const ListQuery& query, const fleet::ActiveAlarms& active) const;
  std::string history(const fleet::Overview& overview, const ListQuery& query,
                      const std::vector<fleet::AlarmRow>& alarms) const;
  std::string collectors(const fleet::Overview& overview) const;
  std::string actions(const fleet::Overview& overview, const std::vector<fleet::AskedAction>& actions) const;
  std::string controller(const fleet::Overview& overview, const fleet::ControllerRow& controller,
                         const fleet::ActiveAlarms& active, const std::vector<fleet::AlarmRow>& history) const;
  std::string alarm(const fleet::Overview& overview, const fleet::AlarmRow& alarm,
                    const std::vector<fleet::AlarmStep>& steps) const;
  std::string group(const fleet::Overview& overview, const ListQuery& query, const fleet::GroupRow& group,
                    const std::vector<fleet::AlarmRow>& alarms) const;

  // A page that says what is wrong.
  std::string problem(std::string_view title, std::string_view detail) const;

 private:
  std::string framed(std::string_view title, const Markup& header, const Markup& main) const;
  std::string of_view(std::string_view title, const fleet::Overview& overview, const Markup& main) const;
  Markup row(const fleet::AlarmRow& alarm, bool tells_place) const;
  Markup list(std::span<const fleet::AlarmRow> alarms, bool tells_place) const;
  Markup group_item(const fleet::GroupRow& group) const;
  Markup controller_line(const fleet::ControllerRow& controller) const;

  std::string_view html_;
  engine::Moment now_;
  const Caller& caller_;
};

// As in "Input power lost on 212 servers of hall-b within 40 s".
std::string group_words(const fleet::GroupRow& group);

}  // namespace polaiga::web
