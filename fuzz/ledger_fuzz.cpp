// A ledger in which anything was changed ends no program, whoever opens it: all questions are answered or refused with
// an error, and the engine goes on with it, or with a new one in its place.
//
// The first byte of the input says who uses the ledger: those who ask, the engine, or all of them. What follows is a
// list of edits of a small ledger that the engine itself wrote: of bytes, of pages, of the length of the
// file, of the mark beside it, and of values in rows. The latter get a right checksum, since the tables compute it; so
// they come further than changed bytes do. When only bytes were changed, more is known: a ledger that the check of the
// whole takes for sound gives the answers that it gave before, and a new ledger that the engine begins is sound.
#include <cstdint>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "base/standard_output.h"
#include "check.h"
#include "core/recorder.h"
#include "intake/event_parser.h"
#include "ledger/change_feed.h"
#include "ledger/mark.h"
#include "ledger/verification.h"
#include "report/json_forms.h"

namespace polaiga::fuzz {
namespace {

using namespace engine;
namespace fs = std::filesystem;

constexpr Moment kBegin = 1735689600;  // 2025-01-01T00:00:00Z
constexpr std::size_t kMostEdits = 64;
constexpr std::size_t kMostExplained = 4;
constexpr std::int64_t kPage = 1024;

// The clock of an engine goes on by a minute with each event.
class StepClock final : public Clock {
 public:
  std::int64_t wall() const override { return kBegin + seconds_; }
  Steady steady() const override { return std::chrono::seconds(seconds_); }
  void step() { seconds_ += 60; }

 private:
  std::int64_t seconds_ = 0;
};

// Faults that are raised, refreshed, reported by several, superseded, merged, cleared and withdrawn; units that are
// missing; sensors of a host table; ids; and events of no interest.
const char* const kEvents[] = {
    R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1,"id":"a"})",
    R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":1,"id":"b","time":"2025-01-01T00:00:30Z"})",
    R"({"entity":"ps","sensor":"PS10_STATUS","instance":10,"offset":30,"state":1})",
    R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1})",
    R"({"entity":"fan","sensor":"FAN1_TACH1","offset":4,"state":5})",
    R"({"entity":"front_panel","sensor":"FP_TEMP","offset":107,"state":6})",
    R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":0})",
    R"({"entity":"fan","sensor":"FAN1_TACH1","offset":0,"state":1})",
    R"({"entity":"sys_board","sensor":"RISER1_INLET_TMP","offset":117,"state":4})",
    R"({"entity":"sys_board","sensor":"RISER2_INLET_TMP","offset":117,"state":4})",
    R"({"entity":"sys_board","sensor":"RISER1_INLET_TMP","offset":118,"state":5})",
    R"({"entity":"sys_board","sensor":"RISER2_INLET_TMP","offset":118,"state":5})",
    R"({"entity":"sys_board","sensor":"SEL_FULLNESS","offset":118,"state":1,"id":"c"})",
    R"({"entity":"fan","sensor":"FAN2_PRS","instance":2,"offset":112,"state":1})",
    R"({"entity":"drive_bp","sensor":"HDD_BP1_TEMP","offset":118,"state":5})",
    R"({"entity":"cmc","sensor":"CMC1_TEMP","offset":119,"state":5})",
    R"({"entity":"mem","sensor":"P1_DIMM_A1","offset":112,"state":1})",
    R"({"entity":"ne","sensor":"LINK","offset":126,"state":1})",
};

std::string read_file(const fs::path& path) {
  std::ifstream input(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(input), {}};
}

void write_file(const fs::path& path, const std::string& content) { std::ofstream(path, std::ios::binary) << content; }

// Calls what may end with an error of the ledger, and with no other.
template <class Work>
bool succeeds(Work work) {
  try {
    work();
  } catch (const LedgerError& error) {
    check(error.what()[0] != '\0', "an error says something");
    return false;
  } catch (const SqlError&) {
    return false;
  }
  return true;
}

// Asks everything that any command asks; the answers.
class Questions {
 public:
  explicit Questions(std::string path) : path_(std::move(path)) {
    succeeds([&] { ask_reader(); });
    succeeds([&] { follow(); });
  }

  const std::string& answers() const { return answers_; }

 private:
  // One question; the others are asked in any case.
  template <class Ask>
  void ask(Ask question) {
    if (!succeeds(question)) answers_ += "refused\n";
  }

  void tell(const JsonObject& form) { answers_ += form.line(); }

