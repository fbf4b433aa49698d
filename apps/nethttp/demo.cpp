// The guided tour. Each step says what it does, how to do it with the program and in C++, does it,
// and looks whether the outcome is what it promised.

#include "demo.hpp"

#include <array>
#include <charconv>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/runtime/error.hpp"

#include "demo_world.hpp"
#include "messages.hpp"
#include "output.hpp"
#include "text.hpp"

using namespace Libraries::Networks::HTTP::Client;  // NOLINT(google-build-using-namespace): as the
                                                    // code that the steps print

namespace cli {

namespace {

/// What a step came to: whether it kept its promise, and what there is to see.
struct Outcome {
    bool kept;
    std::string text;
};

struct Step {
    const char* title;
    const char* program;
    const char* code;
    Outcome (*take)(const DemoWorld& world);
};

Ref<String> urlOf(const DemoServer& server, std::string_view path) {
    return stringOf(server.url(path));
}

std::string_view bodyOf(const Response& response) {
    return {static_cast<const char*>(response.bodyData()),
            static_cast<std::size_t>(response.bodySize())};
}

Outcome failure() {
    return {false, "no response: " + textOf(Error::describe(Error::get())) + '\n'};
}

std::string statusOf(const Response& response) {
    return "status:   " + std::to_string(response.statusCode()) + ' ' +
           textOf(response.reasonPhrase()) + '\n';
}

Outcome getPage(const DemoWorld& world) {
    const Ref<Request> request = Request::create({})->setUrl(urlOf(world.plain(), "/hello"));
    const Ref<Response> response = request->perform(0);
    if (!response) {
        return failure();
    }
    const auto type = response->headerFields().find("content-type");
    const bool typed = type != response->headerFields().end();
    const bool kept = response->statusCode() == 200 && typed &&
                      type->second->equals("text/plain") && !response->wasRedirected() &&
                      bodyOf(*response) == DemoServer::greeting;
    return {kept, statusOf(*response) + "type:     " + (typed ? textOf(type->second) : "(none)") +
                      "\npeer:     " + textOf(request->peerAddress()) +
                      "\nbody:     " + std::string(bodyOf(*response))};
}

/// Keeps the fractions that an exchange tells.
class Fractions final : public Object, public ProgressCallback {
public:
    void progress(double fraction) override { told_.push_back(fraction); }
    [[nodiscard]] const std::vector<double>& told() const { return told_; }

private:
    std::vector<double> told_;
};

Outcome upload(const DemoWorld& world) {
    const std::string bytes(3U << 20U, 'x');
    const auto fractions = Ref<Fractions>::make();
    const Ref<Response> response = Request::create({})
                                       ->setUrl(urlOf(world.plain(), "/upload"))
                                       ->setMethod(Request::Method::Post)
                                       ->setBody(MemInStrm::borrow(bytes.data(), bytes.size()))
                                       ->setUploadProgressCallback(fractions)
                                       ->perform(0);
    if (!response) {
        return failure();
    }
    std::ostringstream shown;
    shown << "progress:";
    shown.precision(2);
    for (const double fraction : fractions->told()) {
        shown << ' ' << fraction;
    }
    const bool kept = response->statusCode() == 201 &&
                      world.plain().receivedBytes() == bytes.size() &&
                      fractions->told().size() >= 3 && fractions->told().front() == 0.0 &&
                      fractions->told().back() == 1.0;
    return {kept, statusOf(*response) + shown.str() + "\nreceived: " +
                      std::to_string(world.plain().receivedBytes()) + " bytes at the server\n"};
}

Outcome followRedirect(const DemoWorld& world) {
    const Ref<Response> response =
        Request::create({})->setUrl(urlOf(world.plain(), "/old"))->perform(0);
    if (!response) {
        return failure();
    }
    const bool kept = response->statusCode() == 200 && response->wasRedirected() &&
                      response->url()->equals(world.plain().url("/hello")) &&
                      bodyOf(*response) == DemoServer::greeting;
    return {kept, statusOf(*response) +
                      "was redirected: " + (response->wasRedirected() ? "yes" : "no") +
                      "\nURL that answered: " + textOf(response->url()) + '\n'};
}

Outcome refuseRedirect(const DemoWorld& world) {
    const Ref<Response> response = Request::create(Request::Flag::NoRedirect)
                                       ->setUrl(urlOf(world.plain(), "/old"))
                                       ->perform(0);
    if (!response) {
        return failure();
    }
    const auto location = response->headerFields().find("Location");
    const bool located = location != response->headerFields().end();
    const bool kept = response->statusCode() == 302 && located &&
                      location->second->equals("/hello") && bodyOf(*response) == "It has moved.\n";
    return {kept, statusOf(*response) +
                      "location: " + (located ? textOf(location->second) : "(none)") + '\n'};
}

Outcome breakOff(const DemoWorld& world) {
    const Ref<MemOutStrm> arrived = MemOutStrm::create();
    const Ref<Response> response =
        Request::create({})->setUrl(urlOf(world.plain(), "/broken"))->perform(arrived, 0);
    const std::uint32_t code = Error::get();
    if (response) {
        return {false, statusOf(*response)};
    }
    std::array<char, 16> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), code, 16).ptr;
    const char* const name = Error::name(code);
    return {code == ErrTransfer && arrived->size() == 26,
            std::string("error:    ") + (name != nullptr ? name : "?") + ", " +
                std::string(digits.data(), end) + "h: " + textOf(Error::describe(code)) +
                "\narrived:  " + std::to_string(arrived->size()) +
                " bytes of 1000 before the connection ended\n"};
}

