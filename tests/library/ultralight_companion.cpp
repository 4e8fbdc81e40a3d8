// The Ultralight primitives, of a card that answers with what it was asked.
#include <deskreader.h>

namespace {

int give(unsigned char* out, int* length, int first, int second) {
    out[0] = static_cast<unsigned char>(first);
    out[1] = static_cast<unsigned char>(second);
    *length = 2;
    return 0;
}

}  // namespace

int M0_PowerOn(DEVCONTEXT*, unsigned char* answer, int* answer_length, int) {
    return give(answer, answer_length, 0x04, 0xA1);
}

int M0_ReadBlock(DEVCONTEXT*, int page, int count, unsigned char* out, int* out_length, int) {
    return give(out, out_length, page, count);
}

int M0_Interaction(DEVCONTEXT*, unsigned char* command, int, unsigned char* reply,
                   int* reply_length, int) {
    return give(reply, reply_length, command[0], command[1]);
}

#ifndef WITHOUT_WRITE_AND_HALT
int M0_PowerOff(DEVCONTEXT*, int) {
    return 0;
}

int M0_WriteBlock(DEVCONTEXT*, int, unsigned char*, int, int) {
    return 0;
}
#endif