  void ask_reader() {
    LedgerReader reader(path_);
    const std::string id = reader.ledger_id();
    std::vector<std::string> faults{"sys/rack-unit-1/fault-F0155"};
    ask([&] {
      for (const auto& alarm : reader.history("", 0)) {
        tell(alarm_form(alarm, id, reader.profile()));
        for (const auto& step : alarm.steps) {
          if (faults.size() < kMostExplained) faults.push_back(step.fault_dn);
        }
      }
    });
    ask([&] {
      for (const auto& row : reader.active({}, std::nullopt)) tell(active_row_form(row, id, reader.profile()));
    });
    for (const Moment at : {kBegin, kBegin + 700, kLastMoment}) {
      ask([&] {
        for (const auto& row : reader.active({.under = "sys", .least = Severity::kWarning}, at)) {
          tell(active_row_form(row, id, reader.profile()));
        }
      });
    }
    for (const std::string& fault : faults) {
      ask([&] {
        for (const auto& alarm : reader.history(fault, 2)) tell(alarm_form(alarm, id, reader.profile()));
      });
      ask([&] {
        if (const auto found = reader.explain(fault)) tell_explanation(*found, id, reader.profile());
      });
    }
    ask([&] {
      for (const auto& row : reader.overview().active) tell(active_row_form(row, id, reader.profile()));
    });
    ask([&] {
      for (const auto& alarm : reader.history_before(30, 5)) tell(alarm_form(alarm, id, reader.profile()));
    });
    ask([&] {
      if (const auto alarm = reader.alarm(3)) tell(alarm_form(*alarm, id, reader.profile()));
    });
    ask([&] { tell_changes(reader.after({}, 20).changes, id); });
    ask([&] { tell_changes(reader.latest({.under = "sys/rack-unit-1"}, 3).changes, id); });
  }

  void tell_explanation(const Explanation& found, const std::string& id, const AlarmProfile& profile) {
    tell(fault_form(found.fault, id, profile));
    tell(alarm_form(found.alarm, id, profile));
    tell(stored_record_form(found.raise));
    tell(stored_record_form(found.shown));
    for (const auto& [report, record] : found.reports)
      tell(report_form(report).add("record", record_form(record.record)));
    for (const Change& change : found.changes) tell(change_form(change, id));
    answers_ += found.tables.nm + found.tables.cmc + found.tables.drive_bp;
  }

  void tell_changes(const std::vector<StoredChange>& changes, const std::string& id) {
    for (const StoredChange& change : changes) tell(stored_change_form(change, id));
  }

  void follow() {
    ChangeFeed feed(path_);
    // No digest covers a cursor, so nothing tells that one is gone; the publisher brings it again.
    ask([&] { feed.cursor("snmp"); });
    ask([&] {
      const Snapshot snapshot = feed.snapshot();
      for (const auto& row : snapshot.active) tell(active_row_form(row, snapshot.ledger_id, *snapshot.profile));
    });
    ask([&] {
      ChangeNumber number = 0;
      for (int reads = 0; reads < 64; ++reads) {
        const Feed next = feed.next(number, 7);
        if (next.gap || next.changes.empty()) break;
        check(next.changes.front().change.number > number, "changes come in their order");
        number = next.changes.back().change.number;
        tell_changes(next.changes, feed.ledger_id());
      }
    });
  }

  std::string path_;
  std::string answers_;
};

// Takes bytes of the input; zeros when there are no more.
class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

  bool empty() const { return rest_.empty(); }

  std::size_t number(std::size_t bytes) {
    std::size_t value = 0;
    for (; bytes > 0; --bytes) {
      value = value << 8U | (rest_.empty() ? 0U : static_cast<unsigned char>(rest_.front()));
      if (!rest_.empty()) rest_.remove_prefix(1);
    }
    return value;
  }

 private:
  std::string_view rest_;
};

// A column of a table that can be set.
struct Place {
  std::string table;
  std::string column;
};

class Laboratory {
 public:
  Laboratory() : directory_(make_directory()), path_((directory_ / "ledger.db").string()) {
    StandardOutput::divert(Others::kDiscarded);
    write_seed();
    seed_ = read_file(path_);
    seed_mark_ = read_file(mark_path(path_));
    check(!seed_.empty() && !seed_mark_.empty() && !fs::exists(path_ + "-wal"), "the engine left a ledger and a mark");
    Database db(path_, Access::kRead);
    Statement columns(db,
                      "SELECT m.name, c.name FROM sqlite_schema m JOIN pragma_table_info(m.name) c "
                      "WHERE m.type = 'table' AND m.name NOT LIKE 'sqlite%' ORDER BY 1, c.cid");
    while (columns.step()) places_.push_back({std::string(columns.text(0)), std::string(columns.text(1))});
    check(places_.size() > 50, "the ledger has columns");
    answers_ = Questions(path_).answers();
    check(answers_.size() > 10000, "the seed answers questions");
    check(verify_ledger(path_).found == 0, "the seed is sound");
  }
  ~Laboratory() { fs::remove_all(directory_); }
  Laboratory(const Laboratory&) = delete;
  Laboratory& operator=(const Laboratory&) = delete;

