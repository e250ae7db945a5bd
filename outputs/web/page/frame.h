// What all views have around their content: the head of the page with the counts, and the tabs.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "access/caller.h"
#include "ledger/reader.h"
#include "page/markup.h"

namespace polaiga::web {

// What all views show.
struct PaintOf {
  const engine::Overview& overview;
  const Caller& caller;
  bool engine_runs = false;
  bool is_readable = true;  // the ledger can still be read
};

class Frame {
 public:
  // `html` is the page without its content, files/page.html; it must outlive this.
  Frame(std::string_view html, engine::Moment now) : html_(html), now_(now) {}

  // The page of a view. The tab of the view's title is marked as the one that is shown.
  std::string of_view(std::string_view title, const PaintOf& of, const Markup& main) const;

  // A page that says what is wrong, without alarms.
  std::string problem(std::string_view title, std::string_view detail) const;

  // The title of a view that only scripts can draw, by its path; nothing for others.
  static std::optional<std::string_view> scripted_view(std::string_view path);

 private:
  std::string framed(std::string_view title, const Markup& header, const Markup& main) const;
  Markup counts(const PaintOf& of) const;

  std::string_view html_;
  engine::Moment now_;
};

}  // namespace polaiga::web
