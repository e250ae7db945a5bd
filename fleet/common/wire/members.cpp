#include "wire/members.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>
#include <vector>

#include "base/printable.h"

namespace polaiga::fleet {
namespace {

constexpr std::size_t kLedgerIdDigits = 32;

bool is_ledger_id(std::string_view text) {
  const auto is_digit = [](char c) { return ('0' <= c && c <= '9') || ('a' <= c && c <= 'f'); };
  return text.size() == kLedgerIdDigits && std::ranges::all_of(text, is_digit);
}

}  // namespace

Members::Members(const simdjson::dom::object& object, std::string path) : object_(object), path_(std::move(path)) {
  std::vector<std::string_view> names;
  for (const auto& [name, value] : object_) names.push_back(name);
  std::ranges::sort(names);
  const auto twice = std::ranges::adjacent_find(names);
  if (twice == names.end()) return;
  const std::string name = path_.empty() ? std::string(*twice) : path_ + "." + std::string(*twice);
  throw BadMessage("The member " + engine::in_quotes(name) + " comes twice");
}

void Members::refuse(std::string_view name, const std::string& must_be) const {
  const std::string full = path_.empty() ? std::string(name) : path_ + "." + std::string(name);
  throw BadMessage("The member " + engine::in_quotes(full) + " must be " + must_be);
}

// Nothing: there is none, or it is of another kind.
template <class Value>
std::optional<Value> Members::find(std::string_view name) const {
  Value value;
  if (object_.at_key(name).get(value) != simdjson::SUCCESS) return std::nullopt;
  return value;
}

bool Members::has(std::string_view name) const { return object_.at_key(name).error() == simdjson::SUCCESS; }

std::string_view Members::checked_text(std::string_view name, std::size_t most) const {
  const auto text = find<std::string_view>(name);
  const bool fits = text && text->size() <= most && text->find('\0') == std::string_view::npos &&
                    simdjson::validate_utf8(text->data(), text->size());
  if (!fits) refuse(name, "a text of at most " + std::to_string(most) + " bytes, in UTF-8 and without NUL");
  return *text;
}

std::string Members::text(std::string_view name, std::size_t most) const {
  return std::string(checked_text(name, most));
}

std::string Members::text_or_empty(std::string_view name) const { return has(name) ? text(name) : std::string(); }

std::string Members::filled_text(std::string_view name, std::size_t most) const {
  const std::string_view text = checked_text(name, most);
  if (text.empty()) refuse(name, "a text that is not empty");
  return std::string(text);
}

std::int64_t Members::number(std::string_view name, std::int64_t least) const {
  const auto number = find<std::int64_t>(name);
  if (!number || *number < least) refuse(name, "a whole number, " + std::to_string(least) + " or more");
  return *number;
}

std::uint32_t Members::number_of_32_bits(std::string_view name) const {
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  const auto number = find<std::uint64_t>(name);
  if (!number || *number > kMost) refuse(name, "a whole number from 0 to " + std::to_string(kMost));
  return static_cast<std::uint32_t>(*number);
}

std::uint64_t Members::count(std::string_view name) const { return static_cast<std::uint64_t>(number(name, 0)); }

bool Members::flag(std::string_view name) const {
  const auto flag = find<bool>(name);
  if (!flag) refuse(name, "true or false");
  return *flag;
}

Moment Members::moment(std::string_view name) const {
  const auto text = find<std::string_view>(name);
  const auto moment = text ? engine::parse_moment(*text) : std::nullopt;
  if (!moment) refuse(name, "a time as 2025-01-31T23:59:59Z");
  return *moment;
}

engine::Severity Members::severity(std::string_view name) const {
  const auto word = find<std::string_view>(name);
  const auto severity = word ? engine::find_severity(*word) : std::nullopt;
  if (!severity) refuse(name, "cleared, indeterminate, warning, minor, major or critical");
  return *severity;
}

std::string Members::ledger_id(std::string_view name) const {
  const auto text = find<std::string_view>(name);
  if (!text || !is_ledger_id(*text)) refuse(name, "the id of a ledger, 32 digits of 0-9 and a-f");
  return std::string(*text);
}

ChangeNumber Members::alarm(std::string_view name, std::string_view ledger_id) const {
  const auto text = find<std::string_view>(name);
  ChangeNumber number = 0;
  bool is_alarm = text && text->size() > ledger_id.size() + 1 && text->starts_with(ledger_id) &&
                  text->at(ledger_id.size()) == '-' && text->at(ledger_id.size() + 1) != '0';
  if (is_alarm) {
    const char* const end = text->data() + text->size();
    const auto read = std::from_chars(text->data() + ledger_id.size() + 1, end, number);
    is_alarm = read.ec == std::errc() && read.ptr == end && number > 0;
  }
  if (!is_alarm) refuse(name, "the id of an alarm of the message's ledger, as LEDGER-17");
  return number;
}

std::optional<Members> Members::object(std::string_view name) const {
  if (!has(name)) return std::nullopt;
  const auto object = find<simdjson::dom::object>(name);
  if (!object) refuse(name, "an object");
  return Members(*object, path_.empty() ? std::string(name) : path_ + "." + std::string(name));
}

simdjson::dom::array Members::list(std::string_view name) const {
  const auto list = find<simdjson::dom::array>(name);
  if (!list) refuse(name, "a list");
  return *list;
}

}  // namespace polaiga::fleet
