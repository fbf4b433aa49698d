#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "pace.hpp"

namespace cli {

/// A line on standard error that shows how far an exchange is, drawn over itself.
///
/// One line serves a whole exchange: the upload, then the download, then the same again when a
/// redirect makes the next hop start over. Whatever else writes to standard error wipes it before.
class ProgressBar {
public:
    enum class Phase { Upload, Download };

    explicit ProgressBar(bool shown) : shown_(shown) {}
    /// @threads Any.
    [[nodiscard]] bool isShown() const { return shown_; }

    /// Starts the line of an exchange, which bears a prefix.
    ///
    /// @param uploadSize  The length of the request body, of which the upload's fractions are.
    void begin(std::string prefix, std::uint64_t uploadSize);
    /// Takes the fraction done of a phase.
    void update(Phase phase, double fraction);
    /// Takes the number of body bytes that arrived: what there is to show when their total is
    /// unknown.
    void received(std::uint64_t bytes);
    /// Draws the last state with the mean rate and the time it took, and ends the line, if there is
    /// one.
    void finish();
    /// Wipes the line for something else to be written in its place; the next update draws it anew.
    void clear();

private:
    using Clock = Pace::Clock;
    enum class Moment { UnderWay, End };

    void enter(Phase phase);
    void drawSometimes();
    [[nodiscard]] std::uint64_t bytes() const;
    /// A fraction follows every write unless the total is unknown.
    [[nodiscard]] bool totalIsKnown() const { return writesWithoutFraction_ <= 1; }
    [[nodiscard]] std::vector<std::string> facts(Moment moment) const;
    [[nodiscard]] std::string line(Moment moment) const;
    void draw(Moment moment);

    bool shown_;
    std::string prefix_;
    Phase phase_ = Phase::Download;
    double fraction_ = 0;
    std::uint64_t uploadSize_ = 0;
    std::uint64_t receivedBytes_ = 0;
    unsigned writesWithoutFraction_ = 0;
    Pace pace_;
    std::string drawn_;  ///< What stands on the line now.
    bool begun_ = false;
    Clock::time_point lastDrawn_;
};

}  // namespace cli
