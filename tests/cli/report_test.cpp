// The report, byte for byte: its keys, their order and their types are an interface.

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/program.hpp"

namespace {

using namespace std::string_literals;  // NOLINT(google-build-using-namespace): texts that hold NULs

TEST(Report, HoldsEveryExchangeInOrder) {
    const TemporaryFile report("");
    ScriptedServer server{
        ReadHead{},
        Send{"HTTP/1.1 200 O\0\xff\x1b\r\nX-B\0\xff\x1b: v\0\xff\x1b\r\nx-a: 1\r\n"
             "Content-Length: 5\r\n\r\nhello"s},
        NextConnection{}, ReadHead{}, Send{"nonsense\r\n"}};
    const Outcome outcome =
        runProgram({"--repeat", "2", "--report", report.path(), urlOf(server, "/r")});
    EXPECT_EQ(outcome.status, 1);
    const std::string peer = "127.0.0.1:" + std::to_string(server.port());
    EXPECT_EQ(
        report.content(),
        "{\"exchanges\":[{\"ok\":true,\"error\":0,\"errorName\":\"\",\"status\":200,"
        "\"reason\":\"O\\u0000\xEF\xBF\xBD\\u001b\",\"headers\":[[\"Content-Length\",\"5\"],"
        "[\"x-a\",\"1\"],[\"X-B\\u0000\xEF\xBF\xBD\\u001b\",\"v\\u0000\xEF\xBF\xBD\\u001b\"]],"
        "\"bodySize\":5,\"bodyData\":false,"
        "\"wasRedirected\":false,\"url\":\"http://" +
            peer + "/r\",\"peerAddress\":\"" + peer +
            "\",\"uploadProgress\":[0.0],\"downloadProgress\":[0.0,0.0,1.0,1.0],"
            "\"cancelAsked\":0},"
            "{\"ok\":false,\"error\":33859,\"errorName\":\"ErrTransfer\",\"peerAddress\":\"" +
            peer + "\",\"uploadProgress\":[0.0],\"downloadProgress\":[0.0],\"cancelAsked\":0}]}\n");
}

TEST(Report, ShowsANullPeerAndNamesTheFailure) {
    const TemporaryFile report("");
    EXPECT_EQ(runProgram({"--report", report.path(), "ftp://h/"}).status, 1);
    EXPECT_EQ(report.content(),
              "{\"exchanges\":[{\"ok\":false,\"error\":33862,\"errorName\":\"ErrInvalidArgument\","
              "\"peerAddress\":null,\"uploadProgress\":[0.0],\"downloadProgress\":[0.0],"
              "\"cancelAsked\":0}]}\n");
}

TEST(Report, IsWrittenWhenTheOutputFails) {
    const TemporaryFile report("");
    ScriptedServer server{ReadHead{}, Send{response("200 OK", "lost")}};
    const Outcome outcome =
        Program({"--memory", "--report", report.path(), urlOf(server, "/")}).withoutReader().run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "nethttp: standard output: Broken pipe\n");
    EXPECT_THAT(report.content(), testing::HasSubstr("\"bodySize\":4,\"bodyData\":true,"));
}

TEST(Report, IsSoundWhenNothingWasPerformed) {
    const TemporaryFile report("");
    const Outcome outcome =
        runProgram({"-T", "/nowhere/body", "--report", report.path(), "http://127.0.0.1:1/"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(report.content(), "{\"exchanges\":[]}\n");
}

}  // namespace
