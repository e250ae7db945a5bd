// The elements that all views are made of: severities, objects, codes and times.
#pragma once

#include <string>
#include <string_view>

#include "model/dictionary.h"
#include "model/moment.h"
#include "page/markup.h"

namespace polaiga::web {

// The shape of the severity alone. The shapes are those of files/marks.js.
Markup shape(engine::Severity severity);

// The shape with the word.
Markup severity_mark(engine::Severity severity);

// The object without what all DNs have in common; the whole DN is in the title.
Markup object(std::string_view dn);

// 12 min
std::string age_text(engine::Moment seconds);

// 2025-03-12 09:12:20 UTC
std::string exact_text(engine::Moment moment);

// The exact moment.
Markup exact_time(engine::Moment moment);

// How long ago it was; a screen reader and the mouse are told the exact moment.
Markup time_ago(engine::Moment moment, engine::Moment now);

}  // namespace polaiga::web
