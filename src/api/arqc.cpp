#include "api/arqc.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

#include "api/transaction_data.h"
#include "cards/terminal_data.h"
#include "cards/tlv.h"
#include "status.h"
#include "support/log.h"
#include "support/pointers.h"
#include "support/text.h"

unsigned char g_IccAppData[8000];

using namespace deskreader;
using api::Bytes;

namespace {

constexpr int request_arqc = 0x80;

constexpr std::uint8_t tag_aip[] = {0x82};
constexpr std::uint8_t tag_cdol1[] = {0x8C};
constexpr std::uint8_t tag_unpredictable_number[] = {0x9F, 0x37};
constexpr std::uint8_t tag_format_2[] = {0x77};
constexpr std::uint8_t tag_cryptogram[] = {0x9F, 0x26};
constexpr std::uint8_t tag_cryptogram_information[] = {0x9F, 0x27};
constexpr std::uint8_t tag_issuer_data[] = {0x9F, 0x10};
constexpr std::uint8_t tag_counter[] = {0x9F, 0x36};

// What follows the card's own data in the reply, from the transaction store.
constexpr struct {
    std::uint8_t tag[2];
    std::size_t size;
} stored_objects[] = {
    {{0x95}, 1},        // terminal verification results
    {{0x9A}, 1},        // transaction date
    {{0x9C}, 1},        // transaction type
    {{0x9F, 0x02}, 2},  // amount, authorised
    {{0x5F, 0x2A}, 2},  // transaction currency code
    {{0x82}, 1},        // application interchange profile
    {{0x9F, 0x1A}, 2},  // terminal country code
    {{0x9F, 0x03}, 2},  // amount, other
};

constexpr std::size_t max_run = 2000;
constexpr std::size_t max_length = 255;  // one byte

// A run of data objects in the making.
class ObjectRun {
  public:
    void add(Bytes tag, Bytes value) noexcept {
        const Bytes cut = value.first(std::min(value.size(), max_length));
        append(tag);
        const std::uint8_t length[] = {static_cast<std::uint8_t>(cut.size())};
        append(length);
        append(cut);
    }

    // An object of card data, if it is there.
    bool add_found(Bytes tag, Bytes data) noexcept {
        const auto value = tlv::find_value(data, tag);
        if (value) add(tag, *value);
        return value.has_value();
    }

    // An object of the transaction store; its tag alone if the store lost it.
    void add_stored(Bytes tag) noexcept {
        const auto value = terminal_data::find_transaction(tag);
        if (value) {
            add(tag, *value);
        } else {
            append(tag);
        }
    }

    Bytes bytes() const noexcept { return std::span(bytes_).first(size_); }

  private:
    void append(Bytes more) noexcept {
        const Bytes fitting = more.first(std::min(more.size(), bytes_.size() - size_));
        std::ranges::copy(fitting, bytes_.begin() + static_cast<std::ptrdiff_t>(size_));
        size_ += fitting.size();
    }

    std::array<std::uint8_t, max_run> bytes_;
    std::size_t size_ = 0;
};

// Format 1: cryptogram information, counter (2 bytes), cryptogram (8), issuer data.
void add_format_1(Bytes answer, ObjectRun& run) noexcept {
    constexpr std::size_t fixed = 11;
    std::array<std::uint8_t, fixed> head{};  // what a shorter answer lacks is zero
    std::copy_n(answer.begin(), std::min(answer.size(), fixed), head.begin());
    const Bytes all = head;
    run.add(tag_cryptogram, all.subspan(3, 8));
    run.add(tag_cryptogram_information, all.first(1));
    if (answer.size() > fixed) run.add(tag_issuer_data, answer.subspan(fixed));
    run.add_stored(tag_unpredictable_number);
    run.add(tag_counter, all.subspan(1, 2));
}

// Data objects, as the card has them.
void add_objects(Bytes answer, ObjectRun& run) noexcept {
    run.add_found(tag_cryptogram, answer);
    GLogI("9F26\r\n");
    run.add_found(tag_cryptogram_information, answer);
    GLogI("9F27\r\n");
    run.add_found(tag_issuer_data, answer);
    GLogI("9F10\r\n");
    run.add_stored(tag_unpredictable_number);
    GLogI("9F37\r\n");
    run.add_found(tag_counter, answer);
}

// kept: the process's own generator, seeded by the host or not at all.
void draw_unpredictable_number() noexcept {
    std::array<std::uint8_t, 4> bytes;
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(std::rand());  // NOLINT(cert-msc30-c,cert-msc50-cpp)
    }
    PBOC_SetTxDataTagValue(tag_unpredictable_number, sizeof tag_unpredictable_number, bytes.data(),
                           bytes.size());
}

