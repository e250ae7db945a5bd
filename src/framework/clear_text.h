// The three ways in which the description of a raise becomes that of a clear.
#pragma once

#include <polaiga/records.h>

namespace polaiga {

// How much of a description is kept in front of ": Cleared".
enum class Keep : bool { kNameOnly, kNameAndText };

// Splits the description at colons as strtok() does and keeps the first token
// and, on demand, the second behind ": ". The second begins with the blank that
// followed its colon, so two blanks stand there: intended. False, and nothing
// written, when there is no token.
bool clear_by_tokens(char (&descr)[FE_DESCR_SIZE], Keep keep);

// Cut the description at its first or last colon. False, and nothing written,
// when there is none.
bool clear_at_first_colon(char (&descr)[FE_DESCR_SIZE]);
bool clear_at_last_colon(char (&descr)[FE_DESCR_SIZE]);

}  // namespace polaiga
