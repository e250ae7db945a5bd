#include "daemon/control_request.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>
#include <vector>

#include "base/printable.h"

namespace polaiga::engine {
namespace {

using nlohmann::json;

constexpr std::size_t kLongestName = 32;

// A member of a request. A value that is neither a text nor a number of a change has no use in any request.
struct Member {
  enum class Kind { kText, kNumber, kOther };
  std::string name;
  Kind kind = Kind::kOther;
  std::string text;
  std::uint64_t number = 0;
};

using Request = std::vector<Member>;

// Takes the members of a flat object as the parser finds them. There is no tree of values: such a tree takes memory
// even where it is let go of, and that cannot fail.
class MemberReader {
 public:
  bool null() { return value({}); }
  bool boolean(bool /*value*/) { return value({}); }
  bool number_integer(json::number_integer_t /*value*/) { return value({}); }
  bool number_unsigned(json::number_unsigned_t number) { return value({"", Member::Kind::kNumber, "", number}); }
  bool number_float(json::number_float_t /*value*/, const std::string& /*text*/) { return value({}); }
  bool string(std::string& text) { return value({"", Member::Kind::kText, text, 0}); }
  bool binary(json::binary_t& /*value*/) { return value({}); }
  bool start_object(std::size_t /*size*/) {
    is_flat = is_flat && depth_ == 0;
    return begin();
  }
  bool start_array(std::size_t /*size*/) {
    is_flat = false;
    return begin();
  }
  bool end_object() { return end(); }
  bool end_array() { return end(); }
  bool key(std::string& name) {
    if (depth_ == 1) name_ = name;
    return true;
  }
  static bool parse_error(std::size_t /*position*/, const std::string& /*token*/, const json::exception& /*error*/) {
    return false;
  }

  Request request;
  bool is_flat = true;

 private:
  bool value(Member member) {
    if (depth_ == 0) is_flat = false;
    if (depth_ != 1) return true;
    member.name = name_;
    request.push_back(std::move(member));
    return true;
  }

  bool begin() {
    if (depth_ == 1) value({});
    ++depth_;
    return true;
  }

  bool end() {
    --depth_;
    return true;
  }

  std::size_t depth_ = 0;
  std::string name_;
};

Request parse(std::string_view line) {
  MemberReader reader;
  if (!json::sax_parse(line, &reader)) throw BadRequest("The request is not JSON");
  if (!reader.is_flat) throw BadRequest("The request is not a flat JSON object");
  std::set<std::string_view> names;
  for (const Member& member : reader.request) {
    if (!names.insert(member.name).second) throw BadRequest("A member of the request comes twice");
  }
  return std::move(reader.request);
}

const Member& member(const Request& request, const char* name) {
  const auto found = std::ranges::find(request, name, &Member::name);
  if (found == request.end()) throw BadRequest("The request has no member " + in_quotes(name));
  return *found;
}

std::string text_member(const Request& request, const char* name) {
  const Member& found = member(request, name);
  if (found.kind != Member::Kind::kText) throw BadRequest("The member " + in_quotes(name) + " must be a text");
  return found.text;
}

std::string publisher_of(const Request& request) {
  std::string name = text_member(request, "publisher");
  const auto may_stand = [](char c) {
    return ('a' <= c && c <= 'z') || ('0' <= c && c <= '9') || c == '-' || c == '_' || c == '.';
  };
  if (name.empty() || name.size() > kLongestName || !std::ranges::all_of(name, may_stand)) {
    throw BadRequest("The publisher is " + in_quotes(name) + "; its name has 1 to " + std::to_string(kLongestName) +
                     " of the characters a-z, 0-9, '-', '_' and '.'");
  }
  return name;
}

ChangeNumber through_of(const Request& request) {
  const Member& through = member(request, "through");
  const bool fits = through.kind == Member::Kind::kNumber && through.number <= std::uint64_t{INT64_MAX};
  if (!fits) throw BadRequest("The member 'through' must be the number of a change, or 0");
  return static_cast<ChangeNumber>(through.number);
}

void expect_only(const Request& request, std::initializer_list<std::string_view> names) {
  for (const Member& member : request) {
    if (std::ranges::find(names, member.name) == names.end()) {
      throw BadRequest("The member " + in_quotes(member.name) + " is not known in this request");
    }
  }
}

}  // namespace

ControlRequest parse_control_request(std::string_view line) {
  const Request request = parse(line);
  const std::string what = text_member(request, "do");
  if (what == "status") {
    expect_only(request, {"do"});
    return StatusRequest{};
  }
  if (what == "cursor") {
    expect_only(request, {"do", "publisher", "through"});
    return CursorRequest{publisher_of(request), through_of(request)};
  }
  if (what == "forget") {
    expect_only(request, {"do", "publisher"});
    return ForgetRequest{publisher_of(request)};
  }
  throw BadRequest("The request 'do' is " + in_quotes(what) + "; it may be 'status', 'cursor' or 'forget'");
}

}  // namespace polaiga::engine
