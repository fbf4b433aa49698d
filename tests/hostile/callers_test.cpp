// What a caller may give a request, and what its callbacks and streams may do meanwhile.

#include <csignal>

#include "platform/streams/adapters.hpp"

#include "tests/exchange/exchange.hpp"
#include "tests/support/bounds.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

const Send Ok{"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"};
constexpr const char* RanDry = "Failed to read data for request body; error: 666h (1638)";

/// A source that says and does what it wants.
class OddBody final : public Object, public virtual Interfaces::Stripe {
public:
    struct Options {
        std::uint64_t length = 0;
        std::uint64_t position = 0;
        std::uint64_t element = 1;
        std::int64_t answers = 2;  ///< What the first read answers; later ones answer 0.
    };
    explicit OddBody(const Options& options) : options_(options) {}
    std::int64_t read(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        Mem::copy("ab", buffer.data(), std::min<std::uint64_t>(size, 2));
        Error::set(0x666);
        return std::exchange(options_.answers, 0);
    }
    std::uint64_t setPosition(std::uint64_t position) override { return position; }
    std::uint64_t position() override { return options_.position; }
    std::uint64_t length() override { return options_.length; }
    std::uint64_t elementSize() override { return options_.element; }

private:
    Options options_;
};

struct OddBodyCase {
    const char* name;
    OddBody::Options body;
    const char* announced;
    const char* sent;
    bool ok;
};

TEST(OddBody, IsAnnouncedAsItIsAndNeverReadBeyond) {
    const OddBodyCase cases[] = {
        {"StandsBehindItsEnd", {3, 5}, "18446744073709551614", "ab", false},
        {"ElementsOfNothing", {3, 0, 0}, nullptr, "", true},
        {"LengthBeyondTheNumbers", {(1ULL << 63U) + 1, 0, 2}, "2", "ab", true},
        {"ReadsMoreThanAsked", {2, 0, 1, 3}, "2", "", false},
        {"ReadsMoreThanThereIsRoom",
         {UINT64_MAX, 0, 1, INT64_MAX},
         "18446744073709551615",
         "",
         false},
        {"ReadsLessThanNothing", {2, 0, 1, -1}, "2", "", false},
    };
    for (const OddBodyCase& row : cases) {
        SCOPED_TRACE(row.name);
        const std::string length = row.announced != nullptr
                                       ? "Content-Length: " + std::string(row.announced) + "\r\n"
                                       : "";
        ScriptedServer server{ReadHead{}, ExpectExactly{row.sent}, row.ok ? Ok : Send{""}};
        const LogCapture log(3);
        const Ref<Request> request = requestFor(server, {Flag::NoDefaultUserAgent});
        const Seen seen = look(request->setBody(Ref<OddBody>::make(row.body))->perform(0));
        EXPECT_EQ(seen.ok, row.ok);
        EXPECT_EQ(log.texts(),
                  row.ok ? std::vector<std::string>() : std::vector<std::string>{RanDry});
        EXPECT_EQ(server.received(),
                  "GET / HTTP/1.0\r\n" + length + "Host: 127.0.0.1\r\n\r\n" + row.sent);
        EXPECT_TRUE(server.finished()) << server.report();
    }
}

/// Where an exchange calls its application.
enum class Place { Length, Body, Progress, Cancel, Output };
constexpr Place Places[] = {Place::Length, Place::Body, Place::Progress, Place::Cancel,
                            Place::Output};
using Hook = std::function<void(Place)>;

/// All that an application can supply, in one object; every call of it runs the hook first.
class Supplied final : public Object,
                       public virtual ProgressCallback,
                       public virtual CancelQuery,
                       public virtual Interfaces::Stripe {
public:
    explicit Supplied(Hook hook) : hook_(std::move(hook)) {}
    void progress(double) override { hook_(Place::Progress); }
    void invoke(Values&, std::uint64_t, const Values&) override { hook_(Place::Cancel); }
    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        hook_(Place::Output);
        output.append(reinterpret_cast<const char*>(buffer.data()), size);
        return static_cast<std::int64_t>(size);
    }
    std::int64_t read(TransferBuffer buffer, std::uint64_t, std::uint32_t) override {
        Mem::copy("in", buffer.data(), 2);
        hook_(Place::Body);
        return 2;
    }
    std::uint64_t setPosition(std::uint64_t) override { return 0; }
    std::uint64_t position() override { return 0; }
    std::uint64_t length() override {
        hook_(Place::Length);
        return 2;
    }

    std::string output;

private:
    Hook hook_;
};

Ref<Request> requestWith(const Ref<Supplied>& supplied, const Ref<String>& url) {
    const Ref<Request> request = Request::create()->setUrl(url)->setBody(supplied);
    request->setUploadProgressCallback(supplied)->setDownloadProgressCallback(supplied);
    return request->setCancelQuery(supplied)->setCancelArgument(1);
}

/// Answers the request's own body.
std::string echo(const std::string& request) {
    return okResponse(bodyOf(request));
}

TEST(Callback, MayPerformAnotherRequest) {
    const AnsweringServer server(echo, 2);
    for (const Place place : Places) {
        SCOPED_TRACE(static_cast<int>(place));
        unsigned nested = 0;
        const Ref<Supplied> supplied = Ref<Supplied>::make([&](Place now) {
            if (now == place) {
                ++nested;
                const Ref<Request> inner = Request::create()->setUrl(server.url("/"));
                inner->setBody(MemInStrm::create(std::string(1000, 'n')));
                EXPECT_EQ(look(inner->perform(0)).bodySize, 1000U);
            }
        });
        EXPECT_TRUE(requestWith(supplied, server.url("/"))->perform(supplied, 0));
        EXPECT_EQ(supplied->output, "in");
        EXPECT_GT(nested, 0U);
    }
}

