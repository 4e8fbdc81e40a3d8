/* A first program of somebody who has just installed the library. It opens no reader.
 *
 *   host DIRECTORY    the library must have been loaded from DIRECTORY */
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

static int setting(const char* section, const char* key, int fallback) {
    int value = -1;
    GGetConfigInt(section, key, fallback, &value);
    return value;
}

static void installed(const char* directory) {
    char path[1024] = "";
    GGetDllPath(sizeof path, path);
    printf("the library lies in %s\n", path);
    check(strcmp(path, directory) == 0, "it is the installed one");
    check(RD_GetErrorCode(-19) == -1003, "an exported function works");
    check(GLogE("a first program\r\n") == 0, "the log can be written");
}

/* Fallbacks that differ from what is installed show that the file is read. */
static void configuration(void) {
    check(setting("log", "loglevel", 7) == 1, "loglevel is 1");
    check(setting("log", "saveday", 7) == 15, "saveday is 15");
    check(setting("devcfg", "DevBaud", 7) == 9600, "DevBaud is 9600");
    check(setting("devcfg", "IdChange", 7) == 1, "IdChange is 1");
    check(setting("devcfg", "IcBaud", 7) == 9600, "IcBaud is 9600");
    check(setting("devcfg", "devtype", 7) == 0, "devtype is 0");
    check(setting("devcfg", "IdBaud", 7) == 7, "IdBaud is for each call to choose");
    check(setting("devcfg", "Iccmd", 7) == 7, "Iccmd is for each command to choose");
    GSetConfigString("devcfg", "IdChange", "2");
    check(setting("devcfg", "IdChange", 7) == 2, "a setting can be changed");
    GSetConfigString("devcfg", "IdChange", "1");
}

static void json(void) {
    cJSON* root = cJSON_Parse("{\"slots\":[0,1]}");
    check(cJSON_GetArraySize(cJSON_GetObjectItem(root, "slots")) == 2, "JSON is read");
    check(cJSON_AddNumberToObject(root, "baud", 9600) != NULL, "JSON is changed");
    char* text = cJSON_PrintUnformatted(root);
    check(text != NULL && strcmp(text, "{\"slots\":[0,1],\"baud\":9600}") == 0, "JSON is written");
    cJSON_free(text);
    cJSON_Delete(root);
}

int main(int count, char** arguments) {
    if (count != 2) return 2;
    installed(arguments[1]);
    configuration();
    json();
    if (failures == 0) puts("all as expected");
    return failures == 0 ? 0 : 1;
}
