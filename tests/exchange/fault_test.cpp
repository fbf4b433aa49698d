// Failures of the host that no real machine shows on demand, and reads cut exactly where they hurt.
#include <cerrno>
#include <thread>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "tests/exchange/exchange.hpp"
#include "tests/support/host_faults.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

using HostFaults::Call;
using HostFaults::Fault;
using HostFaults::Pieces;

const std::string Head = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nA: b\r\n\r\n";

/// Runs on a new thread, which has kept no transfer memory from before.
void onNewThread(const std::function<void()>& code) {
    std::thread(code).join();
}

TEST(Pieces, HeadMayBeCutAnywhere) {
    for (const std::string& end : {std::string("\r\n"), std::string("\r"), std::string("\n")}) {
        std::string answer = "HTTP/1.1 200 O K";
        for (const char* const line : {"Content-Length: 5", "A : b ", "", "abcde"}) {
            answer.append(end).append(line);
        }
        for (std::size_t cut = 1; cut < answer.size(); ++cut) {
            for (const std::size_t second : {std::size_t{1}, SIZE_MAX}) {
                SCOPED_TRACE(cut);
                ScriptedServer server{ReadHead{}, Send{answer}};
                const Pieces pieces(Call::Recv, {cut, second});
                const Seen seen = look(requestFor(server)->perform(0));
                EXPECT_EQ(seen.reason, "O K");
                EXPECT_EQ(seen.fields, "A=b;Content-Length=5;");
                EXPECT_EQ(seen.body, "abcde");
            }
        }
    }
}

TEST(Pieces, LineFeedThatComesLateIsNoBodyByte) {
    struct Case {
        std::string answer;
        std::vector<std::size_t> pieces;
        std::string body;
    };
    const std::string open = "HTTP/1.1 200 OK\r\n\r";  // ends in the CR of the empty line
    const Case cases[] = {
        {open + "\nabc", {open.size()}, "abc"},
        {open + "\nabc", {open.size(), 1}, "abc"},
        {open + "\n\nabc", {open.size(), 1}, "\nabc"},   // one LF only
        {open + "\n\nabc", {open.size() + 1}, "\nabc"},  // the CR has its LF already
        {"HTTP/1.1 200 OK\r\n\nabc", {open.size() - 1}, "abc"},
        {open + "\n", {open.size()}, ""},
        {open + "abc", {open.size()}, "abc"},  // a lone CR ends a line as well
        {open + "a\nb", {open.size(), 1, 1}, "a\nb"},
        {open, {}, ""},
    };
    for (const Case& row : cases) {
        ScriptedServer server{ReadHead{}, Send{row.answer}};
        const Pieces pieces(Call::Recv, row.pieces);
        const MemorySink output;
        const Seen seen = look(requestFor(server)->perform(output.stream(), 0));
        EXPECT_EQ(seen.status, 200U);
        EXPECT_EQ(output.bytes(), row.body);
        EXPECT_EQ(seen.bodySize, row.body.size());
    }
}

TEST(Pieces, EveryReadWithBodyBytesIsOneWrite) {
    ScriptedServer server{ReadHead{}, Send{Head + "abcde"}};
    const Pieces pieces(Call::Recv, {Head.size() + 2, 1, 2});
    const MemorySink output;
    ProgressRecorder progress;
    const CancelStub cancel(99);
    const Ref<Request> request = requestFor(server);
    request->setDownloadProgressCallback(progress.callback());
    request->setCancelQuery(cancel.query())->setCancelArgument(5);
    EXPECT_TRUE(request->perform(output.stream(), 0));
    EXPECT_EQ(output.writes(), (std::vector<std::uint64_t>{2, 1, 2}));
    EXPECT_EQ(progress.fractions(), (std::vector<double>{0.0, 0.0, 0.4, 0.6, 1.0, 1.0}));
    EXPECT_EQ(cancel.calls(), 3U);
}

TEST(Pieces, SkippedBodyIsReadToItsEndWhenItHasNoLength) {
    const std::string redirect = "HTTP/1.1 302 x\r\nLocation: /b\r\n\r\n";
    ScriptedServer server{ReadHead{}, Send{redirect + "abcdef"}, NextConnection{}, ReadHead{},
                          Send{Head + "abcde"}};
    const Pieces pieces(Call::Recv, {redirect.size() + 1, 2, 2});
    const MemorySink output;
    const CancelStub cancel(2);  // not asked about bytes that are not delivered
    const Ref<Request> request = requestFor(server)->setCancelQuery(cancel.query());
    EXPECT_TRUE(request->setCancelArgument(1)->perform(output.stream(), 0));
    EXPECT_EQ(output.bytes(), "abcde");
    EXPECT_EQ(cancel.calls(), 1U);
}

TEST(Failures, OfTheFirstAddressAreThoseOfTheExchange) {
    ScriptedServer server{ReadHead{}, Send{Head + "abcde"}};
    const HostFaults::TwoAddresses name("two.test", "127.0.0.2", "127.0.0.1");
    const Fault refused(Call::Connect, {.error = ECONNREFUSED, .count = 1});
    const std::string port = std::to_string(server.port());
    const Ref<Request> request = Request::create()->setUrl("http://two.test:" + port + "/");
    EXPECT_EQ(look(request->perform(0)).error, ErrTransfer);
    EXPECT_EQ(refused.hits(), 1U);
    EXPECT_EQ(plain(request->peerAddress()), "127.0.0.2:" + port);
    EXPECT_TRUE(requestFor(server)->perform(0));  // the second one would have answered
}

