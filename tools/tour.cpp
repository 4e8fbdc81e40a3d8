// tour: what counter applications do with the reader and cards of all kinds, step by step, timed
// and checked.
#include <deskreader.h>

#include <array>
#include <chrono>
#include <functional>

#include <fmt/core.h>

#include "calls.h"
#include "commands.h"
#include "connection.h"
#include "identity_calls.h"
#include "mifare_calls.h"
#include "payment_calls.h"
#include "photo.h"
#include "purchase.h"
#include "track_calls.h"

namespace desk_tool {
namespace {

using Clock = std::chrono::steady_clock;

// What the virtual reader's built-in deck holds.
constexpr char expected_information[] = "DESK READER VIRTUAL 1.0";
constexpr char expected_serial_number[] = "DR2026000001";
constexpr char expected_atr[] = "3B0444455348";
constexpr char select_application[] = "00A4040006F04445534B01";
constexpr char expected_selection[] = "6F088406F04445534B019000";
constexpr char read_first_record[] = "00B2010C00";
constexpr char expected_record[] = "4D454D42455220303030319000";  // MEMBER 0001
constexpr char expected_account_number[] = "9999990000000013";
constexpr char expected_citizen[] = "ADA EXAMPLE";
constexpr char expected_track2[] = "9999000000000003=3012";
constexpr char new_track2[] = "9999000000000003=3112";
constexpr char expected_card_number[] = "9999000000000003";
constexpr char expected_resident[] = "样本甲";
constexpr std::size_t photo_width = 102;
constexpr std::size_t photo_height = 126;
constexpr char expected_locker[] = "5A5B5C5D";
constexpr char locker_key[] = "A0A1A2A3A4A5";
constexpr int locker_sector = 2;
constexpr int locker_block = 5;
constexpr int locker_value = 250;
constexpr unsigned locker_change = 50;
constexpr char expected_ticket[] = "04515253545556";
constexpr char ticket_key[] = "49454D4B41455242214E4143554F5946";
constexpr int ticket_page = 4;
constexpr int protected_page = 16;
constexpr char expected_rides[] = "54454E20";  // "TEN "

constexpr int contact = 0;

template <class Value>
std::string expect(const Value& found, const Value& expected) {
    if (found != expected) throw ToolError(fmt::format("expected {}, found {}", expected, found));
    return fmt::format("{}", found);
}

std::string expect(const std::string& found, const char* expected) {
    return expect(found, std::string(expected));
}

class Tour {
  public:
    Tour(const Options& options, Output& output) : options_(options), output_(output) {}

    void go();

  private:
    // One step: its name, the call it shows, and what it brings.
    void step(const char* what, const char* call, const std::function<std::string()>& action);

    // Puts a card into the virtual reader for the steps that follow.
    void card(const char* kind, const char* name);
    void put_away(const char* name) { connection_->virtual_reader().remove(name); }

    void device();
    void iso_card();
    void purchase();
    void social_security_card();
    void stripe();
    void identity_card();
    void classic_card();
    void ultralight_card();

