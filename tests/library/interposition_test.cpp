// A host that happens to define the library's names changes nothing inside it; a host that defines
// hidapi's functions stands in for the bus.
#include <deskreader.h>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <hidapi.h>

namespace {

int foreign_calls = 0;
int bus_opens = 0;
char the_device;

}  // namespace

// The host's own functions of the same names, visible to the loader before the library's.
int COMM_Open(DEVCONTEXT*) {
    ++foreign_calls;
    return -1;
}
int RD_GetErrorCode(int) {
    ++foreign_calls;
    return -1;
}

hid_device* hid_open(unsigned short, unsigned short, const wchar_t*) {
    ++bus_opens;
    return reinterpret_cast<hid_device*>(&the_device);
}
void hid_close(hid_device*) {}

namespace {

TEST(Interposition, OwnCallsStayInsideAndCallsToTheBusDoNot) {
    void* handle = dlopen(DESKREADER_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << dlerror();
    const auto open = reinterpret_cast<decltype(&RD_Open_PID)>(dlsym(handle, "RD_Open_PID"));
    ASSERT_NE(open, nullptr);
    EXPECT_EQ(open(0x2E8B, 0x0142), 0);
    EXPECT_EQ(foreign_calls, 0);
    EXPECT_EQ(bus_opens, 1);
    dlclose(handle);
}

}  // namespace
