#include "metrics/families.h"

#include <limits>

#include "base/utf8.h"

namespace polaiga::web {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

prometheus::MetricFamily family(const char* name, const char* help, prometheus::MetricType type) {
  return {.name = name, .help = help, .type = type, .metric = {}};
}

std::string as_utf8(std::string_view text) {
  std::string valid;
  valid.reserve(text.size());
  while (!text.empty()) {
    const engine::Character next = engine::first_character(text);
    valid += next.valid ? text.substr(0, next.size) : kReplacement;
    text.remove_prefix(next.size);
  }
  return valid;
}

double seconds(std::chrono::microseconds span) { return std::chrono::duration<double>(span).count(); }

}  // namespace

prometheus::MetricFamily gauge(const char* name, const char* help) {
  return family(name, help, prometheus::MetricType::Gauge);
}

prometheus::MetricFamily counter(const char* name, const char* help) {
  return family(name, help, prometheus::MetricType::Counter);
}

prometheus::MetricFamily histogram(const char* name, const char* help) {
  return family(name, help, prometheus::MetricType::Histogram);
}

void add(prometheus::MetricFamily& family, double value, const Labels& labels) {
  prometheus::ClientMetric& metric = family.metric.emplace_back();
  metric.label.reserve(labels.size());
  for (const auto& [name, text] : labels) metric.label.push_back({name, as_utf8(text)});
  (family.type == prometheus::MetricType::Counter ? metric.counter.value : metric.gauge.value) = value;
}

void add(prometheus::MetricFamily& family, const std::vector<std::chrono::microseconds>& bounds,
         const std::vector<std::uint64_t>& counts, std::chrono::microseconds total) {
  prometheus::ClientMetric::Histogram& series = family.metric.emplace_back().histogram;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    series.sample_count += counts[i];
    series.bucket.push_back(
        {.cumulative_count = series.sample_count,
         .upper_bound = i < bounds.size() ? seconds(bounds[i]) : std::numeric_limits<double>::infinity()});
  }
  series.sample_sum = seconds(total);
}

}  // namespace polaiga::web
