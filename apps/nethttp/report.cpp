// The report for scripts. Its keys, their order and their types are an interface.

#include "report.hpp"

#include <utility>

#include <nlohmann/json.hpp>

#include "platform/runtime/error.hpp"

#include "json_text.hpp"

using Libraries::Networks::HTTP::Client::Response;

namespace cli {

namespace {

void addResponse(nlohmann::ordered_json& entry, const Response& response) {
    entry["status"] = response.statusCode();
    entry["reason"] = jsonOf(response.reasonPhrase());
    nlohmann::ordered_json headers = nlohmann::ordered_json::array();
    for (const auto& [name, value] : response.headerFields()) {
        headers.push_back({jsonOf(name), jsonOf(value)});
    }
    entry["headers"] = std::move(headers);
    entry["bodySize"] = response.bodySize();
    entry["bodyData"] = response.bodyData() != nullptr;
    entry["wasRedirected"] = response.wasRedirected();
    entry["url"] = jsonOf(response.url());
}

nlohmann::ordered_json entryOf(const ExchangeResult& result) {
    nlohmann::ordered_json entry;
    entry["ok"] = static_cast<bool>(result.response);
    entry["error"] = result.response ? 0 : result.error;
    entry["errorName"] = "";
    if (result.response) {
        addResponse(entry, *result.response);
    } else {
        const char* const name = Error::name(result.error);
        entry["errorName"] = name != nullptr ? nlohmann::ordered_json(name) : nullptr;
    }
    entry["peerAddress"] = jsonOf(result.peerAddress);
    entry["uploadProgress"] = result.uploadProgress;
    entry["downloadProgress"] = result.downloadProgress;
    entry["cancelAsked"] = result.cancelAsked;
    return entry;
}

}  // namespace

bool Report::open(const std::string& file) {
    // A file of the name "-" is a file: standard output is for the body alone.
    output_ = Output::openBeside(file == standardStreamName ? "./-" : file, {});
    if (output_) {
        write("{\"exchanges\":[");
    }
    return static_cast<bool>(output_);
}

void Report::add(const ExchangeResult& result) {
    const std::lock_guard lock(mutex_);
    if (output_) {
        write(separator_ + lineOf(entryOf(result)));
        separator_ = ",";
    }
}

bool Report::finish() {
    const std::lock_guard lock(mutex_);
    return !output_ || end();
}

void Report::giveUp() {
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (lock && output_ && output_->isBeside()) {  // a pipe may have no room
        (void)end();
    }
}

bool Report::end() {
    write("]}\n");
    const Ref<Output> output = std::exchange(output_, nullptr);
    if (output->complainOfFailure()) {
        output->abandon();
        return false;
    }
    return output->keep();
}

void Report::write(const std::string& text) {
    // After a failure the rest would only make it look whole.
    failed_ = failed_ || !output_->writeAll(text.data(), text.size());
}

}  // namespace cli
