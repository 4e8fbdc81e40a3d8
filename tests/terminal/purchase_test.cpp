// Whole purchases: the library's exported functions, a virtual card with real keys, and the
// issuer's host that checks what the card says.
#include <deskreader.h>

#include <cstring>

#include "issuer_host.h"
#include "kit/scratch.h"
#include "kit/virtual_desk.h"
#include "kit/way.h"

namespace {

using virtual_reader::IssuerAnswer;
using virtual_reader::IssuerHost;
using virtual_reader::IssuerSettings;
using virtual_reader::Script;
using virtual_reader::Verdict;

// A deck with one payment card in the reader; `more` are further keys of the card.
std::string deck_with(const std::string& more) {
    return R"({"cards": [{"type": "payment", "name": "bank", "inserted": true)" + more + "}]}";
}

constexpr char payment[] =
    "P012000000001234Q012000000000000R0040156S006261121T00200U006101112V020CORNER SHOP         ";

class Purchase : public testing::TestWithParam<kit::Way> {
  protected:
    void SetUp() override { config_.write(GetParam().config()); }
    void TearDown() override { RD_Close(); }

    void use(const std::string& more = {}) {
        desk_.emplace(GetParam().link, deck_with(more));
        ASSERT_EQ(RD_Open(desk_->port(), 9600, 0), 0);
    }

    // What each step of a purchase brings.
    struct Step {
        int result;
        std::string text;
        std::string more;
        int kind = -1;
    };

    static Step information(const char* letters) {
        std::string out(3627, '\0');
        const int result = RD_ICGetInfo(2, letters, 0, out.data(), 2);
        return {result, out.c_str(), {}};
    }

    static Step request(const char* transaction = payment) {
        std::string out(2400, '\0');
        Step step{0, {}, {}};
        step.result = RD_ICGenARQC(2, transaction, 2400, out.data(), &step.kind, 2);
        step.text = out.c_str();
        return step;
    }

    static Step complete(const std::string& answer, int kind = 0,
                         const char* transaction = payment) {
        std::string script(64, '\0');
        std::string cryptogram(1024, '\0');
        const int result = RD_ICExeScript_TC(kind, transaction, answer.c_str(), 64, script.data(),
                                             0, cryptogram.data());
        return {result, cryptogram.c_str(), script.c_str()};
    }

    static Step payments() {
        std::string out(4102, '\0');
        const int result = RD_ICGetDetail(2, 0, out.data(), 2);
        return {result, out.c_str(), {}};
    }

    static Step loads() {
        std::string out(4102, '\0');
        const int result = RD_ICGetCircllog(2, 0, out.data(), 2);
        return {result, out.c_str(), {}};
    }

    kit::ConfigFile config_;
    std::optional<kit::VirtualDesk> desk_;
    IssuerHost issuer_;
};

INSTANTIATE_TEST_SUITE_P(Ways, Purchase, kit::every_way, kit::way_name);

TEST_P(Purchase, IsPaidCheckedAndLogged) {
    use();
    EXPECT_EQ(information("AJ").text, "A0169999990000000013J00201");
    const Step asked = request();
    ASSERT_EQ(asked.result, 0);
    EXPECT_EQ(asked.kind, 0);
    const IssuerAnswer answer = issuer_.authorise(asked.text);
    EXPECT_EQ(answer.verdict, Verdict::approved) << answer.reason;
    const Step done = complete(answer.text);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.more, "DF31051000000000");
    EXPECT_EQ(done.text.substr(0, 2), "40") << "a TC";
    EXPECT_EQ(issuer_.confirm(done.text).verdict, Verdict::approved);
    const Step logged = payments();
    EXPECT_EQ(logged.result, 0);
    EXPECT_EQ(logged.text,
              "01106"
              "P012000000001234"
              "Q012000000000000"
              "R0040156"
              "S006261121"
              "T00200"
              "U006101112"
              "V0040156"
              "W020CORNER SHOP         "
              "X0040002");
}