  void try_edits(Bytes input) {
    const auto users = static_cast<Users>(input.number(1) % 3);
    clear();
    mark_ = seed_mark_;
    bool only_bytes = true;
    write_file(path_, seed_);
    std::vector<std::pair<std::size_t, std::string>> later;
    Bytes rows = input;
    for (std::size_t i = 0; i < kMostEdits && !rows.empty(); ++i) {
      const Edit edit = next_edit(rows);
      if (edit.kind == Kind::kValue || edit.kind == Kind::kNoRow) {
        only_bytes = false;
        edit_row(edit);
      }
    }
    ledger_ = read_file(path_);
    for (std::size_t i = 0; i < kMostEdits && !input.empty(); ++i) edit_bytes(next_edit(input));
    clear();
    write_file(path_, ledger_);
    if (!mark_.empty()) write_file(mark_path(path_), mark_);
    const bool is_comparable = only_bytes && mark_ == seed_mark_;
    if (users != Users::kEngine) ask(is_comparable);
    if (users != Users::kAsking) go_on(only_bytes);
    if (users == Users::kAll) const Questions after(path_);
  }

 private:
  enum class Users : std::uint8_t { kAsking, kEngine, kAll };
  enum class Kind : std::uint8_t { kByte, kBit, kWord, kPage, kLength, kMark, kValue, kNoRow, kCount };

  struct Edit {
    Kind kind;
    std::size_t place;
    std::size_t value;
  };

  static Edit next_edit(Bytes& input) {
    const auto kind = static_cast<Kind>(input.number(1) % static_cast<std::size_t>(Kind::kCount));
    const std::size_t place = input.number(3);
    return {kind, place, input.number(2)};
  }

  static fs::path make_directory() {
    const fs::path memory = "/dev/shm";
    std::string name = (fs::exists(memory) && std::getenv("TMPDIR") == nullptr ? memory : fs::temp_directory_path()) /
                       "polaiga-fuzz-XXXXXX";
    check(::mkdtemp(name.data()) != nullptr, "there is a directory for the ledger");
    return name;
  }

  void clear() const {
    for (const auto& entry : fs::directory_iterator(directory_)) fs::remove_all(entry.path());
  }

  void write_seed() const {
    StepClock clock;
    Ledger ledger(path_, {.events = 12, .days = 0, .bytes = 0}, clock.wall());
    Recorder recorder({}, clock, ledger);
    const HostTables tables = read_host_tables(POLAIGA_TABLES_DIR);
    recorder.use_tables(tables, POLAIGA_TABLES_DIR);
    for (const char* event : kEvents) {
      clock.step();
      recorder.record(parse_sensor_event(event));
      if (recorder.batch().inputs.size() == 3) recorder.commit();
    }
    recorder.use_tables({tables.nm, tables.cmc + "# more\n", tables.drive_bp}, "tables");
    recorder.commit();
    ledger.set_cursor("snmp", 9, clock.wall());
    ledger.tidy();
  }

  // Sets a value in a row, or takes the row away; the checksums of the row are right again.
  void edit_row(const Edit& edit) const {
    const auto& [table, column] = places_[edit.place % places_.size()];
    const std::size_t row = edit.place / places_.size() % 16;
    static constexpr const char* kValues[] = {"0",
                                              "1",
                                              "-1",
                                              "2",
                                              "9223372036854775807",
                                              "-9223372036854775808",
                                              "4294967296",
                                              "17",
                                              "NULL",
                                              "''",
                                              "'x'",
                                              "x'00ff'",
                                              "zeroblob(300)",
                                              "printf('%.300c', 'x')",
                                              "1.5",
                                              "'F0395'",
                                              "char(0, 27, 955)",
                                              "'sys/rack-unit-1'",
                                              "1735689600",
                                              "255"};
    const std::string value = (edit.value & 1U) != 0
                                  ? kValues[edit.value / 2 % std::size(kValues)]
                                  : "\"" + column + "\" + " + std::to_string(static_cast<int>(edit.value / 2) - 16384);
    const std::string which =
        " WHERE rowid = (SELECT rowid FROM \"" + table + "\" LIMIT 1 OFFSET " + std::to_string(row) + ")";
    try {
      const Database db(path_, Access::kReadWrite);
      db.exec(edit.kind == Kind::kNoRow
                  ? "DELETE FROM \"" + table + "\"" + which
                  : "UPDATE OR REPLACE \"" + table + "\" SET \"" + column + "\" = " + value + which);
    } catch (const SqlError&) {  // a value that its column does not take, or a table without such rows
    }
  }

