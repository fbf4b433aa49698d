// Channels are registered and the boot parameter's words are read here, and nowhere else.

#include "net/http/transport/log.hpp"

#include "platform/runtime/string_util.hpp"
#include "platform/runtime/system.hpp"
#include "platform/runtime/thread.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

struct RegisteredChannel {
    explicit RegisteredChannel(const char* name) noexcept : handle(SysLogFilter::reg(name)) {}
    std::uint64_t handle;
};

// Ahead of ordinary static objects, so that none of an application linked statically runs before.
[[gnu::init_priority(200)]] const RegisteredChannel httpClientChannel("HTTP Client");
[[gnu::init_priority(201)]] const RegisteredChannel httpUtilsChannel("HTTP Utils");
[[gnu::init_priority(202)]] const RegisteredChannel openSslBioChannel("OpenSSL.BIO");

std::uint64_t handleOf(Channel channel) noexcept {
    switch (channel) {
        case Channel::HttpClient:
            return httpClientChannel.handle;
        case Channel::HttpUtils:
            return httpUtilsChannel.handle;
        case Channel::OpenSslBio:
            break;
    }
    return openSslBioChannel.handle;
}

/// Answers the thread's printer with level and channel set, or null when the record is not wanted.
Ref<SysLogStream> beginRecord(Channel channel, Level level) {
    const auto number = static_cast<std::uint32_t>(level);
    if (SysLogFilter::level() > number) {
        return nullptr;
    }
    const std::uint64_t handle = handleOf(channel);
    if (!SysLogFilter::state(handle)) {
        return nullptr;
    }
    Ref<SysLogStream> printer = SysLogStream::stdOutPrinter();
    printer->setLevel(number).setChannel(SysLogFilter::id(handle));
    return printer;
}

OnceFlag switchesRead;
bool connectDebugOn = false;
bool sslCertsDebugOn = false;

void loadDebugSwitches() {
    const Ref<TVector<Ref<String>>> words = StringUtil::split(Sys::bootParameter(), ' ', 0);
    if (!words) {
        return;
    }
    for (const Ref<String>& word : *words) {
        if (word->equals("lib.net.http.sslcerts.debug")) {
            sslCertsDebugOn = true;
        } else if (word->equals("lib.net.http.connect.debug")) {
            connectDebugOn = true;
        }
    }
}

void ensureDebugSwitches() {
    InitCode::_do_call_once(switchesRead, loadDebugSwitches);
}

}  // namespace

LogRecord::LogRecord(Channel channel, Level level) : printer_(beginRecord(channel, level)) {}

LogRecord::~LogRecord() {
    if (printer_) {
        printer_->endRecord();
    }
}

LogRecord& LogRecord::operator<<(std::string_view text) {
    printer_->text(text);
    return *this;
}

LogRecord& LogRecord::operator<<(const Ref<String>& text) {
    printer_->text(text);
    return *this;
}

void LogRecord::appendHexDec(std::uint64_t digits, std::uint64_t value, bool isSigned) {
    printer_->hexadecimal().number(digits).text("h (");
    if (isSigned) {
        printer_->number(static_cast<std::int64_t>(value));
    } else {
        printer_->number(value);
    }
    printer_->text(")");
}

void dumpBytes(Channel channel, const void* start, std::size_t count) {
    if (const Ref<SysLogStream> printer = beginRecord(channel, Level::Trace)) {
        printer->dump(start, count, 1, 16);
    }
}

bool connectDebug() {
    ensureDebugSwitches();
    return connectDebugOn;
}

bool sslCertsDebug() {
    ensureDebugSwitches();
    return sslCertsDebugOn;
}

bool isDebugRequest(Definitions::Set<Client::Request::Flag> flags) {
    return flags.has(Client::Request::Flag::Verbose) || connectDebug();
}

}  // namespace Libraries::Networks::HTTP::Utils