    const Options& options_;
    Output& output_;
    std::optional<Connection> connection_;
};

void Tour::step(const char* what, const char* call, const std::function<std::string()>& action) {
    const auto begin = Clock::now();
    const std::string result = action();
    const std::chrono::duration<double, std::milli> took = Clock::now() - begin;
    cJSON* object = cJSON_CreateObject();
    cJSON_AddStringToObject(object, "step", what);
    cJSON_AddStringToObject(object, "call", call);
    cJSON_AddStringToObject(object, "result", result.c_str());
    cJSON_AddNumberToObject(object, "milliseconds", took.count());
    output_.row("steps", object,
                fmt::format("  {:<22} {:<20} {:>8.1f} ms   {}", what, call, took.count(), result));
}

void Tour::card(const char* kind, const char* name) {
    output_.line(fmt::format("{} ({})", kind, name));
    connection_->virtual_reader().insert(name);
}

void Tour::device() {
    output_.line("The reader");
    step("connect", "RD_Open", [&] { return connection_.emplace(options_.link).name(); });
    step("information", "RD_GetDevInfo",
         [] { return expect(device_information(), expected_information); });
    step("serial number", "RD_GetDevSn",
         [] { return expect(serial_number(), expected_serial_number); });
    step("beep", "RD_Beep", [] { return beep(10), std::string("heard"); });
}

void Tour::iso_card() {
    card("ISO 7816 card", "member");
    step("wait for a card", "RD_IcPowerOn",
         [&] { return "ATR " + expect(power_on(contact, options_.timeout_s).atr, expected_atr); });
    step("SELECT", "RD_IcAPDU",
         [] { return expect(exchange(contact, select_application), expected_selection); });
    step("READ RECORD 1", "RD_IcAPDU", [] {
        const std::string record = expect(exchange(contact, read_first_record), expected_record);
        return readable(record.substr(0, record.size() - 4));
    });
    step("power off", "RD_IcPowerOff", [] { return power_off(contact), std::string("done"); });
    put_away("member");
}

void Tour::purchase() {
    card("Payment card, a purchase", "bank");
    Purchase purchase("12.50", contact, options_.timeout_s);
    step("card information", "RD_ICGetInfo", [&] {
        purchase.read_card();
        return "account " + expect(purchase.account_number(), expected_account_number);
    });
    step("authorisation request", "RD_ICGenARQC",
         [&] { return fmt::format("{} characters", purchase.request().size()); });
    step("issuer's answer", "(its host)", [&] { return purchase.ask_issuer(); });
    step("completion", "RD_ICExeScript_TC", [&] {
        purchase.complete();
        purchase.confirm();
        return "paid " + expect(purchase.amount(), "12.50");
    });
    step("card's log", "RD_ICGetDetail", [&] { return purchase.check_log(); });
    put_away("bank");
}

void Tour::social_security_card() {
    card("Social security card", "citizen");
    step("elements", "RD_SSCReadInfo", [&] {
        constexpr std::size_t name = 8;
        const auto elements = social_security_elements(contact, options_.timeout_s);
        return expect(elements.at(name), expected_citizen);
    });
    put_away("citizen");
}

void Tour::stripe() {
    card("Magnetic stripe", "loyalty");
    const auto read_track2 = [&](const char* expected) {
        const TracksRead read = read_tracks(123, options_.timeout_s);
        check("RD_ReadMagCard", read.result);
        return expect(read.texts[1].value_or(""), expected);
    };
    step("read tracks 1, 2, 3", "RD_ReadMagCard", [&] { return read_track2(expected_track2); });
    step("write track 2", "RD_WriteMagCard", [&] {
        write_tracks(new_track2, std::nullopt, options_.timeout_s);
        return std::string(new_track2);
    });
    step("read them again", "RD_ReadMagCard", [&] { return read_track2(new_track2); });
    step("card number", "RD_GetMagCardNo",
         [&] { return expect(card_number(23, options_.timeout_s), expected_card_number); });
    put_away("loyalty");
}

void Tour::identity_card() {
    card("Identity card", "resident");
    std::optional<std::string> photo;
    step("record and photo", "RD_ReadIdInfo", [&] {
        const IdentityRecord record = read_identity_with_photo(options_.timeout_s);
        const std::string name = expect(record.fields[0], expected_resident);
        photo = record.photo;
        if (!photo) return name + ", no photo: ./libwlt.so, its decoder, is not here";
        const Picture picture = picture_of(*photo);
        return fmt::format("{}, photo {} x {}", name, expect(picture.width, photo_width),
                           expect(picture.height, photo_height));
    });
    if (photo) draw(*photo, output_);
    put_away("resident");
}

void Tour::classic_card() {
    card("MIFARE Classic card", "locker");
    std::optional<ClassicCard> classic;
    step("activate", "RD_M1Powerup", [&] {
        return "UID " + expect(classic.emplace(options_.timeout_s).uid(), expected_locker);
    });
    step("authenticate", "RD_M1Verify", [&] {
        classic->open_sector(locker_sector, KeyType::a, {locker_key});
        return fmt::format("sector {}, key A", locker_sector);
    });
    step("read value", "RD_M1Read",
         [&] { return expect(classic->value(locker_block), locker_value); });
    step("increase and read", "RD_M1IncreaseValue", [&] {
        classic->increase(locker_block, locker_change);
        return expect(classic->value(locker_block), locker_value + static_cast<int>(locker_change));
    });
    step("decrease and read", "RD_M1DecreaseValue", [&] {
        classic->decrease(locker_block, locker_change);
        return expect(classic->value(locker_block), locker_value);
    });
    step("halt", "RD_M1Powerdown", [&] { return classic.reset(), std::string("done"); });
    put_away("locker");
}

void Tour::ultralight_card() {
    card("MIFARE Ultralight C card", "ticket");
    std::optional<UltralightCard> ultralight;
    step("activate", "RD_M0PowerOn", [&] {
        return "UID " + expect(ultralight.emplace(options_.timeout_s).uid(), expected_ticket);
    });
    step("read a page", "RD_M0Read", [&] {
        const auto pages = ultralight->read(ticket_page, 1);
        return readable(expect(pages.at(0), expected_rides));
    });
    step("authenticate", "RD_M0VerifyKey",
         [&] { return ultralight->verify_key(ticket_key), std::string("both have the key"); });
    step("read a protected page", "RD_M0Read",
         [&] { return expect(ultralight->read(protected_page, 1).at(0), "00000000"); });
    step("halt", "RD_M0PowerOff", [&] { return ultralight.reset(), std::string("done"); });
    put_away("ticket");
}

void Tour::go() {
    const auto begin = Clock::now();
    device();
    iso_card();
    purchase();
    social_security_card();
    stripe();
    identity_card();
    classic_card();
    ultralight_card();
    output_.line("And");
    step("close", "RD_Close", [&] { return connection_.reset(), std::string("done"); });
    const std::chrono::duration<double> took = Clock::now() - begin;
    output_.line(fmt::format("Toured in {:.1f} s.", took.count()));
}

}  // namespace

void run_tour(const Options& options, Output& output) {
    Tour(options, output).go();
}

}  // namespace desk_tool
