#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

/// A line on standard error that shows how far an exchange is, drawn over itself.
///
/// One line serves a whole exchange: the upload, then the download, then the same again when a
/// redirect makes the next hop start over. Whatever else writes to standard error wipes it before.
class ProgressBar {
public:
    enum class Phase { Upload, Download };

    explicit ProgressBar(bool shown) : shown_(shown) {}

    /// Starts the line of an exchange, which bears a prefix.
    void begin(std::string prefix);
    /// Takes the fraction done of a phase.
    void update(Phase phase, double fraction);
    /// Takes the number of body bytes that arrived: what there is to show when their total is
    /// unknown.
    void received(std::uint64_t bytes);
    /// Draws the last state and ends the line, if there is one.
    void finish();
    /// Wipes the line for something else to be written in its place; the next update draws it anew.
    void clear();

private:
    [[nodiscard]] bool isTooEarly() const;
    [[nodiscard]] std::string line() const;
    void draw();

    bool shown_;
    std::string prefix_;
    Phase phase_ = Phase::Download;
    double fraction_ = 0;
    std::uint64_t receivedBytes_ = 0;
    unsigned writesWithoutFraction_ = 0;
    std::string drawn_;  ///< What stands on the line now.
    bool begun_ = false;
    std::chrono::steady_clock::time_point lastDrawn_;
};

}  // namespace cli
