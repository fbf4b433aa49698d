// The progress bar. It knows nothing of requests: fractions and sizes come in, a line comes out.

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
constexpr std::size_t narrowestBar = 6;

void writeToStandardError(std::string_view text) {
    // A bar that cannot be seen is no failure of the exchange.
    (void)std::fwrite(text.data(), 1, text.size(), stderr);
}

std::string amountText(double bytes) {
    constexpr std::array<const char*, 5> units = {"bytes", "KiB", "MiB", "GiB", "TiB"};
    std::size_t unit = 0;
    for (; bytes >= 1024 && unit + 1 < units.size(); ++unit) {
        bytes /= 1024;
    }
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", bytes,
                        units[unit]);
    return text.data();
}

std::string durationText(std::chrono::seconds time) {
    const auto all = static_cast<long>(time.count());
    std::array<char, 32> text{};
    if (all >= 3600) {
        (void)std::snprintf(text.data(), text.size(), "%ld:%02ld:%02ld", all / 3600, all / 60 % 60,
                            all % 60);
    } else {
        (void)std::snprintf(text.data(), text.size(), "%ld:%02ld", all / 60, all % 60);
    }
    return text.data();
}

std::string joined(const std::vector<std::string>& facts) {
    std::string text;
    for (const std::string& fact : facts) {
        text += (text.empty() ? "" : "  ") + fact;
    }
    return text;
}

}  // namespace

void ProgressBar::begin(std::string prefix, std::uint64_t uploadSize) {
    prefix_ = std::move(prefix);
    uploadSize_ = uploadSize;
    enter(Phase::Download);
    begun_ = false;
}

void ProgressBar::enter(Phase phase) {
    phase_ = phase;
    fraction_ = 0;
    receivedBytes_ = 0;
    writesWithoutFraction_ = 0;
    if (shown_) {
        pace_.begin(Clock::now());
    }
}

void ProgressBar::update(Phase phase, double fraction) {
    // Both phases are told 0 at the very start: the one that moves is the one to show.
    if (!shown_ || (fraction <= 0 && phase != phase_)) {
        return;
    }
    const std::uint64_t arrived = receivedBytes_;  // before the fraction that tells of them
    if (phase_ == Phase::Upload && phase != phase_ && fraction >= 1 && arrived == 0) {
        return;  // an answer without a body: the upload is what there was to see
    }
    if (phase != phase_ || fraction < fraction_) {
        enter(phase);
        receivedBytes_ = phase == Phase::Download ? arrived : 0;
    }
    fraction_ = std::clamp(fraction, 0.0, 1.0);
    writesWithoutFraction_ = 0;
    begun_ = begun_ || fraction_ > 0;
    drawSometimes();
}

void ProgressBar::received(std::uint64_t bytes) {
    if (!shown_) {
        return;
    }
    receivedBytes_ += bytes;
    ++writesWithoutFraction_;
    if (!totalIsKnown()) {
        if (phase_ != Phase::Download) {
            const std::uint64_t arrived = receivedBytes_;
            enter(Phase::Download);
            receivedBytes_ = arrived;
            writesWithoutFraction_ = 2;
        }
        begun_ = true;
        drawSometimes();
    }
}

void ProgressBar::finish() {
    if (begun_) {
        draw(Moment::End);
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

void ProgressBar::drawSometimes() {
    if (begun_ && Clock::now() - lastDrawn_ >= drawingInterval) {
        draw(Moment::UnderWay);
    }
}

std::uint64_t ProgressBar::bytes() const {
    return phase_ == Phase::Download
               ? receivedBytes_
               : static_cast<std::uint64_t>(fraction_ * static_cast<double>(uploadSize_));
}

std::vector<std::string> ProgressBar::facts(Moment moment) const {
    std::vector<std::string> facts;
    if (totalIsKnown()) {
        std::array<char, 8> percent{};
        (void)std::snprintf(percent.data(), percent.size(), "%3d%%",
                            static_cast<int>(fraction_ * 100));
        facts.emplace_back(percent.data());
    }
    if (!totalIsKnown() || (moment == Moment::End && bytes() != 0)) {
        facts.push_back(amountText(static_cast<double>(bytes())));
    }
    if (const auto rate = moment == Moment::End ? pace_.meanRate() : pace_.recentRate()) {
        facts.push_back(amountText(*rate) + "/s");
    }
    if (moment == Moment::End) {
        facts.push_back("in " +
                        durationText(std::chrono::round<std::chrono::seconds>(pace_.elapsed())));
    } else if (const auto left = pace_.timeLeft()) {
        facts.push_back(durationText(*left));
    }
    return facts;
}

std::string ProgressBar::line(Moment moment) const {
    const std::size_t width = std::min<std::size_t>(host::columns() - 1, widestLine);
    const std::string title = prefix_ + (phase_ == Phase::Upload ? "Upload " : "Download ");
    // On a narrow terminal the bar goes first, then the time, then the rate.
    std::vector<std::string> told = facts(moment);
    std::string tail = joined(told);
    while (told.size() > 1 && title.size() + tail.size() > width) {
        told.pop_back();
        tail = joined(told);
    }
    const std::size_t taken = title.size() + std::string_view("[] ").size() + tail.size();
    if (!totalIsKnown() || taken + narrowestBar > width) {
        return (title + tail).substr(0, width);
    }
    const std::size_t room = width - taken;
    const auto done = static_cast<std::size_t>(fraction_ * static_cast<double>(room));
    return title + '[' + std::string(done, '=') + std::string(room - done, ' ') + "] " + tail;
}

void ProgressBar::draw(Moment moment) {
    lastDrawn_ = Clock::now();
    pace_.add(lastDrawn_, fraction_, bytes());
    std::string text = line(moment);
    const std::size_t leftOver = drawn_.size() - std::min(drawn_.size(), text.size());
    writeToStandardError('\r' + text + std::string(leftOver, ' '));
    drawn_ = std::move(text);
}

}  // namespace cli
