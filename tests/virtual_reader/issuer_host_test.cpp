#include "issuer_host.h"

#include "payment_kit.h"

namespace {

using kit::to_hex;
using namespace payment;
using namespace virtual_reader;

// The request as a terminal sends it on: the card's four objects around its own.
std::string request_text(const std::string& answer, const char* amount = "000000001234") {
    const auto card = [&](std::size_t from, std::size_t count) {
        return answer.substr(4 + 2 * from, 2 * count);
    };
    return "9F2608" + card(3, 8) + "9F2701" + card(0, 1) + "9F1008" + card(11, 8) +
           "9F3704A1B2C3D4" + "9F3602" + card(1, 2) + "95050000000800" + "9A03261017" + "9C0101" +
           "9F0206" + amount + "5F2A020156" + "82021C00" + "9F1A020156" + "9F0306000000000000";
}

class Purchase : public testing::Test {
  protected:
    std::string ask(Terminal& terminal, const char* elements = covered) {
        terminal.send(select_application);
        terminal.send(begin);
        return terminal.send(with_data("80 AE 80 00", first_data(elements)));
    }

    // The card's completion: what stands in tag 80.
    std::string complete(Terminal& terminal, const std::string& answer, const char* p1,
                         const char* code) {
        const Objects objects = *read_objects(hex(answer));
        EXPECT_EQ(terminal.send(with_data("00 82 00 00", objects.at(0x91))), "9000");
        const std::string end = terminal.send(with_data(p1, second_data(code)));
        return end.substr(4, end.size() - 8);
    }

