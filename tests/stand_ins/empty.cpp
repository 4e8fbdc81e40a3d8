// A library without any of the functions that the photo path looks for.
extern "C" __attribute__((__visibility__("default"))) int stand_in_without_functions(void);

int stand_in_without_functions(void) {
    return 0;
}
