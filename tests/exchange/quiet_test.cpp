// A log that is off changes nothing: every answer and every failure is what it is with the log on.
#include <cerrno>
#include <optional>
#include <thread>

#include "tests/exchange/exchange.hpp"
#include "tests/support/host_faults.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

using HostFaults::Call;
using HostFaults::Fault;

struct Recorded {
    const char* name;
    std::string answer = {};
    std::string url = {};  // that of the server if empty
    bool tls = false;      // whether the server, which speaks none, is asked for it
    std::optional<Call> failing = {};
    MapMode map = MapMode::NotSupported;
    Flags flags = {};
};

/// Performs on a new thread, which has kept no transfer memory, and answers all that can be seen.
std::string outcome(const Recorded& row, std::uint32_t level, std::size_t& records) {
    ScriptedServer server(row.tls ? std::vector<Step>{Send{row.answer}}
                                  : std::vector<Step>{ReadHead{}, Send{row.answer}});
    const LogCapture log(level, 0x999);
    std::string text;
    std::thread([&] {
        const std::string address = "127.0.0.1:" + std::to_string(server.port()) + "/";
        const std::string own = (row.tls ? "https://" : "http://") + address;
        const std::string url = row.url.empty() ? own : row.url;
        const MemorySink output(TestSink::Options{.map = row.map});
        const Ref<Request> request = Request::create(row.flags)->setUrl(url);
        std::optional<Fault> fault;
        if (row.failing) {
            fault.emplace(*row.failing, Fault::Options{.error = ENOMEM});
        }
        const Seen seen = look(request->perform(output.stream(), 0));
        text = std::to_string(seen.error) + " " + std::to_string(seen.status) + " " + seen.reason +
               seen.fields + output.bytes();
    }).join();
    records = log.records().size();
    return text;
}

TEST(Quiet, LogChangesNoOutcome) {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const Recorded rows[] = {
        {.name = "WrongStatusLine", .answer = "HTTP/1.1\r\n\r\n"},
        {.name = "WrongFields", .answer = ok + "none\r\nContent-Length: x\r\n\r\nabc"},
        {.name = "CutHead", .answer = ok + "A: b\r\n"},
        {.name = "Cycle", .answer = "HTTP/1.1 302 x\r\nLocation: /\r\n\r\n"},
        {.name = "AnotherProtocol", .answer = "HTTP/1.1 302 x\r\nLocation: ftp://h/\r\n\r\n"},
        {.name = "NothingCame"},
        {.name = "NoUrl", .url = "h"},
        {.name = "NoHost", .url = "http:///"},
        {.name = "NoHandshake", .answer = ok + "\r\nabc", .tls = true},
        {.name = "NotAllowed", .flags = {Flag::DisallowHttp}},
        {.name = "NoSocket", .failing = Call::Socket},
        {.name = "NoConnection", .failing = Call::Connect},
        {.name = "NoSend", .failing = Call::Send},
        {.name = "NoMemory", .answer = ok + "\r\nabc", .failing = Call::Mmap},
        {.name = "NoMapping", .answer = ok + "\r\nabc", .map = MapMode::Fails},
    };
    for (const Recorded& row : rows) {
        SCOPED_TRACE(row.name);
        std::size_t records = 0;
        const std::string seen = outcome(row, 3, records);
        EXPECT_GT(records, 0U);
        EXPECT_EQ(outcome(row, 5, records), seen);
        EXPECT_EQ(records, 0U);
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