    Terminal terminal_;
    IssuerHost host_;
};

TEST_F(Purchase, IsApprovedAndConfirmed) {
    const IssuerAnswer answer = host_.authorise(request_text(ask(terminal_)));
    EXPECT_EQ(answer.verdict, Verdict::approved);
    EXPECT_EQ(answer.code, "00");
    EXPECT_EQ(answer.reason, "approved");
    EXPECT_EQ(answer.text,
              "910A" + to_hex(issuer_answer("0001", cryptogram("0001", "03A00000"), "3030")));
    const std::string completion = complete(terminal_, answer.text, "80 AE 40 00", "3030");
    EXPECT_EQ(completion, to_hex(kit::join({hex("400001"), cryptogram("0001", "03600000"),
                                            hex("0701010360000001")})));
    const IssuerConfirmation confirmation = host_.confirm(completion);
    EXPECT_EQ(confirmation.verdict, Verdict::approved);
    EXPECT_EQ(confirmation.reason, "the card has approved");
    EXPECT_EQ(terminal_.send("00 B2 01 5C 00").substr(12, 12), "000000001234") << "and logged";
}

TEST_F(Purchase, IsDeclinedOverTheLimit) {
    IssuerSettings settings;
    settings.limit = 1233;
    IssuerHost host(settings);
    const IssuerAnswer answer = host.authorise(request_text(ask(terminal_)));
    EXPECT_EQ(answer.verdict, Verdict::declined);
    EXPECT_EQ(answer.code, "05");
    EXPECT_EQ(answer.reason, "the amount is over the limit");
    EXPECT_EQ(answer.text,
              "910A" + to_hex(issuer_answer("0001", cryptogram("0001", "03A00000"), "3035")));
    const auto confirmation = host.confirm(complete(terminal_, answer.text, "80 AE 00 00", "3035"));
    EXPECT_EQ(confirmation.verdict, Verdict::declined);
    EXPECT_EQ(confirmation.reason, "the card has declined");
}

TEST_F(Purchase, IsDeclinedByTheCardAgainstTheIssuer) {
    const IssuerAnswer answer = host_.authorise(request_text(ask(terminal_)));
    EXPECT_EQ(host_.confirm(complete(terminal_, answer.text, "80 AE C0 00", "3030")).verdict,
              Verdict::declined);
}

TEST_F(Purchase, FailsWithTheWrongKeyOfTheIssuer) {
    IssuerSettings settings;
    settings.keys.cryptogram[15] ^= 0x02;
    IssuerHost host(settings);
    const IssuerAnswer answer = host.authorise(request_text(ask(terminal_)));
    EXPECT_EQ(answer.verdict, Verdict::not_genuine);
    EXPECT_EQ(answer.code, "05");
    EXPECT_EQ(answer.reason, "the cryptogram is not what this card would have made");
    EXPECT_EQ(answer.text, "8A023035") << "nothing that a card could trust";
}

TEST_F(Purchase, FailsForAnotherAccount) {
    IssuerSettings account;
    account.account_number = "9999990000000021";
    EXPECT_EQ(IssuerHost(account).authorise(request_text(ask(terminal_))).verdict,
              Verdict::not_genuine);
    IssuerSettings sequence;
    sequence.sequence_number = 2;
    EXPECT_EQ(IssuerHost(sequence).authorise(request_text(ask(terminal_))).verdict,
              Verdict::not_genuine);
}

TEST_F(Purchase, FailsWithTheWrongKeyOfTheCard) {
    PaymentCardSettings settings;
    settings.issuer_keys.cryptogram[0] ^= 0x80;
    Terminal forged(settings);
    EXPECT_EQ(host_.authorise(request_text(ask(forged))).verdict, Verdict::not_genuine);
    // The card in turn refuses an answer that was made for the genuine one.
    const IssuerAnswer answer = host_.authorise(request_text(ask(terminal_)));
    const Objects objects = *read_objects(hex(answer.text));
    EXPECT_EQ(forged.send(with_data("00 82 00 00", objects.at(0x91))), "6300");
}

TEST_F(Purchase, FailsWhenAnythingCoveredIsChanged) {
    const std::string request = request_text(ask(terminal_));
    ASSERT_EQ(host_.authorise(request).verdict, Verdict::approved);
    const char* covered_values[] = {
        "9F3704A1B2C3D4",     "9F36020001", "95050000000800", "9A03261017", "9C0101",
        "9F0206000000001234", "5F2A020156", "82021C00",       "9F1A020156", "9F0306000000000000"};
    for (const std::string value : covered_values) {
        std::string changed = request;
        const std::size_t last = changed.find(value) + value.size() - 1;
        changed[last] = changed[last] == '9' ? '8' : '9';
        EXPECT_EQ(host_.authorise(changed).verdict, Verdict::not_genuine) << value;
    }
}

TEST_F(Purchase, FailsWhenItsKindIsChanged) {
    std::string request = request_text(ask(terminal_));
    request.replace(request.find("9F270180"), 8, "9F270100");
    const IssuerAnswer answer = host_.authorise(request);
    EXPECT_EQ(answer.verdict, Verdict::not_genuine);
    EXPECT_EQ(answer.reason, "the cryptogram is of another kind than it says");
}

TEST_F(Purchase, DeclinesWhatTheCardHasDeclined) {
    terminal_.send(select_application);
    terminal_.send(begin);
    const std::string declined = terminal_.send(with_data("80 AE 00 00", first_data()));
    const IssuerAnswer answer = host_.authorise(request_text(declined));
    EXPECT_EQ(answer.verdict, Verdict::declined);
    EXPECT_EQ(answer.reason, "the card does not ask");
}

TEST_F(Purchase, DeclinesAnAmountThatIsNone) {
    const char* elements = "00000000123A 000000000000 0156 0000000800 0156 261017 01 A1B2C3D4";
    const IssuerAnswer answer =
        host_.authorise(request_text(ask(terminal_, elements), "00000000123A"));
    EXPECT_EQ(answer.verdict, Verdict::declined);
    EXPECT_EQ(answer.reason, "the amount is none");
}

TEST_F(Purchase, NeedsAWholeRequest) {
    const std::string request = request_text(ask(terminal_));
    EXPECT_EQ(host_.authorise("").reason, "the request has no 9F02 of 6 bytes");
    EXPECT_EQ(host_.authorise("9F").reason, "the request is no data objects");
    EXPECT_EQ(host_.authorise("9F0").reason, "the request has no 9F02 of 6 bytes");
    for (const auto& [object, reason] :
         {std::pair{"95050000000800", "the request has no 95 of 5 bytes"},
          std::pair{"82021C00", "the request has no 82 of 2 bytes"},
          std::pair{"9F270180", "the request has no 9F27 of 1 bytes"}}) {
        std::string less = request;
        less.erase(less.find(object), std::string(object).size());
        EXPECT_EQ(host_.authorise(less).reason, reason);
    }
    std::string other = request;
    other.replace(other.find("07010103A0"), 10, "07010203A0");
    EXPECT_EQ(host_.authorise(other).reason, "the issuer application data have another form");
    EXPECT_EQ(host_.authorise(request + "9F330320A100").verdict, Verdict::approved)
        << "others are passed over";
}

TEST_F(Purchase, IsConfirmedByTheRightCompletionOnly) {
    EXPECT_EQ(host_.confirm("").reason, "there was no genuine request");
    const IssuerAnswer answer = host_.authorise(request_text(ask(terminal_)));
    const std::string completion = complete(terminal_, answer.text, "80 AE 40 00", "3030");
    EXPECT_EQ(host_.confirm("4000").reason, "the completion is too short");
    EXPECT_EQ(host_.confirm(completion.substr(0, 22)).reason,
              "the issuer application data have another form");
    EXPECT_EQ(host_.confirm("400002" + completion.substr(6)).reason,
              "the completion is of another transaction");
    std::string changed = completion;
    changed[7] = changed[7] == '0' ? '1' : '0';
    EXPECT_EQ(host_.confirm(changed).reason,
              "the cryptogram is not what this card would have made");
    EXPECT_EQ(host_.confirm("00" + completion.substr(2)).reason,
              "the cryptogram is of another kind than it says")
        << "an approval told as a decline";
    EXPECT_EQ(host_.confirm("80" + completion.substr(2)).verdict, Verdict::not_genuine);
    EXPECT_EQ(host_.confirm(completion).verdict, Verdict::approved);
    host_.authorise("");
    EXPECT_EQ(host_.confirm(completion).verdict, Verdict::not_genuine)
        << "what is not genuine ends the one before";
}

TEST_F(Purchase, IsNotConfirmedForAnotherAmount) {
    const IssuerAnswer answer = host_.authorise(request_text(ask(terminal_)));
    const Objects objects = *read_objects(hex(answer.text));
    terminal_.send(with_data("00 82 00 00", objects.at(0x91)));
    const char* more = "000000009999 000000000000 0156 0000000800 0156 261017 01 A1B2C3D4";
    const std::string end = terminal_.send(with_data("80 AE 40 00", second_data("3030", more)));
    EXPECT_EQ(host_.confirm(end.substr(4, end.size() - 8)).verdict, Verdict::not_genuine);
}

class Scripts : public Purchase {
  protected:
    // The commands of the answer to a purchase that carries a script.
    IssuerAnswer answer_with(Script script) {
        host_.send_script(std::move(script));
        return host_.authorise(request_text(ask(terminal_)));
    }

