// A purchase with a payment card, in its steps: each needs the one before. The issuer's host is the
// one that goes with the virtual cards.
#pragma once

#include <optional>
#include <string>

#include "issuer_host.h"
#include "payment_calls.h"

namespace desk_tool {

class Purchase {
  public:
    // The amount as people write it, 12.5 for example.
    Purchase(const std::string& amount, int slot, int timeout_s);

    std::string amount() const;
    const std::string& account_number() const { return account_number_; }

    // Reads who the card is; its issuer is chosen by that.
    void read_card();

    // What the card wants its issuer to be told.
    const std::string& request();

    // The issuer's answer to that. Throws ToolError for a card that it does not know.
    const std::string& ask_issuer();

    // The card's answer to the issuer's.
    const CardCompletion& complete();

    // Throws ToolError unless issuer and card agree that it is paid.
    void confirm();

    // The newest entry of the card's log. Throws ToolError unless it is this purchase.
    std::string check_log() const;

  private:
    std::string transaction() const;

    int slot_;
    int timeout_s_;
    std::string amount_;  // twelve digits of cents
    std::string date_;
    std::string time_;
    std::string account_number_;
    std::optional<virtual_reader::IssuerHost> issuer_;
    AuthorisationRequest request_;
    virtual_reader::IssuerAnswer answer_;
    CardCompletion completion_;
};

}  // namespace desk_tool
