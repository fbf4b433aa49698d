// The log on standard error: the form of a record, and who sets the level.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/program.hpp"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

struct LevelRow {
    const char* name;
    const char* variable;
    const char* options;  ///< As `argumentsOf` takes them.
    bool traces;
    bool tellsFailures;
};

constexpr LevelRow levelRows[] = {
    {"Unset", "A=B", "", false, true},
    {"VariableAlone", "VORNIK_LOG_LEVEL=5", "", false, false},
    {"OptionWinsOverVariable", "VORNIK_LOG_LEVEL=5", "--log-level|4", false, true},
    {"OptionSilences", "VORNIK_LOG_LEVEL=1", "--log-level|5", false, false},
    {"VerboseTraces", "A=B", "-v", true, true},
    {"VerboseWinsOverVariable", "VORNIK_LOG_LEVEL=5", "-v", true, true},
    {"LevelWinsOverVerbose", "A=B", "-v|--log-level|3", false, true},
    {"LevelAloneTracesNoRequest", "A=B", "--log-level|1", false, true},
    {"ChannelOff", "VORNIK_LOG_OFF=HTTP Utils,HTTP Client", "-v", false, false},
    {"BootWordTraces", "VORNIK_LOG_LEVEL=1", "--boot|x lib.net.http.connect.debug", true, true},
    {"BootVariableTraces", "VORNIK_BOOT=lib.net.http.connect.debug", "--log-level|1", true, true},
    {"BootOptionWins", "VORNIK_BOOT=lib.net.http.connect.debug", "--log-level|1|--boot|", false,
     true},
};

class LogLevel : public testing::TestWithParam<LevelRow> {};

TEST_P(LogLevel, IsThatOfTheOptionThenOfTheVariable) {
    ScriptedServer server{ReadHead{}, Send{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n"}};
    Program::Arguments arguments = argumentsOf(GetParam().options);
    arguments.push_back(urlOf(server, "/"));
    const Outcome outcome = Program(arguments).environment(GetParam().variable).run();
    EXPECT_EQ(outcome.status, 1);
    const auto holds = [&outcome](const char* text) {
        return outcome.errors.find(text) != std::string::npos;
    };
    EXPECT_EQ(holds("Z 1 [HTTP Client] Got header entry Content-Length"), GetParam().traces);
    EXPECT_EQ(holds("Z 4 [HTTP Client] Could not receive data; error: "), GetParam().tellsFailures);
}
INSTANTIATE_TEST_SUITE_P(Table, LogLevel, testing::ValuesIn(levelRows),
                         [](const auto& row) { return row.param.name; });

}  // namespace
