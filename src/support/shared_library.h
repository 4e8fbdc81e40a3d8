// A shared library that is opened at run time, with all its references resolved, and closed with
// its scope.
#pragma once

#include <dlfcn.h>

namespace deskreader {

class SharedLibrary {
  public:
    explicit SharedLibrary(const char* path) noexcept : handle_(dlopen(path, RTLD_NOW)) {}
    ~SharedLibrary() {
        if (is_open()) dlclose(handle_);
    }
    SharedLibrary(const SharedLibrary&) = delete;
    SharedLibrary& operator=(const SharedLibrary&) = delete;

    bool is_open() const noexcept { return handle_ != nullptr; }

    // The function of this name, null if there is none.
    template <class Function>
    Function* find(const char* name) const noexcept {
        dlerror();  // forgets an earlier error
        void* address = dlsym(handle_, name);
        return dlerror() == nullptr ? reinterpret_cast<Function*>(address) : nullptr;
    }

    // Leaves the library loaded beyond the scope.
    void leave_open() noexcept { handle_ = nullptr; }

  private:
    void* handle_;
};

}  // namespace deskreader
