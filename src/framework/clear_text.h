// Three functions that turn the description of a raised fault into that of its
// clear. Which of them applies depends on the filter.
#pragma once

#include <polaiga/records.h>

namespace polaiga {

// How much of a description is kept in front of ": Cleared".
enum class Keep : bool { kNameOnly, kNameAndText };

// Splits the description at its colons, as strtok() does, and keeps the first token
// or the first two, with ": " between them. The second token begins with the blank
// that followed its colon, so that two blanks stand in front of it: intended. Returns
// false, and writes nothing, when there is no token.
bool clear_by_tokens(char (&descr)[FE_DESCR_SIZE], Keep keep);

// Cut the description at its first or at its last colon. Return false, and write
// nothing, when there is no colon.
bool clear_at_first_colon(char (&descr)[FE_DESCR_SIZE]);
bool clear_at_last_colon(char (&descr)[FE_DESCR_SIZE]);

}  // namespace polaiga
