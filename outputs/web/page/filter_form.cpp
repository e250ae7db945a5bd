#include "page/filter_form.h"

#include "http/target.h"

namespace polaiga::web {
namespace {

Markup select(const Markup::Tag& begin, std::span<const Option> options, std::string_view chosen) {
  Markup markup;
  markup.tag(begin);
  for (const Option& option : options) {
    markup.tag(R"(<option value=")").text(option.word).tag(R"(")");
    if (option.word == chosen) markup.tag(" selected");
    markup.tag(">").text(option.label).tag("</option>");
  }
  return markup.tag("</select>");
}

}  // namespace

Markup filter_form(const Choice& choice, std::size_t shown, std::size_t of) {
  Markup form;
  form.tag(R"(<form class="filter" id="filter" action="/" method="get" role="search">)")
      .tag(R"(<input type="search" name="text" aria-label="Filter: text, DN or code" )")
      .tag(R"(placeholder="filter: text, DN or code" autocomplete="off" maxlength="200" value=")")
      .text(choice.text)
      .tag(R"(">)")
      .add(select(R"(<select name="severity" aria-label="Severity">)", severity_options(), choice.severity))
      .add(select(R"(<select name="state" aria-label="State">)", state_options(), choice.state))
      .tag(R"(<input type="search" name="under" aria-label="Object: a DN, with all below it" )")
      .tag(R"(placeholder="object" autocomplete="off" maxlength="500" value=")")
      .text(choice.under)
      .tag(R"(">)")
      .add(select(R"(<select name="order" aria-label="Order">)", order_options(), choice.order))
      .tag(R"(<button type="submit">Filter</button><span class="shown" id="shown">)")
      .number(shown)
      .tag(" of ")
      .number(of)
      .tag(" shown</span></form>");
  return form;
}

std::string list_address(const Choice& choice, std::size_t skip) {
  std::string address = "/?";
  const auto add = [&address](std::string_view name, std::string_view value) {
    if (!value.empty()) address.append(name).append("=").append(percent_encoded(value)).append("&");
  };
  add("text", choice.text);
  add("severity", choice.severity);
  add("state", choice.state);
  add("under", choice.under);
  add("order", choice.order);
  return address + "skip=" + std::to_string(skip);
}

}  // namespace polaiga::web
