// Hostile texts on their way to the log: each record is one line, and none steers a terminal. The library
// reads its switches once, so that this program has all of them on.

#include <sstream>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "platform/log/log.hpp"
#include "platform/runtime/system.hpp"

#include "tests/exchange/exchange.hpp"
#include "tests/tls/tls_server.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

/// What forges lines, steers terminals and turns texts round.
const std::string EvilText = "\x1b[2J\x07\x7f\xC2\x9B\u2028\u202E\u2066 4 [HTTP Utils] forged";
const std::string Evil = EvilText + "\xFF\xC3(\xED\xA0\x80";  // and what is no text
const std::string Line = "a\n2001-01-01T00:00:00.000000Z 4 [HTTP Utils] forged\r\n";

std::string many(const std::string& text) {
    return repeated(text, (1U << 20U) / text.size() + 1);
}

/// Answers what stands on standard error after some code has run at the level of traces.
std::string standardErrorOf(const std::function<void()>& code) {
    const OwnedDescriptor file(memfd_create("errors", MFD_CLOEXEC));
    const OwnedDescriptor before(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3));
    dup2(file.number(), STDERR_FILENO);
    SysLogFilter::setLevel(1);
    code();
    SysLogFilter::setLevel(3);
    dup2(before.number(), STDERR_FILENO);
    std::string text(static_cast<std::size_t>(lseek(file.number(), 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(file.number(), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    return text;
}

/// Tells whether a line has time, level and channel.
bool isRecord(const std::string& line) {
    constexpr std::string_view before = "2026-01-01T00:00:00.000000Z";
    const std::string rest = line.substr(std::min(line.size(), before.size()), 4);
    return rest == " 1 [" || rest == " 3 [" || rest == " 4 [";
}

/// Checks that all of a text are whole lines of records, and answers how many.
std::size_t expectRecords(const std::string& text) {
    std::size_t count = 0;
    EXPECT_TRUE(text.ends_with('\n'));
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_TRUE(isRecord(line)) << line.substr(0, 200);
        for (const char* const unsafe : {"\x1b", "\x07", "\x7f", "\r", "\xC2\x9B", "\u2028",
                                         "\u202E", "\u2066", "\xFF", "\xED"}) {
            EXPECT_EQ(line.find(unsafe), std::string::npos) << line.substr(0, 200);
        }
    }
    return count;
}

class Records : public testing::Test {
protected:
    static void SetUpTestSuite() {
        Sys::setBootParameter("lib.net.http.connect.debug lib.net.http.sslcerts.debug");
    }
};

TEST_F(Records, OfHostileCallersAreOneLineEach) {
    for (const bool large : {false, true}) {
        const std::string text = large ? many(Line + Evil) : Line + Evil;
        const std::string host = large ? many(Evil) : Evil;  // without a colon
        const std::pair<const char*, std::function<void(Request&)>> cases[] = {
            {"Unsupported protocol: ", [&](Request& r) { r.setUrl(text + "://h/"); }},
            {"Failed to split URL: ", [&](Request& r) { r.setUrl("http://h:x" + text); }},
            {"Failed to split URL: ", [&](Request& r) { r.setUrl(text); }},
            {"Failed to resolve ", [&](Request& r) { r.setUrl("http://" + host + "/"); }},
            {"Failed to resolve ", [&](Request& r) { r.setHost(text)->setPath("/"); }},
        };
        for (const auto& [record, set] : cases) {
            SCOPED_TRACE(record);
            const std::string errors = standardErrorOf([&configure = set] {
                const Ref<Request> request = Request::create({Flag::Verbose});
                configure(*request);
                EXPECT_FALSE(request->perform(0));
            });
            EXPECT_GE(expectRecords(errors), 1U);
            EXPECT_NE(errors.find(record), std::string::npos);
        }
    }
}

TEST_F(Records, OfHostileRequestsAreOneLineEach) {
    ScriptedServer server{ReadHead{}};
    const std::string errors = standardErrorOf([&] {
        const Ref<Request> request = requestFor(server, {Flag::Verbose}, ("/" + Line).c_str());
        request->setMethod(Line + Evil)->setHeaderField("N" + Line, Evil);
        EXPECT_FALSE(request->perform(0));
    });
    EXPECT_GE(expectRecords(errors), 16U);  // the head is dumped
}

TEST_F(Records, OfHostileServersAreOneLineEach) {
    for (const std::string& text : {Evil, many(Evil).substr(0, 1'000'000)}) {
        std::string answer = "HTTP/1.1 200 ";
        answer.append(text).append("\r\nN").append(Evil).append(": ").append(text);
        answer.append("\r\n").append(text).append("\r\nContent-Length: ").append(text);
        answer.append("\r\n\r\n");
        ScriptedServer server{ReadHead{}, Send{answer}};
        const std::string errors =
            standardErrorOf([&] { EXPECT_TRUE(requestFor(server, {Flag::Verbose})->perform(0)); });
        EXPECT_GE(expectRecords(errors), 4U);
        for (const char* const record : {"Reason = \\x1b[2J\\x07", "Got header entry N\\x1b[2J",
                                         "Invalid HTTP header entry: "}) {
            EXPECT_NE(errors.find(record), std::string::npos) << record;
        }
    }
}

TEST_F(Records, OfHostileCertificatesAreOneLineEach) {
    // A slash or an equals sign would end an entry of these names.
    const std::string huge = many(Line + EvilText).substr(0, 60'000);
    const Certificate root = Certificate::selfSigned(authority(Line + EvilText));
    trustOnly({root});
    const Certificate leaf = root.issue({.subject = "O=" + huge + "/CN=" + EvilText,
                                         .names = {"DNS:localhost", "DNS:" + Line + Evil}});
    const TlsServer server({.chain = {leaf}}, okResponse("x"));
    const std::string errors = standardErrorOf(
        [&] { EXPECT_EQ(look(Request::create()->setUrl(server.url("/"))->perform(0)).body, "x"); });
    EXPECT_GE(expectRecords(errors), 15U);
    for (const char* const record : {"] Issuer: CN = a\\0A2001", "] Subject: O = ", "] SAN:\n",
                                     "] localhost\n", "] a\\x0a2001"}) {
        EXPECT_NE(errors.find(record), std::string::npos) << record;
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
