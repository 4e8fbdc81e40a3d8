#include "ultralight_card.h"

#include <deskreader.h>

namespace {

constexpr std::size_t room = 4096;

fuzzing::Draw* card = nullptr;

// Success or one of the failures that the header names.
int outcome() {
    constexpr int outcomes[] = {0, 0, 0, 0, -4005, -5001, -62, -1};
    return outcomes[card->byte() % std::size(outcomes)];
}

// The length told may be any.
int give(unsigned char* out, int* length) {
    const int result = outcome();
    constexpr std::uint8_t challenge[] = {0xAF, 1, 2, 3, 4, 5, 6, 7, 8};
    const fuzzing::Bytes bytes = card->piece(challenge);
    std::copy_n(bytes.begin(), std::min(bytes.size(), room), out);
    *length = card->byte() == 0xFF ? card->number() : static_cast<int>(bytes.size());
    return result;
}

}  // namespace

namespace fuzzing {

UltralightCard::UltralightCard(Draw& draw) {
    card = &draw;
}

UltralightCard::~UltralightCard() {
    card = nullptr;
}

}  // namespace fuzzing

int M0_PowerOn(DEVCONTEXT*, unsigned char* answer, int* answer_length, int) {
    return give(answer, answer_length);
}

int M0_PowerOff(DEVCONTEXT*, int) {
    return outcome();
}

int M0_ReadBlock(DEVCONTEXT*, int, int, unsigned char* out, int* out_length, int) {
    return give(out, out_length);
}

int M0_WriteBlock(DEVCONTEXT*, int, unsigned char*, int, int) {
    return outcome();
}

int M0_Interaction(DEVCONTEXT*, unsigned char*, int, unsigned char* reply, int* reply_length, int) {
    return give(reply, reply_length);
}
