// The basic files of a Chinese social security card, on a plain ISO card.
#pragma once

#include <array>
#include <set>

#include "cards/iso_card.h"

namespace virtual_reader {

// Its thirteen elements, tags 01 to 0D, in the order of their records.
constexpr std::size_t citizen_elements = 13;

struct SocialSecurityCardSettings {
    std::string name;
    bool contactless = false;
    Bytes answer;  // to reset
    bool by_procedure_bytes = false;
    std::array<Bytes, citizen_elements> elements = example_citizen();
    std::set<int> without;                      // tags whose records are there, but empty
    std::size_t ends_after = citizen_elements;  // there are no records behind this element's

    // Nobody's card.
    static std::array<Bytes, citizen_elements> example_citizen();
};

// A directory with the files EF05, records 1 to 7 with tags 01 to 07, and EF06, records 1 to 6 with
// tags 08 to 0D.
IsoCardSettings social_security_card(const SocialSecurityCardSettings& settings);

}  // namespace virtual_reader