TEST(Failures, OfANameWithoutAnAddressOfTheInternetAreThoseOfAnUnknownOne) {
    const HostFaults::ForeignAddress name("local.test");
    const LogCapture log(3);
    const Ref<Request> request = Request::create()->setUrl("http://local.test:1/");
    EXPECT_EQ(look(request->perform(0)).error, ErrTransfer);
    EXPECT_EQ(log.texts(), std::vector<std::string>{"Failed to resolve local.test; error: " +
                                                    hexDec(ErrResolverBase + 2)});
    EXPECT_FALSE(request->peerAddress());
}

TEST(Failures, OfANameThatIsNoHostNameComeBeforeAnyQuestion) {
    const std::string names[] = {
        "",
        ".localhost",
        "local host",
        " localhost",
        "localhost ",
        "a\tb",
        "a\nb",
        "a@b",
        "local\x7fhost",
        std::string("localhost\0", 10),
        std::string(256, 'a'),
    };
    const Fault question(Call::Getaddrinfo, {.error = EAI_NONAME});  // the code is the same
    for (const std::string& name : names) {
        SCOPED_TRACE(testing::PrintToString(name));
        const LogCapture log(3);
        EXPECT_EQ(look(Request::create()->setUrl("http://" + name + ":1/")->perform(0)).error,
                  ErrTransfer);
        EXPECT_EQ(log.texts(), std::vector<std::string>{"Failed to resolve " + name +
                                                        "; error: " + hexDec(ErrResolverBase + 2)});
        EXPECT_EQ(question.hits(), 0U);
    }
}

/// Answers SO_KEEPALIVE, seconds to the first probe, seconds between two, and how many.
std::vector<int> probesTo(std::uint16_t port) {
    const std::pair<int, int> options[] = {{SOL_SOCKET, SO_KEEPALIVE},
                                           {IPPROTO_TCP, TCP_KEEPIDLE},
                                           {IPPROTO_TCP, TCP_KEEPINTVL},
                                           {IPPROTO_TCP, TCP_KEEPCNT}};
    std::vector<int> values;
    for (const auto& [level, option] : options) {
        int value = -1;
        socklen_t size = sizeof(value);
        EXPECT_EQ(getsockopt(descriptorTo(port), level, option, &value, &size), 0);
        values.push_back(value);
    }
    return values;
}

TEST(Probes, StartWhenAPeerIsSilent) {
    using Services::Network::Client::Socket;
    const LoopbackListener listener;
    const Ref<Socket> socket =
        Socket::create(Services::Network::Definitions::AddressFamily::IPv4, SOCK_STREAM, 0);
    ASSERT_TRUE(socket->connect(listener.endpoint(), NoTimeout));
    EXPECT_EQ(probesTo(listener.port())[0], 0);
    const OwnedDescriptor peer = listener.accept();
    ASSERT_EQ(send(peer.number(), "x", 1, 0), 1);
    const Fault silent(Call::Recv, {.error = EAGAIN, .count = 1});
    char byte = 0;
    EXPECT_EQ(socket->receive(TransferBuffer::plain(&byte), 1, 0), 1);
    EXPECT_EQ(silent.hits(), 1U);
    EXPECT_EQ(probesTo(listener.port()), std::vector<int>({1, 30, 15, 4}));
}

struct MemoryCase {
    const char* name;
    bool hasBody;
    bool hasOutput;
    unsigned mmapFailures;
    unsigned fileFailures;
    std::vector<std::string> records;
    std::vector<std::size_t> offered;  // to the output stream
};

TEST(TransferMemory, FallsBackWithARecord) {
    constexpr std::size_t size = 0x100000;
    constexpr unsigned all = UINT_MAX;
    const std::string code = "; error: " + hexDec(ErrHostBase + ENOMEM);
    const std::string noPMem = "Failed to create PMem for transfer";
    const std::string noShMem = "Failed to create ShMem for transfer";
    const MemoryCase cases[] = {
        {"AllIsWell", true, true, 0, 0, {}, {size}},
        {"FileInsteadOfPrivate", false, true, 1, 0, {noPMem}, {size}},
        {"HeapInsteadOfBoth", false, true, all, 0, {noPMem, noShMem}, {}},
        {"HeapWhenNoFileIsMade", false, true, 1, all, {noPMem, noShMem}, {}},
        {"CollectedBodyNeverTriesPrivate", false, false, 0, all, {noShMem}, {}},
        {"CollectedBodyUsesAFile", false, false, 0, 0, {}, {}},
        {"UploadTellsTheCode",
         true,
         true,
         all,
         0,
         {noPMem + code, noShMem + code, noPMem, noShMem},
         {}},
    };
    for (const MemoryCase& row : cases) {
        SCOPED_TRACE(row.name);
        ScriptedServer server{ReadHead{}, ReadBody{row.hasBody ? 3U : 0U}, Send{Head + "abcde"}};
        const LogCapture log(3, 0x999);
        const MappingSink output;
        onNewThread([&] {
            const Ref<Request> request = requestFor(server);
            if (row.hasBody) {
                request->setBody(MemInStrm::create("abc"));
            }
            const Fault noMemory(Call::Mmap, {.error = ENOMEM, .count = row.mmapFailures});
            const Fault noFile(Call::MemfdCreate, {.error = ENOMEM, .count = row.fileFailures});
            const Ref<Interfaces::Stream> stream =
                row.hasOutput ? output.stream() : Ref<Interfaces::Stream>();
            const Seen seen = look(request->perform(stream, 0));
            EXPECT_EQ(row.hasOutput ? output.bytes() : seen.body, "abcde");
            EXPECT_EQ(HostFaults::calls(Call::MemfdCreate) != 0,
                      !row.hasOutput || row.mmapFailures != 0);
        });
        EXPECT_EQ(log.records(), warnings(row.records));
        EXPECT_EQ(output.mapping().offered(), row.offered);
        EXPECT_EQ(output.mapping().unmapped(), row.offered.size());
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
