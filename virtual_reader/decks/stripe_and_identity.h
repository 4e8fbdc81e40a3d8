// Cards of the types "magnetic" and "identity" in a deck.
//
//   { "type": "magnetic", "name": "...", "inserted": false, "track1": "...", "track2": "...",
//     "track3": "...", "damaged": [3] }
//
// A track without a text is blank, and the damaged ones are listed by number.
//
//   { "type": "identity", "name": "...", "inserted": false, "kind": "resident", "texts": {...},
//     "photo": content, "fingerprint": content, "chip_number": "...", "card_number": "..." }
//
// Kinds and their texts, all of them may be left out:
//
//   resident    name sex nation birth address number authority valid_from valid_until
//   residence   the same but nation, and pass_number issues
//   foreign     english_name chinese_name sex number nationality valid_from valid_until birth
//               version authority
//
// Photo and fingerprint have at most 1024 bytes, and zeros behind fewer. A card without a photo
// gets a drawn one, a card without a fingerprint carries none. The numbers, of 8 and 16 bytes,
// follow the fingerprint.
#pragma once

#include <memory>

#include "cards/identity_card.h"
#include "cards/magnetic_card.h"
#include "decks/node.h"

namespace virtual_reader {

std::unique_ptr<MagneticCard> read_magnetic_card(const Node& node);
std::unique_ptr<IdentityCard> read_identity_card(const Node& node);

}  // namespace virtual_reader
