#include "ledger/ledger_rows.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "base/printable.h"
#include "ledger/ledger_file.h"
#include "model/record_text.h"

namespace polaiga::engine {
namespace {

constexpr std::array kChanges{Change::kRaised, Change::kRefreshed, Change::kCleared, Change::kAlreadyClear};

// The columns of a row from left to right.
class Columns {
 public:
  Columns(const Statement& row, int first) : row_(row), next_(first) {}

  template <std::integral T>
  void take(T& number) {
    number = row_.number<T>(next_++);
  }

  template <std::size_t N>
  void take(char (&field)[N]) {
    const std::string_view text = row_.text(next_++);
    if (text.size() > N) throw LedgerError("a text is longer than its field: " + in_quotes(text));
    std::memcpy(field, text.data(), text.size());
  }

  void take(std::optional<Moment>& moment) {
    if (!row_.is_null(next_)) moment = row_.integer(next_);
    ++next_;
  }

  void take(std::optional<std::string>& text) {
    if (!row_.is_null(next_)) text = std::string(row_.text(next_));
    ++next_;
  }

  std::string_view text() { return row_.text(next_++); }

 private:
  const Statement& row_;
  int next_;
};

void read_oid(std::string_view text, fe_fault_record& record) {
  std::size_t arc = 0;
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at < end && arc < FE_OID_SIZE) {
    const auto [stop, error] = std::from_chars(at, end, record.oid[arc++]);
    if (error != std::errc()) throw LedgerError("no object identifier: " + in_quotes(text));
    at = stop + 1;
  }
}

}  // namespace

StoredEvent read_event(const Statement& row, int column) {
  StoredEvent stored;
  fe_sensor_event& event = stored.line.event;
  Columns columns(row, column);
  columns.take(stored.sequence);
  columns.take(stored.received);
  columns.take(stored.line.time);
  columns.take(stored.line.id);
  const std::string_view entity = columns.text();
  stored.line.entity = find_entity(entity);
  if (stored.line.entity == nullptr) throw LedgerError("no entity: " + in_quotes(entity));
  columns.take(event.sensor_name);
  columns.take(event.event_offset);
  columns.take(event.event_state);
  columns.take(event.entity_instance);
  columns.take(event.group_instance);
  columns.take(event.entity_id);
  columns.take(event.entity_subtype);
  columns.take(event.reading_type);
  return stored;
}

StoredRecord read_record(const Statement& row, int column) {
  StoredRecord stored{.event = read_event(row, column), .record = {}, .outcome = {}, .severity = {}};
  fe_fault_record& record = stored.record;
  record.event = stored.event.line.event;
  Columns columns(row, column + kEventWidth);
  const std::string_view change = columns.text();
  const auto* const found = std::ranges::find(kChanges, change, change_word);
  if (found == kChanges.end()) throw LedgerError("no change of a fault: " + in_quotes(change));
  stored.outcome.change = *found;
  columns.take(stored.outcome.superseded);
  stored.severity = columns.text();
  columns.take(record.event.entity_id);
  columns.take(record.event.entity_subtype);
  columns.take(record.event.entity_instance);
  columns.take(record.event.event_state);
  columns.take(record.fault_key);
  columns.take(record.dn);
  columns.take(record.fault_dn);
  columns.take(record.rn);
  columns.take(record.code_text);
  read_oid(columns.text(), record);
  columns.take(record.oid_len);
  columns.take(record.descr);
  columns.take(record.created);
  columns.take(record.created_time);
  columns.take(record.disposition);
  columns.take(record.cause_id);
  columns.take(record.clear_cause_id);
  columns.take(record.cause);
  columns.take(record.clear_cause);
  columns.take(record.code);
  columns.take(record.clear_code);
  columns.take(record.name);
  return stored;
}

}  // namespace polaiga::engine
