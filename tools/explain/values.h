// Values of data objects: dates, amounts, codes, lists.
#pragma once

#include "bytes.h"
#include "note.h"
#include "tags.h"

namespace explain {

// Adds what a value means in its form. Bytes that do not fit the form are said to.
void explain_value(Form form, View value, Note& note);

// Data objects one after the other.
void explain_objects(View bytes, Note& note, std::size_t depth = 0);

// Values without tags and lengths, as the list of tags and lengths has them.
void explain_listed(View list, View values, Note& note);

// The name of an application or file, where it is a well-known one.
std::string application_name(View name);

// "20261121" as 2026-11-21, of as many digits as given; empty for what is no date.
std::string date_text(std::string_view digits);

}  // namespace explain
