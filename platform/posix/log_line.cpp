// The default sink: a record becomes one line on standard error.

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <ctime>

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include "platform/log/log.hpp"
#include "platform/posix/descriptor.hpp"
#include "platform/runtime/utf8.hpp"

namespace {

void appendTime(StringPrinter& line) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    struct tm parts = {};
    gmtime_r(&now.tv_sec, &parts);
    const auto number = [&line](long value, unsigned width, const char* behind) {
        line.padded(width).number(std::int64_t{value}).text(behind);
    };
    number(parts.tm_year + 1900L, 4, "-");
    number(parts.tm_mon + 1L, 2, "-");
    number(parts.tm_mday, 2, "T");
    number(parts.tm_hour, 2, ":");
    number(parts.tm_min, 2, ":");
    number(parts.tm_sec, 2, ".");
    number(now.tv_nsec / 1000, 6, "Z");
}

/// Tells whether a character could forge a line, or steer or disorder a terminal.
bool isUnsafe(char32_t codePoint) noexcept {
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint <= 0x9F) || codePoint == 0x200E ||
           codePoint == 0x200F || (codePoint >= 0x2028 && codePoint <= 0x202E) ||
           (codePoint >= 0x2066 && codePoint <= 0x2069);
}

bool isStandardUtf8(const Utf8::Decoded& decoded) noexcept {
    const bool surrogate = decoded.codePoint >= 0xD800 && decoded.codePoint <= 0xDFFF;
    return decoded.wellFormed && !surrogate && decoded.codePoint <= 0x10FFFF;
}

void appendEscaped(StringPrinter& line, std::string_view text) {
    while (!text.empty()) {
        const Utf8::Decoded next = Utf8::decode(text);
        if (isStandardUtf8(next) && !isUnsafe(next.codePoint)) {
            line.text(text.substr(0, next.octets));
        } else {
            for (const char octet : text.substr(0, next.octets)) {
                line.text("\\x").hexadecimal().padded(2).number(
                    std::uint64_t{static_cast<unsigned char>(octet)});
            }
        }
        text.remove_prefix(next.octets);
    }
}

/// Keeps the signals of a failed write from the thread, and takes back the one that was raised: that
/// of a pipe without a reader, and that of a file at the process's limit.
class WithoutWriteSignals {
public:
    WithoutWriteSignals() noexcept {
        sigset_t pending;
        sigpending(&pending);
        sigset_t blocked;
        sigemptyset(&blocked);
        sigemptyset(&raised_);
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            sigaddset(&blocked, signal);
            if (sigismember(&pending, signal) == 0) {
                sigaddset(&raised_, signal);
            }
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &before_);
    }
    WithoutWriteSignals(const WithoutWriteSignals&) = delete;
    WithoutWriteSignals& operator=(const WithoutWriteSignals&) = delete;
    ~WithoutWriteSignals() {
        const timespec now = {};
        (void)Host::withoutInterruption([&] { return sigtimedwait(&raised_, nullptr, &now); });
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

private:
    sigset_t raised_ = {};  // those that were not pending before
    sigset_t before_ = {};
};

/// Set when standard error took the beginning of a line alone: the next line starts behind its end.
std::atomic<bool> lineIsOpen{false};

/// Waits a second at most for room for the rest of a line, whatever signals come. @return Whether
/// there is some.
bool awaitRoom() noexcept {
    using std::chrono::steady_clock;
    const auto end = steady_clock::now() + std::chrono::seconds(1);
    pollfd entry = {STDERR_FILENO, POLLOUT, 0};
    int ready = -1;
    do {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now()).count();
        ready = poll(&entry, 1, static_cast<int>(std::max<std::int64_t>(left, 0)));
    } while (ready == -1 && errno == EINTR);
    return ready == 1;
}

/// Writes a line whole by one write, so that lines of several threads and processes do not mix; a
/// pipe may take a long one in parts. What standard error does not take is lost: the log must neither
/// fail an exchange nor end the program.
///
/// @return How much was written.
std::size_t writeBytes(std::string_view bytes) noexcept {
    const WithoutWriteSignals guard;
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = Host::withoutInterruption(
            [&] { return write(STDERR_FILENO, bytes.data() + written, bytes.size() - written); });
        if (count > 0) {
            written += static_cast<std::size_t>(count);
        } else if (count == 0 || written == 0 || errno != EAGAIN || !awaitRoom()) {
            break;
        }
    }
    return written;
}

}  // namespace

void SysLogStream::writeLine(std::uint32_t level, const char* channel,
                             std::string_view text) noexcept {
    StringPrinter line;
    const bool endsAnother = lineIsOpen.exchange(false);
    line.text(endsAnother ? "\n" : "");
    appendTime(line);
    line.text(" ").number(std::uint64_t{level}).text(" [");
    appendEscaped(line, channel);
    line.text("] ");
    appendEscaped(line, text);
    line.text("\n");
    const std::string_view bytes = line.view();
    const std::size_t written = writeBytes(bytes);
    if (written < bytes.size() && (written != 0 || endsAnother)) {
        lineIsOpen = true;
    }
}
