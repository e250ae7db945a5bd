#include "model/alarm_profile.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <span>
#include <utility>

#include "base/printable.h"
#include "base/utf8.h"
#include "model/record_text.h"

namespace polaiga::engine {
namespace {

constexpr std::string_view kAny = "*";
constexpr std::string_view kAnyLevels = "**";
constexpr std::string_view kNothing = "-";

constexpr std::array<std::string_view, 7> kColumns{"code",           "dn",          "severity", "notify",
                                                   "respond_within", "consequence", "advice"};

// A pattern or a DN, level by level.
class Levels {
 public:
  explicit Levels(std::string_view text) : rest_(text) { next(); }

  bool is_over() const { return is_over_; }
  std::string_view level() const { return level_; }

  void next() {
    is_over_ = is_last_;
    level_ = rest_.substr(0, rest_.find('/'));
    is_last_ = level_.size() == rest_.size();
    rest_.remove_prefix(std::min(level_.size() + 1, rest_.size()));
  }

 private:
  std::string_view rest_;
  std::string_view level_;
  bool is_last_ = false;
  bool is_over_ = false;
};

// Goes on from the last star when something does not fit: an earlier star need not
// stand for more, since the last one can.
bool level_fits(std::string_view pattern, std::string_view text) {
  std::size_t at = 0;
  std::size_t in_text = 0;
  std::optional<std::size_t> star;
  std::size_t star_end = 0;  // of the text that the star stands for
  while (in_text < text.size()) {
    if (at < pattern.size() && pattern[at] == '*') {
      star = at++;
      star_end = in_text;
    } else if (at < pattern.size() && pattern[at] == text[in_text]) {
      ++at;
      ++in_text;
    } else if (star) {
      at = *star + 1;
      in_text = ++star_end;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

// The same for levels, by `level_fits_level`.
template <class Fits>
bool levels_fit(std::string_view pattern, std::string_view text, Fits level_fits_level) {
  Levels at(pattern);
  Levels in_text(text);
  std::optional<Levels> star;
  Levels star_end = in_text;
  while (!in_text.is_over()) {
    if (!at.is_over() && at.level() == kAnyLevels) {
      star = at;
      at.next();
      star_end = in_text;
    } else if (!at.is_over() && level_fits_level(at.level(), in_text.level())) {
      at.next();
      in_text.next();
    } else if (star) {
      at = *star;
      at.next();
      star_end.next();
      in_text = star_end;
    } else {
      return false;
    }
  }
  while (!at.is_over() && at.level() == kAnyLevels) at.next();
  return at.is_over();
}

std::string_view in_full(std::string_view pattern) { return pattern == kAny ? kAnyLevels : pattern; }

// Whether every DN that `narrow` fits is one that `wide` fits: a star of `narrow` can
// only be stood for by a star.
bool covers(std::string_view wide, std::string_view narrow) {
  return levels_fit(in_full(wide), in_full(narrow), [](std::string_view pattern, std::string_view level) {
    return level != kAnyLevels && level_fits(pattern, level);
  });
}

bool covers(const ProfileEntry& wide, const ProfileEntry& narrow) {
  return (!wide.code || wide.code == narrow.code) && covers(wide.dn, narrow.dn);
}

// Everything in the file may be shown to people as it is, comments as well.
void must_be_shown(std::string_view text, const std::string& file) {
  std::size_t line = 1;
  std::size_t character = 1;
  while (!text.empty()) {
    const Character next = first_character(text);
    const bool is_end = text.starts_with('\n') || text.starts_with("\r\n");
    if (!next.valid || !(is_end || next.code == '\t' || is_shown(next.code))) {
      throw TableError(file + ":" + std::to_string(line) + ":" + std::to_string(character) +
                       (next.valid ? ": a character that cannot be shown" : ": not UTF-8"));
    }
    if (next.code == '\n') ++line;
    character = next.code == '\n' ? 1 : character + 1;
    text.remove_prefix(next.size);
  }
}

std::string read_text(const Cell& cell, std::size_t most_bytes) {
  if (cell.text.empty()) cell.reject("is empty");
  if (cell.text.size() > most_bytes) {
    cell.reject("has " + std::to_string(cell.text.size()) + " bytes; at most " + std::to_string(most_bytes) +
                " are allowed");
  }
  return std::string(cell.text);
}

std::string read_words(const Cell& cell) {
  if (cell.text.empty()) cell.reject("is empty; write - for nothing");
  std::string text = read_text(cell, AlarmProfile::kMostTextBytes);
  return text == kNothing ? "" : text;
}

std::optional<std::uint32_t> read_code(const Cell& cell) {
  if (cell.text == kAny) return std::nullopt;
  constexpr std::size_t kLeastDigits = 4;
  std::uint32_t code = 0;
  const std::string_view digits = cell.text.substr(std::min<std::size_t>(1, cell.text.size()));
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, code);
  const bool is_code = cell.text.starts_with('F') && error == std::errc() && stop == end && code > 0 &&
                       code <= std::numeric_limits<std::int32_t>::max() &&
                       (digits.size() == kLeastDigits || (digits.size() > kLeastDigits && digits.front() != '0'));
  if (!is_code) cell.reject(in_quotes(cell.text) + " is neither * nor the code of a fault, as F0410");
  return code;
}

std::string read_pattern(const Cell& cell) {
  std::string pattern = read_text(cell, FE_DN_SIZE - 1);
  if (pattern == kAny) return pattern;
  std::size_t begin = 0;
  for (Levels levels(pattern); !levels.is_over(); levels.next()) {
    const std::string_view level = levels.level();
    const std::size_t before = characters(std::string_view(pattern).substr(0, begin));
    if (level.empty()) cell.reject("a level of the DN is empty", before);
    if (level != kAnyLevels && level.find(kAnyLevels) != std::string_view::npos) {
      cell.reject("** must be a level of its own, as in sys/**", before);
    }
    begin += level.size() + 1;
  }
  return pattern;
}

std::optional<Severity> read_severity(const Cell& cell) {
  if (cell.text == kNothing) return std::nullopt;
  for (int number = 1; number <= static_cast<int>(Severity::kCritical); ++number) {
    if (cell.text == severity_word(static_cast<Severity>(number))) return static_cast<Severity>(number);
  }
  cell.reject(in_quotes(cell.text) + " is none of indeterminate, warning, minor, major, critical and -");
}

bool read_notify(const Cell& cell) {
  if (cell.text != "yes" && cell.text != "no") cell.reject(in_quotes(cell.text) + " is neither yes nor no");
  return cell.text == "yes";
}

std::optional<Moment> read_time(const Cell& cell) {
  if (cell.text == kNothing) return std::nullopt;
  struct Unit {
    char name;
    Moment seconds;
  };
  constexpr Unit kUnits[] = {{'s', 1}, {'m', 60}, {'h', 3'600}, {'d', 86'400}};
  std::optional<Moment> time;
  Moment number = 0;
  const char* const end = cell.text.data() + cell.text.size();
  const auto [stop, error] = std::from_chars(cell.text.data(), end, number);
  if (error == std::errc() && stop + 1 == end && number > 0 && number <= AlarmProfile::kLongestResponse) {
    const auto* const unit = std::ranges::find(kUnits, *stop, &Unit::name);
    if (unit != std::end(kUnits) && number * unit->seconds <= AlarmProfile::kLongestResponse) {
      time = number * unit->seconds;
    }
  }
  if (!time) cell.reject(in_quotes(cell.text) + " is neither - nor a time up to 365d, with s, m, h or d, such as 4h");
  return time;
}

}  // namespace

bool fits(std::string_view pattern, std::string_view dn) { return levels_fit(in_full(pattern), dn, level_fits); }

AlarmProfile::AlarmProfile(std::string text, const std::string& file) : text_(std::move(text)) {
  if (text_.empty()) return;
  must_be_shown(text_, file);
  std::vector<std::size_t> lines;  // that the entries came from
  read_rows(text_, file, kColumns, [&](std::span<const Cell> cells) {
    const Cell& first = cells.front();
    if (entries_.size() == kMostEntries) {
      first.reject("the table has more than " + std::to_string(kMostEntries) + " rows");
    }
    ProfileEntry entry{.code = read_code(cells[0]),
                       .dn = read_pattern(cells[1]),
                       .severity = read_severity(cells[2]),
                       .notify = read_notify(cells[3]),
                       .respond_within = read_time(cells[4]),
                       .consequence = read_words(cells[5]),
                       .advice = read_words(cells[6])};
    const auto wide = std::ranges::find_if(entries_, [&](const ProfileEntry& other) { return covers(other, entry); });
    if (wide != entries_.end()) {
      first.reject("this row has no effect: line " +
                   std::to_string(lines[static_cast<std::size_t>(wide - entries_.begin())]) +
                   " already matches every fault that it matches");
    }
    add(std::move(entry));
    lines.push_back(first.line);
  });
}

void AlarmProfile::add(ProfileEntry entry) {
  (entry.code ? of_code_[*entry.code] : of_any_code_).push_back(static_cast<std::uint16_t>(entries_.size()));
  entries_.push_back(std::move(entry));
}

const ProfileEntry* AlarmProfile::find_first(std::uint32_t code, std::string_view dn) const {
  const auto first_in = [this, dn](const Numbers& numbers) {
    const auto found =
        std::ranges::find_if(numbers, [&](std::uint16_t number) { return fits(entries_[number].dn, dn); });
    return found != numbers.end() ? std::size_t{*found} : entries_.size();
  };
  const auto own = of_code_.find(code);
  const std::size_t number =
      std::min(own != of_code_.end() ? first_in(own->second) : entries_.size(), first_in(of_any_code_));
  return number < entries_.size() ? &entries_[number] : nullptr;
}

const ProfileEntry* AlarmProfile::find(std::string_view fault_dn) const {
  constexpr std::string_view kFault = "/fault-F";
  const std::size_t at = fault_dn.rfind(kFault);
  if (at == std::string_view::npos) return nullptr;
  const std::string_view digits = fault_dn.substr(at + kFault.size());
  std::uint32_t code = 0;
  const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), code);
  if (error != std::errc() || stop != digits.data() + digits.size()) return nullptr;
  return find(code, fault_dn.substr(0, at));
}

Severity AlarmProfile::severity_of(const fe_fault_record& record) const {
  const Severity own = engine::severity_of(record);
  const ProfileEntry* const entry = own != Severity::kCleared ? find(record.code, field_text(record.dn)) : nullptr;
  return entry != nullptr ? entry->severity.value_or(own) : own;
}

}  // namespace polaiga::engine
