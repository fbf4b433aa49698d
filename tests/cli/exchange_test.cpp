// Exchanges: what the program does with request bodies, and the status it ends with.

#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/cli/program.hpp"

using testing::HasSubstr;

namespace {

TEST(CliExchange, BodyAloneGoesToStandardOutput) {
    const std::string body("a\0b\r\n\xff", 6);
    ScriptedServer server{Expect{"GET /f HTTP/1.0\r\n"}, ReadHead{},
                          Send{response("200 OK", body)}};
    const Outcome outcome = runProgram({urlOf(server, "/f")});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, body);
    EXPECT_EQ(outcome.errors, "");
}

TEST(CliExchange, FailureIsOneLineOfItsOwn) {
    ScriptedServer server{ReadHead{}, Send{"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nabc"}};
    const Outcome outcome = runProgram({"--log-level", "5", urlOf(server, "/\x1b[2J")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "abc");
    EXPECT_EQ(outcome.errors, "nethttp: ErrTransfer (8443h): " + urlOf(server, "/") + "\\x1b[2J\n");
}

TEST(CliExchange, StatusFollowsTheResponseWhenAsked) {
    struct Row {
        const char* option;
        const char* statusLine;
        int status;
    };
    for (const Row& row : {Row{"--fail", "399 X", 0}, Row{"--fail", "400 X", 22},
                           Row{"-f", "503 X", 22}, Row{"--no-progress", "404 X", 0}}) {
        ScriptedServer server{ReadHead{}, Send{response(row.statusLine, "why")}};
        const Outcome outcome = runProgram({row.option, urlOf(server, "/")});
        EXPECT_EQ(outcome.status, row.status) << row.option << ' ' << row.statusLine;
        EXPECT_EQ(outcome.output, "why");
    }
}

TEST(CliExchange, FilesThatTellNoSizeAreReadToTheirEnd) {
    std::ostringstream version;
    version << std::ifstream("/proc/version").rdbuf();
    const TemporaryFile place("");
    const std::string pipe = place.path() + ".pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    std::thread writer([&] { std::ofstream(pipe) << version.str(); });
    for (const std::string& file : {pipe, std::string("/proc/version")}) {
        ScriptedServer server{ReadHead{}, ExpectExactly{version.str()},
                              Send{response("200 OK", "")}, Close{}};
        EXPECT_EQ(runProgram({"-X", "PUT", "-T", file, urlOf(server, "/")}).status, 0) << file;
        EXPECT_TRUE(server.finished()) << server.report();
    }
    writer.join();
    (void)::unlink(pipe.c_str());
}

/// Two exchanges of one request, the first of which a redirect makes two hops: three bodies.
TEST(CliExchange, EveryHopAndEveryRepetitionSendsTheBody) {
    const TemporaryFile file("0123456789");
    const std::vector<std::string> sources[] = {
        {"-d", "0123456789"}, {"-T", file.path()}, {"-T", "-"}};
    for (const auto& source : sources) {
        SCOPED_TRACE(source.back());
        const std::string moved = "HTTP/1.1 307 X\r\nLocation: /b\r\nContent-Length: 0\r\n\r\n";
        ScriptedServer server{ReadHead{},
                              ExpectExactly{"0123456789"},
                              Send{moved},

                              NextConnection{},
                              Expect{"PUT /b "},
                              ReadHead{},
                              ExpectExactly{"0123456789"},
                              Send{response("200 OK", "1")},

                              NextConnection{},
                              Expect{"PUT /a "},
                              ReadHead{},
                              ExpectExactly{"0123456789"},
                              Send{response("200 OK", "2")}};
        std::vector<std::string> arguments = {"-X", "PUT", "--repeat", "2", urlOf(server, "/a")};
        arguments.insert(arguments.end(), source.begin(), source.end());
        const Outcome outcome = Program(arguments).input("0123456789").run();
        EXPECT_TRUE(server.finished()) << server.report();
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_EQ(outcome.output, "12");
    }
}

/// The second exchange, cancelled at once, announces the whole body again: the source was rewound.
TEST(CliExchange, CancelQueryStopsUploadsFromItsNthCallOn) {
    const TemporaryFile file(std::string(3U << 20U, 'x'));
    const TemporaryFile report("");
    ScriptedServer server{ReadHead{},       ReadBody{2U << 20U},

                          NextConnection{}, Expect{"\r\nContent-Length: 3145728\r\n"},
                          ReadHead{},       ReadBody{1U << 20U}};
    const std::string url = urlOf(server, "/");
    const Outcome outcome = runProgram({"--cancel-after", "2", "--repeat", "2", "-T", file.path(),
                                        "--report", report.path(), "--log-level", "5", url});
    EXPECT_EQ(outcome.status, 1);
    const std::string line = "nethttp: ErrCancelled (8442h): " + url + "\n";
    EXPECT_EQ(outcome.errors, line + line);
    EXPECT_THAT(report.content(), HasSubstr("\"cancelAsked\":2},{"));
    EXPECT_THAT(report.content(), HasSubstr("\"cancelAsked\":1}]}"));
    EXPECT_TRUE(server.finished()) << server.report();
}

TEST(CliExchange, TimeoutsBreakTheExchange) {
    ScriptedServer silent{ReadHead{}, Expect{"never sent"}};
    const Outcome idle = runProgram({"--idle-timeout", "0.05", urlOf(silent, "/")});
    EXPECT_EQ(idle.status, 1);
    EXPECT_THAT(idle.errors, HasSubstr("nethttp: ErrTransfer (8443h): "));
    const UnansweringPort port;
    const Outcome connect =
        runProgram({"--connect-timeout", "0.05",
                    "http://127.0.0.1:" + std::to_string(port.listener().port()) + "/"});
    EXPECT_EQ(connect.status, 1);
    EXPECT_THAT(connect.errors, HasSubstr("nethttp: ErrTransfer (8443h): "));
}

}  // namespace