TEST_P(Purchase, CountsItsTransactions) {
    use(R"(, "transaction_counter": 41)");
    for (const char* counter : {"9F3602002A", "9F3602002B"}) {
        const Step asked = request();
        EXPECT_NE(asked.text.find(counter), std::string::npos) << asked.text;
        const Step done = complete(issuer_.authorise(asked.text).text);
        EXPECT_EQ(done.result, 0);
        EXPECT_EQ(issuer_.confirm(done.text).verdict, Verdict::approved);
    }
    EXPECT_EQ(payments().text.substr(0, 5), "02106");
}

TEST_P(Purchase, DeclinedByTheIssuer) {
    use();
    const Step asked = request("P012000099999999");
    const IssuerAnswer answer = issuer_.authorise(asked.text);
    EXPECT_EQ(answer.verdict, Verdict::declined);
    EXPECT_EQ(answer.code, "05");
    const Step done = complete(answer.text, 0, "P012000099999999");
    EXPECT_EQ(done.result, -4115) << "declined as it should be";
    EXPECT_EQ(done.text.substr(0, 2), "00") << "an AAC";
    EXPECT_EQ(issuer_.confirm(done.text).verdict, Verdict::declined);
    EXPECT_EQ(payments().text, "00000");
}

TEST_P(Purchase, AnswerOfAnotherIssuerIsRefused) {
    use();
    IssuerSettings settings;
    settings.keys.cryptogram[0] ^= 0x10;
    IssuerHost other(settings);
    const Step asked = request();
    EXPECT_EQ(other.authorise(asked.text).verdict, Verdict::not_genuine);
    ASSERT_EQ(issuer_.authorise(asked.text).verdict, Verdict::approved);
    // An answer with one bit of its cryptogram changed.
    std::string answer = issuer_.authorise(asked.text).text;
    answer[4] = answer[4] == '0' ? '1' : '0';
    EXPECT_EQ(complete(answer).result, -4109);
    EXPECT_EQ(payments().text, "00000");
}

TEST_P(Purchase, CardWithOtherKeysIsNotGenuine) {
    use(R"(, "keys": {"cryptogram": "000102030405060708090A0B0C0D0E0F"})");
    const Step asked = request();
    ASSERT_EQ(asked.result, 0);
    const IssuerAnswer answer = issuer_.authorise(asked.text);
    EXPECT_EQ(answer.verdict, Verdict::not_genuine);
    EXPECT_EQ(complete(answer.text).result, -4109) << "there is no tag 91 in it";
}

TEST_P(Purchase, ChangedRequestIsNotGenuine) {
    use();
    std::string text = request().text;
    const std::size_t amount = text.find("9F0206000000001234");
    ASSERT_NE(amount, std::string::npos);
    text[amount + 17] = '5';
    EXPECT_EQ(issuer_.authorise(text).verdict, Verdict::not_genuine);
}

TEST_P(Purchase, ChangedCompletionIsNotGenuine) {
    use();
    const Step asked = request();
    std::string text = complete(issuer_.authorise(asked.text).text).text;
    text[8] = text[8] == '0' ? '1' : '0';
    EXPECT_EQ(issuer_.confirm(text).verdict, Verdict::not_genuine);
}

TEST_P(Purchase, ScriptLoadsTheCard) {
    use(R"(, "balance": 10000)");
    EXPECT_EQ(information("G").text, "G012000000010000");
    const Step asked = request();
    issuer_.send_script(Script{
        0x72, virtual_reader::from_hex("11223344"), {virtual_reader::put_amount(0x9F79, 60000)}});
    const Step done = complete(issuer_.authorise(asked.text).text);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.more, "DF31052011223344");
    EXPECT_EQ(issuer_.confirm(done.text).verdict, Verdict::approved);
    EXPECT_EQ(information("G").text, "G012000000060000");
    const std::string log = loads().text;
    EXPECT_EQ(log.substr(0, 5 + 5 + 32), "01097O0011P012000000010000Q012000000060000");
}

TEST_P(Purchase, ScriptAlone) {
    use();
    const Step asked = request();
    issuer_.send_script(Script{0x71, {}, {virtual_reader::put_amount(0x9F77, 200000)}});
    std::string result(17, '\0');
    EXPECT_EQ(RD_ICExeScript(asked.kind, payment, issuer_.authorise(asked.text).text.c_str(), 0,
                             result.data()),
              0);
    EXPECT_STREQ(result.c_str(), "DF31052000000000");
    EXPECT_EQ(information("H").text, "H012000000200000");
}

