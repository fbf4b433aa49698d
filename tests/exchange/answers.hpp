#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/exchange/exchange.hpp"
#include "tests/support/host_faults.hpp"

// Rows of what a server sends, and how they are tried.
namespace Libraries::Networks::HTTP::Client {

inline constexpr const char* NoMore = "No more data before headers were fully read";

struct Answer {
    const char* name;
    std::string bytes;  ///< The server's, before it ends the connection in its orderly way.
    std::uint64_t status;
    std::string reason;
    std::string fields;
    std::string body;
    std::string warning = {};  ///< The only record of level 3 or 4; empty: none.
};

/// As many pieces of one size as so many bytes take.
inline std::vector<std::size_t> piecesOf(std::size_t piece, std::size_t bytes) {
    return std::vector<std::size_t>(bytes / piece + 1, piece);
}

/// The answer is a response, the same in pieces of any size.
inline void expectAnswer(const Answer& row) {
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, SIZE_MAX}) {
        SCOPED_TRACE(std::string(row.name) + " in pieces of " + std::to_string(piece));
        ScriptedServer server{ReadHead{}, Send{row.bytes}};
        const HostFaults::Pieces cut(HostFaults::Call::Recv, piecesOf(piece, row.bytes.size()));
        const unsigned before = HostFaults::calls(HostFaults::Call::Recv);
        const LogCapture log;
        const Seen seen = look(requestFor(server)->perform(0));
        EXPECT_TRUE(seen.ok);
        EXPECT_EQ(seen.status, row.status);
        EXPECT_EQ(seen.reason, row.reason);
        EXPECT_EQ(seen.fields, row.fields);
        EXPECT_EQ(seen.body, row.body);
        EXPECT_EQ(seen.bodySize, row.body.size());
        EXPECT_FALSE(seen.redirected);
        EXPECT_EQ(seen.url, plain(server.url("/")));
        EXPECT_EQ(log.records(3),
                  warnings(std::vector<std::string>(row.warning.empty() ? 0 : 1, row.warning)));
        // A line feed behind the whole answer may stay unread.
        EXPECT_GE(HostFaults::calls(HostFaults::Call::Recv) - before,
                  (row.bytes.size() - 1) / piece);
        EXPECT_TRUE(server.finished()) << server.report();
    }
}

struct Broken {
    const char* name;
    std::string bytes;
    Step end;
    std::string body;    ///< What reaches the output stream even so.
    std::string record;  ///< The only one of level 3 and above: of level 4.
};

/// The answer is a failure, the same in pieces of any size.
inline void expectFailure(const Broken& row) {
    for (const std::size_t piece : {std::size_t{1}, SIZE_MAX}) {
        SCOPED_TRACE(std::string(row.name) + " in pieces of " + std::to_string(piece));
        ScriptedServer server{ReadHead{}, Send{row.bytes}, row.end};
        const HostFaults::Pieces cut(HostFaults::Call::Recv, piecesOf(piece, row.bytes.size()));
        const LogCapture log(3);
        const MemorySink output;
        const Ref<Request> request = requestFor(server);
        EXPECT_EQ(look(request->perform(output.stream(), 0)).error, ErrTransfer);
        EXPECT_EQ(output.bytes(), row.body);
        EXPECT_THAT(log.records(),
                    testing::ElementsAre(LogCapture::Record{4, "HTTP Client", row.record}));
        EXPECT_EQ(plain(request->peerAddress()), "127.0.0.1:" + std::to_string(server.port()));
    }
}

}  // namespace Libraries::Networks::HTTP::Client
