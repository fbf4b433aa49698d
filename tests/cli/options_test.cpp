// Options: what is refused, how, and what reaches the server of those that are not.

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/program.hpp"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

struct WrongOption {
    const char* name;
    const char* arguments;  ///< As `argumentsOf` takes them.
    const char* option;     ///< What the message must name...
    const char* value;      ///< ...and what it must quote.
};

constexpr WrongOption wrongOptions[] = {
    {"NoUrl", "", "URL", ""},
    {"HostWithoutPath", "--host|h", "--path", ""},
    {"UrlWithoutProtocol", "127.0.0.1/x", "URL", "'127.0.0.1/x'"},
    {"EmptyUrl", "--|", "URL", "''"},
    {"UrlWithLargePort", "http://h:65536/", "port", "'65536'"},
    {"UrlWithBracketsAlone", "http://[::1]/", "brackets", "'http://[::1]/'"},
    {"TwoUrls", "http://a/|http://b/", "unexpected argument", "'http://b/'"},
    {"UnknownOption", "--colour|red|http://h/", "unknown option", "'--colour'"},
    {"OptionGivenTwice", "-X|A|-X|B|http://h/", "--method", "more than once"},
    {"MissingValue", "http://h/|--port", "--port", "a value is missing"},
    {"PortTooLarge", "--port|65536|http://h/", "--port", "'65536'"},
    {"PortWithSign", "--port|-1|http://h/", "--port", "'-1'"},
    {"PortInHexadecimal", "--port=0x50|http://h/", "--port", "'0x50'"},
    {"HeaderWithoutColon", "-H|Accept|http://h/", "-H", "'Accept'"},
    {"HeaderWithoutName", "-H|: x|http://h/", "--header", "': x'"},
    {"HeaderWithLines", "-H|A: b\r\nC: d|http://h/", "--header", R"('A: b\x0d\x0aC: d')"},
    {"MethodWithBlank", "-X|GET /|http://h/", "--method", "'GET /'"},
    {"MethodWithLine", "-X|G\nET|http://h/", "--method", R"('G\x0aET')"},
    {"EmptyMethod", "--method=|http://h/", "--method", "''"},
    {"UnknownProtocol", "--protocol|ftp|http://h/", "--protocol", "'ftp'"},
    {"UnknownVersion", "--http-version|2|http://h/", "--http-version", "'2'"},
    {"TwoBodies", "-d|a|-T|f|http://h/", "--body-file", "--body"},
    {"TwoProgressWishes", "--progress|--no-progress|http://h/", "--no-progress", ""},
    {"RepeatZero", "--repeat|0|http://h/", "--repeat", "'0'"},
    {"RepeatWord", "--repeat|often|http://h/", "--repeat", "'often'"},
    {"CancelAfterZero", "--cancel-after|0|http://h/", "--cancel-after", "'0'"},
    {"NegativeTimeout", "--idle-timeout|-1|http://h/", "--idle-timeout", "'-1'"},
    {"TimeoutWithUnit", "--connect-timeout|5s|http://h/", "--connect-timeout", "'5s'"},
    {"EndlessTimeout", "--connect-timeout|inf|http://h/", "--connect-timeout", "'inf'"},
    {"LogLevelZero", "--log-level|0|http://h/", "--log-level", "'0'"},
    {"OutputOverBody", "-T|f|-o|./f|http://h/", "--output", "'./f'"},
    {"ReportOverOutput", "-o|f|--report|f|http://h/", "--report", "'f'"},
    {"ExchangeOptionOfACommand", "probe|http://h/|-d|x", "--body", "'probe'"},
    {"CommandBehindTheMark", "--|http://h/|status|200", "URL", "'status'"},
    {"TextBehindTheMark", "--|encode|b", "unexpected argument", "'b'"},
    {"StatusNoNumber", "status|ok", "CODE", "'ok'"},
    {"SplitWithoutUrl", "split", "URL", ""},
};

class WrongOptions : public testing::TestWithParam<WrongOption> {};

TEST_P(WrongOptions, EndTheProgramWithOneLine) {
    const Outcome outcome = runProgram(argumentsOf(GetParam().arguments));
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.errors, StartsWith("nethttp: "));
    EXPECT_THAT(outcome.errors, HasSubstr(GetParam().option));
    EXPECT_THAT(outcome.errors, HasSubstr(GetParam().value));
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1);
}
INSTANTIATE_TEST_SUITE_P(Table, WrongOptions, testing::ValuesIn(wrongOptions),
                         [](const auto& row) { return row.param.name; });

TEST(Options, ReachTheServer) {
    ScriptedServer server{ReadHead{}, ReadBody{7}, Send{response("200 OK", "")}};
    const Outcome outcome = runProgram(
        argumentsOf("-X|PURGE|--protocol|http|--host|127.0.0.1|--path|/p q?r|--http-version|1.1|"
                    "-H|A:  b |--header=C:|-H|a: [x,y]|-d|[1,{}]\n|--no-default-user-agent|"
                    "http://elsewhere:1/z|--port|" +
                    std::to_string(server.port())));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(server.received(),
              "PURGE /p%20q?r HTTP/1.1\r\nA: [x,y]\r\nC: \r\nContent-Length: 7\r\n"
              "Host: 127.0.0.1\r\n\r\n[1,{}]\n");
}

TEST(Options, HostAndPathDoWithoutAUrl) {
    ScriptedServer server{ReadHead{}, Send{response("200 OK", "yes")}};
    const Outcome outcome = runProgram(
        {"--host", "127.0.0.1", "--path", "/p", "--port", std::to_string(server.port())});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "yes");
}

TEST(Options, FlagsReachTheRequest) {
    for (const char* options :
         {"--disallow-http|http://127.0.0.1:1/", "--disallow-https|https://127.0.0.1:1/",
          "--protocol|https|--disallow-https|http://127.0.0.1:1/"}) {
        const Program::Arguments arguments = argumentsOf(options);
        const Outcome outcome = runProgram(arguments);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.errors, HasSubstr("is not allowed"));
        EXPECT_THAT(outcome.errors,
                    HasSubstr("nethttp: ErrInvalidArgument (8446h): " + arguments.back() + "\n"));
    }
}

TEST(Options, HelpAndVersionAreForStandardOutput) {
    EXPECT_EQ(runProgram({"--version"}).output, "nethttp " NETHTTP_VERSION "\n");
    const Outcome help = runProgram({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    for (const char* text : {"Usage: nethttp", "--ssl-ignore-untrusted", "--cancel-after N",
                             "user-agent", "Examples:", "Exit status:"}) {
        EXPECT_THAT(help.output, HasSubstr(text));
    }
}

}  // namespace
