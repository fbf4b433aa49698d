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

bool isWanted(Channel channel, Level level) noexcept {
    return SysLogFilter::level() <= static_cast<std::uint32_t>(level) &&
           SysLogFilter::state(handleOf(channel));
}

/// Answers the thread's printer with level and channel set.
Ref<SysLogStream> beginRecord(Channel channel, Level level) {
    Ref<SysLogStream> printer = SysLogStream::stdOutPrinter();
    printer->setLevel(static_cast<std::uint32_t>(level));
    printer->setChannel(SysLogFilter::id(handleOf(channel)));
    return printer;
}

OnceFlag switchesRead;
DebugSwitches debugSwitches;

void ensureDebugSwitches() {
    InitCode::_do_call_once(switchesRead,
                            [] { debugSwitches = readDebugSwitches(Sys::bootParameter()); });
}

}  // namespace

LogRecord::LogRecord(Channel channel, Level level)
    : channel_(channel), level_(level), isWanted_(isWanted(channel, level)) {}

LogRecord::~LogRecord() {
    if (isWanted_) {
        beginRecord(channel_, level_)->text(text_.view()).endRecord();
    }
}

LogRecord& LogRecord::operator<<(std::string_view text) {
    text_.text(text);
    return *this;
}

LogRecord& LogRecord::operator<<(const Ref<String>& text) {
    text_.text(text);
    return *this;
}

void LogRecord::appendHexDec(std::uint64_t digits, std::uint64_t value, bool isSigned) {
    text_.hexadecimal().number(digits).text("h (");
    if (isSigned) {
        text_.number(static_cast<std::int64_t>(value));
    } else {
        text_.number(value);
    }
    text_.text(")");
}

void dumpBytes(Channel channel, const void* start, std::size_t count) {
    if (isWanted(channel, Level::Trace)) {
        beginRecord(channel, Level::Trace)->dump(start, count, 1, 16);
    }
}

DebugSwitches readDebugSwitches(const Ref<String>& bootParameter) {
    DebugSwitches switches;
    const Ref<TVector<Ref<String>>> words = StringUtil::split(bootParameter, ' ', 0);
    if (!words) {
        return switches;
    }
    for (const Ref<String>& word : *words) {
        if (word->equals("lib.net.http.sslcerts.debug")) {
            switches.sslCerts = true;
        } else if (word->equals("lib.net.http.connect.debug")) {
            switches.connect = true;
        }
    }
    return switches;
}

bool connectDebug() {
    ensureDebugSwitches();
    return debugSwitches.connect;
}

bool sslCertsDebug() {
    ensureDebugSwitches();
    return debugSwitches.sslCerts;
}

bool isDebugRequest(Definitions::Set<Client::Request::Flag> flags) {
    return flags.has(Client::Request::Flag::Verbose) || connectDebug();
}

}  // namespace Libraries::Networks::HTTP::Utils
