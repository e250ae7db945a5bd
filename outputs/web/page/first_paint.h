// The views as HTML: what a browser shows before the scripts run, and without them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "http/target.h"
#include "ledger/reader.h"
#include "page/frame.h"
#include "page/markup.h"

namespace polaiga::web {

class FirstPaint {
 public:
  static constexpr std::int64_t kMostListed = 200;

  FirstPaint(const Frame& frame, engine::Moment now) : frame_(frame), now_(now) {}

  std::string alarms(const PaintOf& of, const Target& target) const;
  std::string alarm(const PaintOf& of, const engine::StoredAlarm& alarm) const;
  std::string missed(const PaintOf& of, const std::vector<engine::StoredAlarm>& alarms) const;
  std::string history(const PaintOf& of, const std::vector<engine::StoredAlarm>& alarms) const;
  std::string maintenance(const PaintOf& of) const;

  // A view that only scripts can draw, with links to what can be read without them.
  std::string scripted(const PaintOf& of, std::string_view title) const;

 private:
  Markup row(const engine::ActiveRow& row) const;
  Markup over_row(const engine::StoredAlarm& alarm) const;
  Markup over_list(const std::vector<engine::StoredAlarm>& alarms) const;  // the latest first

  Frame frame_;
  engine::Moment now_;
};

}  // namespace polaiga::web
