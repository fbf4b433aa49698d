// Outputs: where bodies go, what happens when they cannot, and the progress bar.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/program.hpp"

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A response of 3 of 5 bytes; what it does to files is up to the test.
std::vector<Step> shortResponse() {
    return {ReadHead{}, Send{"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nabc"}};
}

bool exists(const std::string& path) {
    return std::filesystem::exists(path);
}

TEST(CliOutput, FileKeepsWhatItHeldUntilTheBodyIsWhole) {
    const TemporaryFile file("what was there before");
    const std::string part = file.path() + ".part";
    for (const char* const expected : {".part", ".part.1"}) {
        ScriptedServer server(shortResponse());
        const Outcome outcome = runProgram({"-o", file.path(), urlOf(server, "/")});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(file.content(), "what was there before");
        EXPECT_EQ(contentOf(file.path() + expected), "abc");
        EXPECT_THAT(outcome.errors, EndsWith("\nnethttp: " + file.path() + expected +
                                             ": holds the 3 bytes that came\n"));
    }
    std::filesystem::remove(part);
    std::filesystem::remove(part + ".1");
    ScriptedServer silent{ReadHead{}};
    EXPECT_EQ(runProgram({"-o", file.path(), urlOf(silent, "/")}).status, 1);
    EXPECT_EQ(file.content(), "what was there before");
    EXPECT_FALSE(exists(part));
}

