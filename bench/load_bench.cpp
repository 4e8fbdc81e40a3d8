// load_bench LIBRARY [LIBRARY...]: loads all but the last library beforehand, then the last one,
// and prints what that took: nanoseconds of dlopen, kibibytes of memory, of that the changed ones,
// and nanoseconds of a second run of the library's constructor, if it exports one. Each run is one
// measurement, as a library loads once in a process.
#include <cstdio>
#include <cstring>

#include <dlfcn.h>

#include "measure.h"

namespace {

struct Memory {
    long resident = 0;
    long changed = 0;
};

Memory memory() {
    Memory sum;
    std::FILE* file = std::fopen("/proc/self/smaps_rollup", "r");
    if (file == nullptr) return sum;
    char line[256];
    while (std::fgets(line, sizeof line, file) != nullptr) {
        std::sscanf(line, "Rss: %ld", &sum.resident);
        std::sscanf(line, "Private_Dirty: %ld", &sum.changed);
    }
    std::fclose(file);
    return sum;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    for (int i = 1; i + 1 < argc; ++i) {
        if (dlopen(argv[i], RTLD_NOW | RTLD_GLOBAL) == nullptr) return 1;
    }
    memory();  // its own first use of memory
    const Memory before = memory();
    const bench::Nanoseconds begin = bench::now();
    void* handle = dlopen(argv[argc - 1], RTLD_NOW | RTLD_LOCAL);
    const bench::Nanoseconds took = bench::now() - begin;
    if (handle == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const Memory after = memory();
    // This library's constructor is exported, so what it takes can be told apart.
    using Constructor = void();
    auto* constructor = reinterpret_cast<Constructor*>(dlsym(handle, "my_init"));
    const bench::Nanoseconds again = bench::now();
    if (constructor != nullptr) constructor();
    const bench::Nanoseconds constructed = bench::now() - again;
    std::printf("%lld %ld %ld %lld\n", static_cast<long long>(took),
                after.resident - before.resident, after.changed - before.changed,
                static_cast<long long>(constructed));
    return 0;
}
