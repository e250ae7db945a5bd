#include "page/elements.h"

#include <algorithm>

namespace polaiga::web {
namespace {

using engine::Moment;
using engine::Severity;

std::string_view short_dn(std::string_view dn) {
  constexpr std::string_view kRack = "sys/rack-unit-1/";
  constexpr std::string_view kRoot = "sys/";
  if (dn.starts_with(kRack)) return dn.substr(kRack.size());
  return dn.starts_with(kRoot) ? dn.substr(kRoot.size()) : dn;
}

}  // namespace

Markup shape(Severity severity) {
  Markup mark;
  mark.tag(R"(<svg class="mark" viewBox="0 0 16 16" aria-hidden="true">)");
  switch (severity) {
    case Severity::kCritical:
      mark.tag(R"(<path d="M8 0 16 8 8 16 0 8z"/>)");
      break;
    case Severity::kMajor:
      mark.tag(R"(<path d="M8 1 16 15H0z"/>)");
      break;
    case Severity::kMinor:
      mark.tag(R"(<circle cx="8" cy="8" r="7"/>)");
      break;
    case Severity::kWarning:
      mark.tag(R"(<circle class="open" cx="8" cy="8" r="6"/>)");
      break;
    case Severity::kIndeterminate:
      mark.tag(R"(<path class="open" d="M2 2H14V14H2z"/>)");
      break;
    case Severity::kCleared:
      mark.tag(R"(<path class="open" d="M2 8 6.5 13 14 3"/>)");
      break;
  }
  return mark.tag("</svg>");
}

Markup severity_mark(Severity severity) {
  Markup markup;
  markup.tag(R"(<span class="sev s-)").text(engine::severity_word(severity)).tag(R"(">)");
  return markup.add(shape(severity)).text(engine::severity_word(severity)).tag("</span>");
}

Markup object(std::string_view dn) {
  Markup markup;
  return markup.tag(R"(<span class="obj" title=")").text(dn).tag(R"(">)").text(short_dn(dn)).tag("</span>");
}

std::string age_text(Moment seconds) {
  constexpr Moment kMinute = 60;
  constexpr Moment kHour = 60 * kMinute;
  constexpr Moment kDay = 24 * kHour;
  if (seconds < kMinute) return std::to_string(std::max<Moment>(seconds, 0)) + " s";
  if (seconds < 2 * kHour) return std::to_string(seconds / kMinute) + " min";
  if (seconds < 2 * kDay) return std::to_string(seconds / kHour) + " h";
  return std::to_string(seconds / kDay) + " d";
}

std::string exact_text(Moment moment) {
  std::string text = engine::format_moment(moment);
  text.replace(10, 1, " ");
  return text.replace(19, 1, " UTC");
}

Markup exact_time(Moment moment) {
  Markup time;
  time.tag(R"(<time datetime=")").text(engine::format_moment(moment)).tag(R"(">)").text(exact_text(moment));
  return time.tag("</time>");
}

Markup time_ago(Moment moment, Moment now) {
  Markup time;
  const std::string exact = exact_text(moment);
  time.tag(R"(<time datetime=")").text(engine::format_moment(moment)).tag(R"(" title=")").text(exact).tag(R"(">)");
  return time.text(age_text(now - moment)).tag(R"(<span class="vh"> ago, )").text(exact).tag("</span></time>");
}

}  // namespace polaiga::web
