// Input: switches (see `Scenario`), a digit N, N octets that are the sizes of receives in turn, then
// the answers of the connections, with "<next>" between them. "<64k>" stands for a long text.

#include <tuple>

#include "platform/runtime/error.hpp"
#include "platform/streams/adapters.hpp"

#include "fuzz/memory_network.hpp"
#include "fuzz/plain_exchange.hpp"
#include "fuzz/quiet_log.hpp"
#include "fuzz/target.hpp"
#include "net/http/http.hpp"

namespace {

using namespace Libraries::Networks::HTTP::Client;  // NOLINT(google-build-using-namespace)

constexpr std::string_view UploadBody = "a body to send";

/// How the request is made.
struct Scenario {
    explicit Scenario(unsigned switches)
        : noRedirect((switches & 1U) != 0),
          verbose((switches & 2U) != 0),
          version11((switches & 4U) != 0),
          toStream((switches & 8U) != 0),
          fullStream(toStream && (switches & 0x10U) != 0),
          cancelled((switches & 0x20U) != 0),
          upload((switches & 0x40U) != 0),
          reset((switches & 0x80U) != 0) {}
    /// Ends that depend on how many pieces the body comes in.
    [[nodiscard]] bool stopsEarly() const { return fullStream || cancelled; }
    /// Tells whether an exchange may have ended before its rules say so.
    [[nodiscard]] bool mayStopWith(std::uint32_t code) const {
        return (cancelled && code == ErrCancelled) || (fullStream && code == ErrTransfer);
    }

    bool noRedirect;
    bool verbose;
    bool version11;
    bool toStream;
    bool fullStream;
    bool cancelled;
    bool upload;
    bool reset;  // the connection ends in a failure
};

/// All that the caller can see of an exchange.
struct Result {
    bool answered = false;
    std::uint32_t code = 0;
    std::uint64_t status = 0;
    std::string reason;
    std::vector<std::pair<std::string, std::string>> fields;
    std::string url;
    bool redirected = false;
    std::vector<std::string> sent;
    std::vector<std::string> records;

