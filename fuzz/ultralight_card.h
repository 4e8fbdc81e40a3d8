// The five Ultralight primitives, which another library provides: here they answer what the input
// says.
#pragma once

#include "draw.h"

namespace fuzzing {

// While one stands, that card is there.
class UltralightCard {
  public:
    explicit UltralightCard(Draw& draw);
    ~UltralightCard();
    UltralightCard(const UltralightCard&) = delete;
    UltralightCard& operator=(const UltralightCard&) = delete;
};

}  // namespace fuzzing
