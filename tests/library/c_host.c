/* A host written in C. It is linked with -ldeskreader and nothing else, and the JSON functions come
 * with it. */
#include <deskreader.h>

#include <cJSON.h>
#include <stdio.h>
#include <string.h>

static int failures;

static void check(int holds, const char* what) {
    if (holds) return;
    printf("not so: %s\n", what);
    ++failures;
}

static void json(void) {
    cJSON* root = cJSON_Parse("{\"reader\":{\"sn\":\"D-0001\"},\"slots\":[0,1]}");
    check(root != NULL, "text parses");
    const cJSON* reader = cJSON_GetObjectItemCaseSensitive(root, "reader");
    const cJSON* sn = cJSON_GetObjectItemCaseSensitive(reader, "sn");
    check(cJSON_IsString(sn) && strcmp(sn->valuestring, "D-0001") == 0, "value is found");
    check(cJSON_AddNumberToObject(root, "baud", 9600) != NULL, "number is added");
    char* text = cJSON_PrintUnformatted(root);
    check(text != NULL &&
              strcmp(text, "{\"reader\":{\"sn\":\"D-0001\"},\"slots\":[0,1],\"baud\":9600}") == 0,
          "tree prints");
    cJSON_free(text);
    cJSON_Delete(root);
}

static void library(void) {
    char text[64] = "";
    int length = 0;
    check(RD_GetErrInfo(-1000, sizeof text, text, &length) == 0 && length == 18,
          "message is found");
    check(g_DevBaud == 9600 && g_Slot == 0, "globals have their first values");
    check(!DC_IsOpen(&context), "the reader is closed");
    check(sizeof(DEVCONTEXT) > 0 && RD_GetErrorCode(-19) == -1003, "numbers map");
}

int main(void) {
    json();
    library();
    if (failures == 0) puts("all as expected");
    return failures == 0 ? 0 : 1;
}
