// What the reader knows of any IC card in it.
#pragma once

#include <string>

#include "bytes.h"

namespace virtual_reader {

class Card {
  public:
    virtual ~Card() = default;

    virtual const std::string& name() const = 0;
    virtual bool contactless() const = 0;

    // Powers the card, anew if it was powered. Its answer to reset, or what a contactless card
    // answers to its activation.
    virtual Bytes power_on() = 0;

    // It comes into the reader, and goes back. Coming throws std::runtime_error if it cannot.
    virtual void enter() {}
    virtual void leave() {}

    // Whether there is a card where it was put, and what else there is to say of it.
    virtual bool is_present() { return true; }
    virtual std::string situation() { return {}; }

    // What was selected or authenticated is forgotten.
    virtual void power_off() = 0;

    // Whether its commands are APDUs.
    virtual bool knows_apdus() const { return true; }

    // One command, and the response with its status word if the card's protocol has one. Empty from
    // a card that says nothing. Only called while powered.
    virtual Bytes transmit(View command) = 0;
};

}  // namespace virtual_reader
