// POCO, as its slides and samples show it: a new session for each exchange.

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include <Poco/Exception.h>
#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/NullStream.h>
#include <Poco/StreamCopier.h>
#include <Poco/Version.h>

#include "bench/compare.d/harness.h"

namespace {

using namespace Poco::Net;  // NOLINT(google-build-using-namespace)

struct State {
    std::string kept;
};

/// Loaded before the first thread.
struct Library {
    Library() { initializeSSL(); }
};
const Library library;  // NOLINT(cert-err58-cpp): without it there is nothing to compare

std::unique_ptr<HTTPClientSession> makeSession(const Task& task, const Address& to) {
    const auto port = static_cast<Poco::UInt16>(std::stoi(to.port));
    if (!to.tls) {
        return std::make_unique<HTTPClientSession>(to.host, port);
    }
    // Strict: with the other modes POCO does not look at the name when the host is this machine.
    const Context::Ptr context =
        new Context(Context::TLS_CLIENT_USE, "", "", task.bundle, Context::VERIFY_STRICT);
    return std::make_unique<HTTPSClientSession>(to.host, port, context);
}

void send(HTTPClientSession& session, const Task& task, const Address& to) {
    const bool upload = task.job == JobUpload;
    HTTPRequest request(upload ? HTTPRequest::HTTP_PUT : HTTPRequest::HTTP_GET, to.path,
                        HTTPMessage::HTTP_1_1);
    session.setKeepAlive(false);
    if (!upload) {
        session.sendRequest(request);
        return;
    }
    request.setContentLength64(static_cast<Poco::Int64>(task.size));
    session.sendRequest(request).write(task.body, static_cast<std::streamsize>(task.size));
}

void receive(HTTPClientSession& session, const Task& task, State& state, Answer& answer,
             HTTPResponse& response) {
    response.setFieldLimit(0);  // none: there are heads with more than a hundred fields
    std::istream& body = session.receiveResponse(response);
    answer.status = response.getStatus();
    answer.fields = response.size();
    if (task.job == JobKeep) {
        Poco::StreamCopier::copyToString64(body, state.kept);
        answer.bytes = state.kept.size();
        answer.kept = state.kept.data();
    } else {
        Poco::NullOutputStream nowhere;
        answer.bytes = Poco::StreamCopier::copyStream64(body, nowhere);
    }
}

}  // namespace

const char* clientVersion() {
    static const std::string version = "POCO " + std::to_string(POCO_VERSION >> 24U) + "." +
                                       std::to_string((POCO_VERSION >> 16U) & 0xFFU) + "." +
                                       std::to_string((POCO_VERSION >> 8U) & 0xFFU);
    return version.c_str();
}

void* clientOpen(const Task*) {
    return new State;
}

void clientClose(void* state) {
    delete static_cast<State*>(state);
}

bool clientExchange(void* pointer, const Task* task, Answer* answer) try {
    auto& state = *static_cast<State*>(pointer);
    state.kept = std::string();
    Address to = task->address;
    for (int hops = 0; hops <= MostRedirects; ++hops) {
        const auto session = makeSession(*task, to);
        HTTPResponse response;
        send(*session, *task, to);
        receive(*session, *task, state, *answer, response);
        if (answer->status / 100 != 3) {
            return true;
        }
        if (!splitUrl(response.get("Location").c_str(), &to)) {
            return complain("redirect", response.get("Location").c_str());
        }
    }
    return complain("redirect", "too many");
} catch (const Poco::Exception& fault) {
    return complain(task->url, fault.displayText().c_str());
} catch (const std::exception& fault) {
    return complain(task->url, fault.what());
}
