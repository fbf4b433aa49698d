// A page of 1 KiB: what the library adds to the system calls that no client can do without.

#include <array>

#include <benchmark/benchmark.h>

#include "bench/bare_client.hpp"
#include "bench/local_server.hpp"
#include <net/http/http.hpp>

namespace {

using Libraries::Networks::HTTP::Client::Request;

constexpr std::size_t BodySize = 1024;
constexpr int Exchanges = 500;  // per repetition; few enough to leave the host's ports unexhausted

const bench::LocalServer* server = nullptr;

void bare(benchmark::State& state) {
    const std::string head = bench::requestHead();
    std::array<char, 8192> buffer{};
    while (state.KeepRunning()) {
        if (bench::bareGet(server->port(), head, buffer.data(), buffer.size()) < BodySize) {
            state.SkipWithError("no response");
            return;
        }
    }
}

void library(benchmark::State& state) {
    const Ref<String> url = String::create(server->url());
    while (state.KeepRunning()) {
        const auto response = Request::create({})->setUrl(url)->perform(0);
        if (!response || response->bodySize() != BodySize) {
            state.SkipWithError("no response");
            return;
        }
    }
}

// NOLINTBEGIN(cert-err58-cpp): the macro registers at load, as the framework wants it
BENCHMARK(bare)
    ->Name("small_get/bare")
    ->Iterations(Exchanges)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(library)
    ->Name("small_get/library")
    ->Iterations(Exchanges)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);
// NOLINTEND(cert-err58-cpp)

}  // namespace

int main(int count, char** arguments) {
    const bench::LocalServer local(BodySize);
    server = &local;
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
