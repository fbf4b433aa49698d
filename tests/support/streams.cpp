#include "tests/support/streams.hpp"

#include <algorithm>

#include "platform/runtime/error.hpp"

Mapping TestMapping::map(const Ref<SharedMemory>& memory) {
    offered_.push_back(memory ? memory->size() : 0);
    if (mode_ != MapMode::Maps) {
        Error::set(mode_ == MapMode::Fails ? FailureCode : ErrNotSupported);
        return {};
    }
    memory_ = memory;
    return {memory, Words};
}

void TestMapping::unmap(const Mapping& mapping) {
    ++unmapped_;
    if (!memory_ || mapping.memory != memory_ || mapping.words != Words) {
        fault_ = "unmap was given another mapping than map answered";
    }
    memory_.reset();
}

void TestMapping::check(const TransferBuffer& buffer) {
    const bool plain = buffer.kind == TransferBuffer::Plain && buffer.offset == 0 &&
                       buffer.owner == nullptr && buffer.second == nullptr &&
                       buffer.words == decltype(buffer.words){};
    const bool mapped = memory_ && buffer.kind == TransferBuffer::Mapped && buffer.offset == 0 &&
                        buffer.base == memory_->address() && buffer.words == Words &&
                        buffer.owner == Ref<RefCount>(memory_) &&
                        buffer.second == Ref<RefCount>(memory_);
    if (!(mode_ == MapMode::Maps ? mapped : plain)) {
        fault_ = "a transfer came with an unexpected buffer";
    }
}

std::int64_t TestSink::write(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout) {
    mapping.check(buffer);
    writes.push_back(size);
    const std::uint64_t taken = std::min(size, options_.room - bytes.size());
    bytes.append(reinterpret_cast<const char*>(buffer.data()), taken);
    if (taken < size || timeout != NoTimeout) {
        Error::set(options_.code);
    }
    return timeout == NoTimeout ? static_cast<std::int64_t>(taken) : -1;
}

std::int64_t ScriptedBody::read(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout) {
    mapping.check(buffer);
    asked.push_back(size);
    const std::uint64_t count = std::min(
        {size, options_.perRead, options_.bytes.size() - at_, options_.dryAfter - delivered_});
    if (count == 0 || timeout != NoTimeout) {
        Error::set(options_.code);
        return 0;
    }
    Mem::copy(options_.bytes.data() + at_, buffer.data(), count);
    at_ += count;
    delivered_ += count;
    if (options_.rewinds && at_ == options_.bytes.size()) {
        at_ = 0;
    }
    return static_cast<std::int64_t>(count);
}

std::uint64_t ScriptedBody::setPosition(std::uint64_t position) {
    at_ = std::min(position * options_.element, std::uint64_t{options_.bytes.size()});
    return at_ / options_.element;
}
