// Peers that keep the connection and stay silent, that dawdle, that do not listen, that break off.
#include <cerrno>
#include <thread>

#include "tests/exchange/answers.hpp"
#include "tests/support/bounds.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAreArray;

const std::string Ok = "HTTP/1.1 200 OK\r\n";
const std::string Found = "HTTP/1.1 302 x\r\nLocation: /next\r\n";
constexpr std::uint32_t IdleLimit = ErrHostBase + ETIMEDOUT;
const std::string Quiet = "Could not receive data; error: " + hexDec(IdleLimit);

/// Calls the function for every row, on a thread each: waiting takes its time once.
template <class Rows, class Function>
void forEachAtOnce(const Rows& rows, Function function) {
    std::vector<std::thread> threads;
    for (const auto& row : rows) {
        threads.emplace_back([&row, &function] {
            SCOPED_TRACE(row.name);
            function(row);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

struct Silence {
    const char* name;
    std::string bytes;
    std::uint64_t status;  // 0 as well when there is no response
    std::string body;
    unsigned asked;      // how often the cancel query was
    std::string record;  // the only one of level 3 and above; empty for none
    std::uint32_t code;  // the thread's error code afterwards
};

const Silence silences[] = {
    {"NothingAtAll", "", 0, "", 0, Quiet, ErrTransfer},
    {"PartOfAStatusLine", "HTTP/1.1 200", 0, "", 0, NoMore, IdleLimit},
    {"PartOfAHead", Ok + "A: b\r\nC", 200, "", 0, NoMore, IdleLimit},
    {"BodyTooShort", Ok + "Content-Length: 5\r\n\r\nabc", 0, "abc", 1, Quiet, ErrTransfer},
    {"BodyWithoutALength", Ok + "\r\nabc", 200, "abc", 1, "", IdleLimit},
    {"NoContentWithALength", "HTTP/1.1 204 x\r\nContent-Length: 5\r\n\r\n", 0, "", 0, Quiet,
     ErrTransfer},
    {"RedirectWithoutALength", Found + "\r\nabc", 200, "end", 1, "", ErrEndOfStream},
};

TEST(SilentPeer, IsLeftAtTheIdleLimit) {
    const ScopedLimits limits(60'000, 5'000);  // time enough for all of them to be answered at once
    const LogCapture log(3);
    forEachAtOnce(silences, [](const Silence& row) {
        std::vector<Step> script = {ReadHead{}, Send{row.bytes}, Hold{}};
        if (row.bytes.starts_with(Found)) {
            script.insert(script.end(), {NextConnection{}, ReadHead{}, Send{Ok + "\r\nend"}});
        }
        ScriptedServer server(std::move(script));
        const MemorySink output;
        const CancelStub cancel(99);
        const Ref<Request> request = requestFor(server)->setCancelQuery(cancel.query());
        const Ref<Response> response = request->setCancelArgument(1)->perform(output.stream(), 0);
        EXPECT_EQ(Error::get(), row.code);
        EXPECT_EQ(!response, row.code == ErrTransfer);
        EXPECT_EQ(look(response).status, row.status);
        EXPECT_EQ(output.bytes(), row.body);
        EXPECT_EQ(cancel.calls(), row.asked);
        EXPECT_TRUE(server.finished()) << server.report();
    });
    std::vector<LogCapture::Record> records;
    for (const Silence& row : silences) {
        if (!row.record.empty()) {
            records.push_back({row.record == Quiet ? 4U : 3U, "HTTP Client", row.record});
        }
    }
    EXPECT_THAT(log.records(), UnorderedElementsAreArray(records));
}

struct Deafness {
    const char* name;
    std::string bytes;  // sent before the request is read, and not looked at before it is sent
};

TEST(DeafPeer, IsLeftAtTheIdleLimit) {
    const Deafness rows[] = {{"Silent", ""},
                             {"WithAnAnswer", "HTTP/1.1 413 x\r\nContent-Length: 0\r\n\r\n"}};
    const ScopedLimits limits(60'000, 500);
    const LogCapture log(3);
    forEachAtOnce(rows, [](const Deafness& row) {
        ScriptedServer server{Send{row.bytes}, Ignore{}};
        const Ref<Interfaces::Stripe> body = MemInStrm::create(std::string(64U << 20U, 'x'));
        EXPECT_EQ(look(requestFor(server)->setBody(body)->perform(0)).error, ErrTransfer);
    });
    const std::string record = "Failed to write data; error: " + hexDec(ErrHostBase + ETIMEDOUT);
    EXPECT_THAT(log.texts(), ElementsAre(record, record));
}

TEST(EarlyAnswer, IsTheResultOnceTheRequestIsSent) {
    const std::string answer = "HTTP/1.1 413 x\r\nContent-Length: 3\r\n\r\nabc";
    for (const std::size_t size : {0U, 3U, 8U << 20U}) {
        ScriptedServer server{Send{answer}, ReadHead{}, ReadBody{size}};
        const Ref<Request> request = requestFor(server);
        const Seen seen =
            look(request->setBody(MemInStrm::create(std::string(size, 'x')))->perform(0));
        EXPECT_EQ(seen.status, 413U);
        EXPECT_EQ(seen.body, "abc");
        EXPECT_TRUE(server.finished()) << server.report();
    }
}

struct BreakOff {
    const char* name;
    std::vector<Step> script;
    std::size_t upload;
    std::uint64_t status;  // 0 as well when there is no response
    bool fails;
};

const BreakOff breakOffs[] = {
    {"AtOnce", {Reset{}}, 0, 0, true},
    {"AtOnceInAnUpload", {Reset{}}, 1U << 16U, 0, true},
    {"InTheUpload", {ReadHead{}, ReadBody{1U << 20U}, Reset{}}, 64U << 20U, 0, true},
    {"InTheStatusLine", {ReadHead{}, Send{"HTTP/1.1 2"}, Reset{}}, 0, 0, false},
    {"InAHead", {ReadHead{}, Send{Ok + "A: b\r\nC"}, Reset{}}, 0, 200, false},
    {"InABodyWithoutALength", {ReadHead{}, Send{Ok + "\r\nabc"}, Reset{}}, 0, 200, false},
    {"BehindTheLastByte",
     {ReadHead{}, Send{Ok + "Content-Length: 3\r\n\r\nabc"}, Reset{}},
     0,
     200,
     false},
    {"InTheHeadOfARedirect", {ReadHead{}, Send{Found}, Reset{}}, 0, 302, false},
    {"InTheBodyOfARedirect",
     {ReadHead{}, Send{Found + "\r\nabc"}, Reset{}, NextConnection{}, ReadHead{},
      Send{Ok + "\r\n"}},
     0,
     200,
     false},
    {"OnTheSecondHop",
     {ReadHead{}, Send{Found + "Content-Length: 0\r\n\r\n"}, NextConnection{}, ReadHead{}, Reset{}},
     0,
     0,
     true},
};

TEST(ResettingPeer, EndsTheExchangeWhereverItDoes) {
    for (const BreakOff& row : breakOffs) {
        SCOPED_TRACE(row.name);
        ScriptedServer server(row.script);
        const LogCapture log(4);
        const Ref<Request> request = requestFor(server);
        request->setBody(MemInStrm::create(std::string(row.upload, 'x')));
        const Seen seen = look(request->perform(0));
        EXPECT_EQ(seen.error, row.fails ? ErrTransfer : 0);
        EXPECT_EQ(seen.status, row.status);
        // Which call meets the reset is a matter of time, when the peer has not read everything.
        const std::vector<std::string> texts = log.texts();
        EXPECT_EQ(texts.size(), row.fails ? 1U : 0U);
        for (const std::string& text : texts) {
            EXPECT_TRUE(text.ends_with(hexDec(ErrHostBase + ECONNRESET)) ||
                        text.ends_with(hexDec(ErrHostBase + EPIPE)))
                << text;
        }
        EXPECT_TRUE(server.finished()) << server.report();
    }
}

struct Dawdle {
    const char* name;
    std::vector<Step> script;
    std::string body;
    unsigned cancelFrom;  // the question that is answered by yes; 0: none
};

const Dawdle dawdles[] = {
    {"Head", {ReadHead{}, Send{Ok + "Content-Length: 0\r\n\r\n"}}, "", 0},
    {"BodyWithALength",
     {ReadHead{}, Send{Ok + "Content-Length: 9\r\n\r\nslow body"}},
     "slow body",
     0},
    {"BodyWithoutALength", {ReadHead{}, Send{Ok + "\r\nslow body"}}, "slow body", 0},
    {"BodyOfARedirect",
     {ReadHead{}, Send{Found + "\r\nslow"}, NextConnection{}, ReadHead{}, Send{Ok + "\r\nx"}},
     "x",
     0},
    {"CancelledBody", {ReadHead{}, Send{Ok + "Content-Length: 9\r\n\r\nslow body"}}, "s", 1},
};

/// A byte now and then keeps an exchange alive, however long it takes, and each may cancel it.
TEST(SlowPeer, IsListenedToAsLongAsItSends) {
    const ScopedLimits limits(60'000, isLongForm() ? 3'000 : 60'000);
    const LogCapture log(3);
    forEachAtOnce(dawdles, [](const Dawdle& row) {
        ScriptedServer server(row.script);
        server.sendInPiecesOf(1);
        server.pauseBetweenPieces(std::chrono::milliseconds(isLongForm() ? 1'000 : 5));
        const MemorySink output;
        const CancelStub cancel(row.cancelFrom != 0 ? row.cancelFrom : UINT_MAX);
        const Ref<Request> request = requestFor(server)->setCancelQuery(cancel.query());
        const Seen seen = look(request->setCancelArgument(1)->perform(output.stream(), 0));
        EXPECT_EQ(seen.error, row.cancelFrom != 0 ? ErrCancelled : 0);
        EXPECT_EQ(cancel.calls(), output.writes().size());
        EXPECT_TRUE(row.cancelFrom != 0 || output.bytes() == row.body) << output.bytes();
        EXPECT_TRUE(output.bytes().starts_with(row.body));
    });
    EXPECT_EQ(log.texts(), std::vector<std::string>());
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
