// TLS: what the library adds to OpenSSL itself. The server is nginx, which bench/run starts; the
// bundle is the distribution's with one authority more. Both clients load it into a new context for
// every exchange, as the library's contract has it.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/runtime/system.hpp"

#include <net/http/http.hpp>

namespace {

using Libraries::Networks::HTTP::Client::Request;

constexpr std::uint64_t SmallSize = 1024;
constexpr std::uint64_t LargeSize = std::uint64_t{1} << 30U;
constexpr std::size_t BufferSize = 0x100000;

std::uint16_t serverPort() {
    const char* const port =
        std::getenv("NETHTTP_BENCH_TLS_PORT");  // NOLINT(concurrency-mt-unsafe)
    return static_cast<std::uint16_t>(port != nullptr ? std::atoi(port) : 0);
}

/// Takes a body and forgets it.
class Dropping final : public Object, public virtual Interfaces::Stream {
public:
    std::int64_t write(TransferBuffer, std::uint64_t size, std::uint32_t) override {
        return static_cast<std::int64_t>(size);
    }
};

int connectToServer() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(serverPort());
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

std::uint64_t exchange(SSL* ssl, const std::string& path, std::vector<char>& buffer) {
    const std::string head = "GET " + path + " HTTP/1.0\r\nHost: localhost\r\n\r\n";
    if (SSL_connect(ssl) != 1 || SSL_write(ssl, head.data(), static_cast<int>(head.size())) !=
                                     static_cast<int>(head.size())) {
        return 0;
    }
    std::uint64_t received = 0;
    for (int count = 1; count > 0; received += static_cast<std::uint64_t>(count)) {
        count = std::max(SSL_read(ssl, buffer.data(), static_cast<int>(buffer.size())), 0);
    }
    return received;
}

/// The least that a program which verifies chain and name can do.
std::uint64_t bareGet(const std::string& path) {
    static std::vector<char> buffer(BufferSize);
    const Ref<String> bundle = Sys::hostPath(String::create("/system/base/certs.pem"));
    const int descriptor = connectToServer();
    SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_load_verify_locations(context, bundle->cText(), nullptr);
    SSL* const ssl = SSL_new(context);
    SSL_set1_host(ssl, "localhost");
    SSL_set_tlsext_host_name(ssl, "localhost");
    SSL_set_fd(ssl, descriptor);
    const std::uint64_t received = exchange(ssl, path, buffer);
    SSL_free(ssl);
    SSL_CTX_free(context);
    close(descriptor);
    return received;
}

void bare(benchmark::State& state, const std::string& path, std::uint64_t size) {
    while (state.KeepRunning()) {
        if (bareGet(path) < size) {
            state.SkipWithError("no response");
            return;
        }
    }
}

void library(benchmark::State& state, const std::string& path, std::uint64_t size) {
    const Ref<String> url =
        String::create("https://localhost:" + std::to_string(serverPort()) + path);
    while (state.KeepRunning()) {
        const auto response = Request::create({})->setUrl(url)->perform(Ref<Dropping>::make(), 0);
        if (!response || response->bodySize() != size) {
            state.SkipWithError("no response");
            return;
        }
    }
}

// NOLINTBEGIN(cert-err58-cpp): the macro registers at load, as the framework wants it
BENCHMARK_CAPTURE(bare, small, "/small", SmallSize)
    ->Name("tls_small_get/bare")
    ->Iterations(10)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(library, small, "/small", SmallSize)
    ->Name("tls_small_get/library")
    ->Iterations(10)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(bare, large, "/large", LargeSize)
    ->Name("tls_download/bare")
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(library, large, "/large", LargeSize)
    ->Name("tls_download/library")
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
// NOLINTEND(cert-err58-cpp)

}  // namespace

BENCHMARK_MAIN();
