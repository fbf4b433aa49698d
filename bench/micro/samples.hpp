#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>

#include "net/http/http.hpp"

/// What the micro-benchmarks work on.
namespace bench {

/// Repeats a text up to `size` octets exactly.
inline std::string repeated(std::string_view text, std::size_t size) {
    std::string result;
    result.reserve(size + text.size());
    while (result.size() < size) {
        result += text;
    }
    result.resize(size);
    return result;
}

/// Answers distinct names of one length; they do not come in the order of the map.
inline std::string fieldName(std::uint64_t number) {
    constexpr std::uint64_t Odd = 40503;  // without a factor of 65536: no number comes twice
    return "X-Field-" + std::to_string(100000 + number * Odd % 65536);
}

/// Answers the head of a response with a number of distinct fields.
inline std::string responseHead(std::uint64_t fields) {
    std::string head = "HTTP/1.1 200 OK\r\n";
    for (std::uint64_t i = 0; i < fields; ++i) {
        head += fieldName(i) + ": a value of some length, as servers send it\r\n";
    }
    return head + "\r\n";
}

/// For `Apply`: what has to be linear in the size of a text.
inline void linearInText(benchmark::internal::Benchmark* benchmark) {
    benchmark->RangeMultiplier(4)->Range(1 << 10, 1 << 18)->Complexity(benchmark::oN);
}

/// For `Apply`: what has to be linear in the bytes of a head, of which 1 MiB fits the buffer.
inline void linearInHead(benchmark::internal::Benchmark* benchmark) {
    benchmark->RangeMultiplier(4)->Range(1 << 14, 1 << 20)->Complexity(benchmark::oN);
}

/// For `Apply`: what has to be linear-logarithmic in the number of fields.
inline void logarithmicPerField(benchmark::internal::Benchmark* benchmark) {
    benchmark->RangeMultiplier(4)->Range(64, 10000)->Complexity(benchmark::oNLogN);
}

/// Answers the size that a benchmark is run for.
inline std::size_t sizeOf(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

/// Ends a benchmark: a wrong result has no time. Its label fails bench/micro/run; the framework's
/// own way, an error, ends the program when every size of a fitted benchmark takes it.
inline void check(benchmark::State& state, bool isRight) {
    if (!isRight) {
        state.SetLabel("wrong result");
    }
}

/// As above, where every size takes part in a fit.
inline void finish(benchmark::State& state, bool isRight) {
    check(state, isRight);
    state.SetComplexityN(state.range(0));
}

}  // namespace bench
