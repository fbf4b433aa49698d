// The receive loop with reads of one byte: the most that a server can make of a head's bytes.

#include "net/http/engine/download.hpp"

#include <string>

#include "bench/micro/samples.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

/// A connection that has all its bytes and hands them out one by one.
class ByteByByte final : public Object, public virtual Utils::NetStream {
public:
    explicit ByteByByte(std::string_view bytes) noexcept : bytes_(bytes) {}

    std::int64_t read(TransferBuffer buffer, std::uint64_t, std::uint32_t) override {
        if (next_ == bytes_.size()) {
            return 0;
        }
        *buffer.data() = static_cast<std::uint8_t>(bytes_[next_++]);
        return 1;
    }
    std::int64_t write(TransferBuffer, std::uint64_t, std::uint32_t) override { return 0; }

private:
    std::string_view bytes_;
    std::size_t next_ = 0;
};

/// One line of the size, its end included; 1 MiB is the longest that the buffer takes.
void longLine(benchmark::State& state) {
    const std::string line = "Long: " + bench::repeated("value ", bench::sizeOf(state) - 9) + "v";
    const std::string head = "HTTP/1.1 200 OK\r\n" + line + "\r\n\r\n";
    const RequestObj request{Flags()};
    const HopTarget hop;
    bool isRight = false;
    while (state.KeepRunning()) {
        RedirectState redirects;
        ResponseHead parsed(request, hop, redirects);
        ByteByByte stream(head);
        Download download(request, stream, nullptr, parsed);
        isRight = download.run() && !parsed.inHead() && parsed.fields().size() == 1;
    }
    bench::finish(state, isRight);
}

// NOLINTNEXTLINE(cert-err58-cpp): the macro registers at load, as the framework wants it
BENCHMARK(longLine)->Name("receive/long_line/by_byte")->Apply(bench::linearInHead);

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
