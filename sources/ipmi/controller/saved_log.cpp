#include "controller/saved_log.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <optional>

#include "base/printable.h"
#include "controller/event_texts.h"
#include "controller/sensor_list.h"
#include "model/moment.h"
#include "standard/hexadecimal.h"

namespace polaiga::ipmi {
namespace {

constexpr std::size_t kMostBytes = std::size_t{16} << 20U;

using Complain = std::function<void(const std::string&)>;

std::string at_byte(const std::string& name, std::size_t byte) { return name + ": byte " + std::to_string(byte); }
std::string at_line(const std::string& name, std::size_t line) { return name + ":" + std::to_string(line); }

std::uint8_t byte_of(char character) { return static_cast<std::uint8_t>(character); }

// --- Records as bytes.

// Types of records that a log may hold (IPMI 2.0, section 32).
bool is_record_type(std::uint8_t type) { return type == 0x02 || type >= 0xC0; }

std::vector<SelRecord> parse_bytes(std::string_view contents, const std::string& name, const Complain& complain) {
  std::vector<SelRecord> records;
  SelBytes bytes{};
  for (std::size_t at = 0; at < contents.size(); at += bytes.size()) {
    const auto some = contents.substr(at, bytes.size());
    if (some.size() < bytes.size()) {
      throw BadSavedFile(at_byte(name, at) + ": " + std::to_string(some.size()) +
                         " bytes are left, and a record has 16; the file was cut, or is no log of ipmitool sel "
                         "writeraw or ipmi-sel");
    }
    std::transform(some.begin(), some.end(), bytes.begin(), byte_of);
    if (is_record_type(bytes[2])) {
      records.push_back(parse_sel_record(bytes));
    } else {
      complain(at_byte(name, at) + ": a record of type " + hex(bytes[2]) + ", which there is not, is left out");
    }
  }
  if (records.empty()) throw BadSavedFile(name + ": this is no log; save one by ipmitool sel writeraw FILE");
  return records;
}

// --- Records in hexadecimal.

// A # stands for the two digits of a byte.
constexpr std::string_view kHexLine =
    "RID:[#][#] RT:[#] TS:[#][#][#][#] GID:[#][#] ER:[#] ST:[#] SN:[#] EDIR:[#] ED1: [#] ED2: [#] ED3: [#]";
constexpr std::string_view kHexBegin = kHexLine.substr(0, kHexLine.find('#'));

std::optional<unsigned> digit_of(char character) {
  if (character >= '0' && character <= '9') return static_cast<unsigned>(character - '0');
  if (character >= 'A' && character <= 'F') return static_cast<unsigned>(character - 'A') + 10;
  if (character >= 'a' && character <= 'f') return static_cast<unsigned>(character - 'a') + 10;
  return std::nullopt;
}

std::optional<SelBytes> parse_hex_line(std::string_view line) {
  SelBytes bytes{};
  std::size_t count = 0;
  for (const char expected : kHexLine) {
    if (line.empty()) return std::nullopt;
    if (expected == '#') {
      if (line.size() < 2) return std::nullopt;
      const auto high = digit_of(line[0]);
      const auto low = digit_of(line[1]);
      if (!high || !low) return std::nullopt;
      bytes[count++] = static_cast<std::uint8_t>(*high << 4U | *low);
      line.remove_prefix(2);
    } else {
      if (line.front() != expected) return std::nullopt;
      line.remove_prefix(1);
    }
  }
  return line.empty() ? std::optional(bytes) : std::nullopt;
}

// --- Records as a table.

std::string_view trimmed(std::string_view text) {
  const auto begin = text.find_first_not_of(' ');
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

// At most `most` cells; the last has all that is left.
std::vector<std::string_view> split(std::string_view line, char separator, std::size_t most) {
  std::vector<std::string_view> cells;
  while (cells.size() + 1 < most) {
    const auto end = line.find(separator);
    if (end == std::string_view::npos) break;
    cells.push_back(trimmed(line.substr(0, end)));
    line.remove_prefix(end + 1);
  }
  cells.push_back(trimmed(line));
  return cells;
}

// The columns of a table, as its first line names them.
struct Columns {
  char separator = '|';
  std::size_t count = 0;
  std::size_t id = 0;
  std::size_t date = 0;
  std::size_t time = 0;
  std::size_t name = 0;
  std::size_t direction = 0;
  std::size_t event = 0;
};

// Nothing: this is not the first line of a table.
std::optional<Columns> parse_header(std::string_view line, const std::string& where) {
  Columns columns;
  columns.separator = line.find('|') == std::string_view::npos ? ',' : '|';
  // Its tables have fewer than ten.
  constexpr std::size_t kMostColumns = 64;
  const auto cells = split(line, columns.separator, kMostColumns);
  if (cells.size() < 2 || cells[0] != "ID" || cells[1] != "Date") return std::nullopt;
  columns.count = cells.size();
  const auto find = [&cells](std::string_view title) {
    const auto found = std::find(cells.begin(), cells.end(), title);
    return found == cells.end() ? std::nullopt : std::optional<std::size_t>(found - cells.begin());
  };
  if (!find("Event Direction")) {
    throw BadSavedFile(where +
                       ": the table has no column \"Event Direction\", so it does not tell what is over; print "
                       "the log by ipmi-sel --hex-dump, or by ipmi-sel -v");
  }
  for (const auto& [title, column] : {std::pair{"Date", &columns.date},
                                      {"Time", &columns.time},
                                      {"Name", &columns.name},
                                      {"Event Direction", &columns.direction},
                                      {"Event", &columns.event}}) {
    const auto found = find(title);
    if (!found) throw BadSavedFile(where + ": the table has no column \"" + title + "\"");
    *column = *found;
  }
  return columns;
}

// As Jan-14-2021 and 08:25:36. Nothing: it is not known.
std::optional<engine::Moment> parse_time(std::string_view date, std::string_view time) {
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  if (date.size() != 11 || date[3] != '-' || date[6] != '-') return std::nullopt;
  const auto month = kMonths.find(date.substr(0, 3));
  if (month == std::string_view::npos || month % 3 != 0) return std::nullopt;
  const auto number = std::to_string(month / 3 + 1);
  return engine::parse_moment(std::string(date.substr(7)) + (number.size() < 2 ? "-0" : "-") + number + "-" +
                              std::string(date.substr(4, 2)) + "T" + std::string(time) + "Z");
}

std::optional<std::uint16_t> parse_id(std::string_view text) {
  if (text.empty() || text.size() > 5) return std::nullopt;
  unsigned number = 0;
  for (const char digit : text) {
    if (digit < '0' || digit > '9') return std::nullopt;
    number = number * 10 + static_cast<unsigned>(digit - '0');
  }
  if (number > 0xFFFF) return std::nullopt;
  return static_cast<std::uint16_t>(number);
}

SelBytes make_record(std::uint16_t id, std::optional<engine::Moment> time, const Sensor& sensor, bool is_deasserted,
                     std::uint8_t offset) {
  constexpr engine::Moment kUnknown = 0xFFFFFFFF;
  const auto seconds = static_cast<std::uint32_t>(std::clamp<engine::Moment>(time.value_or(kUnknown), 0, kUnknown));
  const auto byte = [](unsigned value) { return static_cast<std::uint8_t>(value & 0xFFU); };
  return {byte(id),
          byte(id >> 8U),
          0x02,
          byte(seconds),
          byte(seconds >> 8U),
          byte(seconds >> 16U),
          byte(seconds >> 24U),
          sensor.key.owner,
          sensor.key.lun,
          0x04,
          sensor.sensor_type,
          sensor.key.number,
          byte(sensor.reading_type | (is_deasserted ? 0x80U : 0U)),
          offset,
          0xFF,
          0xFF};
}

class TableReader {
 public:
  TableReader(const Columns& columns, std::span<const Sensor> sensors, const Complain& complain)
      : columns_(columns), sensors_(sensors), complain_(complain) {}

  // Nothing: the line tells of no event, or of one that is not understood.
  std::optional<SelRecord> read(std::string_view line, const std::string& where) const {
    const auto cells = split(line, columns_.separator, columns_.count);
    if (cells.size() != columns_.count) {
      throw BadSavedFile(where + ": there are " + std::to_string(cells.size()) + " columns, and the table has " +
                         std::to_string(columns_.count));
    }
    const auto id = parse_id(cells[columns_.id]);
    if (!id) throw BadSavedFile(where + ": " + engine::in_quotes(cells[columns_.id]) + " is no id of a record");
    const auto direction = cells[columns_.direction];
    if (direction == "N/A") return std::nullopt;  // the record is of a maker's own
    const bool is_deasserted = direction == "Deassertion Event";
    if (!is_deasserted && direction != "Assertion Event") {
      throw BadSavedFile(where + ": " + engine::in_quotes(direction) +
                         " is no direction of an event; there are Assertion Event and Deassertion Event");
    }
    const auto* sensor = find(cells[columns_.name], where);
    if (sensor == nullptr) return std::nullopt;
    const auto text = cells[columns_.event].substr(0, cells[columns_.event].find(" ; "));
    const auto offset = event_offset(*sensor, text);
    if (!offset) {
      complain_(where + ": sensor " + engine::in_quotes(sensor->name) + " has no event " + engine::in_quotes(text) +
                "; the line is left out");
      return std::nullopt;
    }
    const auto time = parse_time(cells[columns_.date], cells[columns_.time]);
    return parse_sel_record(make_record(*id, time, *sensor, is_deasserted, *offset));
  }

 private:
  const Sensor* find(std::string_view name, const std::string& where) const {
    const auto is_it = [name](const Sensor& sensor) { return sensor.name == name; };
    const auto found = std::find_if(sensors_.begin(), sensors_.end(), is_it);
    if (found == sensors_.end()) {
      complain_(where + ": the SDR file has no sensor " + engine::in_quotes(name) + "; the line is left out");
      return nullptr;
    }
    if (std::find_if(found + 1, sensors_.end(), is_it) != sensors_.end()) {
      complain_(where + ": the SDR file has several sensors " + engine::in_quotes(name) + "; the line is left out");
      return nullptr;
    }
    return &*found;
  }

  Columns columns_;
  std::span<const Sensor> sensors_;
  const Complain& complain_;
};

// Records of bytes have control characters: the type 02h, and the zeros of small numbers.
bool is_text(std::string_view contents) {
  return std::none_of(contents.begin(), contents.end(), [](char character) {
    return byte_of(character) < ' ' && character != '\n' && character != '\r' && character != '\t';
  });
}

std::vector<SelRecord> parse_text(std::string_view contents, const std::string& name, std::span<const Sensor> sensors,
                                  const Complain& complain) {
  std::vector<SelRecord> records;
  std::optional<TableReader> table;
  bool is_log = false;
  for (std::size_t number = 1; !contents.empty(); ++number) {
    const auto end = std::min(contents.find('\n'), contents.size());
    auto line = contents.substr(0, end);
    contents.remove_prefix(std::min(end + 1, contents.size()));
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
    if (line.empty()) continue;

    const auto where = at_line(name, number);
    if (line.starts_with(kHexBegin)) {
      const auto bytes = parse_hex_line(line);
      if (!bytes) throw BadSavedFile(where + ": this is no whole line of ipmi-sel --hex-dump");
      records.push_back(parse_sel_record(*bytes));
      is_log = true;
    } else if (table) {
      if (const auto record = table->read(line, where)) records.push_back(*record);
    } else if (const auto columns = parse_header(line, where)) {
      table.emplace(*columns, sensors, complain);
      is_log = true;
    } else if (is_log) {
      throw BadSavedFile(where + ": this is no line of ipmi-sel --hex-dump");
    }
    // Else: what ipmi-sel says while it reads the SDR repository.
  }
  if (!is_log) {
    throw BadSavedFile(name +
                       ": this is no log that the program understands; save one by ipmitool sel writeraw FILE, or "
                       "by ipmi-sel --hex-dump > FILE");
  }
  return records;
}

}  // namespace

std::string read_saved_file(const std::string& path) {
  const auto fail = [&path](const std::string& why) { throw BadSavedFile(engine::printable(path) + ": " + why); };
  std::ifstream file(path, std::ios::binary);
  if (!file) fail(std::string("cannot be opened: ") + std::strerror(errno));
  std::string contents;
  for (char some[65536]; file.read(some, sizeof some), file.gcount() > 0;) {
    contents.append(some, static_cast<std::size_t>(file.gcount()));
    if (contents.size() > kMostBytes) fail("has more than 16 MiB, and no log has that much");
  }
  if (file.bad()) fail("cannot be read");
  return contents;
}

std::vector<SelRecord> parse_saved_log(std::string_view contents, const std::string& name,
                                       std::span<const Sensor> sensors, const Complain& complain) {
  return is_text(contents) ? parse_text(contents, name, sensors, complain) : parse_bytes(contents, name, complain);
}

std::vector<Sensor> parse_saved_sensors(std::string_view contents, const std::string& name, const Complain& complain) {
  constexpr std::size_t kHeaderSize = 5;
  SensorList sensors(complain);
  for (std::size_t at = 0; at < contents.size();) {
    const auto left = contents.size() - at;
    const std::size_t size = left < kHeaderSize ? kHeaderSize : kHeaderSize + byte_of(contents[at + 4]);
    if (left < size) {
      throw BadSavedFile(at_byte(name, at) + ": " + std::to_string(left) + " bytes are left, and the record has " +
                         std::to_string(size) + "; the file was cut, or is none of ipmitool sdr dump");
    }
    std::vector<std::uint8_t> record(size);
    std::transform(contents.begin() + static_cast<std::ptrdiff_t>(at),
                   contents.begin() + static_cast<std::ptrdiff_t>(at + size), record.begin(), byte_of);
    sensors.add(record, at_byte(name, at) + ": the record");
    at += size;
  }
  return sensors.take();
}

}  // namespace polaiga::ipmi
