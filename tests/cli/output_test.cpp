// Outputs: where bodies go, what happens when they cannot, and the progress bar.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/program.hpp"

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

TEST(CliOutput, FileTakesTheBody) {
    for (const bool memory : {false, true}) {
        const TemporaryFile file("what was there before");
        ScriptedServer server{ReadHead{}, Send{response("200 OK", "body")}, Close{}};
        std::vector<std::string> arguments = {"-o", file.path(), urlOf(server, "/")};
        if (memory) {
            arguments.emplace_back("--memory");
        }
        const Outcome outcome = runProgram(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(file.content(), "body");
    }
}

/// What can be found out before is found out before: the server's empty script takes no connection.
TEST(CliOutput, UnusableFilesStopTheProgramBeforeItConnects) {
    const std::vector<std::string> unusable[] = {
        {"-o", "/nowhere/file"}, {"--report", "/nowhere/file"}, {"-T", "/nowhere/file"}};
    for (const auto& option : unusable) {
        ScriptedServer server;
        const Outcome outcome = runProgram({option[0], option[1], urlOf(server, "/")});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.errors, "nethttp: /nowhere/file: No such file or directory\n");
        EXPECT_TRUE(server.finished()) << server.report();
    }
    ScriptedServer server;
    const Outcome outcome = Program({urlOf(server, "/")}).withoutOutput().run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "nethttp: standard output: Bad file descriptor\n");
    EXPECT_TRUE(server.finished()) << server.report();
    for (const char* command : {"--help", "--version", "user-agent", "demo"}) {
        EXPECT_EQ(Program({command}).withoutOutput().run().status, 1) << command;
    }
}

TEST(CliOutput, ClosedStandardOutputIsNoHindranceToAFile) {
    const TemporaryFile file("");
    ScriptedServer server{ReadHead{}, Send{response("200 OK", "body")}, Close{}};
    EXPECT_EQ(Program({"-o", file.path(), urlOf(server, "/")}).withoutOutput().run().status, 0);
    EXPECT_EQ(file.content(), "body");
}

TEST(CliOutput, ReaderThatHasGoneIsAFailureAndNoSignal) {
    ScriptedServer server{ReadHead{}, Send{response("200 OK", "body")}, Close{}};
    const Outcome outcome = Program({"--log-level", "5", urlOf(server, "/")}).withoutReader().run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors,
              "nethttp: standard output: Broken pipe\n"
              "nethttp: ErrTransfer (8443h): " +
                  urlOf(server, "/") + "\n");
}

TEST(CliProgress, BarEndsItsLineAndMakesWayForRecords) {
    ScriptedServer server{ReadHead{},
                          ReadBody{4},
                          Send{"HTTP/1.1 302 X\r\nLocation: /b\r\nContent-Length: 0\r\n\r\n"},
                          Close{},
                          NextConnection{},
                          ReadHead{},
                          ReadBody{4},
                          Send{response("200 OK", "body")},
                          Close{}};
    const Outcome outcome =
        runProgram({"--progress", "--log-level", "1", "-d", "body", urlOf(server, "/a")});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "body");
    EXPECT_THAT(outcome.errors, MatchesRegex("\rUpload   \\[=+\\] 100% *"
                                             "\r *\r[0-9].* redirect to URL: [^\n]*\n"
                                             "\rDownload \\[=+\\] 100%\n"));
}

TEST(CliProgress, BarIsNotShownToAFileUnlessAsked) {
    ScriptedServer server{ReadHead{}, Send{response("200 OK", "body")}, Close{}};
    EXPECT_EQ(runProgram({"-o", "/dev/null", urlOf(server, "/a")}).errors, "");
}

}  // namespace
