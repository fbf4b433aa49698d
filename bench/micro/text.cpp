// Strings in, strings out: the splitter, the encoder, the decoder, the redirect target.

#include <string>

#include "bench/micro/samples.hpp"
#include "net/http/engine/redirect.hpp"
#include "net/http/engine/request_head.hpp"
#include "net/http/text/url_split.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

using bench::finish;
using bench::repeated;
using bench::sizeOf;

void splitUrl(benchmark::State& state) {
    const std::string tail = repeated("segment/", sizeOf(state));
    const Ref<String> url = "https://www.example.org:8443/" + tail;
    Ref<String> protocol;
    Ref<String> host;
    Ref<String> path;
    std::uint16_t port = 0;
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(splitUrlCore(url, protocol, host, port, path, {}));
    }
    finish(state,
           protocol == "https" && host == "www.example.org" && port == 8443 && path == "/" + tail);
}

/// @param sample  What the text repeats. @param perOctet  How many octets come out for each.
void encode(benchmark::State& state, const char* sample, std::size_t perOctet) {
    const Ref<String> text = repeated(sample, sizeOf(state));
    Ref<String> encoded;
    while (state.KeepRunning()) {
        encoded = Request::httpEncode(text);
    }
    finish(state, encoded && encoded->length() == perOctet * sizeOf(state));
}

/// @param shrink  How many octets of the text make one of the result.
void decode(benchmark::State& state, const char* sample, std::size_t shrink) {
    const Ref<String> text = repeated(sample, sizeOf(state));
    Ref<String> decoded;
    while (state.KeepRunning()) {
        decoded = Request::httpDecode(text);
    }
    finish(state, decoded && decoded->length() == sizeOf(state) / shrink);
}

/// @param segment  Of a path whose end alone needs an escape.
void target(benchmark::State& state, const char* segment) {
    const std::string start = repeated(segment, sizeOf(state));
    const Ref<String> path = start + " ";
    Ref<String> rewritten;
    while (state.KeepRunning()) {
        rewritten = path;
        requestTarget(rewritten);
    }
    finish(state, rewritten == start + "%20");
}

/// @param start  How the Location begins. @param segment  What it goes on with.
void redirect(benchmark::State& state, const char* start, const char* segment) {
    const std::string location = start + repeated(segment, sizeOf(state));
    const HopTarget hop = {"http", "www.example.org", 80, "/a/b/c"};
    Ref<String> url;
    while (state.KeepRunning()) {
        url = redirectTarget(location, "http://www.example.org/a/b/c", hop);
    }
    finish(state, url && url->view().starts_with("http://www.example.org"));
}

// NOLINTBEGIN(cert-err58-cpp): the macro registers at load, as the framework wants it
BENCHMARK(splitUrl)->Name("split_url")->Apply(bench::linearInText);
BENCHMARK_CAPTURE(encode, kept, "abcdefgh", 1)
    ->Name("encode/nothing_to_escape")
    ->Apply(bench::linearInText);
BENCHMARK_CAPTURE(encode, escaped, "%:/?", 3)
    ->Name("encode/all_escaped")
    ->Apply(bench::linearInText);
BENCHMARK_CAPTURE(encode, utf8, "\xF0\x9F\x98\x80\xC3\xA9\xC3\xA9", 3)
    ->Name("encode/beyond_ascii")
    ->Apply(bench::linearInText);
BENCHMARK_CAPTURE(decode, none, "abcdefgh", 1)
    ->Name("decode/nothing_escaped")
    ->Apply(bench::linearInText);
BENCHMARK_CAPTURE(decode, escaped, "%20%7eA+%C3%a9++", 2)
    ->Name("decode/half_escaped")
    ->Apply(bench::linearInText);
BENCHMARK_CAPTURE(decode, waiting, "%E2%82ab", 1)
    ->Name("decode/unfinished_characters")
    ->Apply(bench::linearInText);
BENCHMARK_CAPTURE(target, segments, "/segment")
    ->Name("request_target/segments")
    ->Apply(bench::linearInText);
BENCHMARK_CAPTURE(target, slashes, "/")
    ->Name("request_target/slashes_alone")
    ->Apply(bench::linearInText);
BENCHMARK_CAPTURE(redirect, path, "/", "segment/")
    ->Name("redirect_target/path")
    ->Apply(bench::linearInText);
BENCHMARK_CAPTURE(redirect, absolute, "http://www.example.org/", "segment/")
    ->Name("redirect_target/absolute")
    ->Apply(bench::linearInText);
BENCHMARK_CAPTURE(redirect, relative, "", "segment/")
    ->Name("redirect_target/relative")
    ->Apply(bench::linearInText);
BENCHMARK_CAPTURE(redirect, dots, "./", "a/b/../")
    ->Name("redirect_target/dot_segments")
    ->Apply(bench::linearInText);
BENCHMARK_CAPTURE(redirect, colons, "", "::/")
    ->Name("redirect_target/false_marks")
    ->Apply(bench::linearInText);
// NOLINTEND(cert-err58-cpp)

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
