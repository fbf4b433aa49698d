// The system log: channels, levels, and records on their way to a sink.

#include "platform/log/log.hpp"

#include <array>
#include <atomic>
#include <mutex>
#include <string_view>
#include <utility>

#include "platform/runtime/error.hpp"
#include "platform/runtime/host.hpp"

namespace {

constexpr std::uint32_t DefaultLevel = 3;
constexpr std::size_t MostChannels = 64;

struct Channel {
    const char* name = nullptr;
    std::atomic<bool> on{true};
};

/// Channels are only ever added, and read without a lock: `count` is raised after its entry is
/// complete.
struct Registry {
    std::array<Channel, MostChannels> channels;
    std::atomic<std::size_t> count{0};
    std::mutex adding;
    std::atomic<std::uint32_t> level{DefaultLevel};

    Registry() noexcept {
        std::uint64_t number = 0;
        const char* const text = Host::environment("VORNIK_LOG_LEVEL");
        if (text != nullptr && StrConv::num(std::string_view(text), number) &&
            number <= UINT32_MAX) {
            level = static_cast<std::uint32_t>(number);
        }
    }
    Channel* find(std::uint64_t handle) noexcept {
        return handle != 0 && handle <= count.load(std::memory_order_acquire)
                   ? &channels[handle - 1]
                   : nullptr;
    }
};

/// Made by the first call, which may come from a library's static initialisation.
Registry& registry() noexcept {
    static Registry instance;
    return instance;
}

bool isNamedOff(std::string_view name) noexcept {
    const char* const text = Host::environment("VORNIK_LOG_OFF");
    std::string_view rest = text != nullptr ? text : "";
    while (!rest.empty()) {
        const std::size_t end = rest.find(',');
        if (StringUtil::trim(rest.substr(0, end)) == name) {
            return true;
        }
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
    return false;
}

std::atomic<SysLogStream::Sink> currentSink{nullptr};

void deliver(std::uint32_t level, std::uint32_t channel, std::string_view text) {
    const Channel* const known = registry().find(channel);
    const char* const name = known != nullptr ? known->name : "";
    const SysLogStream::Sink sink = currentSink.load(std::memory_order_acquire);
    const std::uint32_t code = Error::get();
    (sink != nullptr ? sink : SysLogStream::writeLine)(level, name, text);
    Error::set(code);
}

void appendDumpLine(StringPrinter& line, std::string_view bytes, std::size_t offset,
                    std::size_t group, std::size_t perLine) {
    line.hexadecimal().padded(8).number(std::uint64_t{offset}).text(" ");
    for (std::size_t i = 0; i < perLine; ++i) {
        if (group != 0 && i % group == 0) {
            line.text(" ");
        }
        if (i < bytes.size()) {
            line.hexadecimal().padded(2).number(
                std::uint64_t{static_cast<unsigned char>(bytes[i])});
        } else {
            line.text("  ");
        }
    }
    line.text("  ");
    for (const char byte : bytes) {
        line.character(byte >= 0x20 && byte < 0x7F ? static_cast<char32_t>(byte) : U'.');
    }
}

}  // namespace

std::uint64_t SysLogFilter::reg(const char* name) noexcept {
    Registry& all = registry();
    const std::lock_guard guard(all.adding);
    const std::size_t index = all.count.load(std::memory_order_relaxed);
    std::uint64_t handle = MostChannels;  // past the table's end, channels share the last entry
    if (index < MostChannels) {
        all.channels[index].name = name;
        all.channels[index].on = !isNamedOff(name);
        handle = index + 1;
        all.count.store(index + 1, std::memory_order_release);
    }
    return handle;
}

std::uint32_t SysLogFilter::level() noexcept {
    return registry().level.load(std::memory_order_relaxed);
}

void SysLogFilter::setLevel(std::uint32_t level) noexcept {
    registry().level = level;
}

bool SysLogFilter::state(std::uint64_t handle) noexcept {
    const Channel* const channel = registry().find(handle);
    return channel != nullptr && channel->on.load(std::memory_order_relaxed);
}

void SysLogFilter::setState(std::uint64_t handle, bool on) noexcept {
    if (Channel* const channel = registry().find(handle)) {
        channel->on = on;
    }
}

std::uint32_t SysLogFilter::id(std::uint64_t handle) noexcept {
    return static_cast<std::uint32_t>(handle);
}

std::uint64_t SysLogFilter::find(std::string_view name) noexcept {
    Registry& all = registry();
    const std::size_t count = all.count.load(std::memory_order_acquire);
    for (std::size_t i = 0; i < count; ++i) {
        if (name == all.channels[i].name) {
            return i + 1;
        }
    }
    return 0;
}

Ref<SysLogStream> SysLogStream::stdOutPrinter() {
    // The pointer has no destructor: records can be written to the very end of the thread, from the
    // destructors of other objects too.
    thread_local SysLogStream* printer = nullptr;
    struct Release {
        Release() = default;
        Release(const Release&) = delete;
        Release& operator=(const Release&) = delete;
        ~Release() {
            if (printer != nullptr) {
                std::exchange(printer, nullptr)->releaseReference();
            }
        }
    };
    thread_local const Release release;
    if (printer == nullptr) {
        (void)&release;
        printer = Ref<SysLogStream>::make().detach();
    }
    return Ref<SysLogStream>(printer);
}

void SysLogStream::setSink(Sink sink) noexcept {
    currentSink.store(sink, std::memory_order_release);
}

SysLogStream& SysLogStream::setLevel(std::uint32_t level) noexcept {
    level_ = level;
    return *this;
}

SysLogStream& SysLogStream::setChannel(std::uint32_t id) noexcept {
    channel_ = id;
    return *this;
}

SysLogStream& SysLogStream::text(std::string_view text) {
    record_.text(text);
    return *this;
}

SysLogStream& SysLogStream::text(const Ref<String>& text) {
    record_.text(text);
    return *this;
}

SysLogStream& SysLogStream::boolean(bool value) {
    return text(value ? "true" : "false");
}

SysLogStream& SysLogStream::number(std::uint64_t value) {
    record_.number(value);
    return *this;
}

SysLogStream& SysLogStream::number(std::int64_t value) {
    record_.number(value);
    return *this;
}

SysLogStream& SysLogStream::hexadecimal() noexcept {
    record_.hexadecimal();
    return *this;
}

void SysLogStream::endRecord() {
    // A sink may log as well: the printer is empty before it runs.
    const Ref<String> text = record_.toString();
    record_.clear();
    deliver(level_, channel_, text->view());
}

void SysLogStream::dump(const void* start, std::size_t count, std::size_t group,
                        std::size_t perLine) {
    if (!record_.view().empty()) {
        endRecord();
    }
    const std::uint32_t level = level_;  // a sink that logs as well changes both
    const std::uint32_t channel = channel_;
    const std::string_view bytes(static_cast<const char*>(start), count);
    for (std::size_t offset = 0; offset < count && perLine != 0; offset += perLine) {
        StringPrinter line;
        appendDumpLine(line, bytes.substr(offset, perLine), offset, group, perLine);
        deliver(level, channel, line.view());
    }
}
