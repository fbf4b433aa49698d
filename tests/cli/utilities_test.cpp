// The commands beside the exchange: what they print and the status they end with.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/program.hpp"

using testing::HasSubstr;
using testing::Not;

namespace {

struct Utility {
    const char* name;
    const char* arguments;  ///< As `argumentsOf` takes them.
    int status;
    const char* output;
};

constexpr Utility utilities[] = {
    {"Split", "split|HTTP://a:8/p?q", 0,
     R"({"ok":true,"error":0,"protocol":"http","host":"a","port":8,"path":"/p?q"})"},
    {"SplitKeeping", "split|--keep-port-in-host|--keep-path-in-host|http://a:b/p", 0,
     R"({"ok":true,"error":0,"protocol":"http","host":"a:b/p","port":0,"path":null})"},
    {"SplitBadPort", "split|http://a:b/p", 1,
     R"({"ok":false,"error":33862,"protocol":"http","host":"a","port":0,"path":"/p"})"},
    {"SplitNoUrl", "split|", 1,
     R"({"ok":false,"error":33862,"protocol":null,"host":null,"port":0,"path":null})"},
    {"SplitBytes", "split|x://\xff/", 0,
     "{\"ok\":true,\"error\":0,\"protocol\":\"x\",\"host\":\"\xEF\xBF\xBD\",\"port\":0,"
     "\"path\":\"/\"}"},
    {"Encode", "encode|a b+\xC3\xA9", 0, "a%20b%2b%c3%a9"},
    {"EncodeWhatLooksLikeAnOption", "encode|--x", 0, "--x"},
    {"EncodeWhatLooksLikeAMark", "encode|++", 0, "%2b%2b"},
    {"EncodeWhatLooksLikeACommand", "encode|split", 0, "split"},
    {"EncodeNothing", "encode|", 0, ""},
    {"EncodeAList", "encode|[a,b]", 0, "[a%2cb]"},
    {"Decode", "decode|a%20b+%C3%A9%2", 0, "a b \xC3\xA9%2"},
    {"Status", "status|404", 0, "Not Found"},
    {"StatusUnknown", "status|18446744073709551615", 0, "Unknown Error"},
    {"ProbeOfNothing", "probe|nowhere|--log-level|5", 1, "not reachable"},
};

class Utilities : public testing::TestWithParam<Utility> {};

TEST_P(Utilities, PrintOneLine) {
    const Outcome outcome = runProgram(argumentsOf(GetParam().arguments));
    EXPECT_EQ(outcome.status, GetParam().status);
    EXPECT_EQ(outcome.output, std::string(GetParam().output) + "\n");
    EXPECT_EQ(outcome.errors, "");
}
INSTANTIATE_TEST_SUITE_P(Table, Utilities, testing::ValuesIn(utilities),
                         [](const auto& row) { return row.param.name; });

TEST(CliProbe, TellsAListenerFromAClosedPort) {
    const LoopbackListener listener;
    const LoopbackListener closed(-1);
    const auto probe = [](const LoopbackListener& of) {
        return runProgram(
            {"--log-level", "5", "probe", "http://127.0.0.1:" + std::to_string(of.port()) + "/"});
    };
    EXPECT_EQ(probe(listener).output, "reachable\n");
    EXPECT_EQ(probe(listener).status, 0);
    EXPECT_EQ(probe(closed).output, "not reachable\n");
    EXPECT_EQ(probe(closed).status, 1);
}

TEST(CliUserAgent, IsWhatRequestsSend) {
    const Outcome outcome = runProgram({"user-agent"});
    ScriptedServer server{ReadHead{}, Send{response("200 OK", "")}};
    EXPECT_EQ(runProgram({urlOf(server, "/")}).status, 0);
    EXPECT_THAT(server.received(),
                HasSubstr("\r\nUser-Agent: " + outcome.output.substr(0, outcome.output.size() - 1) +
                          "\r\n"));
}

TEST(CliDemo, KeepsWhatItPromises) {
    const Outcome outcome = runProgram({"demo"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("\n9 of 9 steps did what they say.\n"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("NOT AS IT SHOULD BE")));
}

}  // namespace
