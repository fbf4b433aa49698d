// The same over TLS: every call to the host, every call to OpenSSL and every allocation of OpenSSL
// goes wrong in turn. Certificates are dumped, so that the calls for that are among them.
#include <openssl/crypto.h>
#include <openssl/err.h>

#include "platform/runtime/system.hpp"

#include "tests/faults/promises.hpp"
#include "tests/faults/walk.hpp"
#include "tests/support/host_faults.hpp"
#include "tests/tls/openssl_faults.hpp"
#include "tests/tls/tls_server.hpp"

namespace FaultWalk {
namespace {

using Libraries::Networks::HTTP::Client::look;
using Libraries::Networks::HTTP::Client::Request;

const bool isSetUp = [] {
    watchSslMemory();
    Sys::setBootParameter(str("lib.net.http.sslcerts.debug"));
    return true;
}();

/// Answers with the size of the body that came.
std::string handle(const std::string& request) {
    return okResponse("got " + digest(bodyOf(request)));
}

/// A server whose certificate has this name, under a root that is trusted.
class NamedServer {
public:
    explicit NamedServer(const std::string& name)
        : server_({.chain = trustedChain("DNS:" + name), .threads = 2}, handle) {}
    /// Answers its URL, by the name "localhost".
    [[nodiscard]] Ref<String> url() const { return server_.url("/"); }

private:
    TlsServer server_;
};

Result perform(const Ref<Request>& request) {
    return resultOf(look(request->perform(0)));
}

/// The same, and an answer must leave nothing in the thread's queue of errors.
Result performCleanly(const Ref<Request>& request) {
    Result result = perform(request);
    if (result.ok && ERR_peek_error() != 0) {
        result.text += std::string("; left in OpenSSL's queue: ") +
                       ERR_error_string(ERR_peek_error(), nullptr);
    }
    return result;
}

std::vector<Counter> sslCounters() {
    return {{"OpenSSL's blocks", liveSslBlocks}};
}

class TlsFaultWalk : public testing::Test {
    ScopedLimits limits_{5000, 15000};
};

TEST_F(TlsFaultWalk, Get) {
    const NamedServer server("localhost");
    walk({.name = "a GET over TLS",
          .run = [&] { return performCleanly(Request::create()->setUrl(server.url())); },
          .judge = judgeBy(tlsPromises()),
          .counters = sslCounters(),
          .except = &SslAllocation});
}

TEST_F(TlsFaultWalk, UploadFromAFile) {
    const TemporaryFile file(std::string(std::size_t{40} * 1024, 'z'));
    const NamedServer server("localhost");
    walk({.name = "an upload over TLS",
          .run =
              [&] {
                  const Ref<Interfaces::Stripe> body = FileStrm::openForReading(str(file.path()));
                  if (!body) {
                      Result failed;
                      failed.error = Error::get();
                      failed.text = OpenStep;
                      return failed;
                  }
                  const Ref<Request> request = Request::create()->setUrl(server.url());
                  return performCleanly(request->setMethod(Request::Method::Post)->setBody(body));
              },
          .judge = judgeBy(tlsPromises()),
          .counters = sslCounters(),
          .except = &SslAllocation});
}

/// What OpenSSL lacks when it frees a context, it notes in the queue: that is left there.
TEST_F(TlsFaultWalk, AllocationsOfOpenSsl) {
    if (!isThorough()) {
        GTEST_SKIP() << "scripts/soak faults runs it";
    }
    const NamedServer server("localhost");
    walk({.name = "allocations of a GET over TLS",
          .run = [&] { return perform(Request::create()->setUrl(server.url())); },
          .judge = judgeBy(tlsPromises()),
          .counters = sslCounters(),
          .only = &SslAllocation,
          .stride = 17});
}

TEST_F(TlsFaultWalk, NoAllocationLetsAWrongNamePass) {
    if (!isThorough()) {
        GTEST_SKIP() << "scripts/soak faults runs it";
    }
    const NamedServer server("other.test");
    walk({.name = "allocations for a server of another name",
          .run = [&] { return perform(Request::create()->setUrl(server.url())); },
          .judge = judgeRefusal(),
          .counters = sslCounters(),
          .only = &SslAllocation,
          .stride = 17});
}

TEST_F(TlsFaultWalk, NoFaultLetsAWrongNamePass) {
    const NamedServer server("other.test");
    walk({.name = "a server of another name",
          .run = [&] { return perform(Request::create()->setUrl(server.url())); },
          .judge = judgeRefusal(),
          .counters = sslCounters(),
          .except = &SslAllocation});
}

std::vector<const Kind*> allSslKinds() {
    std::vector<const Kind*> all;
    for (unsigned i = 0; i < SslCallCount; ++i) {
        all.push_back(&kindOf(static_cast<SslCall>(i)));
    }
    return all;
}

// What a process makes once has unit tests.
[[maybe_unused]] const testing::Environment* const wholeness = testing::AddGlobalTestEnvironment(
    new EveryKindIsWalked(allSslKinds(), {&kindOf(SslCall::NewIndex), &kindOf(SslCall::MethodNew),
                                          &kindOf(SslCall::ExIndex)}));

}  // namespace
}  // namespace FaultWalk
