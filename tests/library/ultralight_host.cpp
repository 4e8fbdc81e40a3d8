// A host that has the Ultralight primitives from the start. Any result that is not so ends it with
// a failure.
#include <deskreader.h>

#include <cstdio>
#include <cstring>

namespace {

int failures = 0;

void check(bool holds, const char* what) {
    if (holds) return;
    std::printf("not so: %s\n", what);
    ++failures;
}

}  // namespace

int main() {
    char text[32] = "";
    int length = 0;
    check(RD_M0PowerOn(sizeof text, text, &length, 1) == 0, "a card answers");
    check(length == 4 && std::strcmp(text, "04A1") == 0, "and its answer comes back");
    check(RD_M0Read(0x12, 0x34, sizeof text, text) == 0, "a page is read");
    check(std::strcmp(text, "1234") == 0, "and its bytes come back");
    check(RD_M0Write(4, "00000000") == 0, "a page is written");
    check(RD_M0DownKey(32, "000102030405060708090A0B0C0D0E0F") == 0, "a key is written");
    check(RD_M0VerifyKey(32, "000102030405060708090A0B0C0D0E0F") == -1013, "1A 00 is no challenge");
    check(RD_M0PowerOff() == 0, "the card is halted");
    return failures;
}
