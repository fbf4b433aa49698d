// Takes a body by a stream of its own, piece by piece: counts the lines of a page of any size, and
// refuses a body beyond a limit.
//
//   output_stream URL LIMIT

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include <net/http/http.hpp>

namespace {

class LineCounter final : public Object, public Interfaces::Stream {
public:
    explicit LineCounter(std::uint64_t limit) : room_(limit) {}

    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        if (size > room_) {
            Error::set(ErrNotSupported);  // a write that takes less than it is given fails
            return 0;
        }
        room_ -= size;
        const std::string_view piece(reinterpret_cast<const char*>(buffer.data()), size);
        lines_ += std::count(piece.begin(), piece.end(), '\n');
        return static_cast<std::int64_t>(size);
    }
    [[nodiscard]] std::int64_t lines() const { return lines_; }

private:
    std::uint64_t room_;
    std::int64_t lines_ = 0;
};

}  // namespace

int main(int count, char** arguments) {
    using Libraries::Networks::HTTP::Client::Request;
    if (count != 3) {
        std::cerr << "usage: output_stream URL LIMIT\n";
        return 2;
    }
    const auto counter = Ref<LineCounter>::make(std::strtoull(arguments[2], nullptr, 10));
    const auto response = Request::create()->setUrl(arguments[1])->perform(counter);
    if (!response) {
        std::cerr << Error::describe() << '\n';
        return 1;
    }
    std::cout << counter->lines() << " lines, " << response->bodySize() << " bytes\n";
}
