#include "robustness/bench.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace robustness {
namespace {

using namespace std::chrono_literals;

constexpr int sleep_speed = 100;

std::vector<std::string> words_of(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

template <class Condition>
void await(Condition condition) {
    for (int tries = 0; tries < 5000; ++tries) {
        if (condition()) return;
        std::this_thread::sleep_for(1ms);
    }
    ADD_FAILURE() << "the line did not follow the reader";
}

}  // namespace

HurriedClock::HurriedClock() : begin_(std::chrono::steady_clock::now()) {
    deskreader::clock::use(this);
}

HurriedClock::~HurriedClock() {
    deskreader::clock::use(nullptr);
}

void HurriedClock::set_speed(int speed) {
    passed_ = std::chrono::milliseconds(monotonic_ms());
    begin_ = std::chrono::steady_clock::now();
    speed_ = speed;
}

std::uint64_t HurriedClock::monotonic_ms() noexcept {
    const auto real = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - begin_);
    return static_cast<std::uint64_t>((passed_ + real * speed_).count() / 1000);
}

std::time_t HurriedClock::wall_time() noexcept {
    constexpr std::time_t begin = 1'700'000'000;
    return begin + static_cast<std::time_t>(monotonic_ms() / 1000);
}

void HurriedClock::sleep(std::chrono::microseconds duration) noexcept {
    std::this_thread::sleep_for(duration / sleep_speed);
    passed_ += duration;
}

Bench::Bench(kit::Link link, std::string_view deck) : link_(link) {
    auto reader = virtual_reader::reader_from_deck(deck, "deck of the test");
    if (link == kit::Link::serial) {
        hurried_.emplace();
        serial_.emplace(std::move(reader));
        name_port();
    } else {
        clock_.emplace();
        clock_->on_sleep([this](int) { clock_->forget_sleeps(); });
        reader_ = std::move(reader);
        usb_.emplace(*reader_,
                     [this] { return std::chrono::milliseconds(clock_->monotonic_ms()); });
        kit::hid_bus::plug(*this);
    }
}

Bench::~Bench() {
    if (usb_) kit::hid_bus::unplug(*this);
}

std::string Bench::port_name() const {
    return serial_ ? serial_->device().substr(std::string_view("/dev/").size()) : "USB";
}

void Bench::name_port() {
    GSetComName(serial_port, serial_->device().c_str());
}

void Bench::insert(const std::string& name) {
    with_reader([&](auto& reader) { reader.insert(name); });
}

void Bench::add_fault(const std::string& words) {
    with_reader([&](auto& reader) {
        reader.faults().add(virtual_reader::fault_from_words(words_of(words)));
    });
}

void Bench::set_speed(int speed) {
    if (hurried_) hurried_->set_speed(speed);
}

void Bench::heal() {
    set_speed(1);
    if (usb_) {
        kit::hid_bus::unplug(*this);
        kit::hid_bus::plug(*this);
        usb_->with_reader([](auto& reader) { reader.faults().clear(); });
        usb_->plug();
        return;
    }
    // Another line, on which nothing can be left. It goes and comes a moment after the reader.
    const std::string before = serial_->device();
    serial_->with_reader([](auto& reader) { reader.faults().unplug(); });
    await([&] { return !std::filesystem::exists(before); });
    serial_->with_reader([](auto& reader) {
        reader.faults().clear();
        reader.plug_in();
    });
    await([&] { return serial_->device() != before; });
    name_port();
}

int Bench::write(std::span<const std::uint8_t> report) {
    return usb_->write_report(report);
}

int Bench::read(std::span<std::uint8_t> out, int timeout_ms) {
    if (const auto next = usb_->next_report_in(); next && next->count() <= timeout_ms)
        clock_->advance(*next);
    if (const auto report = usb_->take_report()) {
        const std::size_t count = std::min(out.size(), report->size());
        std::copy_n(report->begin(), count, out.begin());
        return static_cast<int>(count);
    }
    if (!usb_->is_plugged()) {
        kit::hid_bus::unplug(*this);
        return -1;
    }
    clock_->advance(std::chrono::milliseconds(timeout_ms));
    return 0;
}

int open_descriptors() {
    const auto entries = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

}  // namespace robustness
