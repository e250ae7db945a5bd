// The alarm profile (RFC 8632): what a site says of some alarms. Another severity,
// whether people are notified, within what time they are to respond, and why and how,
// in the site's own words. Records are never changed by it.
#pragma once

#include <polaiga/records.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/tab_separated.h"
#include "model/dictionary.h"
#include "model/moment.h"

namespace polaiga::engine {

// Whether a pattern fits the DN of an object. `*` stands for any characters within a
// level. A level that is `**` stands for any number of levels, also for none, and so does
// a pattern that is `*` alone.
bool fits(std::string_view pattern, std::string_view dn);

// A row of the profile.
struct ProfileEntry {
  std::optional<std::uint32_t> code = std::nullopt;  // of the fault; none: any
  std::string dn;                                    // a pattern for the DN of the object
  std::optional<Severity> severity = std::nullopt;   // in place of the fault's own; none: that stays
  bool notify = true;
  std::optional<Moment> respond_within = std::nullopt;  // seconds
  std::string consequence = {};                         // what happens if nobody does anything; maybe empty
  std::string advice = {};                              // what to do; maybe empty

  bool operator==(const ProfileEntry&) const = default;
};

class AlarmProfile {
 public:
  static constexpr std::size_t kMostBytes = std::size_t{256} * 1024;
  static constexpr std::size_t kMostEntries = 1000;
  static constexpr std::size_t kMostTextBytes = 512;  // of a consequence or an advice
  static constexpr Moment kLongestResponse = Moment{365} * 24 * 60 * 60;

  // It says nothing of any alarm.
  AlarmProfile() = default;

  // Of the text of a file, whose name is for complaints. Throws TableError.
  AlarmProfile(std::string text, const std::string& file);

  // Empty when there is no file.
  const std::string& text() const { return text_; }
  const std::vector<ProfileEntry>& entries() const { return entries_; }

  // The first entry that fits a fault by its code and the DN of its object; null: none.
  const ProfileEntry* find(std::uint32_t code, std::string_view dn) const {
    return entries_.empty() ? nullptr : find_first(code, dn);
  }

  // The same by the DN of the fault, as a change has it.
  const ProfileEntry* find(std::string_view fault_dn) const;

  // The severity of the fault that a record raises: the profile's or, if it says
  // nothing of it, the record's own.
  Severity severity_of(const fe_fault_record& record) const;

 private:
  using Numbers = std::vector<std::uint16_t>;  // of entries, ascending

  const ProfileEntry* find_first(std::uint32_t code, std::string_view dn) const;
  void add(ProfileEntry entry);

  std::string text_;
  std::vector<ProfileEntry> entries_;
  std::unordered_map<std::uint32_t, Numbers> of_code_;
  Numbers of_any_code_;
};

}  // namespace polaiga::engine
