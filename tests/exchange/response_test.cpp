// What a server may answer, and what becomes of it.
#include <cerrno>

#include "tests/exchange/answers.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

constexpr std::uint32_t ConnectionReset = ErrHostBase + ECONNRESET;
const char* const AbsentText =
    "Failed to convert Content-Length header: ffffffffffffffffh "
    "(18446744073709551615)";

// NOLINTNEXTLINE(readability-function-size): a table
std::vector<Answer> answers() {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    return {
        {"UntilClose", ok + "\r\nabc", 200, "OK", "", "abc"},
        {"NoBody", ok + "\r\n", 200, "OK", "", ""},
        {"WithLength", ok + "Content-Length: 3\r\n\r\nabc", 200, "OK", "Content-Length=3;", "abc"},
        {"LengthZero", ok + "Content-Length: 0\r\n\r\n", 200, "OK", "Content-Length=0;", ""},
        {"LengthInBlanks", ok + "CONTENT-length : \t 3 \t\r\n\r\nabc", 200, "OK",
         "CONTENT-length=3;", "abc"},
        {"LengthNoNumber", ok + "Content-Length: 3x\r\n\r\nabcd", 200, "OK", "Content-Length=3x;",
         "abcd", AbsentText},
        {"LengthEmpty", ok + "Content-Length:\r\n\r\nabcd", 200, "OK", "Content-Length=;", "abcd",
         AbsentText},
        {"LengthNegative", ok + "Content-Length: -1\r\n\r\nabcd", 200, "OK", "Content-Length=-1;",
         "abcd", AbsentText},
        {"LengthTooLarge", ok + "Content-Length: 18446744073709551616\r\n\r\nab", 200, "OK",
         "Content-Length=18446744073709551616;", "ab", AbsentText},
        {"LengthAllBitsSetIsAbsent", ok + "Content-Length: 18446744073709551615\r\n\r\nab", 200,
         "OK", "Content-Length=18446744073709551615;", "ab"},
        {"LastLengthCountsFirstIsKept", ok + "Content-Length: 9\r\ncontent-length: 3\r\n\r\nabc",
         200, "OK", "Content-Length=9;", "abc"},
        {"BadLengthMakesAbsent", ok + "Content-Length: 5\r\nContent-Length: x\r\n\r\nabc", 200,
         "OK", "Content-Length=5;", "abc", "Failed to convert Content-Length header: 5h (5)"},
        {"LoneLineFeeds", "HTTP/1.1 200 OK\nA: b\n\n\nabc", 200, "OK", "A=b;", "\nabc"},
        {"LoneReturns", "HTTP/1.1 200 OK\rA: b\r\rabc", 200, "OK", "A=b;", "abc"},
        {"MixedLineEnds", "HTTP/1.1 200 OK\rA: b\nC: d\r\n\rabc", 200, "OK", "A=b;C=d;", "abc"},
        {"LineFeedThenReturn", "HTTP/1.1 200 OK\n\r\nabc", 200, "OK", "", "abc"},
        {"BodyOfLineEnds", ok + "\r\n\r\n\r\n", 200, "OK", "", "\r\n\r\n"},
        {"ReasonIsTheRest", "HTTP/1.1 404 Not  found : x \r\n\r\n", 404, "Not  found : x ", "", ""},
        {"ReasonEmpty", "HTTP/1.1 200 \r\n\r\n", 200, "", "", ""},
        {"CodeIsNoNumber", "HTTP/1.1 2x0 OK\r\n\r\n", 400, "OK", "", ""},
        {"CodeWithSign", "HTTP/1.1 +200 OK\r\n\r\n", 400, "OK", "", ""},
        {"CodeIsEmpty", "HTTP/1.1  200 OK\r\n\r\n", 400, "200 OK", "", ""},
        {"CodeOf64Bits", "HTTP/1.1 18446744073709551615 x\r\n\r\n", ~0ULL, "x", "", ""},
        {"VersionIsNotExamined", "x 299 y\r\n\r\n", 299, "y", "", ""},
        {"InterimIsFinal", "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\n\r\n", 100, "Continue",
         "", "HTTP/1.1 200 OK\r\n\r\n"},
        {"LineWithoutColon", ok + "no colon\r\nA: b\r\n\r\nabc", 200, "OK", "A=b;", "abc",
         "Invalid HTTP header entry: no colon"},
        {"FoldedLine", ok + "A: b\r\n folded\r\n\r\n", 200, "OK", "A=b;", "",
         "Invalid HTTP header entry:  folded"},
        {"NamesAndValuesAreTrimmed", ok + "\t A b\v:\f c:d \r\n:x\r\nE:\r\n\r\n", 200, "OK",
         "=x;A b=c:d;E=;", ""},
        {"FirstOfANameStays", ok + "B: 1\r\na: 2\r\nb: 3\r\nA: 4\r\n\r\n", 200, "OK", "a=2;B=1;",
         ""},
        {"OctetsSurvive", ok + "N: \xff\xc3(\r\n\r\n\xff" + std::string(2, '\0'), 200, "OK",
         "N=\xff\xc3(;", std::string("\xff\0\0", 3)},
        {"ChunksAreBody", ok + "Transfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n\r\n", 200, "OK",
         "Transfer-Encoding=chunked;", "1\r\na\r\n0\r\n\r\n"},
        {"LocationAlone", ok + "Location: /x\r\n\r\nabc", 200, "OK", "Location=/x;", "abc"},
        {"EndInAName", ok + "A: b\r\nC", 200, "OK", "A=b;", "", NoMore},
        {"EndBeforeTheEmptyLine", ok + "A: b\r\n", 200, "OK", "A=b;", "", NoMore},
        {"EndInTheStatusLine", "HTTP/1.1 200 OK", 0, "(null)", "", "", NoMore},
        {"EndInARedirect", "HTTP/1.1 302 x\r\nLocation: /y\r\n", 302, "x", "Location=/y;", "",
         NoMore},
    };
}

