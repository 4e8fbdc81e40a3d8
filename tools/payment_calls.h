// The library's payment flows as the tool's commands use them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace desk_tool {

// One field of a reply: a letter and its value.
struct CardField {
    char letter;
    std::string value;
};

// The fields of a text in which each is a letter, three digits of length and the value.
std::vector<CardField> fields_of(std::string_view text);

// The value of a field, empty if there is none.
std::string value_of(const std::vector<CardField>& fields, char letter);

std::vector<CardField> card_information(int slot, const char* letters, int timeout_s);

// The data for the issuer, and the kind of card that gave them: the slot of the completion.
struct AuthorisationRequest {
    std::string text;
    int slot = 0;
};

AuthorisationRequest request_authorisation(int slot, const std::string& transaction, int timeout_s);

struct CardCompletion {
    bool declined = false;  // as the issuer wanted it
    std::string cryptogram;
    std::string script_result;
};

CardCompletion complete(int slot, const std::string& transaction, const std::string& answer);

// The entries of a log, none for a card that keeps none.
enum class CardLog { transactions, loads };
std::vector<std::vector<CardField>> log_entries(CardLog log, int slot, int timeout_s);

// The thirteen elements of a social security card.
std::vector<std::string> social_security_elements(int slot, int timeout_s);

}  // namespace desk_tool
