// What a user's name and password may be.
#pragma once

#include <string_view>

namespace polaiga::web {

constexpr std::size_t kLongestUserName = 64;
constexpr std::size_t kShortestPassword = 8;
constexpr std::size_t kLongestPassword = 128;

// 1 to 64 bytes of UTF-8 that can be shown, without a colon, which ends the name in the file of users and in basic
// authentication. It begins with no "#", and neither begins nor ends with a space.
bool is_user_name(std::string_view text);

// 8 to 128 bytes of UTF-8 that can be shown.
bool is_password(std::string_view text);

}  // namespace polaiga::web
