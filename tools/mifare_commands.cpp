// m1, m0: MIFARE Classic and Ultralight C cards.
#include <algorithm>

#include <fmt/core.h>

#include "calls.h"
#include "commands.h"
#include "connection.h"
#include "live_line.h"
#include "mifare_calls.h"
#include "text.h"
#include "waiting.h"

namespace desk_tool {
namespace {

constexpr int first_data_page = 0x04;
constexpr int last_data_page = 0x27;

// As cards are delivered.
constexpr char delivered_key[] = "FFFFFFFFFFFF";

void open(ClassicCard& card, int sector, const Options& options) {
    card.open_sector(sector, options.key_type == "B" ? KeyType::b : KeyType::a,
                     options.keys.empty() ? std::vector<std::string>{delivered_key} : options.keys);
}

// A card with the sector of the command's block open.
class OpenedBlock {
  public:
    OpenedBlock(const Options& options, Output& output) : card_(options.timeout_s) {
        output.field("uid", "UID", card_.uid());
        open(card_, sector_of(options.block), options);
        output.field("block", "block", options.block);
    }

    ClassicCard* operator->() { return &card_; }

  private:
    ClassicCard card_;
};

void report_block(int block, const std::string& data, Output& output) {
    const bool is_trailer = block == trailer_of(sector_of(block));
    cJSON* object = cJSON_CreateObject();
    cJSON_AddNumberToObject(object, "sector", sector_of(block));
    cJSON_AddNumberToObject(object, "block", block);
    cJSON_AddStringToObject(object, "data", data.c_str());
    std::string meaning = is_trailer ? "keys and access" : readable(data);
    if (const auto value = value_in(data); value && !is_trailer) {
        cJSON_AddNumberToObject(object, "value", *value);
        meaning = fmt::format("value {}", *value);
    }
    output.row("blocks", object, fmt::format("  block {:>3}  {}  {}", block, data, meaning));
}

void report_failure(int sector, std::optional<int> block, const ReaderError& error,
                    Output& output) {
    cJSON* object = cJSON_CreateObject();
    cJSON_AddNumberToObject(object, "sector", sector);
    if (block) cJSON_AddNumberToObject(object, "block", *block);
    cJSON_AddStringToObject(object, "call", error.call().c_str());
    cJSON_AddNumberToObject(object, "number", error.number());
    output.row("failures", object,
               fmt::format("  {}{}: {} {}", block ? fmt::format("block {:>3}  ", *block) : "",
                           error.call(), error.number(), name_of(error.number())));
}

// Throws the ReaderError of a sector that does not open.
void dump_sector(ClassicCard& card, int sector, const Options& options, Output& output) {
    output.line(fmt::format("sector {}", sector));
    try {
        open(card, sector, options);
    } catch (const ReaderError& error) {
        report_failure(sector, std::nullopt, error, output);
        throw;
    }
    for (int block = std::max(first_block_of(sector), 1); block <= trailer_of(sector); ++block) {
        try {
            report_block(block, card.read(block), output);
        } catch (const ReaderError& error) {
            report_failure(sector, block, error, output);
            open(card, sector, options);
        }
    }
}

void change_value(const Options& options, Output& output,
                  void (*change)(OpenedBlock& block, const Options& options)) {
    const Connection connection(options.link);
    OpenedBlock block(options, output);
    if (change != nullptr) change(block, options);
    output.field("value", "value", block->value(options.block));
}

// A card for m0 commands, authenticated if a key was given.
class OpenedCard {
  public:
    OpenedCard(const Options& options, Output& output) : card_(options.timeout_s) {
        output.field("uid", "UID", card_.uid());
        if (!options.keys.empty()) card_.verify_key(options.keys.front());
    }

    UltralightCard* operator->() { return &card_; }

  private:
    UltralightCard card_;
};

void report_page(int page, const std::string& data, Output& output) {
    cJSON* object = cJSON_CreateObject();
    cJSON_AddNumberToObject(object, "page", page);
    cJSON_AddStringToObject(object, "data", data.c_str());
    output.row("pages", object, fmt::format("  page {:>3}  {}  {}", page, data, readable(data)));
}

}  // namespace

// Done if at least one sector opens. Block 0 is the manufacturer's, and the library reads none.
void run_classic_dump(const Options& options, Output& output) {
    const Connection connection(options.link);
    ClassicCard card(options.timeout_s);
    output.field("uid", "UID", card.uid());
    const int sectors = options.size == "4K" ? 40 : 16;
    const int first = options.sector == 0 ? 1 : options.sector;
    const int last = options.sector == 0 ? sectors : options.sector;
    std::optional<ReaderError> failure;
    int opened = 0;
    for (int sector = first; sector <= last; ++sector) {
        if (interrupted()) throw ToolError(fmt::format("interrupted before sector {}", sector));
        live_line::show(fmt::format("sector {} of {}", sector, last));
        try {
            dump_sector(card, sector, options, output);
            ++opened;
        } catch (const ReaderError& error) {
            failure = error;
        }
    }
    live_line::clear();
    if (opened == 0 && failure) throw ReaderError(*failure);
}

void run_classic_read(const Options& options, Output& output) {
    const Connection connection(options.link);
    OpenedBlock block(options, output);
    const std::string data = block->read(options.block);
    output.field("data", "data", data);
    output.field("text", "text", readable(data));
}

void run_classic_write(const Options& options, Output& output) {
    if (options.block == trailer_of(sector_of(options.block)) && !options.system)
        throw ToolError("this block holds its sector's keys; --system writes it all the same");
    const Connection connection(options.link);
    OpenedBlock block(options, output);
    const std::string data = upper(options.data);
    block->write(options.block, data);
    output.field("data", "data", data);
    output.field("result", "result", "written");
}

void run_classic_value_read(const Options& options, Output& output) {
    change_value(options, output, nullptr);
}

void run_classic_value_write(const Options& options, Output& output) {
    change_value(options, output, [](OpenedBlock& block, const Options& given) {
        block->set_value(given.block, given.value);
    });
}

void run_classic_value_increase(const Options& options, Output& output) {
    change_value(options, output, [](OpenedBlock& block, const Options& given) {
        block->increase(given.block, static_cast<unsigned>(given.change));
    });
}

void run_classic_value_decrease(const Options& options, Output& output) {
    change_value(options, output, [](OpenedBlock& block, const Options& given) {
        block->decrease(given.block, static_cast<unsigned>(given.change));
    });
}

void run_ultralight_read(const Options& options, Output& output) {
    const Connection connection(options.link);
    OpenedCard card(options, output);
    int page = options.page;
    for (const std::string& data : card->read(options.page, options.page_count))
        report_page(page++, data, output);
}

void run_ultralight_write(const Options& options, Output& output) {
    const bool is_data = options.page >= first_data_page && options.page <= last_data_page;
    if (!is_data && !options.system) {
        throw ToolError(
            "pages other than 4 to 39 are locks, counter and key, and many a bit there never comes "
            "back; --system writes them all the same");
    }
    const Connection connection(options.link);
    OpenedCard card(options, output);
    card->write(options.page, options.data);
    report_page(options.page, upper(options.data), output);
    output.field("result", "result", "written");
}

void run_ultralight_verify(const Options& options, Output& output) {
    const Connection connection(options.link);
    OpenedCard card(options, output);
    output.field("key", "key", "right");
}

}  // namespace desk_tool
