// From received bytes to lines, and from lines to status and header fields.

#include "net/http/engine/response_head.hpp"

#include "platform/runtime/string_util.hpp"

#include "net/http/engine/progress.hpp"
#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Client {

using Utils::Channel;
using Utils::hexDec;
using Utils::isDebugRequest;
using Utils::Level;
using Utils::LogRecord;

namespace {

constexpr std::uint64_t StatusOfUnreadableCode = 400;

}  // namespace

std::size_t LineReader::search(char octet, std::size_t from, std::size_t to) const noexcept {
    return from + Mem::search8(bytes_.data() + from, static_cast<unsigned char>(octet), to - from);
}

void LineReader::feed(std::string_view bytes) noexcept {
    searched_ -= start_;  // of the unfinished line, now at the start, every byte has been searched
    start_ = 0;
    bytes_ = bytes;
    lineFeed_ = search('\n', searched_, bytes_.size());
}

std::optional<std::string_view> LineReader::next() noexcept {
    if (afterCr_ && start_ < bytes_.size()) {  // the bytes before may have ended inside a CR LF
        afterCr_ = false;
        if (bytes_[start_] == '\n') {
            searched_ = ++start_;
        }
    }
    if (lineFeed_ < searched_) {
        lineFeed_ = search('\n', searched_, bytes_.size());
    }
    const std::size_t end = search('\r', searched_, lineFeed_);
    searched_ = end;
    if (end == bytes_.size()) {
        return std::nullopt;
    }
    const std::string_view line = bytes_.substr(start_, end - start_);
    const bool isCr = bytes_[end] == '\r';
    start_ = end + (isCr && end + 1 == lineFeed_ && lineFeed_ < bytes_.size() ? 2 : 1);
    searched_ = start_;
    afterCr_ = isCr && start_ == end + 1 && start_ == bytes_.size();
    return line;
}

ResponseHead::State ResponseHead::consume(std::string_view bytes) {
    lines_.feed(bytes);
    while (const std::optional<std::string_view> line = lines_.next()) {
        if (statusPending_) {
            statusPending_ = false;
            if (!takeStatusLine(*line)) {
                return State::Failed;
            }
        } else if (line->empty()) {
            return end();
        } else {
            takeHeaderLine(*line);
        }
    }
    dataSeen_ = true;
    return State::Incomplete;
}

bool ResponseHead::takeStatusLine(std::string_view line) {
    const std::size_t first = line.find(' ');
    const std::size_t second = first != std::string_view::npos ? line.find(' ', first + 1) : first;
    if (second == std::string_view::npos) {
        if (LogRecord record{Channel::HttpClient, Level::Failure}) {
            record << "Invalid HTTP response";
        }
        Error::set(ErrTransfer);
        return false;
    }
    if (!StrConv::num(line.substr(first + 1, second - first - 1), statusCode_)) {
        statusCode_ = StatusOfUnreadableCode;
    }
    reason_ = String::create(line.substr(second + 1));
    if (isDebugRequest(request_.flags_)) {
        if (LogRecord record{Channel::HttpClient, Level::Trace}) {
            record << "Got response " << line.substr(0, first) << ", Code = " << hexDec(statusCode_)
                   << ", Reason = " << reason_;
        }
    }
    return true;
}

void ResponseHead::takeHeaderLine(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        if (LogRecord record{Channel::HttpClient, Level::Warning}) {
            record << "Invalid HTTP header entry: " << line;
        }
        return;
    }
    const std::string_view name = StringUtil::trim(line.substr(0, colon));
    const std::string_view value = StringUtil::trim(line.substr(colon + 1));
    if (String::compareLowered(name, "content-length") == 0) {
        takeContentLength(value);
    }
    if (isDebugRequest(request_.flags_)) {
        if (LogRecord record{Channel::HttpClient, Level::Trace}) {
            record << "Got header entry " << name << " with value " << value;
        }
    }
    // Of a repeated name the first occurrence stays. Heads with very many fields number them.
    const bool isLast = fields_.empty() || HeaderNameLess()(fields_.rbegin()->first, name);
    if (const auto place = isLast ? fields_.end() : fields_.lower_bound(name);
        place == fields_.end() || HeaderNameLess()(name, place->first)) {
        fields_.emplace_hint(place, String::create(name), String::create(value));
    }
}

void ResponseHead::takeContentLength(std::string_view value) {
    if (StrConv::num(value, contentLength_)) {
        reportProgress(request_.downloadProgress_, 0, contentLength_);
        return;
    }
    if (LogRecord record{Channel::HttpClient, Level::Warning}) {
        record << "Failed to convert Content-Length header: " << hexDec(contentLength_);
    }
    contentLength_ = Absent;
}

ResponseHead::State ResponseHead::end() {
    inHead_ = false;
    dataSeen_ = true;
    if (statusCode_ < 300 || statusCode_ > 399) {
        return State::Ended;
    }
    const bool follow = !request_.flags_.has(Request::Flag::NoRedirect);
    const Redirect decision = decideRedirect(fields_, hop_, follow, redirects_);
    skipping_ = decision == Redirect::Follow;
    return decision == Redirect::Failed ? State::Failed : State::Ended;
}

}  // namespace Libraries::Networks::HTTP::Client
