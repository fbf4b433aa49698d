// Bodies on their way: fragments, progress, cancellation, mappings, failing streams.
#include <cerrno>

#include "platform/memory/memory.hpp"

#include "tests/exchange/exchange.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

constexpr std::uint64_t Fragment = 0x100000;
const Send Ok{"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"};
const Send FiveBytes{"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nabcde"};

std::string announced(std::size_t size) {
    return "Content-Length: " + std::to_string(size) + "\r\n";
}

TEST(Upload, GoesInFragments) {
    struct Case {
        const char* name;
        ScriptedBody::Options body;
        std::size_t sent;
        std::vector<std::uint64_t> asked;
    };
    const auto bytes = [](std::uint64_t size) {
        std::string text(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            text[i] = static_cast<char>('a' + i % 26 + i / 1000 % 7);
        }
        return text;
    };
    const Case cases[] = {
        {"OneByte", {.bytes = "x"}, 1, {1}},
        {"ExactlyOneFragment", {.bytes = bytes(Fragment)}, Fragment, {Fragment}},
        {"OneByteMore", {.bytes = bytes(Fragment + 1)}, Fragment + 1, {Fragment, 1}},
        {"FewPerRead", {.bytes = "abcdefg", .perRead = 3}, 7, {7, 4, 1}},
        {"FromItsPosition", {.bytes = "abcdefg", .position = 5}, 2, {2}},
        {"LargeElements", {.bytes = "aaaabbbbcccc", .element = 4, .position = 1}, 8, {8}},
    };
    for (const Case& row : cases) {
        for (const MapMode mode : {MapMode::NotSupported, MapMode::Maps}) {
            SCOPED_TRACE(row.name);
            ScriptedBody::Options options = row.body;
            options.map = mode;
            const std::string expected = options.bytes.substr(options.bytes.size() - row.sent);
            const Ref<ScriptedBody> body = ScriptedBody::create(options);
            ScriptedServer server{Expect{announced(row.sent)}, ReadHead{}, ReadBody{row.sent}, Ok};
            const LogCapture log(3);
            EXPECT_TRUE(requestFor(server)->setBody(body)->perform(0));
            EXPECT_TRUE(server.received().ends_with("\r\n\r\n" + expected));
            EXPECT_EQ(body->asked, row.asked);
            EXPECT_EQ(body->mapping.offered(), std::vector<std::size_t>{Fragment});
            EXPECT_EQ(body->mapping.fault(), "");
            EXPECT_EQ(body->referenceCount(), 1U);
            EXPECT_TRUE(log.records().empty());
            EXPECT_TRUE(server.finished()) << server.report();
        }
    }
}

TEST(Upload, OfNothingSendsTheHeadAlone) {
    for (const Ref<ScriptedBody>& body :
         {ScriptedBody::create({}), ScriptedBody::create({.bytes = "abc", .position = 3})}) {
        ScriptedServer server{ReadHead{}, Ok};
        ProgressRecorder progress;
        const Ref<Request> request = requestFor(server)->setBody(body);
        EXPECT_TRUE(request->setUploadProgressCallback(progress.callback())->perform(0));
        EXPECT_EQ(server.received(), defaultHead("/"));
        EXPECT_EQ(progress.fractions(), std::vector<double>{0.0});
        EXPECT_TRUE(body->asked.empty());
    }
}

TEST(Upload, OfADrainedSourceIsAnnouncedAndNotSent) {
    ScriptedServer server{ReadHead{}, ReadBody{3}, Ok, NextConnection{}, ReadHead{}, Ok};
    const Ref<Request> request = requestFor(server);
    request->setBody(ScriptedBody::create({.bytes = "abc"}));  // it stays at its end
    EXPECT_TRUE(request->perform(0));
    EXPECT_TRUE(request->perform(0));
    EXPECT_NE(server.received(1).find(announced(3)), std::string::npos);
    EXPECT_TRUE(server.received(1).ends_with("\r\n\r\n"));
}

TEST(Upload, ThatRunsDryFails) {
    for (const MapMode mode : {MapMode::NotSupported, MapMode::Maps}) {
        ScriptedServer server{ReadHead{}, ExpectExactly{"abc"}};
        const LogCapture log(3, 0x999);
        const Ref<ScriptedBody> body =
            ScriptedBody::create({.bytes = "abcde", .dryAfter = 3, .code = 0x666, .map = mode});
        EXPECT_EQ(look(requestFor(server)->setBody(body)->perform(0)).error, ErrTransfer);
        EXPECT_TRUE(
            log.has(4, "HTTP Client", "Failed to read data for request body; error: 666h (1638)"));
        EXPECT_EQ(log.records().size(), 1U);
        EXPECT_TRUE(server.received().ends_with("\r\n\r\nabc"));  // what was sent stays sent
        EXPECT_EQ(body->referenceCount(), 1U);
        EXPECT_TRUE(server.finished()) << server.report();
    }
}

