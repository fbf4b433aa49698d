// Every call to the host of a plain exchange goes wrong in every way, one after another.
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "tests/faults/promises.hpp"
#include "tests/faults/walk.hpp"
#include "tests/support/host_faults.hpp"

namespace FaultWalk {
namespace {

using HostFaults::Call;
using HostFaults::Fault;
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
    if (path == "/w") {  // a warning for the log
        return "HTTP/1.1 200 OK\r\nno field\r\nContent-Length: 2\r\n\r\nok";
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
    promises.push_back({&HostFaults::kindOf(Call::Fcntl),
                        {"Failed to create socket; error: "},
                        {"Failed to create ShMem for transfer"},
                        true});
    walk({.name = "a GET with a descriptor below 3",
          .run = [] { return get("/p"); },
          .judge = judgeBy(promises)});
    dup2(kept.number(), STDIN_FILENO);
}

}  // namespace
}  // namespace FaultWalk