Outcome getOverTls(const DemoWorld& world) {
    const Ref<Response> response =
        Request::create({})->setUrl(urlOf(world.trusted(), "/hello"))->perform(0);
    if (!response) {
        return failure();
    }
    const bool kept = bodyOf(*response) == DemoServer::greeting;
    return {kept, "url:      " + textOf(response->url()) + '\n' + statusOf(*response)};
}

std::string policyRecords(const KeptRecords& records) {
    return records.thatBeginWith({"Certificate error: ", "Certificate verification failed for "});
}

Outcome refuseExpired(const DemoWorld& world) {
    const KeptRecords records(4);
    const Ref<Response> response =
        Request::create({})->setUrl(urlOf(world.expired(), "/hello"))->perform(0);
    const bool refused = !response && Error::get() == ErrTransfer;
    const std::string reason = policyRecords(records);
    return {refused && reason.find("certificate has expired") != std::string::npos,
            (response ? statusOf(*response) : "refused\n") + reason};
}

Outcome forgiveExpired(const DemoWorld& world) {
    const KeptRecords records(3);
    const Ref<Response> response = Request::create(Request::Flag::SslIgnoreValidityPeriod)
                                       ->setUrl(urlOf(world.expired(), "/hello"))
                                       ->perform(0);
    if (!response) {
        return failure();
    }
    const std::string forgiven = policyRecords(records);
    return {bodyOf(*response) == DemoServer::greeting && !forgiven.empty(),
            statusOf(*response) + forgiven};
}

Outcome dumpChain(const DemoWorld& world) {
    const KeptRecords records(1);
    const Ref<Response> response =
        Request::create({})->setUrl(urlOf(world.trusted(), "/hello"))->perform(0);
    const std::string dump = records.thatBeginWith(
        {"Got certificate", "Issuer: ", "Subject: ", "Not ", "SAN:", "localhost"});
    const bool complete =
        dump.find("at depth 1h (1)") < dump.find("Issuer: CN = Demonstration authority") &&
        dump.find("at depth 0h (0)") < dump.find("Subject: CN = localhost") &&
        dump.find("SAN:") != std::string::npos;
    return {response && complete, dump};
}

constexpr Step steps[] = {
    {"Get a page into memory", "nethttp URL",
     "Ref<Response> response = Request::create({})->setUrl(url)->perform(0);", getPage},
    {"Upload three megabytes and watch", "nethttp -X POST -T FILE --progress URL",
     "request->setMethod(Request::Method::Post)->setBody(source)\n"
     "                  ->setUploadProgressCallback(callback)->perform(0);",
     upload},
    {"Follow a redirect", "nethttp URL", "response->wasRedirected(); response->url();",
     followRedirect},
    {"Take a redirect as the result", "nethttp --no-redirect URL",
     "Request::create(Request::Flag::NoRedirect)", refuseRedirect},
    {"Meet a server that ends the connection too early (the log says so on standard error)",
     "nethttp URL", "if (!response) { std::uint32_t code = Error::get(); ... }", breakOff},
    {"Get a page over TLS, from a server whose certificate authority is trusted", "nethttp URL",
     "Request::create({})->setUrl(httpsUrl)->perform(0);", getOverTls},
    {"Meet a server whose certificate has expired", "nethttp URL",
     "if (!response) { /* the log says why */ }", refuseExpired},
    {"Accept the same server", "nethttp --ssl-ignore-validity-period URL",
     "Request::create(Request::Flag::SslIgnoreValidityPeriod)", forgiveExpired},
    {"See the certificates of a chain",
     "nethttp --log-level 1 --boot lib.net.http.sslcerts.debug URL",
     "Sys::setBootParameter(String::create(\"lib.net.http.sslcerts.debug\"));", dumpChain},
};

std::string indented(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        result += "     " + std::string(text.substr(0, end));
        text.remove_prefix(end);
    }
    return result;
}

/// Shows one step; counts it when it kept its promise.
bool show(const DemoWorld& world, std::size_t number, const Step& step, std::size_t& kept) {
    if (!writeToStandardOutput(std::string("\n") + std::to_string(number) + ". " + step.title +
                               "\n   program:  " + step.program + "\n   C++:      " + step.code +
                               '\n')) {
        return false;
    }
    const Outcome outcome = step.take(world);
    kept += outcome.kept ? 1 : 0;
    return writeToStandardOutput(indented(outcome.text) + (outcome.kept
                                                               ? "   as it should be\n"
                                                               : "   NOT AS IT SHOULD BE\n"));
}

}  // namespace

ExitStatus runDemo() {
    DemoWorld world;
    if (const std::string missing = world.start(); !missing.empty()) {
        complain("the demonstration cannot make " + missing);
        return Failed;
    }
    if (!writeToStandardOutput("Servers inside this program answer at " + world.plain().url("/") +
                               " and " + world.trusted().url("/") +
                               ".\nEach step shows how to do it with this program, how in C++, "
                               "and what came of it.\n")) {
        return Failed;
    }
    std::size_t number = 0;
    std::size_t kept = 0;
    for (const Step& step : steps) {
        if (!show(world, ++number, step, kept)) {
            return Failed;
        }
    }
    const bool written =
        writeToStandardOutput(std::string("\n") + std::to_string(kept) + " of " +
                              std::to_string(number) + " steps did what they say.\n");
    return written && kept == number ? Done : Failed;
}

}  // namespace cli
