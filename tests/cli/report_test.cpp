// The report, byte for byte: its keys, their order and their types are an interface.

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/program.hpp"

namespace {

TEST(Report, HoldsEveryExchangeInOrder) {
    const TemporaryFile report("");
    ScriptedServer server{
        ReadHead{},
        Send{"HTTP/1.1 200 All \xff good\r\nX-B: 2\r\nx-a: 1\r\nContent-Length: 5\r\n\r\nhello"},

        NextConnection{}, ReadHead{}, Send{"nonsense\r\n"}};
    const Outcome outcome =
        runProgram({"--repeat", "2", "--report", report.path(), urlOf(server, "/r")});
    EXPECT_EQ(outcome.status, 1);
    const std::string peer = "127.0.0.1:" + std::to_string(server.port());
    EXPECT_EQ(report.content(),
              "{\"exchanges\":[{\"ok\":true,\"error\":0,\"errorName\":\"\",\"status\":200,"
              "\"reason\":\"All \xEF\xBF\xBD good\",\"headers\":[[\"Content-Length\",\"5\"],"
              "[\"x-a\",\"1\"],[\"X-B\",\"2\"]],\"bodySize\":5,\"bodyData\":false,"
              "\"wasRedirected\":false,\"url\":\"http://" +
                  peer + "/r\",\"peerAddress\":\"" + peer +
                  "\",\"uploadProgress\":[0.0],\"downloadProgress\":[0.0,0.0,1.0,1.0],"
                  "\"cancelAsked\":0},"
                  "{\"ok\":false,\"error\":33859,\"errorName\":\"ErrTransfer\",\"peerAddress\":\"" +
                  peer +
                  "\",\"uploadProgress\":[0.0],\"downloadProgress\":[0.0],\"cancelAsked\":0}]}\n");
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
