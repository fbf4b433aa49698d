// What the program learns from the log: an exchange answers one code for every failure, its records
// say which.

#include "record_watch.hpp"

#include <algorithm>
#include <utility>

#include "platform/log/log.hpp"

namespace cli {

namespace {

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
    RecordWatch& watch = *watching();
    if (level == failureLevel) {
        watch.records_.add(text);
    }
    if (watch.shows(level)) {
        watch.makeWay_();
        SysLogStream::writeLine(level, channel, text);
    }
}

}  // namespace cli
