/* A host that links nothing: it loads the library and calls cJSON through it, by name. Lists the
 * cards of a deck that it reads from standard input, and adds one.
 *
 *   gcc json_host.c -o json_host
 *   virtual-reader --show-deck | ./json_host [PATH/libdeskreader.so.2] */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef struct cJSON Json;

static struct {
    Json* (*parse)(const char* text);
    char* (*print_unformatted)(const Json* item);
    void (*delete)(Json* item);
    void (*free)(void* text);
    Json* (*member)(const Json* object, const char* name);
    int (*size)(const Json* array);
    Json* (*element)(const Json* array, int index);
    char* (*text_of)(const Json* item);
    Json* (*create_object)(void);
    Json* (*add_text)(Json* object, const char* name, const char* text);
    Json* (*add_truth)(Json* object, const char* name, int holds);
    int (*append)(Json* array, Json* item);
} json;

static const struct {
    const char* name;
    void* function;
} names[] = {
    {"cJSON_Parse", &json.parse},
    {"cJSON_PrintUnformatted", &json.print_unformatted},
    {"cJSON_Delete", &json.delete},
    {"cJSON_free", &json.free},
    {"cJSON_GetObjectItem", &json.member},
    {"cJSON_GetArraySize", &json.size},
    {"cJSON_GetArrayItem", &json.element},
    {"cJSON_GetStringValue", &json.text_of},
    {"cJSON_CreateObject", &json.create_object},
    {"cJSON_AddStringToObject", &json.add_text},
    {"cJSON_AddBoolToObject", &json.add_truth},
    {"cJSON_AddItemToArray", &json.append},
};

/* POSIX: what dlsym gives for a function is its address, to be stored as bytes. */
static int load(const char* path) {
    void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    for (size_t i = 0; library != NULL && i < sizeof names / sizeof *names; ++i) {
        void* address = dlsym(library, names[i].name);
        if (address == NULL) library = NULL;
        memcpy(names[i].function, &address, sizeof address);
    }
    if (library == NULL) fprintf(stderr, "%s\n", dlerror());
    return library != NULL;
}

static void list(const Json* cards) {
    for (int i = 0; i < json.size(cards); ++i) {
        const Json* card = json.element(cards, i);
        printf("%-12s %s\n", json.text_of(json.member(card, "name")),
               json.text_of(json.member(card, "type")));
    }
}

static void add_guest(Json* cards) {
    Json* guest = json.create_object();
    json.add_text(guest, "type", "iso");
    json.add_text(guest, "name", "guest");
    json.add_text(guest, "answer", "3B044755455354");
    json.add_truth(guest, "inserted", 1);
    json.append(cards, guest);
    char* text = json.print_unformatted(guest);
    printf("added: %s\n", text);
    json.free(text);
}

int main(int count, char** arguments) {
    static char text[65536];
    if (!load(count > 1 ? arguments[1] : "libdeskreader.so.2")) return EXIT_FAILURE;
    text[fread(text, 1, sizeof text - 1, stdin)] = '\0';
    Json* deck = json.parse(text);
    Json* cards = json.member(deck, "cards");
    if (cards == NULL) {
        fputs("no cards in there\n", stderr);
        json.delete(deck);
        return EXIT_FAILURE;
    }
    list(cards);
    add_guest(cards);
    json.delete(deck);
    return EXIT_SUCCESS;
}
