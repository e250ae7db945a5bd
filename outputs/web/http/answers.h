// Responses that all parts of the server give alike.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "http/message.h"

namespace polaiga::web {

// A body with its type. It has an ETag made of its content, and who has it already is told so (RFC 9110, section 13).
// Caches ask each time whether it is still the same.
Response content(const Request& request, Body body, std::string_view type);

// The same for a body whose ETag is known. It is not made when the asker has it already.
Response content(const Request& request, std::string_view etag, std::string_view type,
                 const std::function<Body()>& make);

// The ETag of a body, with its quotation marks.
std::string etag_of(std::string_view body);

Response json_content(const Request& request, std::string text);

// "application/problem+json" of RFC 9457. The detail is a sentence for people: what is wrong, and what to do.
Response problem(int status, std::string_view detail);

// The detail of a problem, for parts that tell it in another form; "" when the response is none.
std::string detail_of(const Response& response);

// 405, with the methods that are allowed, as in "GET, HEAD".
Response not_allowed(std::string_view methods);

// Whether the method asks and changes nothing.
bool is_question(const Request& request);

// The words of a status, as in "Not Found".
std::string_view reason_of(int status);

}  // namespace polaiga::web