TEST(Response, ComesThroughInPiecesOfAnySize) {
    for (const Answer& row : answers()) {
        expectAnswer(row);
    }
}

std::vector<Broken> brokenAnswers() {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const std::string quiet = "Could not receive data; error: " + hexDec(ErrEndOfStream);
    const std::string reset = "Could not receive data; error: " + hexDec(ConnectionReset);
    return {
        {"NothingAtAll", "", Close{}, "", quiet},
        {"ResetAtOnce", "", Reset{}, "", reset},
        {"StatusLineOfTwoParts", "HTTP/1.1 200\r\n\r\n", Close{}, "", "Invalid HTTP response"},
        {"StatusLineOfOnePart", "HTTP/1.1\r\n\r\n", Close{}, "", "Invalid HTTP response"},
        {"EmptyStatusLine", "\r\nHTTP/1.1 200 OK\r\n\r\n", Close{}, "", "Invalid HTTP response"},
        {"BodyTooShort", ok + "Content-Length: 5\r\n\r\nabc", Close{}, "abc", quiet},
        {"NoBodyAtAll", ok + "Content-Length: 5\r\n\r\n", Close{}, "", quiet},
        {"ResetInTheBody", ok + "Content-Length: 5\r\n\r\nabc", Reset{}, "abc", reset},
        {"NoContentWithALength", "HTTP/1.1 204 x\r\nContent-Length: 5\r\n\r\n", Close{}, "", quiet},
        {"NotModifiedWithALength", "HTTP/1.1 304 x\r\nContent-Length: 5\r\n\r\n", Close{}, "",
         quiet},
        {"LengthOfExabytes", ok + "Content-Length: 18446744073709551614\r\n\r\nabc", Close{}, "abc",
         quiet},
    };
}

TEST(Response, ThatIsBrokenFailsWithOneRecord) {
    for (const Broken& row : brokenAnswers()) {
        expectFailure(row);
    }
}

TEST(Response, ToHeadIsAwaitedLikeAnyOther) {
    ScriptedServer server{Expect{"HEAD /"}, ReadHead{},
                          Send{"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n"}};
    const LogCapture log(3);
    EXPECT_FALSE(requestFor(server)->setMethod(Request::Method::Head)->perform(0));
    EXPECT_EQ(Error::get(), ErrTransfer);
    EXPECT_TRUE(log.hasFailure("Could not receive data; error: 15h (21)"));
}

TEST(Response, BytesBeyondTheLengthInTheSameReadAreDelivered) {
    for (const char* const length : {"0", "3"}) {
        const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: ";
        ScriptedServer server{ReadHead{}, Send{head + length + "\r\n\r\nabcdef"}};
        const MemorySink output;
        const Seen seen = look(requestFor(server)->perform(output.stream(), 0));
        EXPECT_EQ(output.bytes(), "abcdef");
        EXPECT_EQ(seen.bodySize, 6U);
        EXPECT_EQ(seen.body, "");  // it went to the caller's stream
    }
}

TEST(Response, ReadingStopsAtTheLength) {
    // The server neither sends more nor closes: a further read would block.
    ScriptedServer server{ReadHead{}, Send{"HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc"},
                          ReadHead{}};
    EXPECT_EQ(look(requestFor(server)->perform(0)).body, "abc");
    EXPECT_NE(server.report().find("the client ended"), std::string::npos);
}

TEST(Response, LargeBodyArrivesWholeEitherWay) {
    std::string body;
    while (body.size() < (5U << 20U)) {
        body += std::to_string(body.size()) + ",";
    }
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size());
    ScriptedServer server{ReadHead{}, Send{head + "\r\n\r\n" + body}, NextConnection{}, ReadHead{},
                          Send{head + "\r\n\r\n" + body}};
    const Ref<Request> request = requestFor(server);
    const MemorySink output;
    EXPECT_TRUE(request->perform(output.stream(), 0));
    EXPECT_TRUE(output.bytes() == body);
    for (const std::uint64_t size : output.writes()) {
        EXPECT_LE(size, 0x100000U);
    }
    EXPECT_TRUE(look(request->perform(0)).body == body);
}

TEST(Response, AnswersFieldsByNameAndTheBodyAsText) {
    const Send page{"HTTP/1.1 200 OK\r\nType: text\r\nEmpty:\r\n\r\npage"};
    ScriptedServer server{ReadHead{}, page, NextConnection{}, ReadHead{}, page};
    const Ref<Request> request = requestFor(server);
    const Ref<Response> response = request->perform();
    EXPECT_EQ(response->body(), "page");
    EXPECT_EQ(response->headerField("TYPE"), "text");
    EXPECT_EQ(response->headerField("Empty"), "");
    EXPECT_EQ(response->headerField("absent"), nullptr);
    const MemorySink output;
    EXPECT_EQ(request->perform(output.stream())->body(), "");  // it went elsewhere
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
