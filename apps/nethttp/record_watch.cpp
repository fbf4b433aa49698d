// What the program learns from the log: an exchange answers one code for every failure, its records
// say which.

#include "record_watch.hpp"

#include <algorithm>
#include <utility>

#include "platform/log/log.hpp"

namespace cli {

namespace {

constexpr std::uint32_t failureLevel = 4;

/// A sink is a plain function and has no other way to know.
RecordWatch*& watching() {
    static RecordWatch* watch = nullptr;
    return watch;
}

}  // namespace

RecordWatch::RecordWatch(std::function<void()> makeWay)
    : makeWay_(std::move(makeWay)), wantedLevel_(SysLogFilter::level()) {
    // Failures arrive here even when the user wants to see none.
    SysLogFilter::setLevel(std::min(wantedLevel_, failureLevel));
    watching() = this;
    SysLogStream::setSink(take);
}

RecordWatch::~RecordWatch() {
    SysLogStream::setSink(nullptr);
    watching() = nullptr;
    SysLogFilter::setLevel(wantedLevel_);
}

void RecordWatch::take(std::uint32_t level, const char* channel, std::string_view text) {
    watching()->note(level, channel, text);
    if (level >= watching()->wantedLevel_) {
        watching()->makeWay_();
        SysLogStream::writeLine(level, channel, text);
    }
}

void RecordWatch::note(std::uint32_t level, std::string_view channel, std::string_view text) {
    if (level == failureLevel && channel == "HTTP Utils" &&
        (text.starts_with("Certificate error: ") ||
         text.starts_with("Certificate verification failed for "))) {
        certificateRefused_ = true;
    }
}

}  // namespace cli