TEST_P(Purchase, ScriptWithAnotherMacIsRefused) {
    use();
    const Step asked = request();
    issuer_.send_script(Script{0x72, {}, {virtual_reader::put_amount(0x9F79, 60000)}});
    std::string answer = issuer_.authorise(asked.text).text;
    answer.back() = answer.back() == '0' ? '1' : '0';
    const Step done = complete(answer);
    EXPECT_EQ(done.result, -4110);
    EXPECT_EQ(done.more, "DF31051200000000");
    EXPECT_EQ(loads().text, "00000");
}

TEST_P(Purchase, BlockedApplicationDeclines) {
    use();
    const Step asked = request();
    issuer_.send_script(Script{0x72, {}, {virtual_reader::block_application()}});
    EXPECT_EQ(complete(issuer_.authorise(asked.text).text).result, 0);
    EXPECT_EQ(information("A").result, -4102) << "it says so when it is selected";
}

TEST_P(Purchase, ContactlessCardsPayToo) {
    use(R"(, "contactless": true)");
    const Step asked = request();
    ASSERT_EQ(asked.result, 0);
    EXPECT_EQ(asked.kind, 1);
    const Step done = complete(issuer_.authorise(asked.text).text, asked.kind);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(issuer_.confirm(done.text).verdict, Verdict::approved);
    EXPECT_EQ(payments().text.substr(0, 5), "01106");
}

TEST_P(Purchase, CardsThatLetFetchTheirAnswersPayToo) {
    use(R"(, "procedure_bytes": true)");
    const Step asked = request();
    ASSERT_EQ(asked.result, 0);
    const Step done = complete(issuer_.authorise(asked.text).text);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(issuer_.confirm(done.text).verdict, Verdict::approved);
}

TEST_P(Purchase, CardsThatNameTheirOptionsPayToo) {
    use(R"(, "options": "objects")");
    const Step done = complete(issuer_.authorise(request().text).text);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(issuer_.confirm(done.text).verdict, Verdict::approved);
}

TEST_P(Purchase, CryptogramMayComeWithTheOptions) {
    use(R"(, "options": "cryptogram")");
    const Step asked = request();
    ASSERT_EQ(asked.result, 0);
    EXPECT_EQ(issuer_.authorise(asked.text).verdict, Verdict::approved)
        << "it is the card's, over the data of its PDOL";
}

TEST_P(Purchase, CryptogramInObjectsIsLost) {
    use(R"(, "cryptogram_objects": true)");
    const Step asked = request();
    ASSERT_EQ(asked.result, 0);
    EXPECT_EQ(asked.text.substr(0, 22 + 8),
              "9F26080000000000000000"
              "9F270100");
    EXPECT_EQ(issuer_.authorise(asked.text).verdict, Verdict::not_genuine);
}

TEST_P(Purchase, CardsWithoutSomeDataShowTheRest) {
    use(R"(, "without": ["5F20", "9F79"], "options_list": "")");
    EXPECT_EQ(information("ABG").text, "A0169999990000000013B000G000");
    const Step done = complete(issuer_.authorise(request().text).text);
    EXPECT_EQ(done.result, 0) << "an absent PDOL is an empty one";
    EXPECT_EQ(issuer_.confirm(done.text).verdict, Verdict::approved);
}

TEST_P(Purchase, BlockedDirectoryEndsTheLoadLogOnly) {
    use(R"(, "block": "directory-locked")");
    EXPECT_EQ(loads().result, -4100);
    EXPECT_EQ(information("A").result, -4102) << "passed over, and then there is no application";
}

// The same purchase in the terminals' one-call functions. The reader is opened and closed each
// time.
class TerminalPurchase : public Purchase {
  protected:
    void use_closed(const std::string& more = {}) {
        use(more);
        RD_Close();
        port_ = desk_->port_name();
    }

