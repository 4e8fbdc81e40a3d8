#include "scratch_place.h"

#include <deskreader.h>

#include <filesystem>
#include <string_view>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include "expect.h"
#include "kit/scratch.h"

namespace fuzzing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view libraries[] = {"libwlt.so", "libPicConvert.so"};
constexpr std::string_view config = "config.ini";

// The log is written and goes nowhere.
class Place {
  public:
    Place() {
        for (const std::string_view library : libraries) {
            fs::copy_file(fs::path(STAND_INS) / library, directory_ / library);
            // What was measured stays in memory, for those who measure it.
            expect(dlopen((directory_ / library).c_str(), RTLD_NOW | RTLD_NODELETE) != nullptr);
        }
        GSetConfigFilePath((directory_ / config).c_str());
        GSetLogFilePath("/dev/null");
        GSetLogLevel(2);
    }

    void enter(const std::string& config_text) const {
        kit::write_file(directory_ / config, config_text);
        expect(chdir(directory_.path().c_str()) == 0);
    }

    void tidy() const {
        for (const auto& entry : fs::directory_iterator(directory_.path())) {
            const std::string name = entry.path().filename().string();
            if (name == config || name == libraries[0] || name == libraries[1]) continue;
            std::error_code ignored;
            fs::remove_all(entry.path(), ignored);
        }
    }

  private:
    kit::ScratchDirectory directory_;
};

const Place& place() {
    static const Place one;
    return one;
}

}  // namespace

ScratchPlace::ScratchPlace(const std::string& config_text)
    : before_((place(), open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC))) {
    expect(before_ >= 0);
    place().enter(config_text);
}

ScratchPlace::~ScratchPlace() {
    place().tidy();
    expect(fchdir(before_) == 0);
    close(before_);
}

}  // namespace fuzzing
