// Families of metrics and their series, as prometheus-cpp writes them.
#pragma once

#include <prometheus/metric_family.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace polaiga::web {

using Families = std::vector<prometheus::MetricFamily>;
using Labels = std::vector<std::pair<const char*, std::string_view>>;

// A family with a name and a sentence that says what it tells.
prometheus::MetricFamily gauge(const char* name, const char* help);
prometheus::MetricFamily counter(const char* name, const char* help);
prometheus::MetricFamily histogram(const char* name, const char* help);

// Adds a series to a gauge or a counter. The serializer escapes what labels may not have; bytes that are not UTF-8, for
// which Prometheus would refuse the whole answer, are replaced.
void add(prometheus::MetricFamily& family, double value, const Labels& labels = {});

// Adds the one series of a histogram: `counts` of each bucket alone, which has one more than there are bounds.
void add(prometheus::MetricFamily& family, const std::vector<std::chrono::microseconds>& bounds,
         const std::vector<std::uint64_t>& counts, std::chrono::microseconds total);

}  // namespace polaiga::web
