// Boost.Beast, as in the synchronous client and the incremental reading of its manual; with
// COMPARE_LARGE the buffers are large.

#include <cstdint>
#include <exception>
#include <iterator>
#include <limits>
#include <memory>
#include <string>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/host_name_verification.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/version.hpp>

#include "bench/compare.d/harness.h"

namespace {

namespace beast = boost::beast;
namespace http = beast::http;
namespace net = boost::asio;
namespace ssl = net::ssl;
using tcp = net::ip::tcp;

constexpr bool Large = COMPARE_LARGE;
constexpr std::size_t PieceSize = Large ? 1 << 16 : 512;  // 512: as in the manual
// By number: of no limit at all, this version takes every body of known size to be over it.
constexpr std::uint64_t NoLimit = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint32_t HeadLimit = 1 << 18;

struct State {
    net::io_context context;
    std::unique_ptr<char[]> piece = std::make_unique<char[]>(PieceSize);
    std::string kept;
};

/// What an exchange works on.
struct Work {
    State& state;
    const Task& task;
    Answer& answer;
    std::string location;  // where a redirect leads
};

http::request<http::span_body<const char>> makeRequest(const Task& task, const Address& to) {
    const bool upload = task.job == JobUpload;
    http::request<http::span_body<const char>> request{upload ? http::verb::put : http::verb::get,
                                                       to.path, 11};
    request.set(http::field::host, to.host);
    request.set(http::field::user_agent, BOOST_BEAST_VERSION_STRING);
    request.keep_alive(false);
    if (upload) {
        request.body() = beast::span<const char>(task.body, task.size);
        request.prepare_payload();
    }
    return request;
}

template <class Parser>
void noteHead(Work& work, Parser& parser) {
    const auto& head = parser.get();
    work.answer.status = head.result_int();
    work.answer.fields = static_cast<std::uint64_t>(std::distance(head.begin(), head.end()));
    const auto location = head[http::field::location];
    work.location.assign(location.data(), location.size());
}

template <class Stream>
void readAndKeep(Work& work, Stream& stream, beast::flat_buffer& buffer) {
    http::response_parser<http::string_body> parser;
    parser.body_limit(NoLimit);
    http::read(stream, buffer, parser);
    noteHead(work, parser);
    work.state.kept = std::move(parser.get().body());
    work.answer.bytes = work.state.kept.size();
    work.answer.kept = work.state.kept.data();
}

template <class Stream>
void readAndDrop(Work& work, Stream& stream, beast::flat_buffer& buffer) {
    http::response_parser<http::buffer_body> parser;
    parser.body_limit(NoLimit);
    parser.header_limit(HeadLimit);
    http::read_header(stream, buffer, parser);
    noteHead(work, parser);
    while (!parser.is_done()) {
        beast::error_code error;
        parser.get().body().data = work.state.piece.get();
        parser.get().body().size = PieceSize;
        http::read(stream, buffer, parser, error);
        if (error && error != http::error::need_buffer) {
            throw beast::system_error{error};
        }
        work.answer.bytes += PieceSize - parser.get().body().size;
    }
}

template <class Stream>
void talk(Work& work, Stream& stream, const Address& to) {
    beast::flat_buffer buffer;
    if (Large) {
        buffer.reserve(PieceSize);
    }
    http::write(stream, makeRequest(work.task, to));
    if (work.task.job == JobKeep) {
        readAndKeep(work, stream, buffer);
    } else {
        readAndDrop(work, stream, buffer);
    }
}

void hopOverTls(Work& work, const Address& to, const tcp::resolver::results_type& found) {
    ssl::context context(ssl::context::tls_client);
    context.load_verify_file(work.task.bundle);
    context.set_verify_mode(ssl::verify_peer);
    beast::ssl_stream<beast::tcp_stream> stream(work.state.context, context);
    stream.set_verify_callback(ssl::host_name_verification(to.host));
    SSL_set_tlsext_host_name(stream.native_handle(), to.host);
    beast::get_lowest_layer(stream).connect(found);
    stream.handshake(ssl::stream_base::client);
    talk(work, stream, to);
    beast::error_code error;  // of a server that has left already
    stream.shutdown(error);
}

void hop(Work& work, const Address& to) {
    tcp::resolver resolver(work.state.context);
    const auto found = resolver.resolve(to.host, to.port);
    if (to.tls) {
        hopOverTls(work, to, found);
        return;
    }
    beast::tcp_stream stream(work.state.context);
    stream.connect(found);
    talk(work, stream, to);
    beast::error_code error;  // of a server that has left already
    stream.socket().shutdown(tcp::socket::shutdown_both, error);
}

}  // namespace

const char* clientVersion() {
    return BOOST_BEAST_VERSION_STRING " of Boost " BOOST_LIB_VERSION;
}

void* clientOpen(const Task*) {
    return new State;
}

void clientClose(void* state) {
    delete static_cast<State*>(state);
}

bool clientExchange(void* state, const Task* task, Answer* answer) try {
    Work work{*static_cast<State*>(state), *task, *answer, {}};
    work.state.kept = std::string();
    Address to = task->address;
    for (int hops = 0; hops <= MostRedirects; ++hops) {
        answer->bytes = 0;
        hop(work, to);
        if (answer->status / 100 != 3) {
            return true;
        }
        if (!splitUrl(work.location.c_str(), &to)) {
            return complain("redirect", work.location.c_str());
        }
    }
    return complain("redirect", "too many");
} catch (const std::exception& fault) {
    return complain(task->url, fault.what());
}
