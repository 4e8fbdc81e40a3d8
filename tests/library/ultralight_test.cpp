// The Ultralight primitives come from elsewhere: the library loads without them and takes those
// that are there.
#include <deskreader.h>

#include <memory>

#include "loaded_library.h"

namespace {

constexpr const char* key = "000102030405060708090A0B0C0D0E0F";

class UltralightLoad : public LoadedLibrary {
  protected:
    UltralightLoad() : LoadedLibrary(DESKREADER_FILE) {}

    // Brings primitives into the process, as a host does before it loads the library.
    void bring(const char* companion) {
        companion_.reset(dlopen(companion, RTLD_NOW | RTLD_GLOBAL));
        ASSERT_NE(companion_, nullptr) << dlerror();
    }

    void TearDown() override {
        LoadedLibrary::TearDown();
        companion_.reset();
    }

    int power_on() {
        text_[0] = '\0';
        return find<decltype(RD_M0PowerOn)>("RD_M0PowerOn")(sizeof text_, text_, &length_, 1);
    }
    int power_off() { return find<decltype(RD_M0PowerOff)>("RD_M0PowerOff")(); }
    int read(int page = 4) {
        return find<decltype(RD_M0Read)>("RD_M0Read")(page, 1, sizeof text_, text_);
    }
    int write(int page = 4) { return find<decltype(RD_M0Write)>("RD_M0Write")(page, "00000000"); }
    int down_key(int length = 32) {
        return find<decltype(RD_M0DownKey)>("RD_M0DownKey")(length, key);
    }
    int verify_key(int length = 32) {
        return find<decltype(RD_M0VerifyKey)>("RD_M0VerifyKey")(length, key);
    }

    // Whether the log says since the last question that a primitive is missing.
    bool logged_missing(const std::string& name) {
        const std::string all = log_of_today();
        const std::string news = all.substr(told_);
        told_ = all.size();
        return news.find("):" + name + " is missing!\r\n") != std::string::npos &&
               news.find("):iErrorCode = -1008\r\n") != std::string::npos;
    }

    char text_[32] = "";
    int length_ = -7;

  private:
    struct Close {
        void operator()(void* handle) const { dlclose(handle); }
    };
    std::unique_ptr<void, Close> companion_;
    std::size_t told_ = 0;
};

TEST_F(UltralightLoad, WithoutPrimitivesNothingIsSupported) {
    load();
    EXPECT_EQ(power_on(), -1008);
    EXPECT_TRUE(logged_missing("M0_PowerOn"));
    EXPECT_EQ(length_, -7) << "nothing is written";
    EXPECT_EQ(power_off(), -1008);
    EXPECT_TRUE(logged_missing("M0_PowerOff"));
    EXPECT_EQ(read(), -1008);
    EXPECT_TRUE(logged_missing("M0_ReadBlock"));
    EXPECT_EQ(write(), -1008);
    EXPECT_TRUE(logged_missing("M0_WriteBlock"));
    EXPECT_EQ(down_key(), -1008);
    EXPECT_TRUE(logged_missing("M0_WriteBlock"));
    EXPECT_EQ(verify_key(), -1008);
    EXPECT_TRUE(logged_missing("M0_Interaction"));
}

TEST_F(UltralightLoad, BadArgumentsAreRefusedFirst) {
    load();
    char text[4];
    int length = 0;
    EXPECT_EQ(find<decltype(RD_M0PowerOn)>("RD_M0PowerOn")(4, text, &length, -1), -1007);
    EXPECT_EQ(read(-1), -5106);
    EXPECT_EQ(write(-1), -5106);
    EXPECT_EQ(down_key(31), -1007);
    EXPECT_EQ(verify_key(34), -1007);
    EXPECT_EQ(log_of_today().find("missing"), std::string::npos);
}

TEST_F(UltralightLoad, TakesThePrimitivesOfALibraryThatWasLoadedBefore) {
    bring(ULTRALIGHT_FILE);
    load();
    EXPECT_EQ(power_on(), 0);
    EXPECT_STREQ(text_, "04A1");
    EXPECT_EQ(read(0x12), 0);
    EXPECT_STREQ(text_, "1201");
    EXPECT_EQ(write(), 0);
    EXPECT_EQ(down_key(), 0);
    EXPECT_EQ(verify_key(), -1013) << "1A 00 is no challenge";
    EXPECT_EQ(power_off(), 0);
}

TEST_F(UltralightLoad, TakesThoseThatAreThere) {
    bring(PARTIAL_ULTRALIGHT_FILE);
    load();
    EXPECT_EQ(power_on(), 0);
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(write(), -1008);
    EXPECT_TRUE(logged_missing("M0_WriteBlock"));
    EXPECT_EQ(power_off(), -1008);
    EXPECT_TRUE(logged_missing("M0_PowerOff"));
    EXPECT_EQ(down_key(), -1008);
    EXPECT_TRUE(logged_missing("M0_WriteBlock"));
    EXPECT_EQ(verify_key(), -1008) << "a card that fails could not be halted";
    EXPECT_TRUE(logged_missing("M0_PowerOff"));
}

// The primitives that are built beside the tool bring the library with them.
TEST(UltralightPrimitives, ServeTheLibraryThatIsLoadedWithThem) {
    void* primitives = dlopen(ULTRALIGHT_PRIMITIVES_FILE, RTLD_NOW | RTLD_GLOBAL);
    ASSERT_NE(primitives, nullptr) << dlerror();
    auto* power_off =
        reinterpret_cast<decltype(RD_M0PowerOff)*>(dlsym(primitives, "RD_M0PowerOff"));
    auto* read = reinterpret_cast<decltype(RD_M0Read)*>(dlsym(primitives, "RD_M0Read"));
    ASSERT_NE(power_off, nullptr);
    ASSERT_NE(read, nullptr);
    char text[32] = "";
    EXPECT_EQ(power_off(), -1003) << "no reader, rather than -1008";
    EXPECT_EQ(read(4, 0, sizeof text, text), -1007) << "their own refusal of a count";
}

}  // namespace
