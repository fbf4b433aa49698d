// The library itself, as an application would use it: the public headers alone.

#include <cstdint>
#include <string>

#include "bench/compare.d/harness.h"
#include <net/http/http.hpp>

namespace {

using Libraries::Networks::HTTP::Client::Request;
using Libraries::Networks::HTTP::Client::Response;

/// Takes a body and forgets it.
class Dropping final : public Object, public virtual Interfaces::Stream {
public:
    std::int64_t write(TransferBuffer, std::uint64_t size, std::uint32_t) override {
        total_ += size;
        return static_cast<std::int64_t>(size);
    }
    [[nodiscard]] std::uint64_t total() const noexcept { return total_; }

private:
    std::uint64_t total_ = 0;
};

/// What a thread keeps: the last response, whose body the checks look at.
struct State {
    Ref<Response> response;
};

Ref<Request> makeRequest(const Task& task) {
    Ref<Request> request = Request::create()->setUrl(task.url);
    if (task.job == JobUpload) {
        request->setMethod(Request::Method::Put);
        request->setBody(MemInStrm::borrow(task.body, task.size));
    }
    return request;
}

}  // namespace

const char* clientVersion() {
    static const std::string version(Request::defaultUserAgent()->view());
    return version.c_str();
}

void* clientOpen(const Task*) {
    return new State;
}

void clientClose(void* state) {
    delete static_cast<State*>(state);
}

bool clientExchange(void* state, const Task* task, Answer* answer) {
    Ref<Response>& response = static_cast<State*>(state)->response;
    response = nullptr;  // the last body makes room for the next one
    const Ref<Dropping> output = task->job != JobKeep ? Ref<Dropping>::make() : nullptr;
    response = makeRequest(*task)->perform(output);
    if (!response) {
        return complain(task->url, Error::describe()->cText());
    }
    answer->status = static_cast<long>(response->statusCode());
    answer->fields = response->headerFields().size();
    answer->bytes = output ? output->total() : response->body().size();
    answer->kept = response->body().data();
    return true;
}