// Six digits with the length of what follows, the application identifier as a data object, the
// records, a zero.
void keep_application(Bytes aid, Bytes records) noexcept {
    constexpr std::size_t digits = 6;
    constexpr std::size_t object_header = 2;
    const std::size_t room = sizeof g_IccAppData - digits - object_header - 1;
    const std::size_t aid_size = std::min<std::size_t>(aid.size(), max_length);
    const std::size_t kept = std::min(records.size(), room - aid_size);
    const std::span<unsigned char> data(g_IccAppData);
    char length[16];
    std::snprintf(length, sizeof length, "%06zu", aid_size + kept + object_header);
    std::memcpy(data.data(), length, digits);
    data[digits] = 0x4F;
    data[digits + 1] = static_cast<unsigned char>(aid_size);
    std::copy_n(aid.begin(), aid_size, data.begin() + digits + object_header);
    const std::size_t begin = digits + object_header + aid_size;
    std::copy_n(records.begin(), kept, data.begin() + static_cast<std::ptrdiff_t>(begin));
    data[begin + kept] = 0;
}

using Cryptogram = std::array<unsigned char, 512>;

// Reads the records, and asks for the cryptogram over what they want to know.
int request_cryptogram(api::PaymentFlow& flow, Cryptogram& answer, int& size) noexcept {
    flow.read_records();
    keep_application(flow.application(), flow.records());
    const auto list = tlv::find_value(flow.records(), tag_cdol1);
    if (!list) return api::fail("GetTag 8C Error!\r\n", status::application_data_failed);
    std::array<std::uint8_t, 512> data;
    std::size_t data_size = 0;
    if (!terminal_data::answer_list(*list, data, data_size)) {
        return api::fail("PBOC_BuildDOL Error!\r\n", status::data_object_list_failed);
    }
    if (PBOC_GenerateAC(&context, flow.slot(), request_arqc, data.data(),
                        static_cast<int>(data_size), answer.data(), &size) != status::ok) {
        return api::fail("PBOC_GenerateAC Error!\r\n", status::cryptogram_failed);
    }
    GLogI("szTempData = %s\r\n",
          log::HexText<1024>(std::span(answer).first(static_cast<std::size_t>(size))).c_str());
    return status::ok;
}

// The cryptogram of a card that answered GET PROCESSING OPTIONS with its data, or asked for.
int get_cryptogram(api::PaymentFlow& flow, Cryptogram& answer, int& size) noexcept {
    if (!tlv::find(flow.locator(), tag_format_2)) return request_cryptogram(flow, answer, size);
    GLogI("szRecData = %s, iRecLen = %d\r\n", log::HexText<1024>(flow.locator()).c_str(),
          static_cast<int>(flow.locator().size()));
    std::ranges::copy(flow.locator(), answer.begin());
    size = static_cast<int>(flow.locator().size());
    return status::ok;
}

// What the host wants the card to know. Without a number of the host's, draws one.
int store_transaction(const api::ArqcFlow& flow, const char* transaction) noexcept {
    if (flow.takes_terminal_fields) {
        api::store_terminal_fields(transaction);
        return status::ok;
    }
    const int stored = api::store_transaction_fields(transaction);
    if (stored == status::ok) draw_unpredictable_number();
    return stored;
}

int run_transaction(const api::ArqcFlow& kind_of_flow, api::PaymentFlow& flow,
                    const char* transaction, Cryptogram& answer, int& size) noexcept {
    const int selected = flow.select_application();
    if (selected != status::ok) return selected;
    const int stored = store_transaction(kind_of_flow, transaction);
    if (stored != status::ok) return stored;
    const int started = flow.start_application();
    if (started != status::ok) return started;
    PBOC_SetTxDataTagValue(tag_aip, sizeof tag_aip, flow.profile().data(),
                           static_cast<int>(flow.profile().size()));
    return get_cryptogram(flow, answer, size);
}

