#pragma once

#include <cstdint>
#include <mutex>
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
/// not have to be held in memory. Where that is possible it is written beside its name, which never
/// has half a report.
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
    /// Writes the end behind the exchanges that have ended, unless that could take long.
    ///
    /// @threads Any, for it may be the program's last act.
    void giveUp();

private:
    void write(const std::string& text);
    bool end();

    std::mutex mutex_;  // for what follows
    Ref<Output> output_;
    const char* separator_ = "";
    bool failed_ = false;
};

}  // namespace cli
