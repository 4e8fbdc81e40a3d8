/* Prints what a payment card tells everybody: its number, its holder, until when it is good, its
 * balance.
 *
 *   gcc card_information.c $(pkg-config --cflags --libs deskreader) -o card_information
 *   ./card_information /dev/ttyS0      a reader on a serial port; without an argument, on USB */
#include <deskreader.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { usb = 0, my_port = 15, baud = 9600, any_slot = 2, wait_s = 10 };

/* What is asked for, and what it is called. */
static const char letters[] = "ABGI";
static const char* const names[] = {"number", "holder", "balance", "valid until"};

static int failed(const char* call, int result) {
    char text[56] = "";
    int length = 0;
    RD_GetErrInfo(result, sizeof text, text, &length);
    fprintf(stderr, "%s: %d %s\n", call, result, text);
    return result;
}

/* A field is its letter, three digits of length and the value. */
static void print_fields(const char* text) {
    while (*text != '\0') {
        const char digits[] = {text[1], text[2], text[3], '\0'};
        const int length = atoi(digits);
        printf("%-12s %.*s\n", names[strchr(letters, text[0]) - letters], length, text + 4);
        text += 4 + length;
    }
}

static int read_card(void) {
    char information[3627] = "";
    const int result = RD_ICGetInfo(any_slot, letters, 0, information, wait_s);
    if (result != 0) return failed("RD_ICGetInfo", result);
    print_fields(information);
    return 0;
}

int main(int count, char** arguments) {
    if (count > 1) GSetComName(my_port, arguments[1]);
    int result = RD_Open(count > 1 ? my_port : usb, baud, 0);
    if (result != 0) {
        failed("RD_Open", result);
        return EXIT_FAILURE;
    }
    result = read_card();
    RD_Close();
    return result == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
