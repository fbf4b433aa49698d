#include "tests/support/log_capture.hpp"

#include <algorithm>
#include <mutex>
#include <sstream>

#include "platform/runtime/error.hpp"

namespace {

// A sink is a plain function: what it collects cannot belong to an object.
struct Collected {
    std::mutex mutex;
    std::vector<LogCapture::Record> records;
    std::uint32_t clobber = 0;
};

Collected& collected() {
    static Collected instance;
    return instance;
}

void collect(std::uint32_t level, const char* channel, std::string_view text) {
    Collected& all = collected();
    const std::lock_guard lock(all.mutex);
    all.records.push_back({level, channel, std::string(text)});
    if (all.clobber != 0) {
        Error::set(all.clobber);
    }
}

}  // namespace

LogCapture::LogCapture(std::uint32_t level, std::uint32_t clobber)
    : previousLevel_(SysLogFilter::level()) {
    clear();
    collected().clobber = clobber;
    SysLogFilter::setLevel(level);
    SysLogStream::setSink(collect);
}

LogCapture::~LogCapture() {
    SysLogStream::setSink(nullptr);
    SysLogFilter::setLevel(previousLevel_);
}

void PrintTo(const LogCapture::Record& record, std::ostream* out) {
    *out << record.level << ' ' << record.channel << ": " << record.text;
}

std::vector<LogCapture::Record> LogCapture::records(std::uint32_t level) const {
    const std::lock_guard lock(collected().mutex);
    std::vector<Record> records = collected().records;
    std::erase_if(records, [&](const Record& record) { return record.level < level; });
    return records;
}

std::vector<std::string> LogCapture::texts(std::uint32_t level) const {
    std::vector<std::string> texts;
    for (const Record& record : records(level)) {
        texts.push_back(record.text);
    }
    return texts;
}

bool LogCapture::has(std::uint32_t level, std::string_view channel, std::string_view text) const {
    const std::vector<Record> all = records();
    const Record wanted = {level, std::string(channel), std::string(text)};
    return std::find(all.begin(), all.end(), wanted) != all.end();
}

bool LogCapture::hasFailure(std::string_view prefix) const {
    const std::vector<Record> all = records();
    return std::any_of(all.begin(), all.end(), [&](const Record& record) {
        return record.level == 4 && record.text.starts_with(prefix);
    });
}

void LogCapture::clear() {
    const std::lock_guard lock(collected().mutex);
    collected().records.clear();
}

std::string hexDec(std::uint64_t value) {
    std::ostringstream text;
    text << std::hex << value << "h (" << std::dec << value << ")";
    return text.str();
}

ChannelOff::ChannelOff(std::string_view name) : handle_(SysLogFilter::find(name)) {
    SysLogFilter::setState(handle_, false);
}

ChannelOff::~ChannelOff() {
    SysLogFilter::setState(handle_, true);
}
