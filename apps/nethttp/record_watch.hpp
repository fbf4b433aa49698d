#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace cli {

/// Sees every record of the log before it is written: one at a time in the program, while it lives.
class RecordWatch {
public:
    /// @param makeWay  Called before a line is written to standard error.
    explicit RecordWatch(std::function<void()> makeWay);
    RecordWatch(const RecordWatch&) = delete;
    RecordWatch& operator=(const RecordWatch&) = delete;
    ~RecordWatch();

    void forget() { certificateRefused_ = false; }
    /// Tells whether a server's certificate was refused since the last `forget`, whether or not the
    /// user wanted to see the record.
    [[nodiscard]] bool certificateRefused() const { return certificateRefused_; }

private:
    static void take(std::uint32_t level, const char* channel, std::string_view text);
    void note(std::uint32_t level, std::string_view channel, std::string_view text);

    std::function<void()> makeWay_;
    std::uint32_t wantedLevel_;
    bool certificateRefused_ = false;
};

}  // namespace cli
