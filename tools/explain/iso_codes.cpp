#include "iso_codes.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>

#include <cJSON.h>

namespace explain {
namespace {

using Names = std::map<std::string, std::string, std::less<>>;

// A file of a package's data, from the first directory that has it.
std::string read_shared(const std::string& path) {
    const char* set = std::getenv("XDG_DATA_DIRS");
    std::istringstream directories(set != nullptr && *set != '\0' ? set
                                                                  : "/usr/local/share:/usr/share");
    for (std::string directory; std::getline(directories, directory, ':');) {
        std::ifstream file(directory + "/" + path, std::ios::binary);
        if (file) return {std::istreambuf_iterator<char>(file), {}};
    }
    return {};
}

std::string text(const cJSON* object, const char* key) {
    const char* value = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, key));
    return value == nullptr ? "" : value;
}

// Calls `add` for each entry of the list that the file is about.
template <class Add>
Names read_names(const std::string& standard, Add add) {
    const std::string content = read_shared("iso-codes/json/iso_" + standard + ".json");
    const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> root(cJSON_Parse(content.c_str()),
                                                               cJSON_Delete);
    Names names;
    const cJSON* entry = nullptr;
    cJSON_ArrayForEach(entry, cJSON_GetObjectItemCaseSensitive(root.get(), standard.c_str()))
        add(names, entry);
    names.erase("");
    return names;
}

void add_country(Names& names, const cJSON* entry) {
    const std::string common = text(entry, "common_name");
    const std::string name = common.empty() ? text(entry, "name") : common;
    for (const char* key : {"numeric", "alpha_2", "alpha_3"})
        names.emplace(text(entry, key), name);
}

void add_currency(Names& names, const cJSON* entry) {
    names.emplace(text(entry, "numeric"), text(entry, "alpha_3") + " " + text(entry, "name"));
}

std::string find(const Names& names, std::string_view code) {
    const auto found = names.find(code);
    return found == names.end() ? "" : found->second;
}

}  // namespace

std::string country_name(std::string_view code) {
    static const Names names = read_names("3166-1", add_country);
    return find(names, code);
}

std::string currency_name(std::string_view code) {
    static const Names names = read_names("4217", add_currency);
    return find(names, code);
}

}  // namespace explain