void add_further(const api::FurtherObject& object, const api::PaymentFlow& flow,
                 ObjectRun& run) noexcept {
    if (object.source == api::ObjectSource::records &&
        run.add_found(object.tag_bytes(), flow.records()))
        return;
    std::array<unsigned char, 512> value;
    int size = 0;
    if (object.source == api::ObjectSource::get_data &&
        PBOC_GetData(&context, flow.slot(), object.tag, static_cast<int>(object.tag_size),
                     value.data(), &size) == status::ok) {
        run.add(object.tag_bytes(), std::span(value).first(static_cast<std::size_t>(size)));
        return;
    }
    run.add(object.tag_bytes(), object.fallback_bytes());
}

// The text that the issuer gets: what belongs to every request, and what this kind of flow adds.
int build_request(const api::ArqcFlow& kind_of_flow, const api::PaymentFlow& flow,
                  const Cryptogram& answer, int size, int out_size, char* out) noexcept {
    std::array<unsigned char, 2 * max_run> request;
    int request_size = 0;
    if (PBOC_BuildARQCBack(answer.data(), size, request.data(), &request_size) != status::ok) {
        return api::fail("PBOC_BuildARQCBack Error!\r\n", status::arqc_data_failed);
    }
    ObjectRun further;
    for (const api::FurtherObject& object : kind_of_flow.further)
        add_further(object, flow, further);
    std::ranges::copy(further.bytes(), request.begin() + request_size);
    request_size += static_cast<int>(further.bytes().size());
    const int written = GByte2Hex(request.data(), request_size, out,
                                  static_cast<std::size_t>(std::max(out_size, 0)));
    if (written >= 0 && written < out_size) out[written] = '\0';
    return status::ok;
}

// What SELECT answered, for the host to keep.
void write_selection(const api::PaymentFlow& flow, char* out) noexcept {
    const std::size_t size = text::to_hex(flow.selection(), {out, 2 * flow.selection().size()});
    out[size] = '\0';
    GLogI("szIccAppdata = %s\r\n", out);
}

}  // namespace

int PBOC_BuildARQCBack(const unsigned char* answer, int length, unsigned char* out,
                       int* out_length) {
    if (any_null(answer, out, out_length)) return status::invalid_argument;
    const Bytes data = cards::bytes_of(answer, length);
    ObjectRun run;
    if (tlv::find(data, tag_cryptogram)) {
        add_objects(data, run);
    } else {
        add_format_1(data, run);
    }
    for (const auto& object : stored_objects)
        run.add_stored({object.tag, object.size});
    std::ranges::copy(run.bytes(), out);
    *out_length = static_cast<int>(run.bytes().size());
    return status::ok;
}

namespace deskreader::api {

int generate_arqc(const ArqcFlow& kind_of_flow, int slot, const char* transaction,
                  const ArqcOutput& output, int timeout_s, int& kind) noexcept {
    if (!is_transaction_text(transaction))
        return fail("szTxdata Error!\r\n", status::invalid_parameter);
    PaymentFlow flow(kind_of_flow.options);
    const int powered = flow.power_on(slot, timeout_s);
    if (powered != status::ok) return powered;
    kind = flow.slot();

    Cryptogram answer;
    int size = 0;
    const int result = run_transaction(kind_of_flow, flow, transaction, answer, size);
    if (result != status::ok) return result;
    const int built = build_request(kind_of_flow, flow, answer, size, output.size, output.text);
    if (built != status::ok) return built;
    if (output.selection != nullptr) write_selection(flow, output.selection);
    flow.keep_power();
    return status::ok;
}

}  // namespace deskreader::api

int RD_ICGenARQC(int slot, const char* transaction, int out_size, char* out, int* card_kind,
                 int timeout_s) {
    if (any_null(transaction, out, card_kind)) return status::invalid_parameter;
    constexpr api::ArqcFlow flow{
        .options = {},
        .takes_terminal_fields = false,
        .further = {},
    };
    return api::generate_arqc(flow, slot, transaction, {out, out_size, nullptr}, timeout_s,
                              *card_kind);
}
