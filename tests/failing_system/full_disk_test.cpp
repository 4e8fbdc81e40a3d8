// Disks without room and without rights: a small file system of the test's own, in a child process
// with mounts of its own. Where that is not permitted the tests are skipped.
#include <deskreader.h>

#include <cstdlib>
#include <fstream>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kit/bytes.h"
#include "kit/child.h"
#include "kit/scratch.h"
#include "kit/working_directory.h"

namespace {

using namespace std::chrono_literals;

constexpr int page = 4096;
constexpr int exit_failed = 1;
constexpr int exit_not_permitted = 77;

// Becomes the privileged user of a namespace of its own. Only in a process with one thread.
bool enter_own_namespace() {
    const uid_t user = getuid();
    const gid_t group = getgid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
    return true;
}

bool mount_small_disk(const std::filesystem::path& place) {
    const bool has_own_mounts =
        (geteuid() == 0 && unshare(CLONE_NEWNS) == 0) || enter_own_namespace();
    return has_own_mounts && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("small", place.c_str(), "tmpfs", 0, "size=256k,mode=0755") == 0;
}

class FullDisk : public testing::Test {
  protected:
    // Runs `body` where disk() is a small disk.
    template <class Body>
    void on_small_disk(Body body) {
        const auto end = kit::run_in_child(20s, [&] {
            if (!mount_small_disk(disk_.path())) kit::leave_child(exit_not_permitted);
            GSetLogLevel(0);
            GSetConfigFilePath((disk_ / "config.ini").c_str());
            GSetLogFilePath((disk_ / "desk.log").c_str());
            body();
            if (HasFailure()) kit::leave_child(exit_failed);
        });
        if (end.exit_status == exit_not_permitted) GTEST_SKIP() << "file systems cannot be mounted";
        EXPECT_EQ(end.exit_status, 0);
        EXPECT_FALSE(end.timed_out);
    }

    void fill() const {
        const std::string content(page, 'x');
        const int file = open((disk_ / "filler").c_str(), O_WRONLY | O_CREAT, 0644);
        ASSERT_GE(file, 0);
        while (write(file, content.data(), content.size()) > 0) {
        }
        close(file);
    }
    void make_room() const { std::filesystem::remove(disk_ / "filler"); }

    void make_read_only() const {
        ASSERT_EQ(mount(nullptr, disk_.path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr),
                  0);
    }

    // A configuration that fills its last page, so that every further byte needs room.
    static std::string whole_pages() {
        std::string text = "[devcfg]\nIccmd=0\nIdBaud=9600\n[log]\nloglevel=0\n";
        while (text.size() < page) {
            const std::size_t room = page - text.size();
            text += ";" + std::string(std::min<std::size_t>(room, 50) - 2, '-') + "\n";
            if (page - text.size() == 1) text += "\n";
        }
        return text;
    }
    std::string config() const { return kit::read_file(disk_ / "config.ini"); }

