// Input: the number of octets that one read of the stream answers at most, then a script: an octet
// (the room of a gets, or 0xFF and the size of a read, or 0xFE: back to the start), and behind a line
// feed the text of the stream.

#include <openssl/bio.h>

#include "platform/streams/streams.hpp"

#include "fuzz/quiet_log.hpp"
#include "fuzz/target.hpp"
#include "net/http/tls/stream_bio.hpp"

namespace {

/// A text that is read in pieces.
class Source final : public Object, public virtual Interfaces::Stripe {
public:
    Source(std::string_view text, std::size_t piece) : text_(text), piece_(piece) {}
    std::int64_t read(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        const std::string_view taken = text_.substr(at_, std::min(piece_, std::size_t{size}));
        std::copy(taken.begin(), taken.end(), buffer.data());
        at_ += taken.size();
        return static_cast<std::int64_t>(taken.size());
    }
    std::uint64_t setPosition(std::uint64_t position) override { return at_ = position; }
    std::uint64_t position() override { return at_; }
    std::uint64_t length() override { return text_.size(); }

private:
    std::string_view text_;
    std::size_t piece_;
    std::size_t at_ = 0;
};

/// The same in the plainest way: what was read ahead is a text.
class PlainBio {
public:
    PlainBio(std::string_view text, std::size_t piece) : text_(text), piece_(piece) {}

    std::string gets(std::size_t room) {
        constexpr std::size_t mostAhead = 1024;
        std::string line;
        while (line.size() + 1 < room) {
            if (ahead_.empty()) {
                ahead_ = read(mostAhead);
            }
            if (ahead_.empty()) {
                break;
            }
            line += ahead_.front();
            ahead_.erase(0, 1);
            if (line.back() == '\n') {
                break;
            }
        }
        return line;
    }
    std::string read(std::size_t size) {
        std::string taken(text_.substr(at_, std::min(piece_, size)));
        at_ += taken.size();
        return taken;
    }
    void reset() {
        ahead_.clear();
        at_ = 0;
    }

private:
    std::string_view text_;
    std::string ahead_;
    std::size_t piece_;
    std::size_t at_ = 0;
};

/// Runs one call on both. A buffer of just the given room: a sanitizer sees what is written behind.
void step(BIO* bio, PlainBio& plain, fuzz::Input& script) {
    const std::uint8_t what = script.octet();
    if (what == 0xFE) {
        fuzz::require(BIO_reset(bio) == 1, "a source with a position can go back");
        plain.reset();
        return;
    }
    const bool reads = what == 0xFF;
    const std::size_t room = reads ? script.octet() : std::size_t{what} * what / 16;
    std::string buffer(room, '#');
    const auto size = static_cast<int>(room);
    const int count =
        reads ? BIO_read(bio, buffer.data(), size) : BIO_gets(bio, buffer.data(), size);
    const std::string expected = reads ? plain.read(room) : plain.gets(room);
    fuzz::require(count == static_cast<int>(expected.size()), "as many octets as there should be");
    const std::string_view got = buffer;
    fuzz::require(got.starts_with(expected), "the octets are the right ones");
    fuzz::require(reads || room < 2 || buffer[expected.size()] == '\0', "a line ends with NUL");
}

}  // namespace

/// Lines and reads come out of a stream as out of a plain rewrite, whatever pieces it is read in.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Libraries::Networks::HTTP::Utils::BioPtr;
    fuzz::quietLog();
    fuzz::Input input(data, size);
    const std::size_t piece = std::size_t{input.octet()} * 8 + 1;
    const std::string_view calls = input.until("\n");
    fuzz::Input script(reinterpret_cast<const std::uint8_t*>(calls.data()), calls.size());
    const auto source = Ref<Source>::make(input.rest(), piece);
    {
        const BioPtr bio = Libraries::Networks::HTTP::Utils::createBioOver(*source);
        PlainBio plain(input.rest(), piece);
        while (!script.empty()) {
            step(bio.get(), plain, script);
        }
    }
    fuzz::require(source->referenceCount() == 1, "the BIO gives its reference back");
    return 0;
}
