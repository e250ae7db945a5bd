// HTML that is put together from this program's own tags and from texts of others.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

#include "http/html_text.h"

namespace polaiga::web {

class Markup {
 public:
  // A tag as it stands in the source: the compiler takes literals alone, so no text from outside can come here.
  struct Tag {
    consteval Tag(const char* literal) : html(literal) {}
    std::string_view html;
  };

  Markup& tag(Tag literal) {
    html_ += literal.html;
    return *this;
  }

  Markup& text(std::string_view text) {
    html_ += escaped(text);
    return *this;
  }

  // With thousands apart, as in 5,231.
  Markup& number(std::uint64_t number);

  Markup& add(const Markup& other) {
    html_ += other.html_;
    return *this;
  }

  const std::string& html() const { return html_; }

 private:
  std::string html_;
};

}  // namespace polaiga::web
