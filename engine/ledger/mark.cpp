#include "ledger/mark.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "ledger/columns.h"

namespace polaiga::engine {
namespace {

// All marks have the same size, so that one is always written over the other as a whole.
constexpr const char* kFormat =
    "polaiga mark 1\nledger %32.32s\ninput %019lld\nchange %019lld\ndamaged %d\nprocess %010d\n";
constexpr std::size_t kTextSize = 15 + 40 + 26 + 27 + 10 + 19;
constexpr std::size_t kSize = kTextSize + 12;  // "crc " and eight digits

std::string with_crc(const std::string& text) {
  std::array<char, 16> crc{};
  std::snprintf(crc.data(), crc.size(), "crc %08lx",
                ::crc32_z(0, reinterpret_cast<const Bytef*>(text.data()), text.size()) & 0xFFFFFFFFUL);
  return text + crc.data();
}

std::string text_of(const Mark& mark) {
  std::array<char, kTextSize + 1> text{};
  const int size = std::snprintf(text.data(), text.size(), kFormat, mark.ledger_id.c_str(),
                                 static_cast<long long>(mark.last_sequence), static_cast<long long>(mark.last_change),
                                 mark.is_damaged ? 1 : 0, mark.process);
  return {text.data(), static_cast<std::size_t>(size)};
}

// Takes a line "NAME VALUE" off the text; the value, or nothing when there is another name.
std::optional<std::string_view> take_line(std::string_view& text, std::string_view name) {
  const auto end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  if (end == std::string_view::npos || !line.starts_with(name)) return std::nullopt;
  text.remove_prefix(end + 1);
  return line.substr(name.size());
}

std::optional<std::int64_t> take_number(std::string_view& text, std::string_view name) {
  const auto value = take_line(text, name);
  std::int64_t number = 0;
  if (!value || std::from_chars(value->data(), value->data() + value->size(), number).ec != std::errc() || number < 0) {
    return std::nullopt;
  }
  return number;
}

std::optional<Mark> parse_mark(const std::string& content) {
  if (content.size() != kSize || content != with_crc(content.substr(0, kTextSize))) return std::nullopt;
  std::string_view text = content;
  const auto head = take_line(text, "polaiga mark 1");
  const auto id = take_line(text, "ledger ");
  const auto input = take_number(text, "input ");
  const auto change = take_number(text, "change ");
  const auto damaged = take_number(text, "damaged ");
  const auto process = take_number(text, "process ");
  if (!head || !id || !input || !change || !damaged || !process) return std::nullopt;
  return Mark{std::string(*id), *input, *change, *damaged != 0, static_cast<int>(*process)};
}

[[noreturn]] void fail(const std::string& path, const char* what) {
  const std::string reason =
      errno == ELOOP ? "it is a symbolic link, which is never followed; remove it" : std::strerror(errno);
  throw LedgerError(path + ": cannot " + what + " the ledger's mark: " + reason);
}

}  // namespace

std::string mark_path(const std::string& ledger) { return ledger + "-mark"; }

std::optional<Mark> read_mark(const std::string& ledger) {
  const std::string path = mark_path(ledger);
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file.is_open()) {
    if (errno == ENOENT) return std::nullopt;
    fail(path, "open");
  }
  std::string content(kSize + 1, '\0');
  const ssize_t size = ::pread(file.get(), content.data(), content.size(), 0);
  if (size < 0) fail(path, "read");
  content.resize(static_cast<std::size_t>(size));
  return parse_mark(content);
}

MarkFile::MarkFile(const std::string& ledger)
    : path_(mark_path(ledger)),
      file_(::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0644)) {
  if (!file_.is_open()) fail(path_, "open");
}

void MarkFile::write(const Mark& mark) {
  const std::string content = with_crc(text_of(mark));
  const ssize_t written = ::pwrite(file_.get(), content.data(), content.size(), 0);
  if (written < 0) fail(path_, "write");
  if (static_cast<std::size_t>(written) != content.size()) {
    throw LedgerError(path_ + ": cannot write the ledger's mark: only a part of it was written");
  }
}

}  // namespace polaiga::engine
