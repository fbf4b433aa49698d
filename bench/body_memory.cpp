// A body of 256 MiB that is kept in memory.

#include <cstdlib>
#include <memory>

#include <benchmark/benchmark.h>

#include "bench/bare_client.hpp"
#include "bench/local_server.hpp"
#include <net/http/http.hpp>

namespace {

using Libraries::Networks::HTTP::Client::Request;

constexpr std::size_t BodySize = std::size_t{256} << 20;

const bench::LocalServer* server = nullptr;

struct Free {
    void operator()(void* block) const { std::free(block); }
};

void countBytes(benchmark::State& state) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * BodySize));
}

/// Knows beforehand how much will come, and takes a new block for every body.
void bare(benchmark::State& state) {
    const std::string head = bench::requestHead();
    constexpr std::size_t Room = BodySize + 4096;
    while (state.KeepRunning()) {
        const std::unique_ptr<char, Free> block(static_cast<char*>(std::malloc(Room)));
        if (bench::bareGet(server->port(), head, block.get(), Room) < BodySize) {
            state.SkipWithError("no response");
            return;
        }
    }
    countBytes(state);
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
    countBytes(state);
}

// NOLINTBEGIN(cert-err58-cpp): the macro registers at load, as the framework wants it
BENCHMARK(bare)
    ->Name("body_memory/bare")
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(library)
    ->Name("body_memory/library")
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
// NOLINTEND(cert-err58-cpp)

}  // namespace

int main(int count, char** arguments) {
    const bench::LocalServer local(BodySize);
    server = &local;
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