TEST(Callback, MayDropTheLastReferencesOfItsRequest) {
    const AnsweringServer server(echo, 1);
    for (const Place place : Places) {
        SCOPED_TRACE(static_cast<int>(place));
        Ref<Request> request;
        const Ref<Supplied> kept = Ref<Supplied>::make([](Place) {});
        Ref<Supplied> supplied = Ref<Supplied>::make([&](Place now) {
            if (now == place && request) {
                Request& left = *request;
                left.setUploadProgressCallback(kept)->setDownloadProgressCallback(nullptr);
                left.setCancelQuery(nullptr)->setBody(nullptr)->setMethod("X");
                request.reset();
                EXPECT_EQ(kept->referenceCount(), 2U);  // the request is there to the end
            }
        });
        request = requestWith(supplied, server.url("/"));
        Ref<Interfaces::Stream> output = place == Place::Output ? supplied : nullptr;
        supplied.reset();
        EXPECT_EQ(look(request->perform(std::move(output), 0)).status, 200U);
        EXPECT_FALSE(request);
        EXPECT_EQ(kept->referenceCount(), 1U);
    }
}

TEST(CallbackDeathTest, ThatThrowsEndsTheProgram) {
    const AnsweringServer server(echo, 1);
    for (const Place place : Places) {
        const Ref<Supplied> supplied = Ref<Supplied>::make([&](Place now) {
            if (now == place) {
                throw now;
            }
        });
        const auto perform = [&] {
            try {
                (void)requestWith(supplied, server.url("/"))->perform(supplied, 0);
            } catch (Place) {
                std::_Exit(0);
            }
        };
        EXPECT_EXIT(perform(), testing::KilledBySignal(SIGABRT), "terminate")
            << static_cast<int>(place);
    }
}

TEST(Caller, MaySendFramingOfItsOwn) {
    ScriptedServer server{ReadHead{}, Ok};
    const Ref<Request> request = requestFor(server, {Flag::NoDefaultUserAgent});
    request->setHeaderField("Content-Length", "7")->setHeaderField("Transfer-Encoding", "chunked");
    EXPECT_TRUE(request->perform(0));
    EXPECT_EQ(server.received(),
              "GET / HTTP/1.0\r\nContent-Length: 7\r\nHost: 127.0.0.1\r\n"
              "Transfer-Encoding: chunked\r\n\r\n");
}

TEST(Caller, MayUseValuesThatMeanNothing) {
    ScriptedServer server{ReadHead{}, Ok};
    const Ref<Request> request =
        Request::create(Flags::fromMask(0xFFFFFF04))->setUrl(server.url("/"));
    request->setVersion(static_cast<Request::Version>(2));
    request->setProtocol(static_cast<Request::Protocol>(0xFFFFFFFF));
    request->setMethod(static_cast<Request::Method>(9));
    EXPECT_TRUE(request->perform(0xFFFFFFFF));
    EXPECT_EQ(server.received(), "GET / HTTP/\r\nHost: 127.0.0.1\r\n\r\n");
}

// The rows are so long that what takes the square of its input meets the bound of time.
TEST(Caller, MayGiveAUrlOfAnyLength) {
    struct Case {
        const char* name;
        std::string path;
        std::string target;
    };
    constexpr std::size_t many = 500'000;
    const Case cases[] = {
        {"TenMebibytes", repeated("a", 10U << 20U), repeated("a", 10U << 20U)},
        {"Slashes", repeated("/", many), repeated("/", many)},
        {"Escapes", repeated("%41", many), repeated("%2541", many)},
        {"Blanks", repeated(" /", many), repeated("%20/", many)},
        {"Questions", repeated("?&", many), "?&" + repeated("%3f&", many - 1)},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        ScriptedServer server{ReadHead{}, Ok};
        Seen seen;
        {
            const Bounds bounds({.bytes = 128ULL << 20U, .seconds = 3});
            seen = look(requestFor(server, {}, ("/" + row.path).c_str())->perform(0));
        }
        EXPECT_EQ(seen.body, "ok");
        EXPECT_EQ(seen.url.size(), plain(server.url("/")).size() + row.path.size());
        EXPECT_TRUE(server.received() == defaultHead("/" + row.target));
    }
}

TEST(Caller, MayPerformTheSameRequestAgainAndAgain) {
    const AnsweringServer server(okResponse, 1);
    for (const Ref<Interfaces::Stripe>& body :
         {Ref<Interfaces::Stripe>(), MemInStrm::create("body")}) {
        const Ref<Request> request = Request::create()->setUrl(server.url("/"))->setBody(body);
        request->setHeaderField("Own", "field")->setMethod(Request::Method::Post);
        const std::string first = look(request->perform(0)).body;
        EXPECT_NE(first.find("Own: field\r\n"), std::string::npos);
        for (unsigned i = 0; i < (isLongForm() ? 10'000U : 300U); ++i) {
            ASSERT_EQ(look(request->perform(0)).body, first) << i;
        }
        EXPECT_EQ(request->referenceCount(), 1U);
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