TEST(CliOutput, FileIsReplacedAsItWas) {
    const TemporaryFile file("before");
    const std::string link = file.path() + ".link";
    std::filesystem::create_symlink(file.path(), link);
    constexpr auto mode = std::filesystem::perms::owner_read | std::filesystem::perms::owner_write |
                          std::filesystem::perms::others_write;
    std::filesystem::permissions(file.path(), mode);
    ScriptedServer server{ReadHead{}, Send{response("200 OK", "body")}};
    EXPECT_EQ(runProgram({"-o", link, urlOf(server, "/")}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(file.content(), "body");
    EXPECT_EQ(std::filesystem::status(file.path()).permissions(), mode);
    EXPECT_FALSE(exists(file.path() + ".part"));
    std::filesystem::remove(link);
}

/// A file of two names, and one beside which nothing can be created.
TEST(CliOutput, FileThatCannotBeReplacedIsWrittenInItsPlace) {
    const TemporaryFile file("before");
    const std::string other = file.path() + ".other";
    std::filesystem::create_hard_link(file.path(), other);
    const std::string longName =
        std::filesystem::path(file.path()).parent_path() / std::string(253, 'n');
    for (const std::string& name : {other, longName}) {
        ScriptedServer server(shortResponse());
        const Outcome outcome = runProgram({"-o", name, urlOf(server, "/")});
        EXPECT_EQ(contentOf(name), "abc");
        EXPECT_THAT(outcome.errors,
                    EndsWith("\nnethttp: " + name + ": holds the 3 bytes that came\n"));
        std::filesystem::remove(name);
    }
    EXPECT_EQ(file.content(), "abc");
    ScriptedServer server{ReadHead{}, Send{response("200 OK", "body")}};
    const Outcome device = runProgram({"-o", "/dev/stdout", urlOf(server, "/")});
    EXPECT_EQ(device.output, "body") << device.errors;
}

TEST(CliOutput, OneFailureOfSeveralLeavesTheFilePartial) {
    const TemporaryFile file("before");
    ScriptedServer server{ReadHead{}, Send{"rubbish\r\n\r\n"}, NextConnection{}, ReadHead{},
                          Send{response("404 X", "body")}};
    const Outcome outcome =
        runProgram({"--fail", "--repeat", "2", "-o", file.path(), urlOf(server, "/")});
    EXPECT_EQ(outcome.status, 1);  // that of the worst
    EXPECT_EQ(file.content(), "before");
    EXPECT_EQ(contentOf(file.path() + ".part"), "body");
    std::filesystem::remove(file.path() + ".part");
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
    ScriptedServer server{ReadHead{}, Send{response("200 OK", "body")}};
    EXPECT_EQ(Program({"-o", file.path(), urlOf(server, "/")}).withoutOutput().run().status, 0);
    EXPECT_EQ(file.content(), "body");
}

TEST(CliOutput, ReaderThatHasGoneIsAFailureAndNoSignal) {
    ScriptedServer server{ReadHead{}, Send{response("200 OK", "body")}};
    const Outcome outcome = Program({"--log-level", "5", urlOf(server, "/")}).withoutReader().run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors,
              "nethttp: standard output: Broken pipe\n"
              "nethttp: ErrTransfer (8443h): " +
                  urlOf(server, "/") + "\n");
}

TEST(CliOutput, FileThatIsFullIsAFailure) {
    ScriptedServer server{ReadHead{}, Send{response("200 OK", "body")}, Close{}};
    const Outcome outcome = runProgram({"-o", "/dev/full", urlOf(server, "/")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors,
                MatchesRegex(".* 4 \\[HTTP Client\\] Failed to write data to output stream; error: "
                             "2001ch \\(131100\\)\n"
                             "nethttp: /dev/full: No space left on device\n"
                             "nethttp: ErrTransfer \\(8443h\\): [^\n]*\n"));
}

TEST(CliFailure, IsOneLineOfWhatFailedAndWhereAndWhy) {
    ScriptedServer server(shortResponse());
    const std::string peer = "127.0.0.1:" + std::to_string(server.port());
    const Outcome cut = runProgram({urlOf(server, "/")});
    EXPECT_THAT(cut.errors, HasSubstr("\nnethttp: " + peer +
                                      ": Could not receive data: The peer "
                                      "ended the connection\n"));
    ScriptedServer rubbish{ReadHead{}, Send{"rubbish\r\n\r\n"}};
    EXPECT_THAT(runProgram({urlOf(rubbish, "/")}).errors,
                HasSubstr(std::to_string(rubbish.port()) + ": Invalid HTTP response\n"));
    EXPECT_THAT(runProgram({"http://127.0.0.1:1/"}).errors,
                HasSubstr("\nnethttp: Failed to connect socket to 127.0.0.1:1: Connection refused\n"
                          "nethttp: ErrTransfer (8443h): http://127.0.0.1:1/\n"));
    EXPECT_THAT(runProgram({"ftp://a/"}).errors, HasSubstr("\nnethttp: Unsupported protocol: ftp"));
    // What the user ended leaves no record of failure.
    ScriptedServer cancelled{ReadHead{}, Send{response("200 OK", "body")}};
    EXPECT_EQ(runProgram({"--cancel-after", "1", urlOf(cancelled, "/")}).errors,
              "nethttp: 127.0.0.1:" + std::to_string(cancelled.port()) +
                  ": The transfer was cancelled\nnethttp: ErrCancelled (8442h): " +
                  urlOf(cancelled, "/") + "\n");
}

TEST(CliFailure, BodyWithoutALengthMayBeIncomplete) {
    struct Row {
        const char* head;
        bool orderly;
        const char* level;
        bool warns;
    };
    for (const Row& row :
         {Row{"\r\n", false, "3", true}, Row{"\r\n", true, "3", false},
          Row{"Content-Length: x\r\n\r\n", false, "3", true},
          Row{"Content-Length: 4\r\n\r\n", false, "3", false}, Row{"\r\n", false, "4", false}}) {
        std::vector<Step> script = {ReadHead{},
                                    Send{std::string("HTTP/1.1 200 OK\r\n") + row.head + "body"}};
        if (!row.orderly) {
            script.emplace_back(Reset{});
        }
        ScriptedServer server(script);
        const Outcome outcome = runProgram({"--log-level", row.level, urlOf(server, "/")});
        EXPECT_EQ(outcome.status, 0);
        const std::string warning =
            "nethttp: the body may be incomplete: it has no length, and the connection broke off "
            "(Connection reset by peer): ";
        EXPECT_EQ(outcome.errors.find(warning) != std::string::npos, row.warns)
            << row.head << outcome.errors;
    }
}

TEST(CliProgress, BarEndsItsLineAndMakesWayForRecords) {
    ScriptedServer server{ReadHead{},
                          ReadBody{4},
                          Send{"HTTP/1.1 302 X\r\nLocation: /b\r\nContent-Length: 0\r\n\r\n"},

                          NextConnection{},
                          ReadHead{},
                          ReadBody{4},
                          Send{response("200 OK", "body")}};
    const Outcome outcome =
        runProgram({"--progress", "--log-level", "1", "-d", "body", urlOf(server, "/a")});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "body");
    EXPECT_THAT(outcome.errors, MatchesRegex("\rUpload \\[=+\\] 100%[^\r]*"
                                             "\r *\r[0-9].* redirect to URL: [^\n]*\n"
                                             "\rDownload \\[=+\\] 100%  4 bytes  .*in "
                                             "[0-9]:[0-9]+\n"));
}

TEST(CliProgress, BarIsNotShownToAFileUnlessAsked) {
    ScriptedServer server{ReadHead{}, Send{response("200 OK", "body")}};
    EXPECT_EQ(runProgram({"-o", "/dev/null", urlOf(server, "/a")}).errors, "");
}

}  // namespace
