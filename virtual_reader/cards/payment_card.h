// A debit card with a chip: directory, application, cryptograms with real keys, a PIN, limits that
// the issuer's scripts change, logs. Power does not make it forget what it counted and was told.
#pragma once

#include <optional>

#include "cards/card.h"
#include "cards/payment_logs.h"
#include "cards/payment_profile.h"
#include "cards/payment_transaction.h"

namespace virtual_reader {

class PaymentCard final : public Card {
  public:
    // Throws std::invalid_argument for an account number, sequence number or PIN that is none.
    explicit PaymentCard(PaymentCardSettings settings);
    PaymentCard(const PaymentCard&) = delete;
    PaymentCard& operator=(const PaymentCard&) = delete;

    const std::string& name() const override { return settings_.name; }
    bool contactless() const override { return settings_.contactless; }
    Bytes power_on() override;
    void power_off() override;
    Bytes transmit(View command) override;

  private:
    enum class Selected { nothing, directory, application };
    using Handler = Bytes (PaymentCard::*)(const Command&);
    struct Row;

    Bytes get_response(const Command& command);
    Bytes select(const Command& command);
    Bytes select_directory();
    Bytes select_application();
    Bytes read_record(const Command& command);
    Bytes get_data(const Command& command);
    Bytes get_processing_options(const Command& command);
    Bytes verify(const Command& command);
    Bytes external_authenticate(const Command& command);
    Bytes generate_cryptogram(const Command& command);
    Bytes first_cryptogram(const Command& command);
    Bytes second_cryptogram(const Command& command);

    Bytes run_script(const Command& command);
    Bytes block_application(const Command& command);
    Bytes unblock_application(const Command& command);
    Bytes change_pin(const Command& command);
    Bytes put_data(const Command& command);
    Bytes update_record(const Command& command);

    bool spend(std::uint64_t amount);
    Cryptogram begin_online();
    Bytes cryptogram_objects(const Cryptogram& cryptogram) const;
    Bytes cryptogram_answer(const Cryptogram& cryptogram);
    std::optional<Bytes> data_value(Tag tag) const;
    const Bytes* record(std::uint8_t file, std::uint8_t number) const;

    PaymentCardSettings settings_;
    PaymentProfile profile_;
    KeySet keys_;
    Responder responder_;

    // What it remembers without power.
    std::uint16_t counter_;
    std::uint16_t last_online_counter_ = 0;
    Block pin_;
    int tries_left_;
    bool blocked_;
    Objects limits_;  // balance and limits, six bytes each
    std::map<PaymentProfile::Place, Bytes> records_;
    CyclicLog transactions_;
    CyclicLog loads_;
    CardHistory history_;

    Selected selected_ = Selected::nothing;
    std::optional<PaymentTransaction> transaction_;
};

}  // namespace virtual_reader
