// The page as HTML: what a browser shows before the scripts run, and without them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/caller.h"
#include "http/target.h"
#include "ledger/reader.h"
#include "page/markup.h"

namespace polaiga::web {

// What all views show.
struct PaintOf {
  const engine::Overview& overview;
  const Caller& caller;
  bool engine_runs = false;
};

// A number in an address; nothing when it is none.
std::optional<std::int64_t> number_of(std::string_view text);

class FirstPaint {
 public:
  static constexpr std::int64_t kMostListed = 200;

  // `frame` is the page without its content, files/page.html; it must outlive this.
  FirstPaint(std::string_view frame, engine::Moment now) : frame_(frame), now_(now) {}

  std::string alarms(const PaintOf& of, const Target& target) const;
  std::string alarm(const PaintOf& of, const engine::StoredAlarm& alarm) const;
  std::string missed(const PaintOf& of, const std::vector<engine::StoredAlarm>& alarms) const;
  std::string history(const PaintOf& of, const std::vector<engine::StoredAlarm>& alarms) const;
  std::string maintenance(const PaintOf& of) const;

  // A view that only scripts can draw, with links to what can be read without them.
  std::string scripted(const PaintOf& of, std::string_view title) const;
  // The title of such a view by its path; nothing for others.
  static std::optional<std::string_view> scripted_view(std::string_view path);

  std::string problem(std::string_view title, std::string_view detail) const;

 private:
  std::string framed(std::string_view title, const Markup& header, const Markup& main) const;
  std::string of_view(std::string_view title, const PaintOf& of, const Markup& main) const;
  Markup header(const PaintOf& of) const;
  Markup row(const engine::ActiveRow& row) const;
  Markup over_row(const engine::StoredAlarm& alarm) const;
  Markup time(engine::Moment moment) const;

  std::string_view frame_;
  engine::Moment now_;
};

}  // namespace polaiga::web
