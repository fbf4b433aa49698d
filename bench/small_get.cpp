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
    for (auto _ : state) {
        if (bench::bareGet(server->port(), head, buffer.data(), buffer.size()) < BodySize) {
            state.SkipWithError("no response");
            return;
        }
    }
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
}

void add(const char* name, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, function)
        ->Iterations(Exchanges)
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);
}

}  // namespace

int main(int count, char** arguments) {
    const bench::LocalServer local(BodySize);
    server = &local;
    benchmark::Initialize(&count, arguments);
    add("small_get/bare", bare);
    add("small_get/library", library);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
