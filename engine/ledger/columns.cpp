#include "ledger/columns.h"

#include <sqlite3.h>

#include <array>
#include <charconv>
#include <cstring>

#include "base/printable.h"
#include "ledger/row_check.h"

namespace polaiga::engine {

void Cells::fail(const std::string& what) const {
  throw DamagedRow(std::string(table_) + " " + printable(row_.text(first_)) + ": " + std::string(column_) + " " + what);
}

std::int64_t Cells::integer() {
  if (row_.type(next_) != SQLITE_INTEGER) fail("is no number: " + in_quotes(row_.text(next_)));
  return row_.integer(next_++);
}

std::string_view Cells::text() {
  if (row_.type(next_) != SQLITE_TEXT) fail("is no text: " + in_quotes(row_.text(next_)));
  return row_.text(next_++);
}

void Cells::take(Seal& seal) {
  if (row_.type(next_) != SQLITE_BLOB) fail("is no digest");
  const std::string_view value = row_.blob(next_++);
  if (value.size() != seal.size()) fail("is a digest of another size");
  std::memcpy(seal.data(), value.data(), seal.size());
}

void must_check(std::string_view table, const Statement& row, int first, int count) {
  const int check = first + count;
  if (row.type(check) == SQLITE_INTEGER && row.integer(check) == row_check(table, row, first, count)) return;
  throw DamagedRow(std::string(table) + " " + printable(row.text(first)) +
                   ": the row is damaged: its checksum does not match");
}

void Cells::take(bool& flag) { flag = one_of(1) != 0; }
void Cells::take(Severity& severity) { severity = one_of(Severity::kCritical); }
void Cells::take(ChangeKind& kind) { kind = one_of(ChangeKind::kSettled); }
void Cells::take(ActionKind& kind) { kind = one_of(ActionKind::kSettle); }
void Cells::take(Outcome& outcome) { outcome = one_of(Outcome::kNotTracked); }

void Cells::take(const Entity*& entity) {
  const std::string_view name = text();
  entity = find_entity(name);
  if (entity == nullptr) fail("names an entity that this program does not know: " + in_quotes(name));
}

void Cells::take_text(char* field, std::size_t size) {
  const std::string_view value = text();
  if (value.size() >= size) fail("is longer than its field: " + in_quotes(value));
  if (value.find('\0') != std::string_view::npos) fail("has a zero byte: " + in_quotes(value));
  std::memcpy(field, value.data(), value.size());
}

void Cells::take(std::uint32_t (&oid)[FE_OID_SIZE]) {
  const std::string_view value = text();
  const char* at = value.data();
  const char* const end = at + value.size();
  for (std::size_t arc = 0; at < end; ++arc) {
    if (arc == FE_OID_SIZE) fail("has too many arcs: " + in_quotes(value));
    const auto [stop, error] = std::from_chars(at, end, oid[arc]);
    if (error != std::errc() || (stop < end && (*stop != '.' || stop + 1 == end))) {
      fail("is no object identifier: " + in_quotes(value));
    }
    at = stop < end ? stop + 1 : end;
  }
}

// In dots, to the last arc that is not zero.
void columns::bind(Statement& statement, int index, const std::uint32_t (&oid)[FE_OID_SIZE]) {
  std::size_t count = FE_OID_SIZE;
  while (count > 0 && oid[count - 1] == 0) --count;
  constexpr std::size_t kLongestArc = 11;  // 4294967295, and a dot before it
  std::array<char, std::size_t{FE_OID_SIZE} * kLongestArc> text;
  char* end = text.data();
  for (std::size_t arc = 0; arc < count; ++arc) {
    if (arc > 0) *end++ = '.';
    end = std::to_chars(end, text.data() + text.size(), oid[arc]).ptr;
  }
  statement.bind_copy(index, {text.data(), static_cast<std::size_t>(end - text.data())});
}

}  // namespace polaiga::engine