    static Bytes command_of(const IssuerAnswer& answer) {
        return read_objects(hex(answer.text))->at(0x86);
    }
};

TEST_F(Scripts, LoadTheBalance) {
    const IssuerAnswer answer = answer_with({0x72, hex("00000001"), {put_amount(0x9F79, 50000)}});
    const Bytes request = cryptogram("0001", "03A00000");
    const Bytes expected = script("04 DA 9F 79", hex("000000050000"), "0001", request);
    EXPECT_EQ(answer.text, "910A" + to_hex(issuer_answer("0001", request)) +
                               "7218"
                               "9F180400000001"
                               "860F" +
                               to_hex(expected));
    complete(terminal_, answer.text, "80 AE 40 00", "3030");
    EXPECT_EQ(terminal_.send(command_of(answer)), "9000");
    EXPECT_EQ(terminal_.send("80 CA 9F 79"), "9F79060000000500009000");
    EXPECT_EQ(host_.authorise(request_text(ask(terminal_))).text.size(), 24u) << "only once";
}

TEST_F(Scripts, DoAllElse) {
    const auto status_of = [&](const ScriptCommand& command) {
        const IssuerAnswer answer = answer_with({0x71, {}, {command}});
        EXPECT_EQ(answer.text.substr(24, 2), "71");
        return terminal_.send(command_of(answer));
    };
    EXPECT_EQ(status_of(change_pin("654321")), "9000");
    EXPECT_EQ(terminal_.send("00 20 00 80 08 26654321FFFFFFFF"), "9000");
    for (int tries = 0; tries < 3; ++tries)
        terminal_.send("00 20 00 80 08 241234FFFFFFFFFF");
    EXPECT_EQ(status_of(unblock_pin()), "9000");
    EXPECT_EQ(terminal_.send("00 20 00 80 08 26654321FFFFFFFF"), "9000");
    EXPECT_EQ(status_of(update_record(1, 1, hex("70039F0700"))), "9000");
    EXPECT_EQ(terminal_.send("00 B2 01 0C 00"), "70039F07009000");
    EXPECT_EQ(status_of(block_application()), "9000");
    EXPECT_EQ(terminal_.send(begin), "6985");
    const std::string information = terminal_.send(select_application);
    EXPECT_EQ(information.substr(information.size() - 4), "6283");
    EXPECT_EQ(status_of(unblock_application()), "9000");
    EXPECT_EQ(terminal_.send(select_application).substr(118), "9000");
}

TEST_F(Scripts, FailWithTheWrongKeys) {
    PaymentCardSettings integrity;
    integrity.issuer_keys.integrity[3] ^= 0x04;
    Terminal other(integrity);
    host_.send_script({0x72, {}, {put_amount(0x9F79, 50000)}});
    EXPECT_EQ(other.send(command_of(host_.authorise(request_text(ask(other))))), "6988");
    PaymentCardSettings secrecy;
    secrecy.issuer_keys.secrecy[3] ^= 0x04;
    Terminal third(secrecy);
    host_.send_script({0x72, {}, {change_pin("654321")}});
    EXPECT_EQ(third.send(command_of(host_.authorise(request_text(ask(third))))), "6A80");
}

TEST_F(Scripts, ComeWithDeclinesButNotForForgeries) {
    host_.send_script({0x72, {}, {block_application()}});
    EXPECT_EQ(host_.authorise("").text, "8A023035");
    IssuerSettings settings;
    settings.limit = 0;
    IssuerHost strict(settings);
    strict.send_script({0x72, {}, {block_application()}});
    const IssuerAnswer answer = strict.authorise(request_text(ask(terminal_)));
    EXPECT_EQ(answer.code, "05");
    EXPECT_EQ(terminal_.send(command_of(answer)), "9000");
}

TEST_F(Scripts, HaveToFit) {
    EXPECT_THROW(put_amount(0x9F79, 1000000000000), std::invalid_argument);
    EXPECT_THROW(update_record(1, 1, Bytes(252, 0)), std::invalid_argument);
    EXPECT_THROW(change_pin("12"), std::invalid_argument);
    EXPECT_THROW(IssuerHost({example_issuer_keys, "12X4", 1, 0}), std::invalid_argument);
}

}  // namespace
