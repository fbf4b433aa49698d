// The progress bar. It knows nothing of requests: fractions come in, a line comes out.

#include "progress_bar.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "host.hpp"

namespace cli {

namespace {

constexpr std::chrono::milliseconds drawingInterval(100);
constexpr std::size_t widestLine = 79;  // one less than a terminal: a full line would wrap
constexpr std::size_t narrowestBar = 4;

void writeToStandardError(std::string_view text) {
    // A bar that cannot be seen is no failure of the exchange.
    (void)std::fwrite(text.data(), 1, text.size(), stderr);
}

std::string amountText(std::uint64_t bytes) {
    constexpr std::array<const char*, 5> units = {"bytes", "KiB", "MiB", "GiB", "TiB"};
    auto amount = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; amount >= 1024 && unit + 1 < units.size(); ++unit) {
        amount /= 1024;
    }
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", amount,
                        units[unit]);
    return text.data();
}

}  // namespace

void ProgressBar::begin(std::string prefix) {
    prefix_ = std::move(prefix);
    phase_ = Phase::Download;
    fraction_ = 0;
    receivedBytes_ = 0;
    writesWithoutFraction_ = 0;
    begun_ = false;
}

void ProgressBar::update(Phase phase, double fraction) {
    // Both phases are told 0 at the very start: the one that moves is the one to show.
    if (!shown_ || (fraction <= 0 && phase != phase_)) {
        return;
    }
    phase_ = phase;
    fraction_ = std::clamp(fraction, 0.0, 1.0);
    writesWithoutFraction_ = 0;
    begun_ = begun_ || fraction_ > 0;
    if (begun_ && !isTooEarly()) {
        draw();
    }
}

void ProgressBar::received(std::uint64_t bytes) {
    if (!shown_) {
        return;
    }
    receivedBytes_ += bytes;
    // A fraction follows every write unless the total is unknown.
    if (++writesWithoutFraction_ > 1) {
        phase_ = Phase::Download;
        begun_ = true;
        if (!isTooEarly()) {
            draw();
        }
    }
}

void ProgressBar::finish() {
    if (begun_) {
        draw();
        writeToStandardError("\n");
    }
    drawn_.clear();
    begun_ = false;
}

void ProgressBar::clear() {
    if (!drawn_.empty()) {
        writeToStandardError('\r' + std::string(drawn_.size(), ' ') + '\r');
        drawn_.clear();
    }
}

bool ProgressBar::isTooEarly() const {
    return std::chrono::steady_clock::now() - lastDrawn_ < drawingInterval;
}

std::string ProgressBar::line() const {
    const std::size_t width = std::min<std::size_t>(host::columns() - 1, widestLine);
    std::string text = prefix_ + (phase_ == Phase::Upload ? "Upload   " : "Download ");
    if (writesWithoutFraction_ > 1) {
        return (text + amountText(receivedBytes_)).substr(0, width);
    }
    std::array<char, 8> percent{};
    (void)std::snprintf(percent.data(), percent.size(), "%3d%%", static_cast<int>(fraction_ * 100));
    const std::size_t taken = text.size() + std::string_view("[] 100%").size();
    if (taken + narrowestBar <= width) {
        const std::size_t room = width - taken;
        const auto done = static_cast<std::size_t>(fraction_ * static_cast<double>(room));
        text += '[' + std::string(done, '=') + std::string(room - done, ' ') + "] ";
    }
    return (text + percent.data()).substr(0, width);
}

void ProgressBar::draw() {
    lastDrawn_ = std::chrono::steady_clock::now();
    std::string text = line();
    const std::size_t leftOver = drawn_.size() - std::min(drawn_.size(), text.size());
    writeToStandardError('\r' + text + std::string(leftOver, ' '));
    drawn_ = std::move(text);
}

}  // namespace cli