TEST(Progress, OfAnExchangeIsToldInOrder) {
    std::vector<std::string> order;
    ProgressRecorder up(&order, "up");
    ProgressRecorder down(&order, "down");
    ScriptedServer server{ReadHead{}, ReadBody{4}, FiveBytes};
    const Ref<Request> request =
        requestFor(server)->setBody(ScriptedBody::create({.bytes = "abcd", .perRead = 2}));
    request->setUploadProgressCallback(up.callback())->setDownloadProgressCallback(down.callback());
    EXPECT_TRUE(request->perform(0));
    EXPECT_EQ(up.fractions(), (std::vector<double>{0.0, 0.0, 0.5, 1.0}));
    EXPECT_EQ(down.fractions(), (std::vector<double>{0.0, 0.0, 1.0, 1.0}));
    EXPECT_EQ(order,
              (std::vector<std::string>{"up", "down", "up", "up", "up", "down", "down", "down"}));
}

TEST(Progress, OfADownloadDependsOnItsLength) {
    const std::pair<const char*, std::vector<double>> cases[] = {
        {"HTTP/1.1 200 OK\r\n\r\nabc", {0.0, 1.0}},
        {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", {0.0, 1.0, 1.0}},
        {"HTTP/1.1 200 OK\r\nContent-Length: x\r\n\r\nabc", {0.0, 1.0}},
        {"HTTP/1.1 200 OK\r\nContent-Length: 18446744073709551615\r\n\r\nabc", {0.0, 0.0, 1.0}},
        {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\nContent-Length: 3\r\n\r\nabc",
         {0.0, 0.0, 0.0, 1.0, 1.0}},
        {"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nabc", {0.0, 0.0, 1.0, 1.0}},
        {"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nabc", {0.0, 0.0, 0.75}},
        {"HTTP/1.1 200 OK\r\nA: b", {0.0, 1.0}},
        {"HTTP/1.1 200\r\n", {0.0}},
    };
    for (const auto& [bytes, fractions] : cases) {
        ScriptedServer server{ReadHead{}, Send{bytes}};
        ProgressRecorder progress;
        (void)requestFor(server)->setDownloadProgressCallback(progress.callback())->perform(0);
        EXPECT_EQ(progress.fractions(), fractions) << bytes;
    }
}

TEST(Cancel, IsAskedAfterEveryPieceAndTakesOneTrueValueOnly) {
    using Value = CancelQuery::Value;
    struct Case {
        const char* name;
        std::uint64_t argument;
        unsigned from;
        std::vector<Value> answer;
        unsigned calls;
        bool cancels;
    };
    const Case cases[] = {
        {"ArgumentZeroNeverAsks", 0, 1, {{1, 1}}, 0, false},
        {"AtOnce", 7, 1, {{1, 1}}, 1, true},
        {"AnyPayloadButZero", 7, 1, {{1, 1ULL << 63U}}, 1, true},
        {"AfterTheLastFragment", ~0ULL, 2, {{1, 1}}, 2, true},
        {"AfterTheBody", 7, 3, {{1, 1}}, 3, true},
        {"TooLate", 7, 4, {{1, 1}}, 3, false},
        {"NoValue", 7, 1, {}, 3, false},
        {"TwoValues", 7, 1, {{1, 1}, {1, 1}}, 3, false},
        {"AnotherKind", 7, 1, {{2, 1}}, 3, false},
        {"KindZero", 7, 1, {{0, 1}}, 3, false},
        {"PayloadZero", 7, 1, {{1, 0}}, 3, false},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        const CancelStub cancel(row.from, row.answer);
        const MappingSink output;
        ScriptedServer server{ReadHead{}, ReadBody{row.cancels && row.calls == 1 ? 2U : 4U},
                              FiveBytes};
        const LogCapture log;
        const Ref<Request> request =
            requestFor(server)->setBody(ScriptedBody::create({.bytes = "abcd", .perRead = 2}));
        request->setCancelQuery(cancel.query())->setCancelArgument(row.argument);
        const Seen seen = look(request->perform(output.stream(), 0));
        EXPECT_EQ(seen.error, row.cancels ? ErrCancelled : 0);
        EXPECT_EQ(cancel.calls(), row.calls);
        EXPECT_EQ(cancel.argument(), row.calls != 0 ? row.argument : 0);
        EXPECT_TRUE(cancel.listsWereEmpty());
        const bool inUpload = row.cancels && row.calls < 3;
        EXPECT_EQ(log.has(1, "HTTP Client", "User cancelled upload"), inUpload);
        EXPECT_EQ(log.has(1, "HTTP Client", "User cancelled download"), row.cancels && !inUpload);
        EXPECT_EQ(output.bytes(), inUpload ? "" : "abcde");  // delivered before it is asked
        EXPECT_EQ(output.mapping().unmapped(), inUpload ? 0U : 1U);
    }
}

TEST(Mapping, OfAnOutputStreamIsHandedBackOnceOnEveryWayOut) {
    struct Case {
        const char* name;
        const char* answer;
        std::uint64_t room;
        std::uint32_t error;
    };
    const Case cases[] = {
        {"Complete", "HTTP/1.1 200 OK\r\n\r\nabcde", 99, 0},
        {"PartialHead", "HTTP/1.1 200 OK\r\n", 99, 0},
        {"NothingCame", "", 99, ErrTransfer},
        {"BadStatusLine", "HTTP/1.1\r\n\r\n", 99, ErrTransfer},
        {"BodyTooShort", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabcde", 99, ErrTransfer},
        {"WriteFails", "HTTP/1.1 200 OK\r\n\r\nabcde", 3, ErrTransfer},
        {"Cycle", "HTTP/1.1 302 x\r\nLocation: /\r\n\r\n", 99, ErrTransfer},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        ScriptedServer server{ReadHead{}, Send{row.answer}};
        const MappingSink output(row.room);
        EXPECT_EQ(look(requestFor(server)->perform(output.stream(), 0)).error, row.error);
        EXPECT_EQ(output.mapping().offered(), std::vector<std::size_t>{Fragment});
        EXPECT_EQ(output.mapping().unmapped(), 1U);
        EXPECT_EQ(output.mapping().fault(), "");
        EXPECT_EQ(output.references(), 1U);
    }
}

TEST(Mapping, ThatFailsIsAWarningAndPlainMemoryServes) {
    ScriptedServer server{ReadHead{}, ReadBody{3}, FiveBytes};
    const LogCapture log(3, 0x999);
    const MemorySink output(TestSink::Options{.map = MapMode::Fails});
    const Ref<ScriptedBody> body = ScriptedBody::create({.bytes = "abc", .map = MapMode::Fails});
    EXPECT_TRUE(requestFor(server)->setBody(body)->perform(output.stream(), 0));
    EXPECT_EQ(output.bytes(), "abcde");
    EXPECT_EQ(output.mapping().fault() + body->mapping.fault(), "");
    EXPECT_EQ(output.mapping().unmapped(), 0U);
    using Record = LogCapture::Record;
    EXPECT_EQ(log.records(),
              (std::vector<Record>{
                  {3, "HTTP Client", "Failed to map shared memory; error: 777h (1911)"},
                  {3, "HTTP Client", "Failed to map stream for transfer; error: 777h (1911)"}}));
}

TEST(Output, ThatTakesLessThanItIsGivenFails) {
    for (const std::uint64_t room : {0U, 3U, 4U}) {
        ScriptedServer server{ReadHead{}, FiveBytes};
        const LogCapture log(3, 0x999);
        const FailingSink output(room, 0x123);
        EXPECT_EQ(look(requestFor(server)->perform(output.stream(), 0)).error, ErrTransfer);
        EXPECT_EQ(output.bytes(), std::string("abcde").substr(0, room));
        EXPECT_TRUE(
            log.has(4, "HTTP Client", "Failed to write data to output stream; error: 123h (291)"));
        EXPECT_EQ(log.records().size(), 1U);
    }
}

TEST(Trace, OfAVerboseExchangeIsCompleteAndInOrder) {
    ScriptedServer server{ReadHead{}, ReadBody{3},
                          Send{"HTTP/1.1 302 Go On\r\nA: b\r\nLocation: \r\nnone\r\n\r\n"}};
    const LogCapture log;
    const Ref<Request> request = requestFor(server, {Flag::Verbose, Flag::NoDefaultUserAgent});
    const Ref<ScriptedBody> body = ScriptedBody::create({.bytes = "-abc", .position = 1});
    EXPECT_TRUE(request->setBody(body)->perform(0));
    std::vector<std::string> texts;
    std::string dumps;
    for (const LogCapture::Record& record : log.records()) {
        EXPECT_EQ(record.channel, "HTTP Client");
        const bool isDump = record.text.starts_with("0000");
        (isDump ? dumps : texts.emplace_back()) += record.text;
    }
    const std::size_t length = server.received().size() - 3;
    EXPECT_THAT(
        texts, testing::ElementsAre("Request body size: 3h (3); has request body: true",
                                    "Sending data of length: " + hexDec(length),
                                    "Sending request body of size 4h (4)",
                                    "Sending request body fragment of size 3h (3)",
                                    "Got response HTTP/1.1, Code = 12eh (302), Reason = Go On",
                                    "Got header entry A with value b",
                                    "Got header entry Location with value ",
                                    "Invalid HTTP header entry: none", "No new location provided"));
    EXPECT_NE(dumps.find("GET / HTTP/1.0.."), std::string::npos) << dumps;
    EXPECT_NE(dumps.find("61 62 63"), std::string::npos) << dumps;
}

TEST(Trace, IsSilentWithoutTheFlagOrTheLevel) {
    for (const auto& [flag, level] :
         {std::pair(Flag::NoRedirect, 1U), std::pair(Flag::Verbose, 2U)}) {
        ScriptedServer server{ReadHead{}, ReadBody{3}, FiveBytes};
        const LogCapture log(level);
        EXPECT_TRUE(requestFor(server, {flag})->setBody(MemInStrm::create("abc"))->perform(0));
        EXPECT_EQ(log.texts(), std::vector<std::string>{});
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
