// An arbitrary text of an alarm profile either is refused, with a complaint that names its place, or has entries that
// can be shown; and what the profile finds for a fault is what a plain search from the first entry finds.
#include <cstdint>
#include <string>
#include <string_view>

#include "check.h"
#include "model/alarm_profile.h"

namespace polaiga::fuzz {
namespace {

using engine::AlarmProfile;
using engine::ProfileEntry;
using engine::TableError;

constexpr const char* kFile = "tables/alarms.tsv";

// Tries all that a star may stand for, one after the other. `steps` bounds the time.
bool fits_level(std::string_view pattern, std::string_view level, int& steps) {
  if (--steps < 0) return false;
  if (pattern.empty()) return level.empty();
  if (pattern.front() != '*') {
    return !level.empty() && level.front() == pattern.front() && fits_level(pattern.substr(1), level.substr(1), steps);
  }
  for (std::size_t taken = 0; taken <= level.size(); ++taken) {
    if (fits_level(pattern.substr(1), level.substr(taken), steps)) return true;
  }
  return false;
}

struct Cut {
  std::string_view level;
  std::string_view rest;
  bool is_last;
};

Cut cut(std::string_view text) {
  const std::size_t end = text.find('/');
  if (end == std::string_view::npos) return {text, {}, true};
  return {text.substr(0, end), text.substr(end + 1), false};
}

bool fits(std::string_view pattern, bool pattern_over, std::string_view dn, bool dn_over, int& steps) {
  if (--steps < 0) return false;
  if (pattern_over) return dn_over;
  const Cut wanted = cut(pattern);
  if (wanted.level == "**") {
    if (fits(wanted.rest, wanted.is_last, dn, dn_over, steps)) return true;
    if (dn_over) return false;
    const Cut given = cut(dn);
    return fits(pattern, false, given.rest, given.is_last, steps);
  }
  if (dn_over) return false;
  const Cut given = cut(dn);
  return fits_level(wanted.level, given.level, steps) &&
         fits(wanted.rest, wanted.is_last, given.rest, given.is_last, steps);
}

void check_entry(const ProfileEntry& entry) {
  check(!entry.dn.empty() && is_printable(entry.dn), "a pattern can be shown");
  check(is_printable(entry.consequence) && is_printable(entry.advice), "texts can be shown");
  check(entry.consequence.size() <= AlarmProfile::kMostTextBytes && entry.advice.size() <= AlarmProfile::kMostTextBytes,
        "texts have a greatest size");
  check(!entry.code || (*entry.code > 0 && *entry.code <= INT32_MAX), "a code is a positive number of 32 bits");
  check(!entry.severity || *entry.severity != engine::Severity::kCleared, "no alarm is active and cleared");
  check(!entry.respond_within || (*entry.respond_within > 0 && *entry.respond_within <= AlarmProfile::kLongestResponse),
        "a time to respond is within its limits");
}

void check_found(const AlarmProfile& profile, std::uint32_t code, std::string_view dn) {
  const ProfileEntry* expected = nullptr;
  int steps = 10'000;
  for (const ProfileEntry& entry : profile.entries()) {
    if (entry.code && *entry.code != code) continue;
    if (!fits(entry.dn == "*" ? "**" : std::string_view(entry.dn), false, dn, false, steps)) continue;
    expected = &entry;
    break;
  }
  if (steps < 0) return;  // the plain search did not end
  check(profile.find(code, dn) == expected, "the first entry that fits is found");
}

// The pattern as a DN, with something in place of each star.
std::string example(std::string_view pattern, std::string_view star) {
  std::string dn;
  for (const char c : pattern) dn.append(c == '*' ? star : std::string_view(&c, 1));
  return dn;
}

}  // namespace
}  // namespace polaiga::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace polaiga::fuzz;
  if (size == 0) return 0;  // no file
  const std::string text(reinterpret_cast<const char*>(data), size);
  AlarmProfile profile;
  try {
    profile = AlarmProfile(text, kFile);
  } catch (const TableError& error) {
    check_table_complaint(error.what(), kFile);
    return 0;
  }
  check(profile.text() == text, "the text is kept as it is");
  check(profile.entries().size() <= AlarmProfile::kMostEntries, "there is a greatest number of entries");
  for (const ProfileEntry& entry : profile.entries()) {
    check_entry(entry);
    for (const char* star : {"", "x", "1/y", "**"}) {
      const std::string dn = example(entry.dn, star);
      check_found(profile, entry.code.value_or(1), dn);
      check_found(profile, 1, dn);
    }
  }
  check(AlarmProfile(text, kFile).entries() == profile.entries(), "the same text says the same");
  return 0;
}