    friend bool operator==(const Result&, const Result&) = default;
};

std::string plain(const Ref<String>& text) {
    return text ? std::string(text->view()) : "(null)";
}

/// Replaces the marks of a long text. @param left  How many more, for the sake of time.
std::string stretched(std::string_view text, unsigned& left) {
    constexpr std::string_view mark = "<64k>";
    std::string result(text);
    for (std::size_t at = 0; left > 0 && (at = result.find(mark, at)) != result.npos; --left) {
        result.replace(at, mark.size(), std::size_t{0x10000}, 'x');
    }
    return result;
}

Ref<Request> requestOf(const Scenario& scenario) {
    Request::Flag flags[] = {Request::Flag::NoRedirect, Request::Flag::Verbose};
    Definitions::Set<Request::Flag> set =
        Request::Flag::DisallowHttps;  // TLS is not for this target
    if (scenario.noRedirect) {
        set.add(flags[0]);
    }
    if (scenario.verbose) {
        set.add(flags[1]);
    }
    Ref<Request> request = Request::create(set)->setUrl("http://server/path?query");
    if (scenario.version11) {
        request->setVersion(Request::Version::Http11);
    }
    if (scenario.upload) {
        request->setBody(MemInStrm::create(UploadBody));
    }
    if (scenario.cancelled) {
        request->cancelWhen([asked = 0]() mutable { return ++asked > 2; });
    }
    return request;
}

/// @param body  Takes what was delivered to a stream, or what the response keeps.
Result perform(const Scenario& scenario, std::string& body) {
    fuzz::quietLog();
    memoryNetwork().sent.clear();
    const Ref<Request> request = requestOf(scenario);
    std::byte room[8];
    Ref<Interfaces::Stream> output;
    if (scenario.toStream) {
        output = scenario.fullStream ? Streams::to(std::span(room)) : Streams::to(body);
    }
    Result result;
    const Ref<Response> response = request->perform(output, 0);
    result.code = response ? 0 : Error::get();
    result.answered = static_cast<bool>(response);
    result.sent = memoryNetwork().sent;
    result.records = fuzz::records();
    fuzz::require(memoryNetwork().open == 0, "every connection is closed");
    fuzz::require(!output || output->referenceCount() == 1, "the output stream is given back");
    if (!response) {
        return result;
    }
    result.status = response->statusCode();
    result.reason = plain(response->reasonPhrase());
    result.url = plain(response->url());
    result.redirected = response->wasRedirected();
    for (const auto& [name, value] : response->headerFields()) {
        result.fields.emplace_back(name->view(), value->view());
    }
    if (!scenario.toStream) {
        body = response->body();
    }
    fuzz::require(response->bodySize() == body.size() || scenario.fullStream,
                  "the size is that of what was delivered");
    return result;
}

void requireSoundness(const Scenario& scenario, const Result& result) {
    fuzz::require(result.answered || result.code == ErrTransfer || result.code == ErrCancelled ||
                      result.code == ErrInvalidArgument,
                  "a failure has a code of the interface");
    const std::vector<std::string>& log = result.records;
    fuzz::require(result.answered || result.code == ErrCancelled ||
                      std::any_of(log.begin(), log.end(),
                                  [](const std::string& text) { return text.starts_with("4 "); }),
                  "a failure has a record");
    for (const std::string& head : result.sent) {
        const std::size_t end = head.find("\r\n\r\n");
        fuzz::require(end != head.npos, "a whole head is sent");
        fuzz::require(head.starts_with("GET /"), "a head begins with the method and a path");
        const std::string body = head.substr(end + 4);
        fuzz::require(body == (scenario.upload ? UploadBody : "") ||
                          (result.code == ErrCancelled && UploadBody.starts_with(body)),
                      "each hop sends the whole body");
    }
}

void requireEnding(const plain_exchange::Ending& ending, const Result& result) {
    fuzz::require(result.code == ending.code, "the exchange ends as its rules say");
    fuzz::require(result.sent.size() == ending.connections, "each hop has its connection");
    if (!result.answered) {
        return;
    }
    fuzz::require(result.status == ending.status && result.reason == ending.reason,
                  "the status line is read");
    fuzz::require(result.url == ending.url && result.redirected == ending.redirected,
                  "the URL is that of the last hop");
    fuzz::require(result.fields.size() == ending.fields.size(), "there are as many fields");
    for (const auto& [name, value] : result.fields) {
        const auto field = ending.fields.find(plain(Ref<String>(name)->lowerCase()));
        fuzz::require(field != ending.fields.end() && field->second == value,
                      "the fields are read");
    }
}

/// @param body  What was delivered.
void requireBody(const plain_exchange::Ending& ending, const std::string& body) {
    // With a length, what came along in the piece that reached it is delivered as well.
    fuzz::require(ending.body.starts_with(body) && body.size() >= ending.leastOfBody,
                  "the body is what was behind the head");
}

}  // namespace

/// An exchange ends as a plain rewrite of its rules does, the same way whatever pieces its answers arrive
/// in, and leaves nothing behind.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const Scenario scenario(input.switches());
    const std::string_view pieces = input.take(input.octet() & 7U);
    MemoryNetwork& network = memoryNetwork();
    network = {};
    network.endCode = scenario.reset ? ErrHostBase + 104 : ErrEndOfStream;
    unsigned marks = scenario.verbose ? 0 : 18;  // a dump of so much takes its time
    while (!input.empty()) {
        network.answers.push_back(stretched(input.until("<next>"), marks));
    }
    std::string whole;
    const Result inOnePiece = perform(scenario, whole);
    network.pieces.assign(pieces.begin(), pieces.end());
    std::string cut;
    const Result inPieces = perform(scenario, cut);

    fuzz::require(scenario.stopsEarly() || inPieces == inOnePiece, "the pieces make no difference");
    const auto ending = plain_exchange::endingOf(network.answers, !scenario.noRedirect);
    for (const auto& [result, body] : {std::tie(inOnePiece, whole), std::tie(inPieces, cut)}) {
        requireSoundness(scenario, result);
        if (scenario.mayStopWith(result.code)) {
            continue;
        }
        requireEnding(ending, result);
        if (result.answered && !scenario.fullStream) {
            requireBody(ending, body);
        }
    }
    return 0;
}
