#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/runtime/object.hpp"

#include "output.hpp"
#include <net/http/http.hpp>

namespace cli {

/// What one exchange came to.
struct ExchangeResult {
    /// Null when the exchange failed.
    Ref<Libraries::Networks::HTTP::Client::Response> response;
    /// The thread's code after it; a success may leave one, too.
    std::uint32_t error = 0;
    Ref<String> peerAddress;
    std::vector<double> uploadProgress;
    std::vector<double> downloadProgress;
    std::uint64_t cancelAsked = 0;
};

/// The report: one line of JSON that grows by an entry with each exchange, so that a long run does
/// not have to be held in memory.
class Report {
public:
    /// Opens the file and writes the beginning.
    ///
    /// @return False after a complaint.
    [[nodiscard]] bool open(const std::string& file);
    void add(const ExchangeResult& result);
    /// Writes the end.
    ///
    /// @return False after a complaint, when any part of the report could not be written.
    [[nodiscard]] bool finish();

private:
    void write(const std::string& text);

    Ref<Output> output_;
    const char* separator_ = "";
    bool failed_ = false;
};

}  // namespace cli
