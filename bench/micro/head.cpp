// The bytes of a request head, and the parser of a response head without a connection.

#include <algorithm>
#include <string>

#include "bench/micro/samples.hpp"
#include "net/http/engine/request_head.hpp"
#include "net/http/engine/response_head.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

using bench::finish;
using bench::repeated;
using bench::responseHead;
using bench::sizeOf;

constexpr std::uint64_t UsualFields = 12;

/// Parses a head that arrives in pieces, as the receive loop hands them on: what was not consumed
/// comes again, with the next piece behind it.
class Parse {
public:
    explicit Parse(std::string_view bytes) noexcept : bytes_(bytes) {}

    ResponseHead::State run(std::size_t piece) {
        ResponseHead::State state = ResponseHead::State::Incomplete;
        std::size_t start = 0;
        for (std::size_t end = 0;
             state == ResponseHead::State::Incomplete && end < bytes_.size();) {
            end = std::min(end + piece, bytes_.size());
            state = head_.consume(bytes_.substr(start, end - start));
            start = end - head_.rest().size();
        }
        return state;
    }
    [[nodiscard]] std::size_t fields() const noexcept { return head_.fields().size(); }

private:
    std::string_view bytes_;
    const RequestObj request_{Flags()};
    const HopTarget hop_;
    RedirectState redirects_;
    ResponseHead head_{request_, hop_, redirects_};
};

void parse(benchmark::State& state, std::string_view head, std::size_t piece,
           std::size_t expected) {
    bool isRight = false;
    while (state.KeepRunning()) {
        Parse parse(head);
        isRight = parse.run(piece) == ResponseHead::State::Ended && parse.fields() == expected;
    }
    bench::check(state, isRight);
}

/// @param piece  The most bytes of a read.
void parseUsual(benchmark::State& state, std::size_t piece) {
    parse(state, responseHead(UsualFields), piece, UsualFields);
}

void parseFields(benchmark::State& state, std::size_t piece) {
    parse(state, responseHead(sizeOf(state)), piece, sizeOf(state));
    state.SetComplexityN(state.range(0));
}

/// @param line  What repeats up to the size, of which its own is a divisor.
void parseLines(benchmark::State& state, const char* line, std::size_t piece) {
    const std::string head = "HTTP/1.1 200 OK\r\n" + repeated(line, sizeOf(state)) + "\r\n\r\n";
    parse(state, head, piece, 1);
    state.SetComplexityN(state.range(0));
}

/// One line of the size, its end included.
void parseLongLine(benchmark::State& state, std::size_t piece) {
    const std::string head =
        "HTTP/1.1 200 OK\r\nLong: " + repeated("value ", sizeOf(state) - 9) + "v\r\n\r\n";
    parse(state, head, piece, 1);
    state.SetComplexityN(state.range(0));
}

void serialise(benchmark::State& state) {
    const auto request = Ref<RequestObj>::make(Flags());
    request->setMethod(Request::Method::Get);
    for (std::uint64_t i = 0; i < sizeOf(state); ++i) {
        request->setHeaderField(bench::fieldName(i), "a value of some length, as clients send it");
    }
    const Ref<String> host = "www.example.org";
    const Ref<String> target = "/folder/page";
    std::size_t size = 0;
    while (state.KeepRunning()) {
        size = buildRequestHead(*request, host, target).bytes.size();
    }
    finish(state, size > 60 * sizeOf(state));
}

constexpr std::size_t Whole = ~std::size_t{0} / 2;

// NOLINTBEGIN(cert-err58-cpp): the macro registers at load, as the framework wants it
BENCHMARK(serialise)
    ->Name("serialise_head/fields")
    // More fields outgrow the second-level cache, and the map's nodes then cost more each.
    ->RangeMultiplier(4)
    ->Range(16, 2048)
    ->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(parseUsual, whole, Whole)->Name("parse_head/12_fields/whole");
BENCHMARK_CAPTURE(parseUsual, by_byte, 1)->Name("parse_head/12_fields/by_byte");
BENCHMARK_CAPTURE(parseFields, whole, Whole)
    ->Name("parse_head/distinct_fields/whole")
    ->Apply(bench::logarithmicPerField);
BENCHMARK_CAPTURE(parseFields, by_byte, 1)
    ->Name("parse_head/distinct_fields/by_byte")
    ->Apply(bench::logarithmicPerField);
BENCHMARK_CAPTURE(parseLines, crLf, "Name: the text\r\n", Whole)
    ->Name("parse_head/lines/whole")
    ->Apply(bench::linearInHead);
BENCHMARK_CAPTURE(parseLines, crLfByByte, "Name: the text\r\n", 1)
    ->Name("parse_head/lines/by_byte")
    ->Apply(bench::linearInHead);
BENCHMARK_CAPTURE(parseLines, cr, "Na:\r", Whole)
    ->Name("parse_head/lines_of_cr/whole")
    ->Apply(bench::linearInHead);
BENCHMARK_CAPTURE(parseLines, lf, "Na:\n", Whole)
    ->Name("parse_head/lines_of_lf/whole")
    ->Apply(bench::linearInHead);
BENCHMARK_CAPTURE(parseLongLine, whole, Whole)
    ->Name("parse_head/long_line/whole")
    ->Apply(bench::linearInHead);
BENCHMARK_CAPTURE(parseLongLine, by_byte, 1)
    ->Name("parse_head/long_line/by_byte")
    ->Apply(bench::linearInHead);
// NOLINTEND(cert-err58-cpp)

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
