// `String` and `Ref`: what everything else is made of.

#include <string>
#include <utility>

#include "bench/micro/samples.hpp"

namespace {

using bench::finish;
using bench::repeated;
using bench::sizeOf;

void stringCreate(benchmark::State& state) {
    const std::string text = repeated("octet", sizeOf(state));
    Ref<String> string;
    while (state.KeepRunning()) {
        string = String::create(text);
    }
    finish(state, string == text);
}

void stringConcat(benchmark::State& state) {
    const std::string text = repeated("octet", sizeOf(state) / 2);
    Ref<String> string;
    while (state.KeepRunning()) {
        string = String::concat({text, text});
    }
    finish(state, string && string->length() == sizeOf(state));
}

void stringCompareLowered(benchmark::State& state) {
    const std::string lower = repeated("octet", sizeOf(state));
    const std::string upper = repeated("OCTET", sizeOf(state));
    int difference = 1;
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(difference = String::compareLowered(lower, upper));
    }
    finish(state, difference == 0);
}

void stringCodePoints(benchmark::State& state) {
    const Ref<String> text = repeated("\xE2\x82\xAC\xF0\x9F\x98\x80!", sizeOf(state));
    std::size_t count = 0;
    while (state.KeepRunning()) {
        Heap::free(text->copyCodePoints(&count), Heap::Array);
    }
    finish(state, count == sizeOf(state) / 8 * 3);
}

void refCopy(benchmark::State& state) {
    const Ref<String> text = "text";
    while (state.KeepRunning()) {
        Ref<String> copy = text;
        benchmark::DoNotOptimize(copy);
    }
    bench::check(state, text->referenceCount() == 1);
}

void refMove(benchmark::State& state) {
    Ref<String> text = "text";
    while (state.KeepRunning()) {
        Ref<String> moved = std::move(text);
        benchmark::DoNotOptimize(moved);
        text = std::move(moved);
        benchmark::DoNotOptimize(text);
    }
    bench::check(state, text->referenceCount() == 1);
}

void refAs(benchmark::State& state) {
    const Ref<Object> object = Ref<String>("text");
    Ref<String> text;
    while (state.KeepRunning()) {
        text = object.as<String>();
        benchmark::DoNotOptimize(text);
    }
    bench::check(state, text == "text");
}

// NOLINTBEGIN(cert-err58-cpp): the macro registers at load, as the framework wants it
BENCHMARK(stringCreate)->Name("string/create_short")->Arg(16);
BENCHMARK(stringCreate)->Name("string/create")->Apply(bench::linearInText);
BENCHMARK(stringConcat)->Name("string/concat")->Apply(bench::linearInText);
BENCHMARK(stringCompareLowered)->Name("string/compare_lowered")->Apply(bench::linearInText);
BENCHMARK(stringCodePoints)->Name("string/code_points")->Apply(bench::linearInText);
BENCHMARK(refCopy)->Name("ref/copy");
BENCHMARK(refMove)->Name("ref/move_twice");
BENCHMARK(refAs)->Name("ref/as");
// NOLINTEND(cert-err58-cpp)

}  // namespace
