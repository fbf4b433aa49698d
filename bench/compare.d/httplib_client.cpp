// cpp-httplib, as its readme shows it: a new client for each exchange.

#include <cstdint>
#include <memory>
#include <string>

#include <httplib.h>

#include "bench/compare.d/harness.h"

namespace {

struct State {
    std::string kept;
};

std::unique_ptr<httplib::ClientImpl> makeClient(const Task& task) {
    const Address& to = task.address;
    const int port = std::stoi(to.port);
    if (!to.tls) {
        return std::make_unique<httplib::ClientImpl>(to.host, port);
    }
    auto client = std::make_unique<httplib::SSLClient>(to.host, port);
    client->set_ca_cert_path(task.bundle);
    client->enable_server_certificate_verification(true);
    return client;
}

httplib::Result upload(httplib::ClientImpl& client, const Task& task) {
    return client.Put(
        task.address.path, task.size,
        [&task](std::size_t offset, std::size_t size, httplib::DataSink& sink) {
            return sink.write(task.body + offset, size);
        },
        "application/octet-stream");
}

httplib::Result drop(httplib::ClientImpl& client, const Task& task, Answer& answer) {
    return client.Get(task.address.path, [&answer](const char*, std::size_t size) {
        answer.bytes += size;
        return true;
    });
}

}  // namespace

const char* clientVersion() {
    return "cpp-httplib " CPPHTTPLIB_VERSION;
}

void* clientOpen(const Task*) {
    return new State;
}

void clientClose(void* state) {
    delete static_cast<State*>(state);
}

bool clientExchange(void* state, const Task* task, Answer* answer) {
    std::string& kept = static_cast<State*>(state)->kept;
    kept = std::string();
    const auto client = makeClient(*task);
    client->set_follow_location(true);
    const bool keep = task->job == JobKeep;
    httplib::Result result = task->job == JobUpload ? upload(*client, *task)
                             : keep                 ? client->Get(task->address.path)
                                                    : drop(*client, *task, *answer);
    if (!result) {
        return complain(task->url, httplib::to_string(result.error()).c_str());
    }
    answer->status = result->status;
    answer->fields = result->headers.size();
    if (keep) {
        kept = std::move(result->body);
        answer->bytes = kept.size();
        answer->kept = kept.data();
    }
    return true;
}
