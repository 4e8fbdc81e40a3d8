#include "purchase.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <random>

#include <fmt/chrono.h>
#include <fmt/core.h>

#include "calls.h"
#include "errors.h"
#include "payment_text.h"

namespace desk_tool {
namespace {

using virtual_reader::IssuerSettings;
using virtual_reader::Verdict;

std::string cents_of(const std::string& amount) {
    const std::size_t point = std::min(amount.find('.'), amount.size());
    std::string cents = amount.substr(std::min(point + 1, amount.size()));
    cents.resize(2, '0');
    return fmt::format("{:0>12}", amount.substr(0, point) + cents);
}

}  // namespace

Purchase::Purchase(const std::string& amount, int slot, int timeout_s)
    : slot_(slot), timeout_s_(timeout_s), amount_(cents_of(amount)) {
    const std::tm now = fmt::localtime(std::time(nullptr));
    date_ = fmt::format("{:%y%m%d}", now);
    time_ = fmt::format("{:%H%M%S}", now);
    std::srand(std::random_device{}());  // the library draws its unpredictable number from rand
}

std::string Purchase::amount() const {
    return amount_of(amount_);
}

std::string Purchase::transaction() const {
    return fmt::format("P012{}Q012000000000000R0040156S006{}T00200U006{}V020{:<20}", amount_, date_,
                       time_, "DESKREADER");
}

void Purchase::read_card() {
    const auto information = card_information(slot_, "AJ", timeout_s_);
    account_number_ = value_of(information, 'A');
    IssuerSettings settings;
    settings.account_number = account_number_;
    settings.sequence_number = std::atoi(value_of(information, 'J').c_str());
    issuer_.emplace(settings);
}

const std::string& Purchase::request() {
    request_ = request_authorisation(slot_, transaction(), timeout_s_);
    return request_.text;
}

const std::string& Purchase::ask_issuer() {
    answer_ = issuer_->authorise(request_.text);
    if (answer_.verdict == Verdict::not_genuine) {
        power_off(request_.slot);
        throw ToolError("the issuer does not know this card: " + answer_.reason);
    }
    return answer_.text;
}

const CardCompletion& Purchase::complete() {
    completion_ = desk_tool::complete(request_.slot, transaction(), answer_.text);
    return completion_;
}

void Purchase::confirm() {
    if (answer_.verdict == Verdict::declined || completion_.declined)
        throw ToolError("declined: " + answer_.reason);
    const auto confirmation = issuer_->confirm(completion_.cryptogram);
    if (confirmation.verdict != Verdict::approved)
        throw ToolError("the issuer does not accept the card's answer: " + confirmation.reason);
}

std::string Purchase::check_log() const {
    const auto entries = log_entries(CardLog::transactions, request_.slot, timeout_s_);
    if (entries.empty()) throw ToolError("the card logged nothing");
    const auto& entry = entries.front();
    if (value_of(entry, 'P') != amount_ || value_of(entry, 'S') != date_ ||
        value_of(entry, 'U') != time_) {
        throw ToolError("the card logged another payment: " + transaction_line(entry));
    }
    return transaction_line(entry);
}

}  // namespace desk_tool
