#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "platform/log/log.hpp"

/// Collects the records of the system log as long as it lives; one at a time.
class LogCapture {
public:
    struct Record {
        std::uint32_t level = 0;
        std::string channel;
        std::string text;

        friend bool operator==(const Record&, const Record&) = default;
        /// Shows it in a failed test's message.
        friend void PrintTo(const Record& record, std::ostream* out);
    };

    /// @param level  The log's level meanwhile. @param clobber  A code that the sink leaves as the
    /// thread's error code, as a careless sink would.
    explicit LogCapture(std::uint32_t level = 1, std::uint32_t clobber = 0);
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    ~LogCapture();

    /// Answer all records, or those at least as severe as `level`, and their texts.
    [[nodiscard]] std::vector<Record> records(std::uint32_t level = 0) const;
    [[nodiscard]] std::vector<std::string> texts(std::uint32_t level = 0) const;
    [[nodiscard]] bool has(std::uint32_t level, std::string_view channel,
                           std::string_view text) const;
    /// Tells whether a failure (level 4) begins with the text.
    [[nodiscard]] bool hasFailure(std::string_view prefix) const;
    /// Forgets what was collected.
    void clear();

private:
    std::uint32_t previousLevel_;
};

/// Answers the form in which records show a number: "8443h (33859)".
std::string hexDec(std::uint64_t value);

/// Switches a channel off as long as it lives.
class ChannelOff {
public:
    explicit ChannelOff(std::string_view name);
    ChannelOff(const ChannelOff&) = delete;
    ChannelOff& operator=(const ChannelOff&) = delete;
    ~ChannelOff();

private:
    std::uint64_t handle_;
};
