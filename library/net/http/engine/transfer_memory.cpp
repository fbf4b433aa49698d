// Where the memory of a transfer comes from, and what becomes of its mapping.

#include "net/http/engine/transfer_memory.hpp"

#include <utility>

#include "platform/runtime/error.hpp"

#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Client {

using Utils::Channel;
using Utils::hexDec;
using Utils::Level;
using Utils::LogRecord;

namespace {

void warn(std::string_view text, bool withCode) {
    const std::uint32_t code = Error::get();
    if (LogRecord record{Channel::HttpClient, Level::Warning}) {
        record << text;
        if (withCode) {
            record << "; error: " << hexDec(code);
        }
    }
}

}  // namespace

TransferMemory::TransferMemory(std::uint64_t size, First first, bool withCode) {
    if (first == First::Private) {
        memory_ = PMem::create(size);
        if (!memory_) {
            warn("Failed to create PMem for transfer", withCode);
        }
    }
    if (!memory_) {
        memory_ = ShMem::create(size);
        if (!memory_) {
            warn("Failed to create ShMem for transfer", withCode);
        }
    }
    if (!memory_) {
        block_.reset(static_cast<std::uint8_t*>(Heap::alloc(size, Heap::Array)));
    }
    address_ = memory_ ? memory_->address() : block_.get();
}

TransferMemory::~TransferMemory() {
    if (stream_) {
        const std::uint32_t code = Error::get();
        stream_->unmap(mapping_);
        Error::set(code);
    }
}

void TransferMemory::offerTo(Ref<Interfaces::Stream> stream, std::string_view failureText,
                             HandBack handBack) {
    if (!memory_) {
        return;
    }
    mapping_ = stream->map(memory_);
    if (!mapping_) {
        const std::uint32_t code = Error::get();
        if (code == ErrNotSupported) {
            return;
        }
        if (LogRecord record{Channel::HttpClient, Level::Warning}) {
            record << failureText << hexDec(code);
        }
        return;
    }
    if (handBack == HandBack::Yes) {
        stream_ = std::move(stream);
    }
}

TransferBuffer TransferMemory::streamBuffer() const {
    return mapping_ ? TransferBuffer::mapped(mapping_) : TransferBuffer::plain(address_);
}

}  // namespace Libraries::Networks::HTTP::Client
