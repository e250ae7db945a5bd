// Times every filter beside the bare time stamp, which is the part of a call
// that is the C library's work, and fails when a filter costs more than its
// limit. The time-zone file says UTC, or names a zone, or there is none. Without
// a file the stamp has nothing to read and is at its cheapest, so there the
// ratio shows best what the filters themselves cost.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <span>
#include <string>

#include "cases.h"

// The storage filter's trace lines are the C library's work.
extern "C" int puts(const char* /*text*/) { return 0; }
extern "C" int printf(const char* /*format*/, ...) { return 0; }

namespace polaiga::bench {
namespace {

struct Zone {
  const char* title;
  const char* name;  // null: there is no file
  double limit;      // most that a call may cost, with the bare stamp as 1
};
constexpr Zone kZones[] = {
    {.title = "UTC", .name = "UTC", .limit = 1.15},
    {.title = "Europe/Berlin", .name = "Europe/Berlin", .limit = 1.15},
    {.title = "no file", .name = nullptr, .limit = 1.25},
};

constexpr int kRounds = 501;
constexpr int kCalls = 40;  // of each kind in a round

template <class Call>
double seconds(const Call& call) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kCalls; ++i) call();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// How much dearer the call is than the bare stamp. Each round times the two one
// right after the other, so that both meet the same state of the machine, and
// the median of the rounds counts.
template <class Call>
double ratio_to_stamp(const Call& call) {
  std::array<double, kRounds> ratios;
  for (double& ratio : ratios) {
    const double bare = seconds(bare_stamp);
    ratio = seconds(call) / bare;
  }
  std::ranges::nth_element(ratios, ratios.begin() + kRounds / 2);
  return ratios[kRounds / 2];
}

double ratio_of(const Case& c) {
  fe_fault_filter* const process = filter_of(c);
  const fe_sensor_event event = event_of(c);
  fe_fault_record record{};
  fe_fault_record* out = &record;
  return ratio_to_stamp([&] {
    fe_sensor_event mine = event;  // filters may write to it
    process(&mine, &out);
  });
}

// What the stamp and one copy of all the record's bytes cost: no filter can be faster.
double ratio_of_copy() {
  const fe_fault_record filled{};
  fe_fault_record record;
  return ratio_to_stamp([&] {
    bare_stamp();
    std::memcpy(&record, &filled, sizeof record);
    asm volatile("" : : "r"(&record) : "memory");  // the copy is not left out
  });
}

void print(const std::string& call, std::span<const double> ratios, const char* verdict) {
  std::fprintf(stdout, "%-22s", call.c_str());
  for (const double ratio : ratios) std::fprintf(stdout, " %13.3f", ratio);
  std::fprintf(stdout, "%s\n", verdict);
}

template <class Measure>
std::array<double, std::size(kZones)> in_each_zone(const Measure& measure) {
  std::array<double, std::size(kZones)> ratios;
  for (std::size_t i = 0; i < std::size(kZones); ++i) {
    write_zone_file(kZones[i].name);
    ratios[i] = measure();
  }
  return ratios;
}

// Whether the call stays within its limits.
bool check(const char* kind, const Case& c) {
  const auto ratios = in_each_zone([&] { return ratio_of(c); });
  const bool within = std::ranges::equal(ratios, kZones, std::ranges::less_equal(), {}, &Zone::limit);
  print(std::string(kind) + "/" + c.entity, ratios, within ? "" : "  OVER");
  return within;
}

}  // namespace
}  // namespace polaiga::bench

int main() {
  using namespace polaiga::bench;
  std::fprintf(stdout, "%-22s", "call / bare stamp");
  for (const Zone& zone : kZones) std::fprintf(stdout, " %13s", zone.title);
  std::fprintf(stdout, "\n");
  print("copying a record", in_each_zone(ratio_of_copy), "");
  bool within = true;
  for (const Case& c : kAccepted) within = check("accepted", c) && within;
  for (const Case& c : kRejected) within = check("rejected", c) && within;
  std::array<double, std::size(kZones)> limits;
  std::ranges::transform(kZones, limits.begin(), &Zone::limit);
  print("limit", limits, "");
  std::fflush(stdout);
  if (!within) std::fprintf(stderr, "filters_bench: a filter costs more than its limit; see the lines that say OVER\n");
  return within ? 0 : 1;
}
