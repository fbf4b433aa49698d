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
    for (auto _ : state) {
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
    for (auto _ : state) {
        const auto response = Request::create({})->setUrl(url)->perform(0);
        if (!response || response->bodySize() != BodySize) {
            state.SkipWithError("no response");
            return;
        }
    }
    countBytes(state);
}

void add(const char* name, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, function)
        ->Iterations(1)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int count, char** arguments) {
    const bench::LocalServer local(BodySize);
    server = &local;
    benchmark::Initialize(&count, arguments);
    add("body_memory/bare", bare);
    add("body_memory/library", library);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
