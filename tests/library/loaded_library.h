// The library loaded as a host loads it at run time: each test has a copy in a directory of its
// own, with the copy's config.ini and log.
#pragma once

#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

class LoadedLibrary : public testing::Test {
  protected:
    void SetUp() override {
        std::string name =
            (std::filesystem::temp_directory_path() / "deskreader-load-XXXXXX").string();
        directory_ = mkdtemp(name.data());
        std::filesystem::copy_file(DESKREADER_FILE, library());
    }

    void TearDown() override {
        unload();
        std::filesystem::remove_all(directory_);
    }

    void load() {
        handle_ = dlopen(library().c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle_, nullptr) << dlerror();
    }

    void unload() {
        if (handle_ != nullptr) dlclose(handle_);
        handle_ = nullptr;
    }

    template <class Function>
    Function* find(const char* name) {
        return reinterpret_cast<Function*>(dlsym(handle_, name));
    }

    std::filesystem::path library() const { return directory_ / "libdeskreader.so"; }
    std::filesystem::path log_directory() const { return directory_ / "log"; }

    void configure(const std::string& text) const {
        std::ofstream(directory_ / "config.ini") << text;
    }

    // The name of the log of a day so many days ago.
    static std::string log_name(int days_ago) {
        std::time_t moment = std::time(nullptr);
        std::tm day{};
        localtime_r(&moment, &day);
        day.tm_hour = 12;
        day.tm_mday -= days_ago;
        moment = mktime(&day);
        localtime_r(&moment, &day);
        char name[32];
        std::strftime(name, sizeof name, "sd_%Y%m%d.log", &day);
        return name;
    }

    void leave_log(const std::string& name) const {
        std::filesystem::create_directories(log_directory());
        std::ofstream(log_directory() / name) << "old\n";
    }

    bool has_log(const std::string& name) const {
        return std::filesystem::exists(log_directory() / name);
    }

    std::string log_of_today() const {
        std::ifstream file(log_directory() / log_name(0));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::filesystem::path directory_;
    void* handle_ = nullptr;
};
