#include "kit/working_directory.h"

namespace kit {

// STAND_INS is the directory in the build tree that they stand in.
void WorkingDirectory::put(const char* stand_in, const char* name) const {
    std::filesystem::copy_file(std::filesystem::path(STAND_INS) / stand_in, *this / name);
}

}  // namespace kit
