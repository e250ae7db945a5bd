// Whatever a text is, what is shown of it is UTF-8 that another reader takes, holds nothing that a terminal obeys or
// hides, is left alone when it is shown again, and fits where it is cut to fit. JSON of it is plain, and reads back as
// the text if that is UTF-8. The first byte of the input says how wide the room is.
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "base/printable.h"
#include "base/text_width.h"
#include "check.h"
#include "report/json_text.h"

namespace polaiga::fuzz {
namespace {

using namespace engine;

bool is_utf8(std::string_view text) {
  try {
    return !nlohmann::json(text).dump().empty();
  } catch (const nlohmann::json::exception&) {
    return false;
  }
}

void check_shown(std::string_view shown) {
  check(is_printable(shown), "no control character is shown");
  check(is_utf8(shown), "what is shown is UTF-8");
  for (const std::string_view hidden : {"\xE2\x80\xAE", "\xE2\x81\xA6", "\xE2\x80\xA8", "\xEF\xBB\xBF", "\xD8\x9C"}) {
    check(shown.find(hidden) == std::string_view::npos, "no mark of direction is shown");
  }
  check(printable(shown) == shown, "what is shown stays when it is shown again");
}

void check_cut(std::string_view shown, std::size_t width) {
  for (const std::string& cut : {cut_to_width(shown, width), cut_front_to_width(shown, width)}) {
    check(text_width(cut) <= width, "what is cut fits");
    check(is_utf8(cut), "a cut is not amid a character");
    check(text_width(shown) > width || cut == shown, "what fits is whole");
  }
}

void check_json(std::string_view text) {
  std::string json;
  add_json_text(json, text);
  check(is_printable(json), "JSON has no control character");
  const std::string read = nlohmann::json::parse(json).get<std::string>();
  check(!is_utf8(text) || read == text, "a text reads back from JSON");
  check(is_utf8(read), "and is UTF-8 in any case");
}

}  // namespace
}  // namespace polaiga::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace polaiga::fuzz;
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::string shown = printable(text);
  check_shown(shown);
  check_shown(in_quotes(text));
  check_cut(shown, data[0]);
  check_json(text);
  return 0;
}
