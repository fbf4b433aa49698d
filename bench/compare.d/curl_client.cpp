// libcurl, in the ways of its documentation. COMPARE_CURL tells which:
//
//   new     a new easy handle for each exchange
//   one     one easy handle, which makes a fresh connection for each
//   tuned   the same with the largest buffers
//   kept    the same, and what was read of the bundle is kept, as is libcurl's default

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include <curl/curl.h>

#include "bench/compare.d/harness.h"

namespace {

constexpr std::string_view Variant = COMPARE_CURL;
constexpr bool NewHandle = Variant == "new";
constexpr bool Tuned = Variant == "tuned";
constexpr bool KeepsContext = Variant == "kept";
constexpr long Largest = 2L << 20;  // that libcurl takes for sending

struct FreeHandle {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using Handle = std::unique_ptr<CURL, FreeHandle>;

struct State {
    Handle handle;  // of all but "new"
    const Task* task = nullptr;
    std::uint64_t taken = 0;
    std::uint64_t fields = 0;
    std::string kept;
};

/// Loaded before the first thread, as libcurl wants it.
const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);  // NOLINT(cert-err58-cpp): it is C

std::size_t take(char* bytes, std::size_t, std::size_t size, void* pointer) {
    auto& state = *static_cast<State*>(pointer);
    state.taken += size;
    if (state.task->job == JobKeep) {
        if (Tuned && state.kept.capacity() < state.task->size) {
            state.kept.reserve(state.task->size);
        }
        state.kept.append(bytes, size);
    }
    return size;
}

std::size_t give(char* room, std::size_t, std::size_t size, void* pointer) {
    auto& state = *static_cast<State*>(pointer);
    const std::size_t count = std::min<std::uint64_t>(size, state.task->size - state.taken);
    std::memcpy(room, state.task->body + state.taken, count);
    state.taken += count;
    return count;
}

std::size_t takeHeadLine(char* line, std::size_t, std::size_t size, void* pointer) {
    auto& state = *static_cast<State*>(pointer);
    state.fields += std::memchr(line, ':', size) != nullptr ? 1 : 0;
    return size;
}

void setUpload(CURL* handle, State& state) {
    curl_easy_setopt(handle, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(state.task->size));
    curl_easy_setopt(handle, CURLOPT_READFUNCTION, give);
    curl_easy_setopt(handle, CURLOPT_READDATA, &state);
}

void setTls(CURL* handle, const Task& task) {
    curl_easy_setopt(handle, CURLOPT_CAINFO, task.bundle);
    if (KeepsContext) {
        curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr);  // libcurl keeps a bundle alone
    } else {
        curl_easy_setopt(handle, CURLOPT_CA_CACHE_TIMEOUT, 0L);
        curl_easy_setopt(handle, CURLOPT_SSL_SESSIONID_CACHE, 0L);
    }
}

Handle makeHandle(State& state) {
    CURL* const handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, state.task->url);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);  // threads
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(handle, CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(handle, CURLOPT_FORBID_REUSE, 1L);
    if (state.task->job == JobUpload) {
        setUpload(handle, state);
    }
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, take);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &state);
    if (state.task->job == JobHead) {
        curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, takeHeadLine);
        curl_easy_setopt(handle, CURLOPT_HEADERDATA, &state);
    }
    if (Tuned) {
        curl_easy_setopt(handle, CURLOPT_BUFFERSIZE, static_cast<long>(CURL_MAX_READ_SIZE));
        curl_easy_setopt(handle, CURLOPT_UPLOAD_BUFFERSIZE, Largest);
    }
    if (state.task->address.tls) {
        setTls(handle, *state.task);
    }
    return Handle(handle);
}

}  // namespace

const char* clientVersion() {
    return curl_version();
}

void* clientOpen(const Task* task) {
    auto* const state = new State;
    state->task = task;
    if (!NewHandle) {
        state->handle = makeHandle(*state);
    }
    return state;
}

void clientClose(void* state) {
    delete static_cast<State*>(state);
}

bool clientExchange(void* pointer, const Task* task, Answer* answer) {
    auto& state = *static_cast<State*>(pointer);
    const Handle fresh = NewHandle ? makeHandle(state) : nullptr;
    CURL* const handle = NewHandle ? fresh.get() : state.handle.get();
    state.taken = 0;
    state.fields = 0;
    state.kept = std::string();
    const CURLcode code = ready == CURLE_OK ? curl_easy_perform(handle) : ready;
    if (code != CURLE_OK) {
        return complain(task->url, curl_easy_strerror(code));
    }
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &answer->status);
    answer->bytes = state.taken;
    answer->kept = state.kept.data();
    answer->fields = state.fields;
    return true;
}