    kit::ScratchDirectory disk_;
};

TEST_F(FullDisk, TheConfigurationLosesNoLine) {
    on_small_disk([&] {
        const std::string before = whole_pages();
        ASSERT_EQ(before.size(), static_cast<std::size_t>(page));
        kit::write_file(disk_ / "config.ini", before);
        fill();
        EXPECT_EQ(GSetConfigString("devcfg", "IdBaud", "115200"), 0);
        EXPECT_EQ(config(), before) << "what has no room changes nothing";
        EXPECT_EQ(GSetConfigString("devcfg", "Iccmd", "1"), 0);
        std::string expected = before;
        expected.replace(before.find("Iccmd=0"), 7, "Iccmd=1");
        EXPECT_EQ(config(), expected) << "what needs no room is written";
        int value = 0;
        EXPECT_EQ(GGetConfigInt("devcfg", "Iccmd", 0, &value), 0);
        EXPECT_EQ(value, 1);
        EXPECT_EQ(GSetConfigString("devcfg", "IdBaud", ""), 0);
        expected.replace(expected.find("IdBaud=9600"), 11, "IdBaud=");
        EXPECT_EQ(config(), expected) << "and so is what needs less";
        make_room();
        EXPECT_EQ(GSetConfigString("devcfg", "IdBaud", "115200"), 0);
        expected.replace(expected.find("IdBaud="), 7, "IdBaud=115200");
        EXPECT_EQ(config(), expected);
    });
}

// Kept: what could not be written to the log is not told to anybody.
TEST_F(FullDisk, TheLogGoesOnWhenThereIsRoomAgain) {
    on_small_disk([&] {
        GSetLogLevel(2);
        EXPECT_EQ(GLogE("before\r\n"), 0);
        fill();
        const std::string lost(2L * page, 'l');
        for (int i = 0; i < 50; ++i)
            EXPECT_EQ(GLogI("%s\r\n", lost.c_str()), 0);
        make_room();
        EXPECT_EQ(GLogE("after\r\n"), 0);
        const std::string log = kit::read_file(disk_ / "desk.log");
        EXPECT_EQ(log.find("Error("), 0u);
        EXPECT_EQ(log.substr(27, 8), "before\r\n");
        EXPECT_TRUE(log.ends_with("after\r\n"));
        EXPECT_LE(log.size(), 3u * page) << "no message is there whole but these";
    });
}

TEST_F(FullDisk, APhotoWithoutRoomLeavesNoFile) {
    on_small_disk([&] {
        const kit::WorkingDirectory directory;
        directory.put_decoder();
        const std::string path = disk_ / "me.bmp";
        kit::Bytes photo = kit::striped_picture();
        photo.resize(1024);
        fill();
        EXPECT_EQ(ID_GetBmpFile(photo.data(), path.c_str()), -3);
        EXPECT_FALSE(std::filesystem::exists(path));
        make_room();
        EXPECT_EQ(ID_GetBmpFile(photo.data(), path.c_str()), 0);
        EXPECT_EQ(kit::bytes_of_file(path), kit::striped_bmp());
    });
}

TEST_F(FullDisk, AFileTellsHowMuchOfItHadRoom) {
    on_small_disk([&] {
        fill();
        const kit::Bytes content(10'000, 7);
        const std::string path = disk_ / "file";
        std::FILE* file = GOpenFile(path.c_str(), 4);
        ASSERT_NE(file, nullptr);
        EXPECT_LT(GWriteFile(file, content.data(), content.size()), 10'000);
        GCloseFile(file);
        EXPECT_EQ(GGetFileSize(path.c_str()), 0);
    });
}

TEST_F(FullDisk, WhereNothingMayBeWrittenKeysHaveTheirDefaults) {
    on_small_disk([&] {
        kit::write_file(disk_ / "config.ini", "[devcfg]\nIccmd=1\n");
        make_read_only();
        int value = -1;
        EXPECT_EQ(GGetConfigInt("devcfg", "Iccmd", 0, &value), 0);
        EXPECT_EQ(value, 0);
        EXPECT_EQ(GSetConfigString("devcfg", "Iccmd", "2"), 0);
        EXPECT_EQ(config(), "[devcfg]\nIccmd=1\n");
    });
}

// Kept: a log that cannot be written stops the host at its next message; without messages it works.
TEST_F(FullDisk, AReadOnlyLogStopsTheHostAtItsSecondMessage) {
    const auto log_twice = [&](int level, int messages) {
        on_small_disk([&] {
            make_read_only();
            GSetLogLevel(level);
            const auto end = kit::run_in_child(300ms, [&] {
                for (int i = 0; i < messages; ++i) {
                    if (GLogE("message\r\n") != (level == 0 ? -22 : -99))
                        kit::leave_child(exit_failed);
                }
            });
            EXPECT_EQ(end.timed_out, level > 0 && messages > 1);
            EXPECT_EQ(end.exit_status, end.timed_out ? -1 : 0);
        });
    };
    log_twice(0, 2);
    log_twice(1, 1);
    log_twice(1, 2);
}

}  // namespace
