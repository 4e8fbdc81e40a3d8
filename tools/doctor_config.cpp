// The settings of config.ini. A line counts only where the library finds it: behind its section's
// line, from the first column on.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <span>

#include <fcntl.h>
#include <fmt/core.h>

#include "descriptor.h"
#include "doctor.h"

namespace desk_tool::doctor {
namespace {

constexpr char subject[] = "config.ini";
constexpr std::size_t longest_line = 255;  // its end included
constexpr std::size_t max_size = 1 << 20;

constexpr int rates[] = {1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200};
constexpr int ways_to_identity[] = {1, 2};
constexpr int switches[] = {0, 1};
constexpr int levels[] = {0, 1, 2};

struct Setting {
    const char* section;
    const char* key;
    std::span<const int> values;  // empty: from 0 to the limit
    int limit = 0;
};

constexpr Setting settings[] = {
    {"log", "loglevel", levels},   {"log", "saveday", {}, 365},
    {"devcfg", "DevBaud", rates},  {"devcfg", "IdChange", ways_to_identity},
    {"devcfg", "IdBaud", rates},   {"devcfg", "IcBaud", rates},
    {"devcfg", "Iccmd", switches}, {"devcfg", "devtype", switches},
};

const Setting* find(const std::string& section, const std::string& key) {
    const auto* found = std::ranges::find_if(
        settings, [&](const Setting& one) { return one.section == section && one.key == key; });
    return found == std::end(settings) ? nullptr : found;
}

bool is_known_section(const std::string& name) {
    return std::ranges::find(settings, name, &Setting::section) != std::end(settings);
}

std::string allowed(const Setting& setting) {
    if (setting.values.empty()) return fmt::format("0 to {}", setting.limit);
    std::string text;
    for (const int value : setting.values)
        text += (text.empty() ? "" : ", ") + std::to_string(value);
    return text;
}

bool is_allowed(const Setting& setting, const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text.c_str(), &end, 10);
    const bool is_number = end != text.c_str() && errno == 0;
    if (!is_number || std::string(end).find_first_not_of(" \t") != std::string::npos) return false;
    if (setting.values.empty()) return value >= 0 && value <= setting.limit;
    return std::ranges::find(setting.values, value) != setting.values.end();
}

std::string without_blanks(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string::npos) return "";
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

class ConfigCheck {
  public:
    ConfigCheck(const std::string& path, Findings& findings) : path_(path), findings_(findings) {}

    void line(const std::string& text) {
        ++number_;
        if (text.size() >= longest_line) {
            warn("is longer than 254 characters, what is beyond counts as a line of its own",
                 "shorten it");
        }
        if (text.empty() || text[0] == ';') return;
        if (text[0] == '[') return open_section(text);
        setting(text);
    }

    int known() const { return known_; }

  private:
    void warn(const std::string& what, const std::string& advice) {
        findings_.push_back(
            {State::warning, subject, fmt::format("{}:{}: {}", path_, number_, what), advice});
    }

    void open_section(const std::string& text) {
        const std::size_t end = text.find(']');
        section_ = text.substr(1, end == std::string::npos ? end : end - 1);
        if (end == std::string::npos || !is_known_section(section_)) {
            warn(fmt::format("{} is no section that the library reads", text),
                 "write [log] or [devcfg]");
        }
    }

    void setting(const std::string& text) {
        const std::size_t equals = text.find('=');
        const std::string key = without_blanks(text.substr(0, equals));
        if (key.empty()) return;
        const Setting* known = find(section_, key);
        if (known == nullptr) return unknown(key);
        if (text[0] == ' ' || text[0] == '\t') {
            return warn(fmt::format("{} does not count, because blanks are before it", key),
                        "remove them");
        }
        ++known_;
        if (equals == std::string::npos) {
            return warn(fmt::format("{} has no value and counts as 0", key),
                        "write " + key + "=...");
        }
        value(*known, text.substr(equals + 1));
    }

    void unknown(const std::string& key) {
        const auto* elsewhere = std::ranges::find(settings, key, &Setting::key);
        const bool misplaced = elsewhere != std::end(settings);
        warn(fmt::format("{} is no key of section [{}]", key, section_),
             misplaced ? fmt::format("move it to [{}]", elsewhere->section)
                       : "see config.ini in the manual for those there are");
    }

    void value(const Setting& setting, const std::string& text) {
        if (!is_allowed(setting, text)) {
            warn(fmt::format("{}={} is out of range", setting.key, text),
                 "one of: " + allowed(setting));
        }
        if (!seen_.insert(&setting).second) {
            warn(fmt::format("{} stands here again, and this one counts", setting.key),
                 "keep one of them");
        }
    }

    const std::string& path_;
    Findings& findings_;
    std::string section_;
    std::set<const Setting*> seen_;
    int number_ = 0;
    int known_ = 0;
};

std::optional<std::string> content_of(const std::string& path) {
    // As the library opens it: for writing too.
    const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!file.is_open()) return std::nullopt;
    std::string content(max_size, '\0');
    const ssize_t count = read(file.get(), content.data(), content.size());
    if (count < 0) return std::nullopt;
    content.resize(static_cast<std::size_t>(count));
    return content;
}

}  // namespace

void check_config(const std::string& path, Findings& findings) {
    if (access(path.c_str(), F_OK) != 0) {
        findings.push_back({State::warning, subject,
                            path + " is not there: every setting has its default",
                            "install it, or go on with the defaults"});
        return;
    }
    const auto content = content_of(path);
    if (!content) {
        findings.push_back({State::warning, subject,
                            path + " cannot be read and written: every setting has its default",
                            "give yourself both permissions, for example by the group plugdev"});
        return;
    }
    const std::size_t before = findings.size();
    ConfigCheck check(path, findings);
    for (std::size_t at = 0; at < content->size();) {
        const std::size_t end = std::min(content->find('\n', at), content->size());
        std::string line = content->substr(at, end - at);
        if (line.ends_with('\r')) line.pop_back();
        check.line(line);
        at = end + 1;
    }
    if (findings.size() == before) {
        findings.push_back(
            {State::ok, subject, fmt::format("{}, {} settings", path, check.known()), ""});
    }
}

}  // namespace desk_tool::doctor
