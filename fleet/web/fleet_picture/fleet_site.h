// What all parts of the server of a fleet ask.
#pragma once

#include "access/gate.h"
#include "fleet_picture/picture.h"
#include "http/message.h"
#include "questions/asking.h"

namespace polaiga::web {

struct FleetSite {
  fleet::Asking& asking;
  Picture& picture;
  Gate& gate;
};

// 503 with the reason when the database is away, and since when; for what a question threw. Rethrows what is no error
// of the database.
Response database_problem(const fleet::Asking& asking);

// The sentence of it.
std::string database_problem_text(const fleet::Asking& asking);

}  // namespace polaiga::web
