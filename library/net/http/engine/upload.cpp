// The request body: each fragment is read into the transfer memory and written from there.

#include "net/http/engine/upload.hpp"

#include <algorithm>
#include <utility>

#include "platform/runtime/system.hpp"

#include "net/http/engine/failure.hpp"
#include "net/http/engine/progress.hpp"
#include "net/http/engine/transfer_memory.hpp"
#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Client {

using Utils::Channel;
using Utils::hexDec;
using Utils::isDebugRequest;
using Utils::Level;
using Utils::LogRecord;

namespace {

constexpr std::uint64_t LargeFragment = 0x100000;
constexpr std::uint64_t SmallFragment = 0x10000;

void traceStart(const RequestObj& request, const BodySize& size) {
    if (!isDebugRequest(request.flags_)) {
        return;
    }
    if (LogRecord record{Channel::HttpClient, Level::Trace}) {
        record << "Sending request body of size " << hexDec(size.total);
    }
}

void traceFragment(const RequestObj& request, const TransferBuffer& buffer, std::uint64_t size) {
    if (!isDebugRequest(request.flags_)) {
        return;
    }
    if (LogRecord record{Channel::HttpClient, Level::Trace}) {
        record << "Sending request body fragment of size " << hexDec(size);
    }
    Utils::dumpBytes(Channel::HttpClient, buffer.data(), size);
}

/// Moves one fragment of at most `chunk` bytes. @return Its size, or 0 on failure.
std::uint64_t sendFragment(const RequestObj& request, Interfaces::Stripe& body,
                           Utils::NetStream& stream, const TransferBuffer& buffer,
                           std::uint64_t chunk) {
    const std::int64_t count = body.read(buffer, chunk, NoTimeout);
    // A source that claims more than was asked for has overrun the buffer or lies.
    if (count <= 0 || std::cmp_greater(count, chunk)) {
        (void)failTransfer("Failed to read data for request body; error: ", Error::get());
        return 0;
    }
    const auto size = static_cast<std::uint64_t>(count);
    traceFragment(request, buffer, size);
    if (stream.write(buffer, size, NoTimeout) != count) {
        (void)failTransfer("Failed to write data; error: ", Error::get());
        return 0;
    }
    return size;
}

}  // namespace

BodySize measureBody(const RequestObj& request) {
    BodySize size;
    if (request.body_) {
        // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it may leave its request
        const Ref<Interfaces::Stripe> body = request.body_;
        const std::uint64_t length = body->length();
        const std::uint64_t position = body->position();
        const std::uint64_t element = body->elementSize();
        size = {length * element, (length - position) * element};
    }
    if (isDebugRequest(request.flags_)) {
        if (LogRecord record{Channel::HttpClient, Level::Trace}) {
            record << "Request body size: " << hexDec(size.left)
                   << "; has request body: " << static_cast<bool>(request.body_);
        }
    }
    return size;
}

bool sendBody(const RequestObj& request, Utils::NetStream& stream, const BodySize& size) {
    const Ref<Interfaces::Stripe> body =
        request.body_;  // a callback may take it out of the request
    traceStart(request, size);
    const std::uint64_t limit =
        Sys::info(Sys::InstalledMemory) != 0 ? LargeFragment : SmallFragment;
    TransferMemory memory(limit, TransferMemory::First::Private, true);
    memory.offerTo(body, "Failed to map shared memory; error: ", TransferMemory::HandBack::No);
    const TransferBuffer buffer = memory.streamBuffer();

    reportProgress(request.uploadProgress_, 0, size.left);
    for (std::uint64_t sent = 0; sent < size.left;) {
        const std::uint64_t count =
            sendFragment(request, *body, stream, buffer, std::min(size.left - sent, limit));
        if (count == 0) {
            return false;
        }
        sent += count;
        reportProgress(request.uploadProgress_, sent, size.left);
        if (isCancelRequested(request)) {
            if (LogRecord record{Channel::HttpClient, Level::Trace}) {
                record << "User cancelled upload";
            }
            Error::set(ErrCancelled);
            return false;
        }
    }
    return true;
}

}  // namespace Libraries::Networks::HTTP::Client