    int get_info(const char* letters) {
        length_ = 4000;
        return IC_GetInfo(port_.c_str(), nullptr, 9600, 2, &kind_, "", letters, &length_, out_);
    }
    int generate(const char* transaction) {
        length_ = 4000;
        return IC_GenARQC(port_.c_str(), "", 9600, 2, &kind_, "", transaction, &length_, out_,
                          data_);
    }
    int complete(const std::string& answer, const char* data, const char* transaction = payment) {
        length_ = 4000;
        return IC_CtlScriptData(port_.c_str(), "", 9600, 2, &kind_, transaction, answer.c_str(),
                                &length_, out_, script_, data);
    }
    int get_log() {
        length_ = 4000;
        return IC_GetTranDeta(port_.c_str(), "", 9600, 2, &kind_, "", &length_, out_);
    }

    std::string port_;
    int kind_ = 1;
    int length_ = 0;
    char out_[4200] = "";
    char data_[1025] = "";
    char script_[1024] = "";
};

INSTANTIATE_TEST_SUITE_P(Ways, TerminalPurchase, kit::every_way, kit::way_name);

TEST_P(TerminalPurchase, IsPaidCheckedAndLogged) {
    use_closed();
    ASSERT_EQ(get_info("AEG"), 0);
    EXPECT_STREQ(out_, "A0169999990000000013E006301231G00201");

    const std::string transaction = std::string("K008A1B2C3D4") + payment;
    ASSERT_EQ(generate(transaction.c_str()), 0);
    const std::string request = out_;
    EXPECT_NE(request.find("9F3704A1B2C3D4"), std::string::npos);
    EXPECT_NE(request.find("5A089999990000000013"), std::string::npos);
    const IssuerAnswer answer = issuer_.authorise(request);
    ASSERT_EQ(answer.verdict, Verdict::approved) << answer.reason;

    ASSERT_EQ(complete(answer.text, data_), 0) << "with what IC_GenARQC gave out";
    EXPECT_STREQ(script_, "DF31051000000000");
    EXPECT_EQ(issuer_.confirm(out_).verdict, Verdict::approved);
    ASSERT_EQ(get_log(), 0);
    EXPECT_EQ(std::string(out_).substr(0, 21), "01106P012000000001234");
    EXPECT_EQ(kind_, 1);
}

TEST_P(TerminalPurchase, TakesTheRecordsAsApplicationData) {
    use_closed();
    ASSERT_EQ(generate(payment), 0);
    const IssuerAnswer answer = issuer_.authorise(out_);
    const int size = 6 + std::atoi(std::string(reinterpret_cast<char*>(g_IccAppData), 6).c_str());
    std::string records(2 * static_cast<std::size_t>(size), '\0');
    GByte2Hex(g_IccAppData, size, records.data(), records.size());
    std::memset(g_IccAppData, 0, sizeof g_IccAppData);  // as in another process
    ASSERT_EQ(complete(answer.text, records.c_str()), 0);
    EXPECT_EQ(issuer_.confirm(out_).verdict, Verdict::approved);
}

TEST_P(TerminalPurchase, SelectionOfAnotherProcessIsNotEnough) {
    use_closed();
    ASSERT_EQ(generate(payment), 0);
    std::memset(g_IccAppData, 0, sizeof g_IccAppData);
    EXPECT_EQ(complete(issuer_.authorise(out_).text, data_), -31);
}

TEST_P(TerminalPurchase, DeclinedByTheIssuer) {
    use_closed();
    ASSERT_EQ(generate("P012000099999999"), 0);
    const IssuerAnswer answer = issuer_.authorise(out_);
    EXPECT_EQ(answer.verdict, Verdict::declined);
    EXPECT_EQ(complete(answer.text, data_, "P012000099999999"), -31);
    EXPECT_EQ(issuer_.confirm(out_).verdict, Verdict::declined);
}

TEST_P(TerminalPurchase, CardsWithoutPdolAreRefused) {
    use_closed(R"(, "without": ["9F38"])");
    EXPECT_EQ(get_info("A"), -28);
    EXPECT_EQ(generate(payment), -28);
    EXPECT_EQ(get_log(), 0);
}

}  // namespace
