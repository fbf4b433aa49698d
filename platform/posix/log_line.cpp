// The default sink: a record becomes one line on standard error, written at once.

#include <ctime>

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

/// Keeps SIGPIPE from the thread, and takes back the one that a write has raised meanwhile.
class WithoutBrokenPipe {
public:
    WithoutBrokenPipe() noexcept {
        sigemptyset(&brokenPipe_);
        sigaddset(&brokenPipe_, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &brokenPipe_, &before_);
    }
    WithoutBrokenPipe(const WithoutBrokenPipe&) = delete;
    WithoutBrokenPipe& operator=(const WithoutBrokenPipe&) = delete;
    ~WithoutBrokenPipe() {
        if (!wasPending_) {
            const timespec now = {};
            (void)Host::withoutInterruption(
                [&] { return sigtimedwait(&brokenPipe_, nullptr, &now); });
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

private:
    sigset_t brokenPipe_ = {};
    sigset_t before_ = {};
    bool wasPending_ = false;
};

}  // namespace

void SysLogStream::writeLine(std::uint32_t level, const char* channel,
                             std::string_view text) noexcept {
    StringPrinter line;
    appendTime(line);
    line.text(" ").number(std::uint64_t{level}).text(" [");
    appendEscaped(line, channel);
    line.text("] ");
    appendEscaped(line, text);
    line.text("\n");
    // What standard error does not take is lost: the log must neither fail an exchange nor end the
    // program. One write, so that lines of several threads and processes stay whole.
    const std::string_view bytes = line.view();
    const WithoutBrokenPipe guard;
    (void)Host::withoutInterruption(
        [&] { return write(STDERR_FILENO, bytes.data(), bytes.size()); });
}