  void edit_bytes(const Edit& edit) {
    if (ledger_.empty()) return;
    const std::size_t at = edit.place % ledger_.size();
    switch (edit.kind) {
      case Kind::kByte:
        ledger_[at] = static_cast<char>(edit.value);
        break;
      case Kind::kBit:
        ledger_[at] = static_cast<char>(static_cast<unsigned char>(ledger_[at]) ^ 1U << edit.value % 8);
        break;
      case Kind::kWord:
        for (std::size_t i = 0; i < 4 && at + i < ledger_.size(); ++i) {
          ledger_[at + i] = static_cast<char>(edit.value >> (i % 2 == 0 ? 8U : 0U));
        }
        break;
      case Kind::kPage:
        copy_page(edit.place, edit.value);
        break;
      case Kind::kLength:
        ledger_.resize(edit.value % 4 == 0 ? ledger_.size() + at % 5000 : at);
        break;
      case Kind::kMark:
        edit_mark(edit);
        break;
      default:
        break;
    }
  }

  void copy_page(std::size_t from, std::size_t to) {
    const std::size_t pages = ledger_.size() / kPage;
    if (pages == 0) return;
    const std::string page = ledger_.substr(from % pages * kPage, kPage);
    ledger_.replace(to % pages * kPage, kPage, page);
  }

  void edit_mark(const Edit& edit) {
    if (mark_.empty()) return;
    const std::size_t at = edit.place % mark_.size();
    if (edit.value < 0x8000) {
      mark_[at] = static_cast<char>(edit.value);
    } else {
      mark_.resize(edit.value % 2 == 0 ? at : mark_.size() + at);
    }
  }

  // As commands and publishers do.
  void ask(bool is_comparable) const {
    bool is_sound = false;
    succeeds([&] { is_sound = verify_ledger(path_).found == 0; });
    const std::string answers = Questions(path_).answers();
    check(!is_comparable || !is_sound || answers == answers_, "a ledger that is taken for sound answers as before");
  }

  void go_on(bool only_bytes) const {
    bool was_replaced = false;
    const bool goes_on = succeeds([&] { run_engine(was_replaced); });
    if (!only_bytes || !goes_on || !was_replaced) return;
    const Verification found = verify_ledger(path_);
    check(found.found == 0, found.findings.empty() ? "a new ledger is sound" : found.findings[0].what.c_str());
  }

  // It begins, takes events, makes room and ends.
  void run_engine(bool& was_replaced) const {
    StepClock clock;
    for (std::size_t i = 0; i < std::size(kEvents); ++i) clock.step();
    Ledger ledger(path_, {.events = 8, .days = 1, .bytes = 256 * 1024}, clock.wall());
    was_replaced = !ledger.set_aside().empty();
    Recorder recorder({}, clock, ledger);
    recorder.use_tables(read_host_tables(POLAIGA_TABLES_DIR), POLAIGA_TABLES_DIR);
    for (const char* event : {kEvents[0], kEvents[4], kEvents[6], kEvents[10], kEvents[17]}) {
      clock.step();
      recorder.record(parse_sensor_event(event));
    }
    recorder.commit();
    ledger.set_cursor("mqtt", 3, clock.wall());
    ledger.cursors();
    ledger.forget_cursor("snmp");
    for (int i = 0; i < 8 && ledger.tidy(); ++i) {
    }
    ledger.size();
  }

  fs::path directory_;
  std::string path_;
  std::string seed_;
  std::string seed_mark_;
  std::vector<Place> places_;
  std::string answers_;  // of the seed
  std::string ledger_;
  std::string mark_;
};

}  // namespace
}  // namespace polaiga::fuzz

// The engine's host tables take the place of the library's, which is meant.
extern "C" const char* __asan_default_options() {
  return "detect_odr_violation=0";
}  // NOLINT(bugprone-reserved-identifier)

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static polaiga::fuzz::Laboratory laboratory;
  laboratory.try_edits({data, size});
  return 0;
}
