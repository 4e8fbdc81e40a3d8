// The tool's commands for payment cards and social security cards.
#include "tool_process.h"

namespace {

using namespace tool_tests;

TEST(PaymentTool, ShowsWhatACardTellsEverybody) {
    const Finished run = virtual_tool({"card"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("account number  9999990000000013\n"), std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find("holder          EXAMPLE/ADA"), std::string::npos);
    EXPECT_NE(run.output.find("e-cash balance  100.00\n"), std::string::npos);
    const Json object = virtual_json({"card"});
    EXPECT_EQ(text(object, "account_number"), "9999990000000013");
    EXPECT_EQ(text(object, "ecash_balance"), "000000010000");
}

TEST(PaymentTool, PaysAndFindsItInTheLog) {
    const Desk desk;
    desk.insert("bank");
    const Finished run = desk.run({"pay", "12.5"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("amount          12.50\n"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("result          paid\n"), std::string::npos);
    const Json logs = json(desk.run({"--json", "logs"}));
    const cJSON* payment = cJSON_GetArrayItem(item(logs.get(), "payments"), 0);
    EXPECT_EQ(text(payment, "amount"), "000000001250");
    EXPECT_EQ(text(payment, "merchant"), "DESKREADER");
    EXPECT_NE(desk.run({"logs"}).output.find("12.50 0156  DESKREADER"), std::string::npos);
}

TEST(PaymentTool, TellsProgramsWhatWasPaid) {
    const Json object = virtual_json({"pay", "1"});
    EXPECT_EQ(text(object, "amount"), "1.00");
    EXPECT_EQ(text(object, "result"), "paid");
}

TEST(PaymentTool, ReportsWhatTheIssuerDeclines) {
    const Finished run = virtual_tool({"pay", "5000.01"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors.find("deskreader: declined: "), 0u) << run.errors;
    EXPECT_EQ(run.output.find("paid"), std::string::npos);
}

TEST(PaymentTool, ShowsASocialSecurityCard) {
    const Finished run = virtual_tool({"ssc"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("name            ADA EXAMPLE\n"), std::string::npos) << run.output;
    const Json object = virtual_json({"ssc"});
    EXPECT_EQ(text(object, "number"), "999999190001010013");
    EXPECT_EQ(text(object, "card_number"), "X00000013");
}

TEST(PaymentTool, ReportsThatNoCardCame) {
    const Deck deck = empty_deck();
    for (const std::vector<std::string>& command :
         std::vector<std::vector<std::string>>{{"card"}, {"pay", "1"}, {"logs"}, {"ssc"}}) {
        std::vector<std::string> arguments = {"--timeout", "1", "--virtual", deck.path()};
        arguments.insert(arguments.end(), command.begin(), command.end());
        const Finished run = tool(arguments);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.errors.find("deskreader: RD_"), 0u) << run.errors;
    }
}

TEST(PaymentTool, KnowsWrongUse) {
    for (const char* amount : {"", "x", ".5", "1.234", "10000000000", "-1", "1,5"})
        EXPECT_EQ(virtual_tool({"pay", amount}).status, 2) << amount;
    EXPECT_EQ(virtual_tool({"pay"}).status, 2);
    EXPECT_EQ(virtual_tool({"card", "--slot", "sideways"}).status, 2);
}

}  // namespace
