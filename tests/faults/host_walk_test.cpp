// Every call to the host of a plain exchange, of the log and of the kernel's command line goes wrong
// in every way, one after another.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <sstream>

#include <fcntl.h>
#include <unistd.h>

#include "platform/runtime/system.hpp"

#include "tests/faults/promises.hpp"
#include "tests/faults/walk.hpp"
#include "tests/support/heap_faults.hpp"
#include "tests/support/host_faults.hpp"

namespace FaultWalk {
namespace {

using HostFaults::Call;
using HostFaults::Fault;
using HostFaults::kindOf;
using Libraries::Networks::HTTP::Client::look;
using Libraries::Networks::HTTP::Client::Request;

const std::string LargeBody(std::size_t{2500} * 1024, 'x');  // grows into huge pages
const std::string SmallBody(std::size_t{100} * 1024, 'y');
const std::string UploadBody(std::size_t{1200} * 1024, 'z');  // more than one fragment

std::string redirect(const std::string& where) {
    return "HTTP/1.1 302 Found\r\nLocation: " + where + "\r\nContent-Length: 0\r\n\r\n";
}

/// Answers by the path; a body that came shows in the answer.
std::string handle(const std::string& request) {
    const std::string path = request.substr(request.find(' ') + 1, 2);
    if (path == "/a") {
        return redirect("/b");
    }
    if (path == "/b") {
        return redirect("/c");
    }
    if (path == "/w") {  // two warnings for the log
        return "HTTP/1.1 200 OK\r\nno field\r\nnor this\r\nContent-Length: 2\r\n\r\nok";
    }
    if (path == "/l") {
        return okResponse(LargeBody);
    }
    if (path == "/s") {
        return okResponse(SmallBody);
    }
    return okResponse("got " + digest(bodyOf(request)));
}

/// The server of all scenarios of this program.
AnsweringServer& server() {
    static AnsweringServer instance(handle, 2);
    return instance;
}

Ref<String> url(const char* path) {
    return String::concat({"http://localhost:", std::to_string(server().port()), path});
}

Ref<Request> request(const char* path) {
    return Request::create()->setUrl(url(path));
}

Result get(const char* path) {
    return resultOf(look(request(path)->perform(0)));
}

Result failedToOpen() {
    Result result;
    result.error = Error::get();
    result.text = OpenStep;
    return result;
}

Result download(const std::string& path) {
    const Ref<Interfaces::Stream> file = FileStrm::openForWriting(str(path));
    return file ? resultOf(look(request("/s")->perform(file, 0))) : failedToOpen();
}

Result upload(const std::string& path) {
    const Ref<Interfaces::Stripe> file = FileStrm::openForReading(str(path));
    if (!file) {
        return failedToOpen();
    }
    return resultOf(
        look(request("/u")->setMethod(Request::Method::Put)->setBody(file)->perform(0)));
}

/// Limits that are long enough for every wait of a good run, and short enough for the test. A call
/// that would block has then waited for the first 10 s of silence, and waits on.
class FaultWalkTest : public testing::Test {
    ScopedLimits limits_{5000, 15000};
};

TEST_F(FaultWalkTest, GetIntoMemory) {
    walk({.name = "a GET into memory",
          .run = [] { return get("/l"); },
          .judge = judgeBy(hostPromises())});
}

TEST_F(FaultWalkTest, GetIntoAFile) {
    const TemporaryFile file("");
    walk({.name = "a GET into a file",
          .run = [&] { return download(file.path()); },
          .judge = judgeBy(hostPromises()),
          .leftBehind = [&] { return digest(file.content()); }});
}

TEST_F(FaultWalkTest, UploadFromAFile) {
    const TemporaryFile file(UploadBody);
    walk({.name = "an upload from a file",
          .run = [&] { return upload(file.path()); },
          .judge = judgeBy(hostPromises())});
}

TEST_F(FaultWalkTest, RedirectChain) {
    walk({.name = "a redirect chain",
          .run = [] { return get("/a"); },
          .judge = judgeBy(hostPromises())});
}

TEST_F(FaultWalkTest, ProbeOfAConnection) {
    walk({.name = "a probe",
          .run =
              [] {
                  Result result;
                  result.ok = Request::canConnect(url("/"), 0);
                  result.error = result.ok ? 0 : Error::get();
                  result.text = result.ok ? "" : ProbeStep;
                  return result;
              },
          .judge = judgeBy(hostPromises())});
}

TEST_F(FaultWalkTest, InterruptedConnect) {
    walk({.name = "a GET whose connect is interrupted",
          .run =
              [] {
                  const Fault fault(Call::Connect, {.error = EINTR, .performs = true});
                  return get("/p");
              },
          .judge = judgeBy(hostPromises())});
}

TEST_F(FaultWalkTest, QuietPeer) {
    walk({.name = "a GET from a quiet peer",
          .run =
              [] {
                  const Fault fault(Call::Recv, {.error = EAGAIN, .count = 1});
                  return get("/p");
              },
          .judge = judgeBy(hostPromises())});
}

TEST_F(FaultWalkTest, LowDescriptors) {
    (void)server();  // it must not get the number that is free now
    const OwnedDescriptor kept(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 100));
    close(STDIN_FILENO);
    Promises promises = hostPromises();
    promises.push_back({&kindOf(Call::Fcntl),
                        {"Failed to create socket; error: "},
                        {"Failed to create ShMem for transfer"},
                        true});
    walk({.name = "a GET with a descriptor below 3",
          .run = [] { return get("/p"); },
          .judge = judgeBy(promises)});
    dup2(kept.number(), STDIN_FILENO);
}

/// Puts a file in the place of standard error.
class ErrorsInAFile {
public:
    ErrorsInAFile() : kept_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100)) {
        const OwnedDescriptor opened(open(file_.path().c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
        dup2(opened.number(), STDERR_FILENO);
    }
    ErrorsInAFile(const ErrorsInAFile&) = delete;
    ErrorsInAFile& operator=(const ErrorsInAFile&) = delete;
    ~ErrorsInAFile() { dup2(kept_.number(), STDERR_FILENO); }

    /// Takes the lines out, without their times.
    [[nodiscard]] std::string takeLines() const {
        constexpr std::size_t timeLength = 28;
        std::istringstream content(file_.content());
        std::string all;
        for (std::string line; std::getline(content, line);) {
            all += "\n" + line.substr(std::min(line.size(), timeLength));
        }
        EXPECT_EQ(truncate(file_.path().c_str(), 0), 0);
        return all;
    }

private:
    TemporaryFile file_{""};
    OwnedDescriptor kept_;
};

/// Answers what is wrong with an exchange whose log lost something: the answer must be the same, and
/// of the lines one alone may be cut or missing, unless the fault lasts.
std::string judgeLog(const Point& point, const Result& seen, const Result& good) {
    const Treatment& treatment = point.treatment();
    const bool loses = treatment.fails() || treatment.way == Way::Ends ||
                       (treatment.way == Way::WouldBlock && point.kind() == &kindOf(Call::Write));
    if (seen.ok && seen.text == good.text) {
        return good.text.find("no field") == std::string::npos ? "no line in the log; " : "";
    }
    std::istringstream lines(seen.text);
    std::string line;
    unsigned whole = 0;
    while (std::getline(lines, line)) {
        if (good.text.find("\n" + line) == std::string::npos && !good.text.starts_with(line)) {
            return "a line that is none: " + line + "; ";
        }
        whole += ("\n" + good.text + "\n").find("\n" + line + "\n") != std::string::npos ? 1 : 0;
    }
    const auto expected = std::count(good.text.begin(), good.text.end(), '\n');
    const bool enough = whole >= expected || treatment.way == Way::FailsFromNow;
    return std::string(seen.ok && loses ? "" : "not what it is without the fault; ") +
           (enough ? "" : "more than one line is lost; ");
}

TEST_F(FaultWalkTest, LogOnStandardError) {
    (void)server();  // its threads are no part of this
    const ErrorsInAFile errors;
    const std::uint32_t level = SysLogFilter::level();
    SysLogFilter::setLevel(3);
    for (const Call call : {Call::Write, Call::Poll, Call::Sigtimedwait}) {
        walk({.name = "a log on standard error",
              .run =
                  [&] {
                      std::optional<HostFaults::Pieces> part;
                      std::optional<Fault> full;
                      if (call == Call::Poll) {  // no room for the rest of the first line
                          part.emplace(Call::Write, std::vector<std::size_t>{40});
                          full.emplace(Call::Write,
                                       Fault::Options{.error = EAGAIN, .skip = 1, .count = 1});
                      }
                      return get("/w");
                  },
              .judge = judgeLog,
              .leftBehind = [&] { return errors.takeLines(); },
              .only = &kindOf(call),
              .capturesLog = false});
    }
    SysLogFilter::setLevel(level);
}

TEST_F(FaultWalkTest, KernelCommandLine) {
    ASSERT_EQ(unsetenv("VORNIK_BOOT"), 0);  // NOLINT(concurrency-mt-unsafe): no other thread reads
    walk({.name = "the kernel's command line",
          .run =
              [] {
                  Result result;
                  result.ok = true;
                  result.text = plain(Sys::bootParameter());
                  return result;
              },
          .judge = [](const Point& point, const Result& seen, const Result& good) -> std::string {
              const Way way = point.treatment().way;
              const bool mayLack =
                  point.treatment().fails() || way == Way::Ends || way == Way::WouldBlock;
              const bool same = !good.text.empty() && seen.text == good.text;
              return same || (mayLack && seen.text.empty()) ? "" : "another text; ";
          }});
}

std::vector<const Kind*> allKinds() {
    std::vector<const Kind*> all = {&HeapFaults::TryAlloc};
    for (std::size_t i = 0; i < HostFaults::CallCount; ++i) {
        all.push_back(&kindOf(static_cast<Call>(i)));
    }
    return all;
}

// No exchange pauses for so long that it sleeps; unit tests interrupt a sleep.
[[maybe_unused]] const testing::Environment* const wholeness = testing::AddGlobalTestEnvironment(
    new EveryKindIsWalked(allKinds(), {&kindOf(Call::Nanosleep)}));

}  // namespace
}  // namespace FaultWalk
