// cJSON through the library, for hosts that look names up at run time.
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include <cJSON.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

class JsonByName : public testing::Test {
  protected:
    void SetUp() override {
        handle_ = dlopen(DESKREADER_FILE, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle_, nullptr) << dlerror();
    }
    void TearDown() override { dlclose(handle_); }

    template <class Function>
    Function* find(const char* name) {
        auto* found = reinterpret_cast<Function*>(dlsym(handle_, name));
        EXPECT_NE(found, nullptr) << name;
        return found;
    }

    void* handle_ = nullptr;
};

#define JSON(name) find<decltype(name)>(#name)

TEST_F(JsonByName, ParsesQueriesBuildsAndPrints) {
    cJSON* root = JSON(cJSON_Parse)(R"({"card":"6228","tracks":[1,2,3]})");
    ASSERT_NE(root, nullptr);
    cJSON* card = JSON(cJSON_GetObjectItemCaseSensitive)(root, "card");
    EXPECT_STREQ(JSON(cJSON_GetStringValue)(card), "6228");
    EXPECT_EQ(JSON(cJSON_GetArraySize)(JSON(cJSON_GetObjectItem)(root, "tracks")), 3);
    EXPECT_NE(JSON(cJSON_AddBoolToObject)(root, "present", 1), nullptr);
    char* text = JSON(cJSON_PrintUnformatted)(root);
    EXPECT_STREQ(text, R"({"card":"6228","tracks":[1,2,3],"present":true})");
    JSON(cJSON_free)(text);
    JSON(cJSON_Delete)(root);
    EXPECT_EQ(JSON(cJSON_Parse)("{\"card\":"), nullptr);
}

TEST_F(JsonByName, AnswersEveryFunctionOfThePublicHeaderWithCjsonsOwn) {
    std::ifstream file(CJSON_HEADER);
    const std::string header{std::istreambuf_iterator<char>(file), {}};
    const std::regex declaration(R"(CJSON_PUBLIC\([^)]*\)\s*(cJSON_\w+))");
    void* cjson = dlopen("libcjson.so.1", RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(cjson, nullptr);
    std::set<std::string> names;
    for (std::sregex_iterator next(header.begin(), header.end(), declaration), end; next != end;
         ++next) {
        names.insert((*next)[1]);
    }
    EXPECT_GE(names.size(), 70u);
    for (const std::string& name : names) {
        void* ours = dlsym(handle_, name.c_str());
        EXPECT_NE(ours, nullptr) << name;
        EXPECT_EQ(ours, dlsym(cjson, name.c_str())) << name << " is a stub";
    }
    dlclose(cjson);
}

// Memory that runs out at the allocation so many ahead, for cJSON.
int allocations_left = 0;
int allocations_held = 0;

void* give_memory(std::size_t size) {
    if (--allocations_left < 0) return nullptr;
    ++allocations_held;
    return std::malloc(size);
}

void take_memory(void* memory) {
    if (memory != nullptr) --allocations_held;
    std::free(memory);
}

TEST_F(JsonByName, LeavesNothingBehindWhenMemoryRunsOut) {
    constexpr char document[] = R"({"card":"6228","tracks":[1,2,{"name":"three"}]})";
    cJSON_Hooks hooks{give_memory, take_memory};
    JSON(cJSON_InitHooks)(&hooks);
    int memory = 0;
    bool is_done = false;
    for (; !is_done && memory < 100; ++memory) {
        allocations_left = memory;
        cJSON* root = JSON(cJSON_Parse)(document);
        char* text = root == nullptr ? nullptr : JSON(cJSON_PrintUnformatted)(root);
        is_done = text != nullptr;
        EXPECT_STREQ(is_done ? text : document, document);
        JSON(cJSON_free)(text);
        JSON(cJSON_Delete)(root);
        EXPECT_EQ(allocations_held, 0) << "with " << memory << " allocations";
    }
    EXPECT_TRUE(is_done);
    EXPECT_GT(memory, 10) << "each of these ended in a null pointer";
    JSON(cJSON_InitHooks)(nullptr);
    cJSON* root = JSON(cJSON_Parse)(document);
    EXPECT_NE(root, nullptr);
    JSON(cJSON_Delete)(root);
}

}  // namespace
