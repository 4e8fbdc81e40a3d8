// "decode" and "log": what stands in explain/, on the command line.
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>

#include <CLI/CLI.hpp>
#include <unistd.h>

#include "command_options.h"
#include "commands.h"
#include "errors.h"
#include "explain/decode.h"
#include "explain/log_views.h"

namespace desk_tool {
namespace {

constexpr const char* standard_input = "-";

constexpr const char* decode_examples =
    "Examples:\n"
    "  deskreader decode 9F0206000000000012 5F2A020156   data objects\n"
    "  deskreader decode 3B:9F:95:80:1F:C3               an answer to reset, as far as it goes\n"
    "  deskreader decode 00 A4 04 00 07 A0000000031010   a command to a card\n"
    "  deskreader decode 6982                            a status word\n"
    "  deskreader decode --as frame 6003E3010081         a frame as it reads\n"
    "  xclip -o | deskreader decode -                    what was copied\n"
    "Everything is shown as it is given; nothing is masked.";

constexpr const char* log_examples =
    "Examples:\n"
    "  deskreader log sd_20261121.log                   every command and answer\n"
    "  deskreader log --timeline sd_20261121.log        one line each, with the times\n"
    "  deskreader --json log sd_20261121.log            for programs\n"
    "Card numbers, tracks, names, PINs, keys and identity text are masked (digits become 0),\n"
    "unless --unmasked asks for them. Times are whole seconds, as the log has them.";

bool is_coloured() {
    const char* refused = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    const bool plain = (refused != nullptr && *refused != '\0') ||
                       (terminal != nullptr && std::string(terminal) == "dumb");
    return !plain && isatty(STDOUT_FILENO) != 0;
}

std::string read_input(std::istream& input) {
    return {std::istreambuf_iterator<char>(input), {}};
}

std::string read_file(const std::string& path) {
    if (path == standard_input) return read_input(std::cin);
    std::ifstream file(path, std::ios::binary);
    std::string text = read_input(file);
    if (!file.is_open() || file.bad()) throw ToolError(path + ": cannot be read");
    return text;
}

std::string typed_text(const ExplainOptions& options) {
    std::string text;
    for (const std::string& piece : options.typed)
        text += (piece == standard_input ? read_input(std::cin) : piece) + " ";
    return text;
}

explain::Kind kind_of(const ExplainOptions& options, explain::View bytes) {
    const auto kind =
        options.kind.empty() ? explain::likely_kind(bytes) : explain::kind_named(options.kind);
    if (kind) return *kind;
    throw ToolError(
        "these bytes look like nothing known; --as tlv|atr|apdu|frame says what they are");
}

std::string without_last_line_end(std::string text) {
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

// In both languages, as failures of the tool are told.
std::string result_text(int number) {
    return name_of(number) + ", " + message_of(api_number_of(number));
}

}  // namespace

void add_decode(CLI::App& command, Options& options) {
    command
        .add_option("hex", options.explain.typed,
                    "Bytes; blanks, colons, line ends and 0x may stand between them, - reads them "
                    "from standard input")
        ->required();
    command
        .add_option("--as", options.explain.kind,
                    "Take them for this: tlv, atr, apdu or frame (found out)")
        ->check(CLI::IsMember({"tlv", "atr", "apdu", "frame"}));
    command.footer(decode_examples);
}

void add_log(CLI::App& command, Options& options) {
    command.add_option("file", options.explain.file, "The log, - for standard input")
        ->required()
        ->type_name("FILE");
    command.add_flag("--timeline", options.explain.timeline,
                     "One line for a command and its answer");
    command.add_flag("--unmasked", options.explain.unmasked,
                     "Show card numbers, names, PINs and keys too");
    command.footer(log_examples);
}

void run_decode(const Options& options, Output& output) {
    const explain::Typed typed = explain::read_typed(typed_text(options.explain));
    if (!typed.problem.empty()) throw ToolError(typed.problem);
    const explain::Kind kind = kind_of(options.explain, typed.bytes);
    const explain::Note note = explain::explain(typed.bytes, kind);
    if (output.json()) output.field("kind", "", explain::name_of(kind));
    output.row("decoded", explain::as_json(note),
               without_last_line_end(explain::as_text(note, is_coloured())));
}

void run_log(const Options& options, Output& output) {
    const std::string text = read_file(options.explain.file);
    explain::LogDecoder decoder(text, {options.explain.unmasked, result_text});
    const explain::LogSink sink = [&output](cJSON* object, const std::string& line) {
        if (output.json()) return output.row("entries", object, line);
        cJSON_Delete(object);  // nobody looks at it, and a log is long
        output.line(line);
    };
    if (options.explain.timeline) {
        explain::view_timeline(decoder, is_coloured(), sink);
    } else {
        explain::view_messages(decoder, is_coloured(), sink);
    }
    const explain::LogCounts& counts = decoder.counts();
    if (!output.json()) return output.line(explain::summary(counts));
    output.field("lines", "", static_cast<int>(counts.lines));
    output.field("commands", "", static_cast<int>(counts.sent));
    output.field("answered", "", static_cast<int>(counts.answered));
    output.field("unanswered", "", static_cast<int>(counts.unanswered));
    output.field("other", "", static_cast<int>(counts.other));
    output.field("damaged", "", static_cast<int>(counts.damaged));
}

}  // namespace desk_tool
