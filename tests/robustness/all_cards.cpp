#include "robustness/all_cards.h"

namespace robustness {

std::string_view all_cards() {
    return R"({ "cards": [
    { "type": "payment", "name": "bank", "inserted": true, "pin": "1234", "balance": 10000 },
    { "type": "purse", "name": "purse", "pin": "1234", "purse": 5000,
      "files": [ { "id": "EF15", "sfi": 21, "data": "0123456789ABCDEF" } ] },
    { "type": "social-security", "name": "citizen", "person": "ADA EXAMPLE" },
    { "type": "iso", "name": "visitor", "contactless": true },
    { "type": "mifare-classic", "name": "locker", "size": "1K", "uid": "5A5B5C5D",
      "inserted": true, "sectors": [ { "number": 2, "key_a": "A0A1A2A3A4A5" } ],
      "blocks": [ { "number": 4, "data": "LOCKER 17" }, { "number": 5, "value": 250 } ] },
    { "type": "magnetic", "name": "loyalty", "inserted": true,
      "track1": "B9999000000000003^EXAMPLE/CAT^3012", "track2": "9999000000000003=3012",
      "track3": "009999000000000003'0012'0" },
    { "type": "identity", "name": "resident", "inserted": true, "kind": "resident",
      "texts": { "name": "样本甲", "sex": "1", "number": "999999200001019991",
                 "birth": "20000101", "valid_until": "20400101" } },
    { "type": "hostile", "name": "sizes", "manner": "sizes" },
    { "type": "hostile", "name": "lengths", "manner": "lengths" },
    { "type": "hostile", "name": "endless-61", "manner": "endless-61" },
    { "type": "hostile", "name": "endless-62", "manner": "endless-62" },
    { "type": "hostile", "name": "endless-6C", "manner": "endless-6C" },
    { "type": "hostile", "name": "records", "manner": "records" },
    { "type": "hostile", "name": "logs", "manner": "logs" },
    { "type": "hostile", "name": "names", "manner": "names" },
    { "type": "hostile", "name": "lists", "manner": "lists" }
  ] })";
}

}  // namespace robustness
