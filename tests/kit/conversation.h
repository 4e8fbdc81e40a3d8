// A scripted conversation: rows of "expect these bytes, answer those" that stand in for the reader,
// behind the USB bus or at the far end of a pseudo-terminal. Bytes that differ from the next row
// fail the test, and so do rows left over at the end.
#pragma once

#include <deskreader.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "kit/bytes.h"
#include "kit/fake_clock.h"
#include "kit/hid_bus.h"

namespace kit {

enum class Link { hid, serial };

void PrintTo(Link link, std::ostream* stream);  // for GoogleTest

// For INSTANTIATE_TEST_SUITE_P(Links, X, testing::Values(Link::hid, Link::serial), link_name).
std::string link_name(const testing::TestParamInfo<Link>& info);

struct Row {
    int mode_id = 0;            // expected on HID; serial has none
    Bytes request;              // expected, as the frame layer wrote it
    std::vector<Bytes> pieces;  // the answer, piece by piece; none means silence
};

// The reader's side of a conversation over either link.
class ScriptedReader {
  public:
    virtual ~ScriptedReader() = default;

    // One exchange. `mode_id` is what the HID reports must carry.
    void expect(int mode_id, Bytes request, Bytes answer) {
        add({mode_id, std::move(request), {std::move(answer)}});
    }

    // One exchange whose answer arrives in pieces: separate input reports or separate writes.
    void expect_pieces(int mode_id, Bytes request, std::vector<Bytes> pieces) {
        add({mode_id, std::move(request), std::move(pieces)});
    }

    // A request that the reader does not answer.
    void expect_silence(int mode_id, Bytes request) { add({mode_id, std::move(request), {}}); }

    // Fails the test if rows are left over. Called by the destructor too.
    virtual void verify() = 0;

  protected:
    virtual void add(Row row) = 0;
};

// Behind hid_write and hid_read_timeout. The answer comes in 64-byte input reports of 62 payload
// bytes, zero filled. When nothing is left to read, `clock` (if given) moves on by the time limit
// instead of this thread sleeping.
class ScriptedHid final : public HidDevice, public ScriptedReader {
  public:
    explicit ScriptedHid(FakeClock* clock = nullptr, unsigned short vendor_id = hid_bus::vendor,
                         unsigned short product_id = hid_bus::product);
    ~ScriptedHid() override;

    int write(std::span<const std::uint8_t> report) override;
    int read(std::span<std::uint8_t> out, int timeout_ms) override;
    void verify() override;

    // Every report as hid_write got it.
    const std::vector<Bytes>& reports() const { return reports_; }

    // Puts raw input reports up for reading, as they stand and whatever was asked.
    void offer_report(Bytes report) { input_.push_back(std::move(report)); }

    // From now on hid_write and hid_read_timeout return this instead (0 ends it).
    void break_with(int result) { broken_ = result; }

  private:
    void add(Row row) override { rows_.push_back(std::move(row)); }

    FakeClock* clock_;
    std::deque<Row> rows_;
    Bytes request_;
    std::deque<Bytes> input_;
    std::vector<Bytes> reports_;
    int broken_ = 0;
};

// At the far end of a real pseudo-terminal, on a thread of its own.
class ScriptedSerial final : public ScriptedReader {
  public:
    ScriptedSerial();
    ~ScriptedSerial() override;

    // The device that the library opens.
    const std::string& device() const { return device_; }
    int master() const { return master_; }
    void verify() override;

    // Writes bytes to the line at once, whatever was asked.
    void send(const Bytes& bytes) const;

    // Waits between the pieces of an answer.
    void set_pause(std::chrono::milliseconds pause) { pause_ = pause; }

  private:
    void add(Row row) override;
    void serve(std::stop_token stop);
    void take(const Bytes& received);

    std::string device_;
    int master_;
    std::chrono::milliseconds pause_{0};
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Row> rows_;
    Bytes request_;
    std::jthread thread_;
};

// `context` (the library's own) or another context, set up for a link and not yet opened.
void prepare_hid(DEVCONTEXT* target);
void prepare_serial(DEVCONTEXT* target, const ScriptedSerial& reader, unsigned baud = 9600);

// A scripted reader on the given link with `context` set up for it.
class ScriptedDesk {
  public:
    explicit ScriptedDesk(Link link);

    ScriptedReader& operator*() { return *reader_; }
    ScriptedReader* operator->() { return reader_.get(); }
    // The clock that moves by each time limit on HID; a real line takes real time.
    std::optional<FakeClock>& clock() { return clock_; }

    // What a host terminal calls the port: "USB", or the device's name below /dev.
    const std::string& port_name() const { return port_name_; }

  private:
    std::optional<FakeClock> clock_;
    std::unique_ptr<ScriptedReader> reader_;
    std::string port_name_ = "USB";
};

}  // namespace kit
