// What a record costs that the log does not want, and one that it does.

#include "net/http/transport/log.hpp"

#include <string>

#include "bench/micro/samples.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

std::size_t octets = 0;

void count(std::uint32_t, const char*, std::string_view text) {
    octets += text.size();
}

/// Has records counted, from a level on, as long as it lives.
class CountedLog {
public:
    explicit CountedLog(Level level) : previous_(SysLogFilter::level()) {
        SysLogFilter::setLevel(static_cast<std::uint32_t>(level));
        SysLogStream::setSink(count);
        octets = 0;
    }
    CountedLog(const CountedLog&) = delete;
    CountedLog& operator=(const CountedLog&) = delete;
    ~CountedLog() {
        SysLogStream::setSink(nullptr);
        SysLogFilter::setLevel(previous_);
    }

private:
    std::uint32_t previous_;
};

void write(std::string_view url) {
    if (LogRecord record{Channel::HttpClient, Level::Warning}) {
        record << "Failed to send data to " << url << "; error: " << hexDec(std::uint32_t{0x8443});
    }
}

constexpr std::size_t FixedOctets =
    std::string_view("Failed to send data to ; error: 8443h (33859)").size();

void disabled(benchmark::State& state) {
    const CountedLog log(Level::Failure);
    const std::string url = "http://www.example.org/folder/page";
    while (state.KeepRunning()) {
        write(url);
    }
    bench::check(state, octets == 0);
}

void enabled(benchmark::State& state) {
    const CountedLog log(Level::Trace);
    const std::string url = "http://www.example.org/folder/page";
    std::size_t records = 0;
    while (state.KeepRunning()) {
        write(url);
        ++records;
    }
    bench::check(state, octets == records * (FixedOctets + url.size()));
}

void enabledLong(benchmark::State& state) {
    const CountedLog log(Level::Trace);
    const std::string url = bench::repeated("segment/", bench::sizeOf(state));
    std::size_t records = 0;
    while (state.KeepRunning()) {
        write(url);
        ++records;
    }
    bench::finish(state, octets == records * (FixedOctets + url.size()));
}

// NOLINTBEGIN(cert-err58-cpp): the macro registers at load, as the framework wants it
BENCHMARK(disabled)->Name("log_record/disabled");
BENCHMARK(enabled)->Name("log_record/enabled");
BENCHMARK(enabledLong)
    ->Name("log_record/enabled_long")
    // Longer texts are blocks of fresh pages, and those cost more than the text.
    ->RangeMultiplier(4)
    ->Range(1 << 9, 1 << 15)
    ->Complexity(benchmark::oN);
// NOLINTEND(cert-err58-cpp)

}  // namespace
}  // namespace Libraries::Networks::HTTP::Utils
