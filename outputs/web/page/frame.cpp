#include "page/frame.h"

#include <unistd.h>

#include <array>

#include "page/choice.h"
#include "page/elements.h"

namespace polaiga::web {
namespace {

using engine::Severity;

// A view with a tab of its own.
struct Tab {
  std::string_view path;
  std::string_view title;
  bool is_scripted;
};

constexpr std::array<Tab, 7> kTabs = {{{"", "Alarms", false},
                                       {"objects", "Objects", true},
                                       {"timeline", "Timeline", true},
                                       {"missed", "Missed", false},
                                       {"statistics", "Statistics", true},
                                       {"catalog", "Catalog", true},
                                       {"health", "Health", true}}};

std::string host_name() {
  std::array<char, 256> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

Markup all_tabs(std::string_view title, std::size_t missed) {
  Markup markup;
  markup.tag(R"(<nav id="tabs" aria-label="Views"><ul>)");
  for (const Tab& tab : kTabs) {
    markup.tag(R"(<li><a href="/)").text(tab.path).tag(R"(")");
    if (tab.title == title) markup.tag(R"( aria-current="page")");
    markup.tag(">").text(tab.title);
    if (tab.path == "missed" && missed > 0) markup.tag(" <b>").number(missed).tag("</b>");
    markup.tag("</a></li>");
  }
  return markup.tag("</ul></nav>");
}

}  // namespace

std::optional<std::string_view> Frame::scripted_view(std::string_view path) {
  for (const Tab& tab : kTabs) {
    if (tab.is_scripted && tab.path == path) return tab.title;
  }
  return std::nullopt;
}

Markup Frame::counts(const PaintOf& of) const {
  const engine::Overview& overview = of.overview;
  std::array<std::size_t, 6> counts{};
  std::size_t fresh = 0;
  std::size_t shelved = 0;
  for (const engine::ActiveRow& row : overview.active) {
    if (!row.is_silenced()) ++counts.at(static_cast<std::size_t>(row.fault.severity));
    if (is_new(row)) ++fresh;
    if (row.standing.shelved != 0) ++shelved;
  }
  Markup markup;
  markup.tag(R"(<div class="line"><a class="brand" href="/">polaiga</a> <span class="site">)")
      .text(host_name())
      .tag(R"(</span><span class="live" id="live"><span class="dot"></span>as of )")
      .text(exact_text(now_))
      .tag(" \u00B7 change <span class=\"num\">")
      .number(static_cast<std::uint64_t>(overview.number))
      .tag("</span>")
      .tag(of.is_readable ? Markup::Tag("")
                          : Markup::Tag(" \u00B7 the ledger cannot be read, this is what was read last"))
      .tag(of.engine_runs ? Markup::Tag("") : Markup::Tag(" \u00B7 engine is not running"))
      .tag(R"(</span><span class="me" id="me">)")
      .text(of.caller.name)
      .tag(R"(</span></div><ul class="counts" id="counts" aria-label="Active alarms by severity">)");
  for (std::size_t i = counts.size() - 1; i > 0; --i) {
    const auto severity = static_cast<Severity>(i);
    if (severity == Severity::kIndeterminate && counts.at(i) == 0) continue;
    markup.tag(R"(<li><a href="/?severity=)").text(engine::severity_word(severity)).tag(R"(" class="count s-)");
    markup.text(engine::severity_word(severity)).tag(counts.at(i) == 0 ? Markup::Tag(R"( none">)") : R"(">)");
    markup.add(shape(severity)).tag("<b>").number(counts.at(i)).tag("</b> ").text(engine::severity_word(severity));
    markup.tag("</a></li>");
  }
  markup.tag(R"(<li class="more"><a href="/?state=new" class="count"><b>)").number(fresh);
  markup.tag(R"(</b> new</a></li><li><a href="/?state=shelved" class="count"><b>)").number(shelved);
  markup.tag("</b> shelved</a></li>");
  if (!overview.maintenance.empty()) {
    markup.tag(R"(<li><a href="/maintenance" class="count"><b>)").number(overview.maintenance.size());
    markup.tag("</b> out of service</a></li>");
  }
  return markup.tag("</ul>");
}

std::string Frame::framed(std::string_view title, const Markup& header, const Markup& main) const {
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

std::string Frame::of_view(std::string_view title, const PaintOf& of, const Markup& main) const {
  Markup header = counts(of);
  return framed(title, header.add(all_tabs(title, of.overview.missed)), main);
}

std::string Frame::problem(std::string_view title, std::string_view detail) const {
  Markup header;
  header.tag(R"(<div class="line"><a class="brand" href="/">polaiga</a></div>)");
  Markup main;
  main.tag("<h1>").text(title).tag("</h1><p>").text(detail).tag("</p>");
  return framed(title, header, main);
}

}  // namespace polaiga::web
